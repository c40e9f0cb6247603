#include <lintrix/engine/analysis/ordering/minimum_degree.h>

#include <lintrix/engine/analysis/ordering/multiple_elimination.h>

namespace Velmar::Lintrix::detail::engine {

Failure minimumDegree(const Graph& graph, int delta, Ordering ordering, int bound)
{
    MultipleElimination elimination;
    if (const Failure failure = elimination.run(graph, delta, {}, bound, ordering.vertexAt)) return failure;
    for (int position = 0; const int v : ordering.vertexAt) {
        ordering.positionOf[static_cast<std::size_t>(v)] = position++;
    }
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
