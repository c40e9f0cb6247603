#include "tests/support/failing_allocator.h"

#include <lintrix/services/system_allocator.h>

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

} // namespace Velmar::Lintrix::testing
