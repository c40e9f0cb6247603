#pragma once
/// @file
/// The largest singular triplets of a sparse matrix by Lanczos bidiagonalization.

#include <lintrix/foundation/block.h>
#include <lintrix/solvers/krylov_basis.h>
#include <lintrix/solvers/lanczos_matrix.h>
#include <lintrix/solvers/lanczos_observer.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Steps of the first pass: the geometric mean of the smaller side and the wanted count, rounded down. The
/// product is a 32-bit integer and may wrap, to any target; the hardened build refuses such sizes.
LINTRIX_TESTABLE std::int32_t firstTarget(std::int32_t m, std::int32_t n, std::int32_t k) noexcept;

/// Steps of the next pass: half as many again and one. 10 becomes 16, 16 becomes 25, 25 becomes 38.
LINTRIX_TESTABLE std::int32_t nextTarget(std::int32_t steps) noexcept;

/// max(|eps|, 1e-14); 1e-14 also for a NaN.
LINTRIX_TESTABLE double lanczosTolerance(double eps) noexcept;

/// What DoLan writes, column-major: `U` m x k, `V` n x k, `S` k values. The caller's.
struct Triplets {
    std::int32_t k;
    double* U;
    double* V;
    double* S;
};

/// One run. With s the target number of steps and b = s + 1:
///
///     A *R = L*B       L (m x b) and R (n x b) orthonormal, B (b x b) lower bidiagonal
///     A'*L = R*B'      but for the last column, which one more step would settle
///
/// B has alpha(0), ..., alpha(s-1), 0 on its diagonal and beta(0), ..., beta(s-1) below; the last column of R
/// has the coefficient zero and is zero. From B = P*diag(d)*Q' follow the triplets L*P, d, R*Q.
/// Source: Golub and Kahan, SIAM Journal on Numerical Analysis B 2 (1965); Paige and Saunders, ACM TOMS 8
/// (1982), section 3, for the lower form.
class LINTRIX_TESTABLE LanczosRun {
public:
    /// @throws NotEnoughMemoryException
    /// The hardened build: @throws InvalidOperationException  "The matrix has fewer singular values than are
    /// wanted."; "A symmetric matrix must be square."
    LanczosRun(const LanczosMatrix& matrix, const Triplets& results, double eps);

    /// To the end. @throws as the constructor; in the hardened build InvalidOperationException at each limit
    LanczosPass run(const LanczosObserver& observer);

private:
    std::int32_t order() const noexcept { return target_ + 1; }
    void step();
    void solve();
    double residual();
    void extend();
    void requireSoundPass(const LanczosPass& pass) const;

    LanczosMatrix A_;
    Triplets results_;
    double tolerance_;
    std::int32_t target_; ///< s
    std::int32_t steps_ = 0;
    double beta_;        ///< of the last step
    Block<double> work_; ///< n cells: the residual vector
    KrylovBasis right_, left_;
    Block<double> alphas_, betas_; ///< b each: the diagonal of B, the subdiagonal
    Block<double> values_;         ///< b: the singular values of B
};

} // namespace Velmar::Lintrix::detail
