#pragma once
/// @file
/// From the pattern of A to everything that numeric factorization needs.

#include <lintrix/engine/analysis/memory_figures.h>
#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/timers.h>

namespace Velmar::Lintrix::detail::engine {

/// Matching and scaling, adjacency, ordering, symbolic factorization, memory forecast and the choice between
/// memory and files, maps and lists, the files if there are to be any, in this order; then the work blocks
/// go. The settings of the analysis stand in the control block. `ia` and `ja` are at base 0 meanwhile and at
/// base 1 again when it returns. `forecast` is asked between the symbolic factorization and the lists.
///
/// On success pt[7] holds the permanent structure. On failure the handle stays live and holds what was made;
/// a call with phase -1 releases it.
/// @return  {Reordering, kBadPattern} for a pattern that is none, Matching, Memory by block, Reordering,
/// Overflow,
///          {OutOfCoreMemory, -9} where the configured core is less than the mode takes at least,
///          {OutOfCoreOpen, -10}, {OutOfCoreTransfer, -11} of its files
Failure analyse(const Arguments& call, Handle handle, Timers& timers, NumericForecast forecast);

} // namespace Velmar::Lintrix::detail::engine
