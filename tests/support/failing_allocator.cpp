#include "tests/support/failing_allocator.h"

#include <lintrix/services/system_allocator.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
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

std::atomic<std::int64_t> requested{0};

void* meteredMalloc(std::size_t size)
{
    requested += static_cast<std::int64_t>(size);
    return std::malloc(size);
}
void* meteredCalloc(std::size_t count, std::size_t size)
{
    requested += static_cast<std::int64_t>(count * size);
    return std::calloc(count, size);
}
void* meteredRealloc(void* block, std::size_t size)
{
    requested += static_cast<std::int64_t>(size);
    return std::realloc(block, size);
}

void restoreSlots()
{
    SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
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
    restoreSlots();
}

bool FailingAllocator::hasFailed() const
{
    return failed;
}

AllocationMeter::AllocationMeter()
{
    requested = 0;
    SystemAllocatorSlots() = {meteredMalloc, meteredCalloc, meteredRealloc, std::free};
}

AllocationMeter::~AllocationMeter()
{
    restoreSlots();
}

std::int64_t AllocationMeter::bytes() const
{
    return requested;
}

CappedAllocator::CappedAllocator(std::size_t most)
{
    limit = most;
    largestRefusal = 0;
    SystemAllocatorSlots() = {cappedMalloc, std::calloc, std::realloc, std::free};
}

CappedAllocator::~CappedAllocator()
{
    restoreSlots();
}

std::size_t CappedAllocator::largestRefused() const
{
    return largestRefusal;
}

} // namespace Velmar::Lintrix::testing
