#include <lintrix/engine/minimum_degree_order.h>

#include <lintrix/engine/analysis/graph/adjacency.h>
#include <lintrix/engine/analysis/ordering/minimum_degree.h>
#include <lintrix/engine/analysis/ordering/multiple_elimination.h>
#include <lintrix/engine/call/memory.h>

namespace Velmar::Lintrix {

using namespace detail::engine;

namespace {

Failure orderPattern(const Pattern& pattern, std::span<int> vertexAt, EliminationForecast* forecast)
{
    SymmetrizedPattern adjacency;
    if (const Failure failure = adjacency.count(pattern)) return failure;
    const auto starts = Scratch<int>::uninitialised(std::int64_t{pattern.order()} + 1);
    const auto neighbours = Scratch<int>::uninitialised(adjacency.entries());
    if (!starts || !neighbours) return outOfMemory(BlockCode::Transient, missingBytes(starts, neighbours));
    const Graph graph = adjacency.write(starts.span(), neighbours.span());
    MultipleElimination elimination;
    constexpr int kNoAllowance = 0;
    if (const Failure failure = elimination.run(graph, kNoAllowance, {}, kLargestMark, vertexAt))
        return failure;
    if (forecast != nullptr) *forecast = {elimination.cost().lowerNonZeros, elimination.cost().operations};
    return {};
}

} // namespace

int MinimumDegreeOrder(std::span<const std::int32_t> starts, std::span<const std::int32_t> columns,
                       std::span<std::int32_t> vertexAt, EliminationForecast* forecast) noexcept
{
    return static_cast<int>(orderPattern({starts, columns}, vertexAt, forecast).error);
}

} // namespace Velmar::Lintrix
