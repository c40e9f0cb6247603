#include "tests/support/refused_memory.h"

#include <lintrix/services/system_allocator.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <new>

namespace Velmar::Lintrix::testing {

namespace {

std::atomic<int> untilRefusal{INT_MAX}; // requests that pass first
std::atomic<bool> armed{false}, refusesRest{false}, failed{false};
std::atomic<std::int64_t> live{0};

bool refuses()
{
    if (!armed) return false;
    const int left = untilRefusal.fetch_sub(1);
    const bool refused = left == 0 || (left < 0 && refusesRest);
    if (refused) failed = true;
    return refused;
}

void* failingMalloc(std::size_t size)
{
    return refuses() ? nullptr : std::malloc(size);
}
void* failingCalloc(std::size_t count, std::size_t size)
{
    return refuses() ? nullptr : std::calloc(count, size);
}
void* failingRealloc(void* block, std::size_t size)
{
    return refuses() ? nullptr : std::realloc(block, size);
}

} // namespace

void* newBlock(std::size_t size)
{
    void* const block = refuses() ? nullptr : std::malloc(size);
    if (!block) throw std::bad_alloc();
    ++live;
    return block;
}

void deleteBlock(void* block) noexcept
{
    if (block) --live;
    std::free(block);
}

FailingMemory::FailingMemory(int k, Refused refused)
{
    SystemAllocatorSlots() = {failingMalloc, failingCalloc, failingRealloc, std::free};
    untilRefusal = k;
    refusesRest = refused == Refused::Rest;
    failed = false;
    armed = true;
}

FailingMemory::~FailingMemory()
{
    armed = false;
    SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
}

bool FailingMemory::hasFailed() const
{
    return failed;
}

std::int64_t liveNewBlocks()
{
    return live;
}

} // namespace Velmar::Lintrix::testing

// The forms for arrays and for requests that do not raise come here by the standard library's defaults.
void* operator new(std::size_t size)
{
    return Velmar::Lintrix::testing::newBlock(size > 0 ? size : 1);
}
void operator delete(void* block) noexcept
{
    Velmar::Lintrix::testing::deleteBlock(block);
}
void operator delete(void* block, std::size_t) noexcept
{
    Velmar::Lintrix::testing::deleteBlock(block);
}
