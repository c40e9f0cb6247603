#include <lintrix/engine/call/handle.h>

#include <algorithm>
#include <array>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kFirstCleared = 3, kLastCleared = 17;
constexpr int kFirstOfAnalysis = 4, kLastOfAnalysis = 15;
constexpr int kSlots = 64;
constexpr std::array kSlotsOfSolves{Slot::RealWork, Slot::IterationWork, Slot::SolveParts};

void releaseBlock(void*& slot) noexcept
{
    alignedRelease(std::exchange(slot, nullptr));
}

bool hasFactor(const FactorEntry& entry) noexcept
{
    return entry.storage != nullptr ||
           entry.exchanges != nullptr; // the latter alone where panels are in files
}

void releaseOutOfCore(OutOfCoreTable* table) noexcept
{
    if (table == nullptr) return;
    alignedRelease(table->path);
    alignedRelease(table->control);
    alignedRelease(table->control2);
    alignedRelease(table->files);
    alignedRelease(table);
}

/// A zeroed block for a pointer of the table; `failure` keeps the first that could not be had.
template <class T>
void obtain(T*& place, std::int64_t count, BlockCode code, Failure& failure)
{
    place = Scratch<T>::zeroed(count).release();
    if (place == nullptr && !failure)
        failure = outOfMemory(code, count * static_cast<std::int64_t>(sizeof(T)));
}

Failure fillTable(OutOfCoreTable& table)
{
    Failure failure;
    obtain(table.path, OutOfCoreTable::kPathLength, BlockCode::OutOfCorePath, failure);
    obtain(table.control, OutOfCoreTable::kControlWords, BlockCode::OutOfCoreFiles, failure);
    obtain(table.control2, OutOfCoreTable::kControlWords, BlockCode::OutOfCoreFiles, failure);
    obtain(table.files, OutOfCoreTable::kFiles, BlockCode::OutOfCoreFiles, failure);
    if (!failure) std::fill_n(table.path, OutOfCoreTable::kPathLength, ' ');
    return failure;
}

} // namespace

BlockSum Handle::basicBlocks(int maxfct) noexcept
{
    return BlockSum()
        .add<ControlBlock>(1)
        .add<FactorEntry>(std::max(maxfct, 1))
        .add<OutOfCoreTable>(1)
        .add<char>(OutOfCoreTable::kPathLength)
        .add<std::int64_t>(OutOfCoreTable::kControlWords)
        .add<std::int64_t>(OutOfCoreTable::kControlWords)
        .add<void*>(OutOfCoreTable::kFiles);
}

Failure Handle::create(int maxfct)
{
    std::fill(slots_ + kFirstCleared, slots_ + kLastCleared + 1, nullptr);
    Scratch<ControlBlock> control = Scratch<ControlBlock>::zeroed(1);
    if (!control) return outOfMemory(BlockCode::Control, sizeof(ControlBlock));
    const std::int64_t entries = std::max(maxfct, 1);
    Scratch<FactorEntry> table = Scratch<FactorEntry>::zeroed(entries);
    if (!table) return outOfMemory(BlockCode::FactorTable, entries * std::int64_t{sizeof(FactorEntry)});
    control.get()->forgetAnalysis();
    (*control.get())[Word::Maxfct] = maxfct;
    for (FactorEntry& entry : table.span()) entry.size = kUnset;
    slots_[index(Slot::Control)] = control.release();
    slots_[index(Slot::FactorTable)] = table.release();
    setCalls(1);
    return {};
}

Failure Handle::createOutOfCoreControl()
{
    if (holds(Slot::OutOfCoreControl)) return {};
    OutOfCoreTable* const table = Scratch<OutOfCoreTable>::zeroed(1).release();
    if (table == nullptr) return outOfMemory(BlockCode::OutOfCoreControl, sizeof(OutOfCoreTable));
    if (const Failure failure = fillTable(*table)) {
        releaseOutOfCore(table);
        return failure;
    }
    slots_[index(Slot::OutOfCoreControl)] = table;
    return {};
}

Failure Handle::createGuest(const Handle& host) noexcept
{
    Scratch<ControlBlock> control = Scratch<ControlBlock>::uninitialised(1);
    if (!control) return outOfMemory(BlockCode::Control, sizeof(ControlBlock));
    *control.get() = host.control();
    (*control.get())[Word::Guest] = 1;
    (*control.get())[Word::SolveParts] = 0;
    std::copy_n(host.slots_, kSlots, slots_);
    for (const Slot slot : kSlotsOfSolves) slots_[index(slot)] = nullptr;
    slots_[index(Slot::Control)] = control.release();
    setCalls(1);
    return {};
}

void Handle::releaseGuest() noexcept
{
    for (const Slot slot : kSlotsOfSolves) release(slot);
    release(Slot::Control);
    std::fill_n(slots_, kSlots, nullptr);
}

void* Handle::allocate(Slot slot, std::int64_t bytes) noexcept
{
    return slots_[index(slot)] = Scratch<char>::zeroed(std::max<std::int64_t>(bytes, 1)).release();
}

void Handle::shrink(Slot slot, std::int64_t bytes) noexcept
{
    void*& block = slots_[index(slot)];
    const std::int64_t size = std::max<std::int64_t>(bytes, 1);
    if (void* smaller = alignedReallocate(block, static_cast<std::size_t>(size))) block = smaller;
}

void Handle::release(Slot slot) noexcept
{
    releaseBlock(slots_[index(slot)]);
}

void Handle::releaseFactor(FactorEntry& entry) noexcept
{
    alignedRelease(entry.storage);
    alignedRelease(entry.exchanges);
    entry = {};
    entry.size = kUnset;
}

int Handle::releaseAnalysis() noexcept
{
    const std::span<FactorEntry> table = factors();
    const auto count = std::count_if(table.begin(), table.end(), hasFactor);
    for (FactorEntry& entry : table) releaseFactor(entry);
    for (int slot = kLastOfAnalysis; slot >= kFirstOfAnalysis; --slot) releaseBlock(slots_[slot]);
    return static_cast<int>(count);
}

int Handle::releaseAll() noexcept
{
    const int count = releaseAnalysis();
    releaseOutOfCore(block<OutOfCoreTable>(Slot::OutOfCoreControl));
    slots_[index(Slot::OutOfCoreControl)] = nullptr;
    release(Slot::FactorTable);
    release(Slot::Control);
    setCalls(0);
    return count;
}

} // namespace Velmar::Lintrix::detail::engine
