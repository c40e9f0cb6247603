#pragma once
/// @file
/// What the Lanczos driver tells while it works.

#include <cstdint>
#include <functional>

namespace Velmar::Lintrix {

/// A pass: steps up to a target number, then the singular values of what they gave, then the test.
struct LanczosPass {
    std::int32_t pass;  ///< from 1
    std::int32_t steps; ///< taken so far, those of earlier passes among them
    double residual;    ///< ||v - A'*u/s|| of the last wanted triplet; NaN after a division by zero
    double tolerance;   ///< at or below which the residual ends the work
};

/// Functions called from the thread that computes; either may be empty. What they raise goes through to the
/// caller of the driver, and nothing leaks.
struct LanczosObserver {
    /// After each step: how many stand, and how many this pass aims at.
    std::function<void(std::int32_t step, std::int32_t target)> afterStep;
    /// After each test. False ends the work with the triplets as they are, converged or not.
    std::function<bool(const LanczosPass&)> afterPass;
};

} // namespace Velmar::Lintrix
