#pragma once
/// @file
/// Factorization of a supernode's diagonal block. Pivots never leave the block; small ones are perturbed.
///
/// Each kernel works on a w x w block, column-major with leading dimension ld, and writes one exchange a
/// column: at step i, row (or column) i changed places with number |exchange[i]|, counted from 1 within the
/// block. What stands in a block afterwards is told with each kernel.

#include <lintrix/engine/call/scalar.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

struct PivotCounts {
    int perturbed = 0;
    int positive = 0,
        negative = 0; ///< signs of D in L*D*L' and L*L'; not counted for LU and complex symmetric

    PivotCounts& operator+=(const PivotCounts& other) noexcept
    {
        perturbed += other.perturbed;
        positive += other.positive;
        negative += other.negative;
        return *this;
    }
};

/// P*A*Q = L*U, L unit lower. Step k takes the largest magnitude of rows and columns from k on, column after
/// column, the last of equals. A pivot of magnitude up to |eps| becomes +|eps| or, if negative, -|eps|, and
/// is counted; eps 0 stands for 1e-13.
template <class T>
LINTRIX_TESTABLE PivotCounts pivotCompletely(T* block, int ld, int w, double eps, int* rowExchange,
                                             int* columnExchange);

/// P*A*P' = L*D*L', or L*D*L^H for `hermitian`; D diagonal, on the diagonal; L unit lower. The lower triangle
/// is read, the upper left alone. Step k takes the largest magnitude of the remaining diagonal, the last of
/// equals, and perturbs as above; eps 0 stands for 1e-8.
template <class T>
LINTRIX_TESTABLE PivotCounts pivotOnDiagonal(T* block, int ld, int w, double eps, bool hermitian,
                                             int* exchange);

/// The same with 1 x 1 and 2 x 2 pivots; Bunch, Kaufman, "Some stable methods for calculating inertia and
/// solving symmetric linear systems", Math. Comp. 31 (1977). A 2 x 2 pivot at k has both exchanges negative;
/// its off-diagonal d(k+1, k) stands in the upper triangle at (k, k+1), so that the lower one holds L alone.
/// A column without an entry above |eps| is perturbed; eps 0 stands for 1e-8.
template <class T>
LINTRIX_TESTABLE PivotCounts pivotBunchKaufman(T* block, int ld, int w, double eps, bool hermitian,
                                               int* exchange);

} // namespace Velmar::Lintrix::detail::engine
