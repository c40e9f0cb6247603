#pragma once
/// @file
/// The parts that a solve goes by, as the handle keeps them.

#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/solution/substitution_parts.h>

namespace Velmar::Lintrix::detail::engine {

/// Answers the parts for a number of threads, or none where splitting is not worth while. They are made at
/// the first solve with as many threads and stay in pt[15] until the number changes.
/// @return  {Memory, -1200}, with none
Failure solveParts(Handle handle, int threads, SubstitutionParts& parts);

} // namespace Velmar::Lintrix::detail::engine
