#include <lintrix/engine/minimum_degree_order.h>

#include <lintrix/engine/analysis/ordering/light_elimination.h>
#include <lintrix/engine/analysis/ordering/minimum_degree.h>
#include <lintrix/engine/analysis/ordering/multiple_elimination.h>
#include <lintrix/engine/call/memory.h>

namespace Velmar::Lintrix {

using namespace detail::engine;

namespace {

Failure orderPattern(const Pattern& pattern, std::span<int> vertexAt, EliminationForecast* forecast)
{
    LightElimination light;
    if (const Failure failure = light.run(pattern, vertexAt)) return failure;
    const std::span<int> rest = vertexAt.subspan(static_cast<std::size_t>(light.eliminated()),
                                                 static_cast<std::size_t>(light.vertices()));
    MultipleElimination elimination;
    constexpr int kNoAllowance = 0;
    if (const Failure failure = orderRest(light, kNoAllowance, kLargestMark, rest, elimination))
        return failure;
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
