#pragma once
/// @file
/// How good each column of a solution is that all ranks hold, by rows of A and b that each holds its own of.

#include <distributed/own_products.h>

#include <lintrix/systems/verdict.h>

#include <vector>

namespace Velmar::Lintrix::Distributed {

template <class Cell>
struct JudgedColumns {
    std::vector<Cell> residual;                  ///< of this rank's rows, as if in twice the precision
    std::vector<double> normwise, componentwise; ///< backward errors, the same on every rank
};
template <class Cell>
JudgedColumns<Cell> judgedColumns(const Agreement& all, const OwnRows<Cell>& A, double normOfA,
                                  std::int32_t columns, const Cell* b, const Cell* x);

/// By the limits of a `LinearSystem`; `error` is the largest that is known, relative.
Verdict verdictOf(double backwardError, double error);
/// Why it is no better; empty of Accurate.
std::string reasonOf(double backwardError, double error);

/// The largest |x - y| of each column beside the largest |y|: 0 of equal ones.
template <class Cell>
std::vector<double> relativeDifferences(std::int32_t size, std::int32_t columns, const Cell* x,
                                        const Cell* y);

} // namespace Velmar::Lintrix::Distributed
