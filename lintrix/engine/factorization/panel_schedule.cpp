#include <lintrix/engine/factorization/panel_schedule.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kShareOfChunks = 8;
constexpr std::int64_t kLargestForTwoSlots = 6; // then no more than a third of the room
constexpr std::int64_t kLeastChunk = 1 << 17;   // worth a call of another thread

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
    if (all <= room) return {plan, all, 0, 1, 1};
    const int slots = room >= kLargestForTwoSlots * largest ? 2 : 1;
    const std::int64_t chunk = std::max(largest, room / (kShareOfChunks * slots));
    return {plan, std::max(largest, room - slots * chunk), chunk, slots, 1};
}

// A cell is so much smaller than a slot that the panel which begins at its very end has room there, too.
PanelSchedule PanelSchedule::ofSolve(const FactorPlan& plan, std::int64_t room) noexcept
{
    const std::int64_t all = allOf(plan), largest = largestOf(plan);
    if (all <= room) return {plan, 0, all, kMostSlots, std::max(kLeastChunk, all / (kMostSlots / 2))};
    const std::int64_t slot = std::max(2 * largest, kLeastChunk);
    const auto slots = static_cast<int>(std::clamp<std::int64_t>(room / slot, 2, kMostSlots));
    if (room / slots >= largest) return {plan, 0, room / slots, slots, room / slots - largest + 1};
    const std::int64_t only = std::max(room, largest);
    return {plan, 0, only, 1, only - largest + 1};
}

bool PanelSchedule::holdsAll() const noexcept
{
    return chunkRoom_ == allOf(plan_);
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

std::int64_t PanelSchedule::cellOf(int J) const noexcept
{
    return (plan_.lowerStarts[J] + (plan_.upperStarts.empty() ? 0 : plan_.upperStarts[J])) / cell_;
}

PositionRange PanelSchedule::chunkWith(int J) const noexcept
{
    PositionRange range{J, J};
    const std::int64_t cell = cellOf(J);
    while (range.first > 0 && cellOf(range.first - 1) == cell) --range.first;
    while (range.last + 1 < supernodes() && cellOf(range.last + 1) == cell) ++range.last;
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

PositionRange PanelPass::first() const noexcept
{
    if (isByGroup()) return schedule_->chunkFrom(0, group_);
    return schedule_->chunkWith(step_ > 0 ? 0 : schedule_->supernodes() - 1);
}

PositionRange PanelPass::after(PositionRange chunk) const noexcept
{
    if (isByGroup()) return schedule_->chunkFrom(chunk.last + 1, group_);
    const int next = step_ > 0 ? chunk.last + 1 : chunk.first - 1;
    return next < 0 || next == schedule_->supernodes() ? PositionRange{0, -1} : schedule_->chunkWith(next);
}

} // namespace Velmar::Lintrix::detail::engine
