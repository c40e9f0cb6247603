#include "tests/support/poisoned_allocator.h"

#include <lintrix/services/system_allocator.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace Velmar::Lintrix::testing {

namespace {

std::atomic<unsigned char> poison{0};

void* poisonedMalloc(std::size_t size)
{
    void* block = std::malloc(size);
    if (block) std::memset(block, poison, size);
    return block;
}

} // namespace

PoisonedAllocator::PoisonedAllocator(unsigned char byte)
{
    poison = byte;
    SystemAllocatorSlots() = {poisonedMalloc, std::calloc, std::realloc, std::free};
}

PoisonedAllocator::~PoisonedAllocator()
{
    SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
}

} // namespace Velmar::Lintrix::testing
