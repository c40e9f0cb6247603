#pragma once
/// @file
/// What follows the analysis.

#include <lintrix/engine/arguments.h>
#include <lintrix/engine/failure.h>
#include <lintrix/engine/handle.h>
#include <lintrix/engine/timers.h>

namespace Velmar::Lintrix::detail::engine {

/// Fills the factor `mnum` from the values of A. Not yet available: fails as Unclassified.
Failure factorize(const Arguments& call, Handle handle, Timers& timers);

/// Solves with the factor `mnum`. Not yet available: fails as Unclassified.
Failure solve(const Arguments& call, Handle handle, Timers& timers);

} // namespace Velmar::Lintrix::detail::engine
