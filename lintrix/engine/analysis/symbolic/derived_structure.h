#pragma once
/// @file
/// What follows from the supernodes and the subgraphs of a handle alone: an analysis works it out, and so
/// does who takes up one that was saved.

#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/handle.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Starts of the panels, and all sizes in the control block, those of the updates as they have been told.
void placePanels(Handle handle, const UpdateSizes& updates);

/// Which separators each independent subgraph updates. @return  outOfMemory(Transient)
Failure listUpdates(Handle handle);

/// How many rows each supernode updates below itself, in pt[11]. @return  outOfMemory(UpdateLengths)
Failure makeUpdateLengths(Handle handle);

/// How many update lengths there are: complex and unsymmetric factors have one for each supernode.
std::int64_t updateLengths(const ControlBlock& control) noexcept;

} // namespace Velmar::Lintrix::detail::engine
