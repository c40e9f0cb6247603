#pragma once
/// @file
/// The solve as a step of a call.

#include <lintrix/engine/arguments.h>
#include <lintrix/engine/failure.h>
#include <lintrix/engine/handle.h>
#include <lintrix/engine/timers.h>

namespace Velmar::Lintrix::detail::engine {

/// Solves with the factor `mnum`. Not yet available: fails as Unclassified.
Failure solve(const Arguments& call, Handle handle, Timers& timers);

} // namespace Velmar::Lintrix::detail::engine
