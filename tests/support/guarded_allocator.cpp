#include "tests/support/guarded_allocator.h"

#include <lintrix/services/system_allocator.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>

#include <sys/mman.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {

namespace {

struct Mapping {
    void* start;
    std::size_t bytes; ///< with the page that may not be touched
    std::size_t size;  ///< of the block
};

std::mutex access;
std::map<void*, Mapping> blocks;

void* guardedMalloc(std::size_t size)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t held = (size + 15) / 16 * 16, pages = (held + page - 1) / page * page;
    void* const start =
        mmap(nullptr, pages + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (start == MAP_FAILED) return nullptr;
    mprotect(static_cast<char*>(start) + pages, page, PROT_NONE);
    void* const block = static_cast<char*>(start) + pages - held;
    const std::lock_guard lock(access);
    blocks[block] = {start, pages + page, size};
    return block;
}

void guardedFree(void* block)
{
    if (block == nullptr) return;
    const std::lock_guard lock(access);
    const auto found = blocks.find(block);
    munmap(found->second.start, found->second.bytes);
    blocks.erase(found);
}

void* guardedCalloc(std::size_t count, std::size_t size)
{
    return guardedMalloc(count * size); // fresh pages are zero
}

void* guardedRealloc(void* block, std::size_t size)
{
    void* const fresh = guardedMalloc(size);
    if (block == nullptr || fresh == nullptr) return fresh;
    std::size_t old = 0;
    {
        const std::lock_guard lock(access);
        old = blocks.at(block).size;
    }
    std::memcpy(fresh, block, std::min(old, size));
    guardedFree(block);
    return fresh;
}

} // namespace

GuardedAllocator::GuardedAllocator()
{
    SystemAllocatorSlots() = {guardedMalloc, guardedCalloc, guardedRealloc, guardedFree};
}

GuardedAllocator::~GuardedAllocator()
{
    SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
}

} // namespace Velmar::Lintrix::testing
