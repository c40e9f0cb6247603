#pragma once
/// @file
/// The loop over a stored triangle, for one vector, in the form for this processor.

#include <lintrix/sparse/kernels/dense_operand.h>

#include <complex>

namespace Velmar::Lintrix::detail {

/// y := beta*y + alpha*A*x, where A is the full symmetric matrix of `size` rows of which the upper triangle
/// is stored. With beta 0 y is not read.
template <class Cell>
struct SymmetricProduct {
    CompressedRowsView<Cell> A;
    int size;
    bool conjugated; ///< the values of A are
    Cell alpha, beta;
    const Cell* x;
    Cell* y;
};

/// What rows first .. last-1 of the triangle give to y. Rows `first` and up of y are written to, no others.
/// Returns the row up to which y is scaled by beta; behind that, y is as it was.
///
/// A product and the addition that takes it are one operation on a processor that has it: it bears one
/// rounding in place of two, and the last bits are therefore a matter of the processor.
template <class Cell>
int addSymmetricRows(const SymmetricProduct<Cell>& product, int first, int last);

extern template int addSymmetricRows(const SymmetricProduct<double>&, int, int);
extern template int addSymmetricRows(const SymmetricProduct<std::complex<double>>&, int, int);

} // namespace Velmar::Lintrix::detail
