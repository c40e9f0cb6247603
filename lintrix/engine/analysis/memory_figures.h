#pragma once
/// @file
/// What an analysis tells of memory. Blocks of the engine are counted, each rounded up to a kilobyte; what
/// METIS takes for its own length comes from the C library and is not.

#include <lintrix/engine/analysis/analysis_steps.h>
#include <lintrix/engine/call/memory.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Kilobytes that factorization and solve take beside what an analysis keeps, by the calls as they are in the
/// analysis: its threads, right-hand sides and parameters.
struct NumericMemory {
    std::int64_t inCore = 0;    ///< with one factor in memory
    std::int64_t outOfCore = 0; ///< at least, with factors in files
};

/// Works it out from the structure that the analysis has found. The floors that will take the memory know
/// how much it is, and they stand on this one.
using NumericForecast = Failure (*)(const Arguments& call, Handle handle, NumericMemory& memory);

/// Kilobytes.
struct MemoryFigures {
    std::int64_t analysisPeak = 0; ///< the most that was held so far
    std::int64_t analysisKept = 0; ///< what stays
    NumericMemory numeric;

    std::int64_t inCore() const noexcept;
    std::int64_t leastOutOfCore() const noexcept { return analysisKept + numeric.outOfCore; }
};

/// The blocks that the handle holds when the analysis is done.
BlockSum keptBlocks(Analysis& run) noexcept;

} // namespace Velmar::Lintrix::detail::engine
