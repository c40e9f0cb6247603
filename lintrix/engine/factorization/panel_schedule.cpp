#include <lintrix/engine/factorization/panel_schedule.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kShareOfChunk = 8;

std::int64_t elementsOf(const FactorPlan& plan, int J) noexcept
{
    const std::int64_t upper = plan.upperStarts.empty() ? 0 : plan.upperStarts[J + 1] - plan.upperStarts[J];
    return plan.lowerStarts[J + 1] - plan.lowerStarts[J] + upper;
}

std::int64_t largestOf(const FactorPlan& plan) noexcept
{
    std::int64_t largest = 0;
    for (int J = 0; J < plan.structure.supernodes(); ++J) largest = std::max(largest, elementsOf(plan, J));
    return largest;
}

std::int64_t allOf(const FactorPlan& plan) noexcept
{
    return plan.sizes.lower + (plan.upperStarts.empty() ? 0 : plan.sizes.upper);
}

} // namespace

PanelSchedule PanelSchedule::ofFactorization(const FactorPlan& plan, std::int64_t room) noexcept
{
    const std::int64_t all = allOf(plan), largest = largestOf(plan);
    if (all <= room) return {plan, all, 0};
    const std::int64_t chunk = std::max(largest, room / kShareOfChunk);
    return {plan, std::max(largest, room - chunk), chunk};
}

PanelSchedule PanelSchedule::ofSolve(const FactorPlan& plan, std::int64_t room) noexcept
{
    const std::int64_t all = allOf(plan);
    return {plan, 0, all <= room ? all : std::max(largestOf(plan), room)};
}

std::int64_t PanelSchedule::elements(int J) const noexcept
{
    return elementsOf(plan_, J);
}

PositionRange PanelSchedule::asManyFrom(int J, int last, std::int64_t most) const noexcept
{
    PositionRange range{J, J};
    for (std::int64_t sum = elements(J); range.last < last; ++range.last) {
        sum += elements(range.last + 1);
        if (sum > most) break;
    }
    return range;
}

PositionRange PanelSchedule::chunkTo(int J) const noexcept
{
    PositionRange range{J, J};
    for (std::int64_t sum = elements(J); range.first > 0; --range.first) {
        sum += elements(range.first - 1);
        if (sum > chunkRoom_) break;
    }
    return range;
}

bool PanelSchedule::updates(int K, PositionRange group) const noexcept
{
    const FactorStructure& structure = plan_.structure;
    const std::span<const int> rows = structure.rowsBelow(K);
    const auto row = std::ranges::lower_bound(rows, structure.starts[group.first]);
    return row != rows.end() && *row < structure.starts[group.last + 1];
}

// What stands between two panels that are wanted takes room, too, though nothing is read into it.
PositionRange PanelSchedule::chunkFrom(int K, PositionRange group) const noexcept
{
    while (K < group.first && !updates(K, group)) ++K;
    if (K == group.first) return {K, K - 1};
    PositionRange chunk = asManyFrom(K, group.first - 1, chunkRoom_);
    while (!updates(chunk.last, group)) --chunk.last;
    return chunk;
}

} // namespace Velmar::Lintrix::detail::engine
