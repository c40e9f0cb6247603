#pragma once
/// @file
/// Backward errors: by how much, relative to its size, must the data of op(A)*x = b change so that x solves
/// it exactly? With r = b - op(A)*x and w = |op(A)|*|x| + |b|,
///
///     normwise        ||r||/(||A||*||x|| + ||b||), infinity norms          Rigal, Gaches, J. ACM 14 (1967)
///     componentwise   max |r_i|/w_i                                        Oettli, Prager, Num. Math. 6
///     (1964) by rows         omega1, omega2                                       Arioli, Demmel, Duff,
///     SIMAX 10 (1989)
///
/// Higham, Accuracy and Stability of Numerical Algorithms, 2nd ed., sections 7.1 and 7.2. A stable solver
/// leaves a small multiple of eps = 2^-53.
///
/// 0/0 is 0: an equation without data is solved. What cannot be judged is NaN and never looks good: NaN among
/// the data, and a size ||A||*||x|| + ||b|| or w_i that is infinite. An infinite residual has an infinite
/// error.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/quality/any_matrix.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Where sums of `terms` products may have lost all to underflow: a scale up to `below` says little, and
/// `shift` is what the expert drivers of LAPACK (xGERFS: safe1, safe2) then add to residual and scale, so
/// that a quotient of tiny numbers is too large rather than too small.
struct UnderflowGuard {
    double shift, below;

    explicit UnderflowGuard(std::int32_t terms) noexcept
        : shift(terms * std::numeric_limits<double>::min()), below(shift * 0x1p53)
    {
    }
};

/// Of one column.
struct BackwardError {
    double normwise = 0.0;
    double componentwise = 0.0;
    /// Rows that are sparse may meet a zero b_i with zeros of x, and a w_i that rounding alone has made is no
    /// measure. Rows with w_i > tau_i = 1000*n*eps*(||A_i||*||x|| + |b_i|) are judged componentwise, by
    /// omega1 = max |r_i|/w_i, the others by omega2 = max |r_i|/((|A||x|)_i + ||A_i||*||x||); ||A_i|| is the
    /// sum of the moduli in row i. x then solves exactly a system whose elements in rows of the first kind
    /// have relative changes up to omega1, and whose b_i in rows of the second changes by up to
    /// omega2*||A_i||*||x||.
    double omega1 = 0.0, omega2 = 0.0;
};

/// What is known of op(A) before any column is looked at.
struct RowSizes {
    std::vector<double> sums; ///< of the moduli in each row
    double norm = 0.0;        ///< the largest of them
    std::int32_t cols = 0;    ///< of op(A)
    std::int32_t terms = 1;   ///< nz + 1
};
template <class Cell>
LINTRIX_TESTABLE RowSizes rowSizesOf(const AnyMatrix<Cell>& A, TransposeMode op);

/// ||r||/(||A||*||x|| + ||b||) of these four norms, without a detour through what overflows or underflows.
LINTRIX_TESTABLE double normwiseBackwardError(double normOfA, double normOfX, double normOfB,
                                              double normOfR) noexcept;

/// Those of each column of x. `r` holds the residuals, in whichever precision they were computed.
template <class Cell>
LINTRIX_TESTABLE std::vector<BackwardError> backwardErrors(const AnyMatrix<Cell>& A, TransposeMode op,
                                                           std::int32_t columns, const Cell* b, const Cell* x,
                                                           const Cell* r);
/// The same where `w` is known as well: |op(A)|*|x| + |b|.
template <class Cell>
LINTRIX_TESTABLE std::vector<BackwardError> backwardErrors(const RowSizes& A, std::int32_t columns,
                                                           const Cell* b, const Cell* x, const Cell* r,
                                                           const double* w);

} // namespace Velmar::Lintrix::detail
