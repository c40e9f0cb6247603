#include "tests/support/failing_allocator.h"

#include <lintrix/services/system_allocator.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace Velmar::Lintrix::testing {

namespace {

std::atomic<int> countdown{0};
std::atomic<bool> failed{false};

bool refuses()
{
    if (countdown.fetch_sub(1) > 0) return false;
    failed = true;
    return true;
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

std::atomic<std::size_t> limit{0}, largestRefusal{0};

void* cappedMalloc(std::size_t size)
{
    if (size <= limit) return std::malloc(size);
    largestRefusal = std::max<std::size_t>(largestRefusal, size);
    return nullptr;
}

} // namespace

FailingAllocator::FailingAllocator(int k)
{
    countdown = k;
    failed = false;
    SystemAllocatorSlots() = {failingMalloc, failingCalloc, failingRealloc, std::free};
}

FailingAllocator::~FailingAllocator()
{
    SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
}

bool FailingAllocator::hasFailed() const
{
    return failed;
}

CappedAllocator::CappedAllocator(std::size_t most)
{
    limit = most;
    largestRefusal = 0;
    SystemAllocatorSlots() = {cappedMalloc, std::calloc, std::realloc, std::free};
}

CappedAllocator::~CappedAllocator()
{
    SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
}

std::size_t CappedAllocator::largestRefused() const
{
    return largestRefusal;
}

} // namespace Velmar::Lintrix::testing
