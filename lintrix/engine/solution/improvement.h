#pragma once
/// @file
/// What follows the direct solve, and the block that it works in.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/solution/sparse_operator.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

enum class Improvement { None, Refinement, Squared, ConjugateGradient };

/// Whether a direct solution is refined, `perturbed` telling whether the factor has perturbed pivots.
bool refinesDirectSolution(const Arguments& call, bool perturbed) noexcept;

/// `iterationKind` is K, with its sign.
Improvement improvementFor(const Arguments& call, int iterationKind, bool perturbed) noexcept;

/// The matrix of a call, or of its transpose where that is to be solved.
template <class T>
CallersMatrix<T> callersMatrix(const Arguments& call) noexcept;

/// An improvement under the settings that its block goes by.
struct ImprovementTask {
    Improvement improvement;
    int threads, count;         ///< of right-hand sides
    bool extended;              ///< residuals in extended precision
    std::int64_t largestUpdate; ///< cells
};

/// Where things stand in that block: vectors, the start that an iteration keeps, sums of the operator,
/// scalars, one after another.
struct IterationLayout {
    std::int64_t start;         ///< elements
    std::int64_t sums, scalars; ///< bytes, as the next
    std::int64_t bytes;         ///< in all; 0 without an improvement
};

template <class T>
IterationLayout iterationLayout(const CallersMatrix<T>& matrix, const ImprovementTask& task) noexcept;

} // namespace Velmar::Lintrix::detail::engine
