#include <lintrix/engine/analysis/graph/permuted_graph.h>

namespace Velmar::Lintrix::detail::engine {

Graph permutedGraph(const Graph& graph, const Ordering& ordering, std::span<int> starts,
                    std::span<int> neighbours)
{
    const int n = graph.vertices();
    // starts[j + 1] runs from the start of list j to its end while the list is filled.
    starts[0] = 0;
    for (int j = 0, next = 0; j < n; ++j) {
        starts[j + 1] = next;
        next += graph.degree(ordering.vertexAt[j]);
    }
    for (int j = 0; j < n; ++j) {
        for (const int u : graph.of(ordering.vertexAt[j])) {
            neighbours[starts[ordering.positionOf[u] + 1]++] = j;
        }
    }
    return {starts, neighbours};
}

} // namespace Velmar::Lintrix::detail::engine
