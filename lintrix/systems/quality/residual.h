#pragma once
/// @file
/// Sums over the rows of op(A), from which every statement about a solution begins:
///
///     r = b - op(A)*x                 residual, in the working precision or in twice that
///     w = |op(A)|*|x| + |b|           what r is measured by: |fl(r) - r| <= (nz + 1)*eps*w, with nz the
///                                     longest row (Higham, Accuracy and Stability, 2nd ed., section 12.1)
///     ||A||_1, ||A||_inf
///
/// Each is one pass over A, in the order in which it lies in memory, for each column of b, or for up to four
/// of them, where that is told. Blocks of columns are stored one column behind the other without gaps, like
/// those of a LinearMap. A result may not lie where an operand does. The bits do not depend on the number of
/// threads. Infinities and NaN come out as the arithmetic makes them; a row that overflows on its way is not
/// finite, though its sum might be.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/quality/any_matrix.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// R := B - op(A)*X, four columns at a time. Each row is summed up from b_i on in the working precision.
template <class Cell>
LINTRIX_TESTABLE void residual(const AnyMatrix<Cell>& A, TransposeMode op, std::int32_t columns,
                               const Cell* b, const Cell* x, Cell* r);

/// R := B - op(A)*(X + DX), each row summed up in twice the working precision and rounded once, at the end:
/// |error| <= eps*|r| + (m*eps)^2*w with m terms in the row, nz + 1 without `dx`, which may be null and
/// counts as 0 then; 2*nz + 1 with it; in each part of a complex row twice as many.
template <class Cell>
LINTRIX_TESTABLE void residualInTwicePrecision(const AnyMatrix<Cell>& A, TransposeMode op,
                                               std::int32_t columns, const Cell* b, const Cell* x,
                                               const Cell* dx, Cell* r);

/// W := |op(A)|*|X| + |B|, with the moduli of complex elements.
template <class Cell>
LINTRIX_TESTABLE void residualScale(const AnyMatrix<Cell>& A, TransposeMode op, std::int32_t columns,
                                    const Cell* b, const Cell* x, double* w);

/// Both at one reading of A: R := B - op(A)*X in twice the working precision, and W.
template <class Cell>
LINTRIX_TESTABLE void residualAndScale(const AnyMatrix<Cell>& A, TransposeMode op, std::int32_t columns,
                                       const Cell* b, const Cell* x, Cell* r, double* w);

/// The sum of the moduli in each row of op(A).
template <class Cell>
LINTRIX_TESTABLE void rowSums(const AnyMatrix<Cell>& A, TransposeMode op, double* sums);
/// The same, and how many elements each row stores, at one reading of A.
template <class Cell>
LINTRIX_TESTABLE void rowSumsAndLengths(const AnyMatrix<Cell>& A, TransposeMode op, double* sums,
                                        std::int32_t* lengths);

/// The largest column sum, the largest row sum; 0 of a matrix without elements.
template <class Cell>
LINTRIX_TESTABLE double oneNorm(const AnyMatrix<Cell>& A);
template <class Cell>
LINTRIX_TESTABLE double infinityNorm(const AnyMatrix<Cell>& A);

/// nz: the most elements that a row of op(A) stores.
template <class Cell>
LINTRIX_TESTABLE std::int32_t longestRow(const AnyMatrix<Cell>& A, TransposeMode op);

/// Products with A. Good as long as the view.
template <class Cell>
LINTRIX_TESTABLE LinearMap<Cell> mapOf(const AnyMatrix<Cell>& A);

} // namespace Velmar::Lintrix::detail
