// Where blocks of a prepared heap lie. Sanitizers have an allocator of their own, which heeds none of this.

#include <tools/support/heap.h>

#include "tests/support/sanitized.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <unistd.h>

namespace Velmar::Lintrix::testing {
namespace {

struct Freed {
    void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<void, Freed>;

Block touched(std::size_t bytes)
{
    Block block(std::malloc(bytes));
    std::memset(block.get(), 1, bytes);
    return block;
}

bool isOnHeap(const Block& block)
{
    return !LINTRIX_SANITIZED_MEMORY &&
           reinterpret_cast<std::uintptr_t>(block.get()) < reinterpret_cast<std::uintptr_t>(sbrk(0));
}

constexpr std::size_t kMegabyte = 1 << 20;

TEST(PrepareHeap, KeepsBlocksOfAMegabyteAndMapsAloneWhatHasNoRoom)
{
    tools::prepareHeap();
    const Block large = touched(100 * kMegabyte), small = touched(kMegabyte);
    EXPECT_FALSE(isOnHeap(large));
    EXPECT_EQ(isOnHeap(small), !LINTRIX_SANITIZED_MEMORY);
}

TEST(PrepareHeap, GivesNothingBackBetweenBlocks)
{
    tools::prepareHeap();
    const void* const before = sbrk(0);
    for (int k = 0; k < 20; ++k) touched(4 * kMegabyte);
    EXPECT_EQ(sbrk(0), before);
}

} // namespace
} // namespace Velmar::Lintrix::testing
