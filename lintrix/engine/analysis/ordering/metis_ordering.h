#pragma once
/// @file
/// The call of METIS: a fill-reducing order by nested dissection.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Orders the vertices by nested dissection: the halves that a separator leaves come before it, so that no
/// fill joins them. Karypis, Kumar, "A fast and high quality multilevel scheme for partitioning irregular
/// graphs", SIAM J. Sci. Comput. 20 (1998).
///
/// The largest degree chooses the options: from vertices/8 on, a vertex of more than 20 times the mean degree
/// is left out of the dissection and comes last. A graph without edges keeps its order.
///
/// One call at a time in the process, the others wait: METIS takes its random numbers from the C library, and
/// sets handlers of SIGABRT and SIGTERM by which it comes back where its memory ends. State of the generator
/// and handlers are put back before the return. The numbers begin anew in each call, so the order depends on
/// the graph alone, as long as no other thread calls rand() meanwhile.
///
/// Nothing is printed but METIS's own line on standard error where its memory ends.
/// @return  {Reordering, METIS's result: -2, -3 or -4}
LINTRIX_TESTABLE Failure orderByMetis(const Graph& graph, Ordering ordering);

} // namespace Velmar::Lintrix::detail::engine
