#pragma once
/// @file
/// Nested dissection by threads.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Orders the vertices by nested dissection: the two sides that a separator leaves come before it, so that no
/// fill joins them, and each is dissected in turn (George, "Nested dissection of a regular finite element
/// mesh", SIAM J. Numer. Anal. 10 (1973)). Pieces of a few hundred vertices are ordered by minimum degree.
/// Twins stay together, dense vertices come last.
///
/// Sides are dissected side by side by at most `threads` threads. The order hangs on the graph alone: neither
/// on the number of threads nor on anything outside of the call.
///
/// Cost: O(entries * log(vertices)); of two threads a little more than half of that time.
/// Workspace: about 8 vertices + 4 entries, and for each thread 16 vertices.
/// @return  outOfMemory(Transient), stopped(); the ordering is then undefined
LINTRIX_TESTABLE Failure dissect(const Graph& graph, int threads, Ordering ordering);

} // namespace Velmar::Lintrix::detail::engine
