#include <lintrix/engine/factorization/panel_schedule.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kShareOfChunks = 8;
constexpr std::int64_t kLargestForTwoSlots = 6; // then no more than a third of the room
constexpr std::int64_t kLeastSlot = 1 << 12;    // worth a call of another thread
constexpr std::int64_t kSlot = 1 << 15;         // worth a read of a disk, and within the cache of a core
constexpr std::int64_t kAtHand = 1 << 18;       // within that of the processor
constexpr int kFewestSlots = 8;
constexpr int kCells = 64; // of a room that holds all

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
    if (all <= room) return {plan, all, 0, 1};
    const int slots = room >= kLargestForTwoSlots * largest ? 2 : 1;
    const std::int64_t chunk = std::max(largest, room / (kShareOfChunks * slots));
    return {plan, std::max(largest, room - slots * chunk), chunk, slots};
}

// A cell is so much smaller than a slot that the panel which begins at its very end has room there, too.
PanelSchedule PanelSchedule::ofSolve(const FactorPlan& plan, std::int64_t room) noexcept
{
    const std::int64_t all = allOf(plan), largest = largestOf(plan);
    if (all <= room) return {plan, 0, all, kMostSlots, std::max(kLeastSlot, all / kCells), all};
    room = std::max(room, largest);
    const auto fewest = std::clamp<std::int64_t>(room / kLeastSlot, 2, kFewestSlots);
    const std::int64_t slots = std::clamp<std::int64_t>(room / kSlot, fewest, kMostSlots);
    const std::int64_t slot = room / slots, together = std::max<std::int64_t>(slot / 4, 1);
    return {plan, 0, slot, static_cast<int>(slots), std::max<std::int64_t>(slot - together + 1, 1), together};
}

int PanelSchedule::slotsAtHand() const noexcept
{
    const int fewest = std::min(4, slots_);
    return static_cast<int>(
        std::clamp<std::int64_t>(kAtHand / std::max<std::int64_t>(chunkRoom_, 1), fewest, slots_));
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

std::int64_t PanelSchedule::startOf(int J) const noexcept
{
    return plan_.lowerStarts[J] + (plan_.upperStarts.empty() ? 0 : plan_.upperStarts[J]);
}

std::int64_t PanelSchedule::elementsFrom(int J) const noexcept
{
    return allOf(plan_) - startOf(J);
}

PositionRange PanelSchedule::chunkWith(int J) const noexcept
{
    PositionRange range{J, J};
    if (elements(J) > largestTogether_) return range;
    const std::int64_t begin = startOf(J) / cell_ * cell_, end = begin + cell_;
    const auto belongs = [&](int K) {
        const std::int64_t start = startOf(K);
        return start >= begin && start < end && elements(K) <= largestTogether_;
    };
    while (range.first > 0 && belongs(range.first - 1)) --range.first;
    while (range.last + 1 < supernodes() && belongs(range.last + 1)) ++range.last;
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

std::int64_t PanelPass::left(PositionRange chunk) const noexcept
{
    if (step_ > 0) return schedule_->elementsFrom(chunk.first);
    return schedule_->elementsFrom(0) - schedule_->elementsFrom(chunk.last + 1);
}

} // namespace Velmar::Lintrix::detail::engine
