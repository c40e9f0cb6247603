#pragma once
/// @file
/// When an earlier factor will do, and how long the iteration on it may take.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// What decides whether a new factor is made.
struct FactorQuestion {
    bool stored;         ///< a factor of the wanted element type is there
    int steps;           ///< the phase, 331 to 333 counting as 33
    int kind;            ///< K, with its sign
    int budget;          ///< iterations that the last run was given
    int iterationResult; ///< iparm(20)
};

/// Without a factor, yes. At phases below 30: a direct solve always; an iterative one when the last budget
/// was small, so that a factor is cheap (K above 0 only), or when the last iteration failed. A solve alone
/// never replaces a factor.
LINTRIX_TESTABLE bool needsFactor(const FactorQuestion& question) noexcept;

/// Iterations at most, and where slow convergence is judged.
struct IterationBudget {
    int most;
    int half;
};

/// As many iterations as fit into about half the time that a new factor would take, an iteration of conjugate
/// gradients counting as one solve and a third; between 2 and 100, and 150 for K below 0. A solve too fast
/// to be timed leaves 0.
LINTRIX_TESTABLE IterationBudget iterationBudget(int kind, double factorSeconds,
                                                 double solveSeconds) noexcept;

} // namespace Velmar::Lintrix::detail::engine
