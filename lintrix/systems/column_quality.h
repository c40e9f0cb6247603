#pragma once
/// @file
/// How good each column of a solution is, by the residual in twice the working precision.

#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/quality/matrix_view.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/verdict.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The inverse of op(A) by a factor, as good as that is; NaN where the factor fails. Good as long as it.
template <class Cell>
LinearMap<Cell> inverseBy(roads::Factored<Cell>& factor, std::int32_t size, TransposeMode op);

/// Of op(A)*X = B, all of B's columns. The error of up to `bounds` of them is bounded, those with the largest
/// componentwise backward error first; of none without a factor. Where some are, that of the others, and
/// of those whose bound is infinite, is estimated: a right-hand side may be harder than the probe.
/// `probeError` is that of the known solution.
///
/// Cost: a product a column; of a column whose error is bounded some six solves, of another one.
template <class Cell>
std::vector<ColumnQuality> qualityOfColumns(const MatrixView<Cell>& A, TransposeMode op,
                                            const MatrixOf<Cell>& B, const MatrixOf<Cell>& X,
                                            roads::Factored<Cell>* factor, std::int32_t bounds,
                                            double probeError);

/// Of a verdict other than Accurate, in a few words.
std::string reasonOf(const ColumnQuality& column);

/// Accurate of none.
Verdict worstOf(const std::vector<ColumnQuality>& columns);

} // namespace Velmar::Lintrix::detail
