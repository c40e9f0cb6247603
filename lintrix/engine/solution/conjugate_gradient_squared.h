#pragma once
/// @file
/// Conjugate gradients squared with an earlier factor as preconditioner.

#include <lintrix/engine/solution/iteration.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

inline constexpr std::int64_t kSquaredVectors = 7;

/// Elements of work space for n x count vectors.
constexpr std::int64_t conjugateGradientSquaredWork(int n, int count) noexcept
{
    return kSquaredVectors * n * count;
}

/// What one right-hand side carries from iteration to iteration.
template <class T>
struct SquaredScalars {
    IterationScalar<T> rho;  ///< (shadow, z)
    IterationScalar<T> step; ///< alpha of this iteration
    double startNorm;        ///< ||x|| at the start
    bool finished;           ///< below the tolerance, and left alone while others go on
};

/// Solves op(A) X = B from the start that X brings, all right-hand sides at once, for any matrix near M.
/// Sonneveld, "CGS, a fast Lanczos-type solver for nonsymmetric linear systems", SIAM J. Sci. Stat. Comput.
/// 10 (1989), on inv(M) A x = inv(M) b with the shadow residual inv(M) r of the start.
///
/// The number of an iteration is the root of the largest ||inv(M) r|| / ||start|| over the right-hand sides.
/// Being the root of a ratio of norms, and not of their squares, it asks with a tolerance of 1e-6 for a ratio
/// of 1e-12: another measure would give other digits for the same tolerance, so it stays. Slow convergence is
/// judged at half of the budget only, not from there on: what is slow later is not cut short. A start whose
/// number is below the tolerance is told as 1 iteration. `scalars` has room for `count`.
template <class T>
LINTRIX_TESTABLE IterationOutcome conjugateGradientSquared(const IterativeSystem<T>& system,
                                                           const IterationTerms& terms, T* work,
                                                           SquaredScalars<T>* scalars);

} // namespace Velmar::Lintrix::detail::engine
