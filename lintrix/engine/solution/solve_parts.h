#pragma once
/// @file
/// The parts that a solve goes by, as the handle keeps them.

#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/solution/substitution_parts.h>

namespace Velmar::Lintrix::detail::engine {

/// What the parts of a solve will take.
struct PartForecast {
    SubstitutionParts parts; ///< none where splitting is not worth while
    BlockSum making;         ///< while the lists are made
    BlockSum lists;          ///< afterwards

    Scratch<int> block; ///< behind the parts
};

/// @return  outOfMemory(Transient)
Failure forecastParts(const FactorStructure& structure, int threads, PartForecast& forecast);

/// Answers the parts for a number of threads, or none where splitting is not worth while. They are made at
/// the first solve with as many threads and stay in pt[15] until the number changes.
/// @return  {Memory, -1200}, with none
Failure solveParts(Handle handle, int threads, SubstitutionParts& parts);

} // namespace Velmar::Lintrix::detail::engine
