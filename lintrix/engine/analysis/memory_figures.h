#pragma once
/// @file
/// What an analysis tells of memory: advice for the caller, not tied to what the allocator gives.

#include <lintrix/engine/call/handle.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Kilobytes, each block rounded up to a full one.
struct MemoryFigures {
    std::int64_t analysisPeak = 0;   ///< all blocks of the analysis together
    std::int64_t analysisKept = 0;   ///< those that stay
    std::int64_t factors = 0;        ///< one factor and the work of a solve
    std::int64_t leastOutOfCore = 0; ///< what stays, and the largest panel with its largest update
};

/// From the sizes in the control block, once the symbolic factorization has set them. `matched` tells whether
/// the handle holds a matching with its scaling.
LINTRIX_TESTABLE MemoryFigures forecastMemory(const ControlBlock& control, bool matched) noexcept;

} // namespace Velmar::Lintrix::detail::engine
