#include <lintrix/engine/analysis/graph/earlier_neighbours.h>

namespace Velmar::Lintrix::detail::engine {

// Every neighbour is written, and stays if the next one does not overwrite it: half of them do, by no rule
// that a processor could foresee.
Graph earlierNeighbours(const Graph& graph, std::span<const int> positionOf, std::span<int> starts,
                        std::span<int> neighbours)
{
    int next = 0;
    for (int v = 0; v < graph.vertices(); ++v) {
        starts[v] = next;
        const int position = positionOf[v];
        for (const int u : graph.of(v)) {
            neighbours[next] = u;
            next += positionOf[u] < position;
        }
    }
    starts[graph.vertices()] = next;
    return {starts, neighbours.first(static_cast<std::size_t>(next))};
}

} // namespace Velmar::Lintrix::detail::engine
