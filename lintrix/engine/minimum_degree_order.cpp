#include <lintrix/engine/minimum_degree_order.h>

#include <lintrix/engine/analysis/ordering/light_elimination.h>
#include <lintrix/engine/analysis/ordering/minimum_degree.h>
#include <lintrix/engine/analysis/ordering/multiple_elimination.h>
#include <lintrix/engine/call/memory.h>

namespace Velmar::Lintrix {

using namespace detail::engine;

namespace {

/// What light vertices leave, by minimum degree. `order` has a place for each vertex that remains.
Failure orderRest(LightElimination& light, std::span<int> order, MultipleElimination& elimination)
{
    const auto starts = Scratch<int>::uninitialised(std::int64_t{light.vertices()} + 1);
    const auto neighbours = Scratch<int>::uninitialised(light.entries());
    const auto names = Scratch<int>::uninitialised(light.vertices());
    if (!starts || !neighbours || !names)
        return outOfMemory(BlockCode::Transient, missingBytes(starts, neighbours, names));
    const Graph graph = light.writeRest(starts.span(), neighbours.span(), names.span());
    constexpr int kNoAllowance = 0;
    if (const Failure failure = elimination.run(graph, kNoAllowance, {}, kLargestMark, order)) return failure;
    for (int& v : order) v = names[v];
    return {};
}

Failure orderPattern(const Pattern& pattern, std::span<int> vertexAt, EliminationForecast* forecast)
{
    LightElimination light;
    if (const Failure failure = light.run(pattern, vertexAt)) return failure;
    const std::span<int> rest = vertexAt.subspan(static_cast<std::size_t>(light.eliminated()),
                                                 static_cast<std::size_t>(light.vertices()));
    MultipleElimination elimination;
    if (!rest.empty()) {
        if (const Failure failure = orderRest(light, rest, elimination)) return failure;
    }
    if (forecast != nullptr)
        *forecast = {light.cost().lowerNonZeros + elimination.cost().lowerNonZeros,
                     light.cost().operations + elimination.cost().operations};
    return {};
}

} // namespace

int MinimumDegreeOrder(std::span<const std::int32_t> starts, std::span<const std::int32_t> columns,
                       std::span<std::int32_t> vertexAt, EliminationForecast* forecast) noexcept
{
    return static_cast<int>(orderPattern({starts, columns}, vertexAt, forecast).error);
}

} // namespace Velmar::Lintrix
