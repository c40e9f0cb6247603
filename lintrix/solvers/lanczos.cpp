#include <lintrix/solvers/lanczos.h>

#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/rounding.h>
#include <lintrix/services/blas.h>
#include <lintrix/solvers/bidiagonal_svd.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace Velmar::Lintrix::detail {

namespace {

// An almost constant vector with a small fixed perturbation: integers from 0 to 32767 are mapped to 1
// .. 1.001. A generator of its own, seeded anew by each run, so that equal runs agree and parallel ones do
// not meet.
void fillStartVector(double* cells, std::int32_t count)
{
    std::minstd_rand generator(344); // 1 .. 2^31 - 2
    for (std::int32_t i = 0; i < count; ++i) {
        cells[i] = static_cast<double>(generator() >> 16) * 3.0518509475997195e-08 + 1.0;
    }
}

// Refuses what the interface leaves to the caller.
const LanczosMatrix& requireSound(const LanczosMatrix& A, std::int32_t k)
{
    if constexpr (kHardened) {
        if (A.symmetric && A.m != A.n) throw InvalidOperationException("A symmetric matrix must be square.");
        if (k > std::min(A.m, A.n)) {
            throw InvalidOperationException("The matrix has fewer singular values than are wanted.");
        }
        if (std::int64_t{std::min(A.m, A.n)} * k > INT32_MAX) {
            throw InvalidOperationException("Too many singular values are wanted of a matrix of this size.");
        }
    }
    return A;
}

void requireNonzero(double norm)
{
    if constexpr (kHardened) {
        if (!(norm > 0.0) || !std::isfinite(norm)) {
            throw InvalidOperationException("The Lanczos vectors span an invariant subspace, or the matrix "
                                            "is zero or not finite: the next step divides by zero.");
        }
    }
}

} // namespace

std::int32_t firstTarget(std::int32_t m, std::int32_t n, std::int32_t k) noexcept
{
    return truncatedToInt32(std::sqrt(wrappingProduct(std::min(m, n), k)));
}

std::int32_t nextTarget(std::int32_t steps) noexcept
{
    return 1 - truncatedToInt32(-1.5 * steps);
}

double lanczosTolerance(double eps) noexcept
{
    constexpr double least = 1e-14;
    const double tolerance = std::abs(eps);
    return tolerance > least ? tolerance : least;
}

LanczosRun::LanczosRun(const LanczosMatrix& matrix, const Triplets& results, double eps)
    : A_(requireSound(matrix, results.k)), results_(results), tolerance_(lanczosTolerance(eps)),
      target_(firstTarget(matrix.m, matrix.n, results.k)), work_(matrix.n), right_(matrix.n, order()),
      left_(matrix.m, order()), alphas_(order()), betas_(order()), values_(order())
{
    fillStartVector(left_.column(0), matrix.m);
    beta_ = left_.orthonormalize(0, 0.0);
}

LanczosPass LanczosRun::run(const LanczosObserver& observer)
{
    for (std::int32_t pass = 1;; ++pass) {
        while (steps_ < target_) {
            step();
            if (observer.afterStep) observer.afterStep(steps_, target_);
        }
        solve();
        const LanczosPass outcome{pass, steps_, residual(), tolerance_};
        requireSoundPass(outcome);
        const bool goOn = !observer.afterPass || observer.afterPass(outcome);
        // A NaN ends the run as well, and nothing else does: neither a number of passes nor the size of the
        // matrix limits the steps. Callers who want a limit have the observer.
        if (!(outcome.residual > tolerance_) || !goOn) {
            std::copy_n(values_.get(), results_.k, results_.S);
            return outcome;
        }
        extend();
    }
}

// alpha*r(j) = A'*l(j) - beta*r(j-1)        beta*l(j+1) = A*r(j) - alpha*l(j)
//
// each made orthogonal to all vectors before. No zero norm is caught: all that follows is NaN, and the run
// ends.
void LanczosRun::step()
{
    const std::int32_t j = steps_;
    A_.multiplyTransposed(left_.column(j), right_.column(j));
    const double alpha = right_.orthonormalize(j, beta_);
    requireNonzero(alpha);
    A_.multiply(right_.column(j), left_.column(j + 1));
    beta_ = left_.orthonormalize(j + 1, alpha);
    requireNonzero(beta_);
    alphas_[j] = alpha;
    betas_[j] = beta_;
    ++steps_;
}

// U = L*(first k columns of P), V = R*(first k columns of Q).
void LanczosRun::solve()
{
    const std::int32_t m = left_.length(), n = right_.length(), b = order(), k = results_.k;
    alphas_[target_] = 0.0;
    betas_[target_] = 0.0;
    std::fill_n(right_.column(target_), n, 0.0);
    const BidiagonalSvd B(b, alphas_.get(), betas_.get(), values_.get());
    blas::gemm('N', 'N', m, k, b, 1.0, left_.column(0), left_.stride(), B.left.get(), b, 0.0, results_.U, m);
    blas::gemm('N', 'T', n, k, b, 1.0, right_.column(0), right_.stride(), B.rightTrans.get(), b, 0.0,
               results_.V, n);
}

// ||v - A'*u/s|| of the k-th triplet, the last to settle. Absolute: both terms have about length one.
double LanczosRun::residual()
{
    const std::int32_t n = right_.length();
    const std::int64_t last = results_.k - 1;
    std::copy_n(results_.V + n * last, n, work_.get());
    A_.addTransposed(-1.0 / values_[last], results_.U + left_.length() * last, work_.get());
    return std::sqrt(blas::dot(n, work_.get(), 1, work_.get(), 1));
}

// The recurrence goes on where it stopped, as if the target had been larger from the start.
void LanczosRun::extend()
{
    target_ = nextTarget(target_);
    left_.resize(order());
    right_.resize(order());
    alphas_.resize(order());
    betas_.resize(order());
    values_.resize(order());
}

// Once the steps have reached the smaller side there is nothing left to find: what follows is rounding noise.
void LanczosRun::requireSoundPass(const LanczosPass& pass) const
{
    if constexpr (kHardened) {
        if (values_[results_.k - 1] == 0.0) {
            throw InvalidOperationException("More singular values are wanted than the rank gives.");
        }
        const bool exhausted = pass.steps >= std::min(left_.length(), right_.length());
        if (std::isnan(pass.residual) || (exhausted && pass.residual > tolerance_)) {
            throw InvalidOperationException("The tolerance is out of reach.");
        }
    }
}

} // namespace Velmar::Lintrix::detail
