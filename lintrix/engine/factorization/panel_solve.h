#pragma once
/// @file
/// The rows below a supernode's diagonal block, once the block is factored; block and rows in one for
/// Cholesky's factor, which exchanges nothing.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Which triangle of the block stands on the right, and how.
enum class RightFactor {
    Upper,               ///< X := X*inv(U), U with its diagonal
    LowerTransposedUnit, ///< X := X*inv(L'), L unit lower
    LowerAdjointUnit,    ///< X := X*inv(L^H), L unit lower
    LowerTransposed,     ///< X := X*inv(L'), L with its diagonal
    LowerAdjoint         ///< X := X*inv(L^H), L with its diagonal
};

/// X, m x w with leading dimension ldx, is multiplied from the right; `block` is w x w. Few columns are
/// solved one by one, many by trsm.
template <class T>
LINTRIX_TESTABLE void solveFromRight(RightFactor factor, const T* block, int ld, int w, T* x, int ldx, int m);

/// The lower triangle of the w x w block on top of `panel` becomes Cholesky's factor, and the rows below
/// follow from it. Few columns are done one by one over all rows, many by potrf and trsm.
/// @return  the first column, from 1, whose pivot is not positive; 0 if there is none
template <class T>
LINTRIX_TESTABLE int factorCholeskyPanel(T* panel, int height, int w);

/// Columns i and |exchange[i]| - 1 of X change places, for i from 0 on.
template <class T>
LINTRIX_TESTABLE void exchangeColumns(const int* exchange, int w, T* x, int ldx, int m);

/// X := X*inv(D), with D of pivotOnDiagonal or pivotBunchKaufman in `block`.
template <class T>
LINTRIX_TESTABLE void divideByPivots(const T* block, int ld, int w, const int* exchange, bool hermitian, T* x,
                                     int ldx, int m);

/// y := x*D, k rows of w columns each, conjugated for `hermitian`: what a symmetric update multiplies with.
template <class T>
LINTRIX_TESTABLE void multiplyByPivots(const T* block, int ld, int w, const int* exchange, bool hermitian,
                                       const T* x, int ldx, int k, T* y, int ldy);

} // namespace Velmar::Lintrix::detail::engine
