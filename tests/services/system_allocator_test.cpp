#include "tests/services/slot_recorder.h"

#include <lintrix/services/aligned_allocator.h>
#include <lintrix/services/buffer_pool.h>
#include <lintrix/services/system_allocator.h>

#include <gmock/gmock.h>

#include <cstdlib>

using namespace Velmar::Lintrix;
using ::testing::ElementsAre;
using Velmar::Lintrix::testing::SlotRecorder;

namespace {

TEST(SystemAllocator, IsTheCRuntimesByDefault)
{
    EXPECT_EQ(SystemAllocatorSlots().malloc, &std::malloc);
    EXPECT_EQ(SystemAllocatorSlots().calloc, &std::calloc);
    EXPECT_EQ(SystemAllocatorSlots().realloc, &std::realloc);
    EXPECT_EQ(SystemAllocatorSlots().free, &std::free);
}

TEST(SystemAllocator, ServesEveryKindOfRequestThroughItsSlot)
{
    SlotRecorder slots;
    void* const plain = detail::alignedAllocate(100, 8);
    void* const zeroed = detail::alignedAllocateZeroed(10, 10, 8);
    void* const moved = detail::alignedReallocate(plain, 200);
    detail::alignedRelease(moved);
    detail::alignedRelease(zeroed);
    EXPECT_THAT(slots.calls(), ElementsAre("malloc 116", "calloc 116", "realloc 208", "free", "free"));
    EXPECT_EQ(slots.live(), 0U);
}

TEST(SystemAllocator, ServesThePoolItselfToo)
{
    MKL_FreeBuffers();
    SlotRecorder slots;
    detail::poolRelease(detail::poolAllocate(100, 0));
    EXPECT_EQ(slots.calls().size(), 2U); // the pool's records, and the block
    EXPECT_EQ(slots.live(), 2U);
    MKL_FreeBuffers();
    EXPECT_THAT(slots.calls(), ElementsAre("free", "free"));
    EXPECT_EQ(slots.live(), 0U);
}

} // namespace
