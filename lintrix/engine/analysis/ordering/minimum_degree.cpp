#include <lintrix/engine/analysis/ordering/minimum_degree.h>

#include <lintrix/engine/call/memory.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Lists are copied once more for it, so light vertices have to be many.
bool isNetwork(const Graph& graph)
{
    constexpr int kShare = 4;
    std::int64_t light = 0;
    for (int v = 0; v < graph.vertices(); ++v) light += graph.degree(v) <= 2;
    return kShare * light >= graph.vertices();
}

Failure orderNetwork(const Graph& graph, int delta, int bound, std::span<int> vertexAt, std::span<int> counts)
{
    LightElimination light;
    if (const Failure failure = light.runOn(graph, vertexAt, counts)) return failure;
    MultipleElimination elimination;
    const auto first = static_cast<std::size_t>(light.eliminated()),
               rest = static_cast<std::size_t>(light.vertices());
    return orderRest(light, delta, bound, vertexAt.subspan(first, rest), elimination,
                     counts.empty() ? counts : counts.subspan(first, rest));
}

Failure orderVertices(const Graph& graph, int delta, int bound, std::span<int> vertexAt,
                      std::span<int> counts)
{
    if (isNetwork(graph)) return orderNetwork(graph, delta, bound, vertexAt, counts);
    return MultipleElimination().run(graph, delta, {}, bound, vertexAt, counts);
}

} // namespace

Failure orderRest(LightElimination& light, int delta, int bound, std::span<int> order,
                  MultipleElimination& elimination, std::span<int> counts)
{
    if (order.empty()) return {};
    const auto starts = Scratch<int>::uninitialised(std::int64_t{light.vertices()} + 1);
    const auto neighbours = Scratch<int>::uninitialised(light.entries());
    const auto names = Scratch<int>::uninitialised(light.vertices());
    if (!starts || !neighbours || !names)
        return outOfMemory(BlockCode::Transient, missingBytes(starts, neighbours, names));
    const Graph graph = light.writeRest(starts.span(), neighbours.span(), names.span());
    if (const Failure failure = elimination.run(graph, delta, {}, bound, order, counts)) return failure;
    for (int& v : order) v = names[v];
    return {};
}

Failure minimumDegree(const Graph& graph, int delta, Ordering ordering, int bound, std::span<int> counts)
{
    if (const Failure failure = orderVertices(graph, delta, bound, ordering.vertexAt, counts)) return failure;
    for (int position = 0; const int v : ordering.vertexAt) {
        ordering.positionOf[static_cast<std::size_t>(v)] = position++;
    }
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
