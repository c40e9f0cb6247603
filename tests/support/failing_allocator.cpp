#include "tests/support/failing_allocator.h"

#include <lintrix/services/system_allocator.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace Velmar::Lintrix::testing {

namespace {

std::atomic<int> untilRefusal{0}; // requests that pass first
std::atomic<bool> armed{false}, refusesRest{false}, failed{false};

void* failingMalloc(std::size_t size)
{
    return refusesRequest() ? nullptr : std::malloc(size);
}
void* failingCalloc(std::size_t count, std::size_t size)
{
    return refusesRequest() ? nullptr : std::calloc(count, size);
}
void* failingRealloc(void* block, std::size_t size)
{
    return refusesRequest() ? nullptr : std::realloc(block, size);
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

bool refusesRequest()
{
    if (!armed) return false;
    const int left = untilRefusal.fetch_sub(1);
    const bool refused = left == 0 || (left < 0 && refusesRest);
    if (refused) failed = true;
    return refused;
}

FailingAllocator::FailingAllocator(int k, Refused refused)
{
    SystemAllocatorSlots() = {failingMalloc, failingCalloc, failingRealloc, std::free};
    untilRefusal = k;
    refusesRest = refused == Refused::Rest;
    failed = false;
    armed = true;
}

FailingAllocator::~FailingAllocator()
{
    armed = false;
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
