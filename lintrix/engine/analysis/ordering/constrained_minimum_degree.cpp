#include <lintrix/engine/analysis/ordering/constrained_minimum_degree.h>

#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/analysis/ordering/minimum_degree.h>
#include <lintrix/engine/analysis/ordering/multiple_elimination.h>
#include <lintrix/engine/analysis/ordering/tree_parts.h>
#include <lintrix/engine/call/memory.h>

#include <bit>

namespace Velmar::Lintrix::detail::engine {

namespace {

// When the vertices of a range may be eliminated: 0 for the parts, then the separators level by level. Range
// 2 parts - 2 - c is the separator at place c of the heap of cuts, whose level is floor(log2(c + 1)).
int stageOf(int range, int parts)
{
    if (range < parts) return 0;
    const auto levelOf = [](int place) { return std::bit_width(static_cast<unsigned>(place) + 1) - 1; };
    return 1 + static_cast<int>(levelOf(parts - 2) - levelOf(2 * parts - 2 - range));
}

// The ranges that the ordering falls into, by vertex.
Failure rangesOf(const Graph& graph, const Ordering& ordering, int parts, std::span<int> rangeOf)
{
    const auto parent = Scratch<int>::uninitialised(graph.vertices());
    const auto byPosition = Scratch<int>::uninitialised(graph.vertices());
    if (!parent || !byPosition) return outOfMemory(BlockCode::Transient, missingBytes(parent, byPosition));
    if (const Failure failure = eliminationTree(graph, ordering, parent.span())) return failure;
    if (const Failure failure = cutTree(parent.span(), parts, byPosition.span())) return failure;
    for (int v = 0; v < graph.vertices(); ++v) rangeOf[v] = byPosition[ordering.positionOf[v]];
    return {};
}

Failure orderWithin(const Graph& graph, int delta, int parts, std::span<const int> rangeOf, Ordering ordering,
                    SubgraphList& subgraphs)
{
    const int n = graph.vertices();
    const auto stages = Scratch<std::uint8_t>::uninitialised(n);
    const auto byPosition = Scratch<int>::uninitialised(n);
    if (!stages || !byPosition) return outOfMemory(BlockCode::Transient, missingBytes(stages, byPosition));
    for (int v = 0; v < n; ++v) stages[v] = static_cast<std::uint8_t>(stageOf(rangeOf[v], parts));

    MultipleElimination elimination;
    if (const Failure failure =
            elimination.run(graph, delta, stages.span(), kLargestMark, ordering.vertexAt)) {
        return failure;
    }
    for (int k = 0; k < n; ++k) byPosition[k] = rangeOf[ordering.vertexAt[k]];
    return gatherRanges(byPosition.span(), 2 * parts - 1, parts, ordering, subgraphs);
}

} // namespace

Failure constrainedMinimumDegree(const Graph& graph, int delta, int parts, Ordering ordering,
                                 SubgraphList& subgraphs)
{
    if (const Failure failure = minimumDegree(graph, delta, ordering)) return failure;
    const int taken = subgraphs.partsFor(parts, graph.vertices());
    if (taken == 1) {
        wholeRange(graph.vertices(), subgraphs);
        return {};
    }
    const auto rangeOf = Scratch<int>::uninitialised(graph.vertices());
    if (!rangeOf) return outOfMemory(BlockCode::Transient, missingBytes(rangeOf));
    if (const Failure failure = rangesOf(graph, ordering, taken, rangeOf.span())) return failure;
    return orderWithin(graph, delta, taken, rangeOf.span(), ordering, subgraphs);
}

} // namespace Velmar::Lintrix::detail::engine
