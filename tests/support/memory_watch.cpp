#include "tests/support/memory_watch.h"

#include <lintrix/services/system_allocator.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <unordered_map>

namespace Velmar::Lintrix::testing {

namespace {

std::mutex books;
std::unordered_map<void*, std::int64_t> sizes;
HeldMemory now, most;

void enter(std::int64_t bytes, int sign)
{
    now.bytes += sign * bytes;
    now.kilobytes += sign * ((bytes + 1023) / 1024);
    most = {std::max(most.bytes, now.bytes), std::max(most.kilobytes, now.kilobytes)};
}

void* entered(void* block, std::size_t size)
{
    if (block == nullptr) return nullptr;
    const std::lock_guard guard(books);
    sizes[block] = static_cast<std::int64_t>(size);
    enter(static_cast<std::int64_t>(size), 1);
    return block;
}

// A block from before the watch is in no book.
void strike(void* block)
{
    const std::lock_guard guard(books);
    const auto place = sizes.find(block);
    if (place == sizes.end()) return;
    enter(place->second, -1);
    sizes.erase(place);
}

void* watchedMalloc(std::size_t size)
{
    return entered(std::malloc(size), size);
}
void* watchedCalloc(std::size_t count, std::size_t size)
{
    return entered(std::calloc(count, size), count * size);
}
// Another thread may be given the old address as soon as it is free.
void* watchedRealloc(void* block, std::size_t size)
{
    strike(block);
    return entered(std::realloc(block, size), size);
}
void watchedFree(void* block)
{
    strike(block);
    std::free(block);
}

} // namespace

MemoryWatch::MemoryWatch()
{
    sizes.clear();
    now = most = {};
    SystemAllocatorSlots() = {watchedMalloc, watchedCalloc, watchedRealloc, watchedFree};
}

MemoryWatch::~MemoryWatch()
{
    SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
}

HeldMemory MemoryWatch::held() const
{
    const std::lock_guard guard(books);
    return now;
}

HeldMemory MemoryWatch::peak() const
{
    const std::lock_guard guard(books);
    return most;
}

void MemoryWatch::restartPeak()
{
    const std::lock_guard guard(books);
    most = now;
}

} // namespace Velmar::Lintrix::testing
