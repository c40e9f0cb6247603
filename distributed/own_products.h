#pragma once
/// @file
/// Products and norms of a matrix that lies by rows on the ranks. Vectors that are multiplied are whole on
/// every rank; what comes out is each rank's rows.

#include <distributed/own_rows.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::Distributed {

/// b - A*x of this rank's rows, as if in twice the precision, and |A|*|x| + |b|. `columns` columns.
template <class Cell>
struct OwnResidual {
    std::vector<Cell> r;
    std::vector<double> w;
};
template <class Cell>
OwnResidual<Cell> residualOf(const OwnRows<Cell>& A, std::int32_t columns, const Cell* b, const Cell* x);

/// A*x of this rank's rows, rounded once.
template <class Cell>
std::vector<Cell> productOf(const OwnRows<Cell>& A, std::int32_t columns, const Cell* x);

/// What all ranks know of the matrix.
struct MatrixNorms {
    double infinity = 0.0, one = 0.0;
    long long zeroRow = 0, zeroColumn = 0; ///< the first one without a number other than 0, from 0; or size
};
template <class Cell>
MatrixNorms normsOf(const Agreement& all, const OwnRows<Cell>& A);

} // namespace Velmar::Lintrix::Distributed
