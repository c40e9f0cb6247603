#include <lintrix/engine/analysis/ordering/nested_dissection.h>

#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/analysis/ordering/metis_ordering.h>
#include <lintrix/engine/analysis/ordering/tree_parts.h>
#include <lintrix/engine/call/memory.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

Failure cutIntoParts(const Graph& graph, int parts, Ordering ordering, SubgraphList& subgraphs)
{
    const auto parent = Scratch<int>::uninitialised(graph.vertices());
    const auto rangeOf = Scratch<int>::uninitialised(graph.vertices());
    if (!parent || !rangeOf) return outOfMemory(BlockCode::Transient, missingBytes(parent, rangeOf));
    if (const Failure failure = eliminationTree(graph, ordering, parent.span())) return failure;
    if (const Failure failure = cutTree(parent.span(), parts, rangeOf.span())) return failure;
    return gatherRanges(rangeOf.span(), 2 * parts - 1, parts, ordering, subgraphs);
}

} // namespace

Failure nestedDissection(const Graph& graph, int parts, Ordering ordering, SubgraphList& subgraphs)
{
    if (const Failure failure = orderByMetis(graph, ordering)) return failure;
    const int taken = subgraphs.partsFor(parts, graph.vertices());
    if (taken > 1) return cutIntoParts(graph, taken, ordering, subgraphs);
    wholeRange(graph.vertices(), subgraphs);
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
