#include <lintrix/services/buffer_records.h>

#include <lintrix/services/system_allocator.h>

namespace Velmar::Lintrix::detail {

BufferRecord* BufferRecords::claim(std::size_t total) noexcept
{
    BufferRecord* exact = nullptr;
    BufferRecord* larger = nullptr;
    BufferRecord* smaller = nullptr;
    for (BufferRecord& record : records()) {
        if (record.inUse) continue;
        if (record.realSize == total) {
            exact = &record;
            break;
        }
        BufferRecord*& first = record.realSize > total ? larger : smaller;
        if (first == nullptr) first = &record;
    }
    BufferRecord* chosen = exact != nullptr ? exact : larger;
    if (chosen == nullptr) chosen = count_ < kRecords ? &records_[count_++] : smaller;
    if (chosen != nullptr) chosen->inUse = true;
    return chosen;
}

BufferRecord* BufferRecords::find(const void* address) noexcept
{
    for (BufferRecord& record : records())
        if (record.address == address) return &record;
    return nullptr;
}

std::size_t BufferRecords::freeIdle() noexcept
{
    std::size_t used = 0;
    for (BufferRecord& record : records()) {
        if (record.inUse) {
            ++used;
            continue;
        }
        if (record.block != nullptr) SystemAllocatorSlots().free(record.block);
        record = BufferRecord{};
    }
    if (used == 0) count_ = 0;
    return used;
}

} // namespace Velmar::Lintrix::detail
