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

// The forms for arrays come here by the standard library's defaults; under a sanitizer they are its own, and
// go together. The form that does not raise is released by the plain one, so that it has to be of the same
// kind there, too.
void* operator new(std::size_t size)
{
    return Velmar::Lintrix::testing::newBlock(size > 0 ? size : 1);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* block) noexcept
{
    Velmar::Lintrix::testing::deleteBlock(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept
{
    Velmar::Lintrix::testing::deleteBlock(block);
}
void operator delete(void* block, std::size_t) noexcept
{
    Velmar::Lintrix::testing::deleteBlock(block);
}
