// One table of up to 1024 threads, each with its own pool.
//
// Who may touch what. The service lock guards the table: adding a thread, MKL_FreeBuffers, and the search for
// a buffer in the pools of others. Each entry has a gate, a spin lock of its own, that is held for every look
// into its pool. The thread that owns the entry passes its gate without the service lock, so that between
// calls of MKL_FreeBuffers nobody else comes near it: one uncontended exchange on a cache line of its own.
//
// Order: service lock, then gates by rising entry number. An owner holds its own gate only, and never asks
// for the service lock while it does.
//
// Neither is held while the system's malloc runs on behalf of a request, nor while a replaced block is freed:
// a host's allocator may answer a shortage by calling MKL_FreeBuffers. The record in question is marked as in
// use meanwhile, which keeps its pool alive.
//
// An entry is recognised by the thread identifier in it. The runtime gives the identifier of an ended thread
// to a later one, which so takes up the pool that was left behind.

#include <lintrix/services/buffer_pool.h>

#include <lintrix/services/alignment.h>
#include <lintrix/services/buffer_records.h>
#include <lintrix/services/environment.h>
#include <lintrix/services/service_lock.h>
#include <lintrix/services/system_allocator.h>

#include <pthread.h>

#include <array>
#include <atomic>
#include <mutex>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix {

namespace {

using detail::BufferRecord;
using detail::BufferRecords;
using detail::SpinLock;
using ThreadId = pthread_t; // compared on each request, so taken from a register and not from the kernel

constexpr ThreadId kNobody = 0;
constexpr std::size_t kThreads = 1024;
constexpr std::size_t kSmallestAlignment = 4;

/// A line of the table; on a cache line of its own, since its owner writes to the gate on each request.
struct alignas(64) Entry {
    SpinLock gate;
    std::atomic<ThreadId> owner{kNobody};
    BufferRecords* pool = nullptr;
};

constinit std::array<Entry, kThreads> table;
constinit std::atomic<std::size_t> threadCount{0};

/// This thread's entry number, counted from 1; 0 for none. Only a hint: MKL_FreeBuffers may have cleared the
/// table since, and the identifier in the entry decides.
constinit thread_local std::size_t entryNumber = 0;

using Gate = std::unique_lock<SpinLock>;

std::span<Entry> entries()
{
    return {table.data(), threadCount.load(std::memory_order_acquire)};
}

bool poolingDisabled()
{
    static constinit detail::FoundOnce<bool> disabled;
    return disabled.get([] {
        return detail::environmentHas("MKL_DISABLE_FAST_MM") || detail::environmentHas("MKL_MM_DISABLE");
    });
}

/// The entry of the calling thread with its gate held, or null without a gate.
struct OwnEntry {
    Entry* entry = nullptr;
    Gate gate;
};

/// Entry `number` if it is that of thread `self`.
OwnEntry enter(std::size_t number, ThreadId self)
{
    Entry& entry = table[number - 1];
    if (entry.owner.load(std::memory_order_relaxed) != self) return {};
    Gate gate(entry.gate);
    // The table may have been cleared before the gate was passed.
    if (entry.owner.load(std::memory_order_relaxed) != self) return {};
    return {&entry, std::move(gate)};
}

/// The entry that the hint names, else the last in the table that bears the identifier.
OwnEntry findOwn(ThreadId self)
{
    if (entryNumber != 0) {
        if (OwnEntry own = enter(entryNumber, self); own.entry != nullptr) return own;
    }
    for (std::size_t number = entries().size(); number > 0; --number) {
        OwnEntry own = enter(number, self);
        if (own.entry == nullptr) continue;
        entryNumber = number;
        return own;
    }
    return {};
}

/// Puts `pool` in the table as that of thread `self`; false when the table is full.
bool addEntry(ThreadId self, BufferRecords* pool)
{
    const std::lock_guard guard(detail::serviceLock());
    const std::size_t count = entries().size();
    if (count == kThreads) return false;
    Entry& entry = table[count];
    const Gate gate(entry.gate);
    entry.pool = pool;
    entry.owner.store(self, std::memory_order_relaxed);
    threadCount.store(count + 1, std::memory_order_release);
    entryNumber = count + 1;
    return true;
}

/// A new and empty pool for thread `self`; false when the table is full or the system has no memory.
bool addPool(ThreadId self)
{
    if (entries().size() == kThreads) return false;
    void* const memory = SystemAllocatorSlots().malloc(sizeof(BufferRecords));
    if (memory == nullptr) return false;
    if (addEntry(self, new (memory) BufferRecords)) return true;
    SystemAllocatorSlots().free(memory);
    return false;
}

OwnEntry findOrAddOwn(ThreadId self)
{
    for (;;) {
        OwnEntry own = findOwn(self);
        if (own.entry != nullptr || !addPool(self)) return own;
        // Once more: MKL_FreeBuffers on another thread may have taken the idle pool away again.
    }
}

void handOut(BufferRecord& record, std::size_t size, std::size_t alignment)
{
    record.size = size;
    record.address = detail::alignedAddress(record.block, alignment);
}

/// Gives the record, claimed and with its gate held, a block of `total` bytes in place of the one it may
/// have. Returns false, leaving the record empty and free, when the system has no memory. The gate is open
/// meanwhile.
bool replaceBlock(BufferRecord& record, std::size_t total, Gate& gate)
{
    void* const old = record.block;
    record = BufferRecord{};
    record.inUse = true;
    gate.unlock();
    if (old != nullptr) SystemAllocatorSlots().free(old);
    void* const block = SystemAllocatorSlots().malloc(total);
    gate.lock();
    record.block = block;
    record.realSize = block != nullptr ? total : 0;
    record.inUse = block != nullptr;
    return record.inUse;
}

/// Marks the record of `address` in `pool` as free; false when there is none.
bool releaseIn(BufferRecords& pool, const void* address)
{
    BufferRecord* const record = pool.find(address);
    if (record == nullptr) return false;
    record->inUse = false;
    return true;
}

bool releaseInOwn(const void* address)
{
    const OwnEntry own = findOwn(pthread_self());
    return own.entry != nullptr && releaseIn(*own.entry->pool, address);
}

bool releaseInOthers(const void* address)
{
    const std::lock_guard guard(detail::serviceLock());
    for (Entry& entry : entries()) {
        const Gate gate(entry.gate);
        if (releaseIn(*entry.pool, address)) return true;
    }
    return false;
}

void freePools(std::span<Entry> used)
{
    for (Entry& entry : used) {
        static_assert(std::is_trivially_destructible_v<BufferRecords>);
        SystemAllocatorSlots().free(entry.pool);
        entry.pool = nullptr;
        entry.owner.store(kNobody, std::memory_order_relaxed);
    }
    threadCount.store(0, std::memory_order_release);
}

} // namespace

void MKL_FreeBuffers()
{
    // All gates at once: between the count and the freeing of the pools no owner may take a buffer. With the
    // pool off the table is empty.
    const std::lock_guard guard(detail::serviceLock());
    const std::span<Entry> all = entries();
    for (Entry& entry : all) entry.gate.lock();
    std::size_t inUse = 0;
    for (Entry& entry : all) inUse += entry.pool->freeIdle();
    if (inUse == 0) freePools(all);
    for (Entry& entry : all) entry.gate.unlock();
}

namespace detail {

void* poolAllocate(std::size_t size, std::size_t alignment) noexcept
{
    if (size == 0) return nullptr;
    if (poolingDisabled() || size > kLargestPooled) return SystemAllocatorSlots().malloc(size);

    OwnEntry own = findOrAddOwn(pthread_self());
    if (own.entry == nullptr) return SystemAllocatorSlots().malloc(size);

    const std::size_t effective = effectiveAlignment(alignment, kSmallestAlignment);
    const std::size_t total = size + effective; // wherever the block lies, the aligned buffer fits
    BufferRecord* const record = own.entry->pool->claim(total);
    if (record == nullptr) {
        own.gate.unlock();
        return SystemAllocatorSlots().malloc(size);
    }
    if (record->realSize < total && !replaceBlock(*record, total, own.gate)) return nullptr;
    handOut(*record, size, effective);
    return record->address;
}

void poolRelease(void* address) noexcept
{
    if (address == nullptr || releaseInOwn(address) || releaseInOthers(address)) return;
    SystemAllocatorSlots().free(address);
}

} // namespace detail
} // namespace Velmar::Lintrix
