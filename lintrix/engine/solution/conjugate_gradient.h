#pragma once
/// @file
/// Conjugate gradients with an earlier factor as preconditioner.

#include <lintrix/engine/solution/iteration.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

inline constexpr std::int64_t kConjugateGradientVectors = 4;

/// Elements of work space for n x count vectors.
constexpr std::int64_t conjugateGradientWork(int n, int count) noexcept
{
    return kConjugateGradientVectors * n * count;
}

/// What one right-hand side carries from iteration to iteration.
struct GradientScalars {
    double product;   ///< (r, z) of the iteration before
    double startNorm; ///< ||x|| at the start
    bool finished;    ///< below the tolerance, and left alone while others go on
};

/// Solves op(A) X = B from the start that X brings, all right-hand sides at once, for a real matrix that is
/// symmetric and near M. Hestenes, Stiefel, "Methods of conjugate gradients for solving linear systems",
/// J. Res. Nat. Bur. Standards 49 (1952).
///
/// The number of an iteration is the largest of ||inv(M) r|| / ||start|| over the right-hand sides, r being
/// the residual that the iteration began with. Below the tolerance the iteration has succeeded,
/// without a look at the true residual: a caller who must be sure of the answer works that out; above
/// the divergence bound it has failed; from half of the budget on it must have been below the root of the
/// tolerance. A right-hand side that is below the tolerance is left alone while others go on.
///
/// The count begins at 1, so that a start that is good enough is told as 2. `scalars` has room for `count`.
template <class T>
LINTRIX_TESTABLE IterationOutcome conjugateGradient(const IterativeSystem<T>& system,
                                                    const IterationTerms& terms, T* work,
                                                    GradientScalars* scalars);

} // namespace Velmar::Lintrix::detail::engine
