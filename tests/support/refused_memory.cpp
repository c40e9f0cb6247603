#include "tests/support/refused_memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace Velmar::Lintrix::testing {

namespace {

std::atomic<std::int64_t> live{0};

} // namespace

void* newBlock(std::size_t size)
{
    void* const block = refusesRequest() ? nullptr : std::malloc(size);
    if (!block) throw std::bad_alloc();
    ++live;
    return block;
}

void deleteBlock(void* block) noexcept
{
    if (block) --live;
    std::free(block);
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
