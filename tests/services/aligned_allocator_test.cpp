#include "tests/services/slot_recorder.h"

#include <lintrix/services/aligned_allocator.h>
#include <lintrix/services/system_allocator.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Velmar::Lintrix::testing::SlotRecorder;

namespace {

constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();

bool isAligned(const void* address, std::size_t alignment)
{
    return reinterpret_cast<std::uintptr_t>(address) % alignment == 0;
}

/// The header word: the system block's address, right before the address handed out.
std::byte* blockOf(const void* address)
{
    std::byte* block;
    std::memcpy(&block, static_cast<const std::byte*>(address) - sizeof block, sizeof block);
    return block;
}

std::ptrdiff_t offsetOf(const void* address)
{
    return static_cast<const std::byte*>(address) - blockOf(address);
}

void fill(void* address, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i)
        static_cast<unsigned char*>(address)[i] = static_cast<unsigned char>(i * 7);
}

bool isFilled(const void* address, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i) {
        if (static_cast<const unsigned char*>(address)[i] != static_cast<unsigned char>(i * 7)) return false;
    }
    return true;
}

TEST(AlignedAllocate, HonoursPowersOfTwoFromEightOn)
{
    SlotRecorder slots;
    for (const std::size_t alignment : {8U, 16U, 32U, 64U, 128U, 4096U, 65536U}) {
        void* const address = alignedAllocate(100, alignment);
        EXPECT_TRUE(isAligned(address, alignment)) << alignment;
        EXPECT_EQ(slots.sizeOf(blockOf(address)), 100 + alignment + 8);
        fill(address, 100);
        alignedRelease(address);
    }
    EXPECT_EQ(slots.live(), 0U);
}

TEST(AlignedAllocate, TakesSixtyFourForOtherNumbersFromEightOn)
{
    SlotRecorder slots;
    for (const std::size_t alignment : {9U, 12U, 24U, 100U, 129U, 1000U}) {
        void* const address = alignedAllocate(100, alignment);
        EXPECT_TRUE(isAligned(address, 64)) << alignment;
        EXPECT_EQ(slots.sizeOf(blockOf(address)), 100U + 64 + 8);
        alignedRelease(address);
    }
    EXPECT_EQ(slots.live(), 0U);
}

TEST(AlignedAllocate, AlignsNothingBelowEight)
{
    SlotRecorder slots;
    for (const std::size_t alignment : {0U, 1U, 2U, 3U, 4U, 7U}) {
        void* const address = alignedAllocate(100, alignment);
        EXPECT_EQ(offsetOf(address), 8) << alignment;
        EXPECT_EQ(slots.sizeOf(blockOf(address)), 100U + 8);
        alignedRelease(address);
    }
    EXPECT_EQ(slots.live(), 0U);
}

TEST(AlignedAllocate, GivesNullForZeroSizeAndAsksNobody)
{
    SlotRecorder slots;
    EXPECT_EQ(alignedAllocate(0, 64), nullptr);
    EXPECT_EQ(alignedAllocateZeroed(0, 8, 64), nullptr);
    EXPECT_EQ(alignedAllocateZeroed(8, 0, 64), nullptr);
    EXPECT_EQ(alignedAllocateZeroed(0, 0, 64), nullptr);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST(AlignedAllocate, GivesNullForSizesThatOverflowAndAsksNobody)
{
    SlotRecorder slots;
    EXPECT_EQ(alignedAllocate(kMost, 0), nullptr);
    EXPECT_EQ(alignedAllocate(kMost - 7, 0), nullptr);
    EXPECT_EQ(alignedAllocate(kMost - 71, 64), nullptr);
    EXPECT_EQ(alignedAllocate(std::size_t{1} << 63, std::size_t{1} << 63), nullptr);
    EXPECT_EQ(alignedAllocateZeroed(kMost / 2, 3, 8), nullptr);
    EXPECT_EQ(alignedAllocateZeroed(std::size_t{1} << 32, std::size_t{1} << 32, 8), nullptr);
    EXPECT_EQ(alignedAllocateZeroed(kMost, 1, 8), nullptr);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST(AlignedAllocate, GivesNullWhenTheSystemHasNoMemory)
{
    SlotRecorder slots;
    slots.failFrom(0);
    EXPECT_EQ(alignedAllocate(100, 64), nullptr);
    EXPECT_EQ(alignedAllocateZeroed(10, 10, 64), nullptr);
    EXPECT_THAT(slots.calls(), ElementsAre("malloc 172", "calloc 172"));
    EXPECT_EQ(slots.live(), 0U);
}

TEST(AlignedAllocateZeroed, ClearsEveryElement)
{
    SlotRecorder slots;
    for (const std::size_t alignment : {0U, 8U, 128U}) {
        void* const address = alignedAllocateZeroed(1000, 8, alignment);
        const auto* const bytes = static_cast<const unsigned char*>(address);
        EXPECT_TRUE(std::all_of(bytes, bytes + 8000, [](unsigned char b) { return b == 0; }));
        EXPECT_EQ(slots.sizeOf(blockOf(address)), 8000 + alignment + 8);
        alignedRelease(address);
    }
    EXPECT_EQ(slots.live(), 0U);
}

TEST(AlignedReallocate, KeepsContentAndOffset)
{
    SlotRecorder slots;
    for (const std::size_t alignment : {0U, 8U, 64U, 128U}) {
        for (const std::size_t size : {1U, 50U, 100U, 101U, 1000000U}) {
            void* address = alignedAllocate(100, alignment);
            fill(address, 100);
            const std::ptrdiff_t offset = offsetOf(address);
            address = alignedReallocate(address, size);
            ASSERT_NE(address, nullptr);
            EXPECT_EQ(offsetOf(address), offset);
            EXPECT_EQ(slots.sizeOf(blockOf(address)), size + static_cast<std::size_t>(offset));
            EXPECT_TRUE(isFilled(address, std::min<std::size_t>(size, 100)));
            alignedRelease(address);
        }
    }
    EXPECT_EQ(slots.live(), 0U);
}

// A system whose blocks lie 16 bytes past a multiple of 128, and after a reallocation 48 bytes past one.
alignas(128) std::array<std::byte, 4096> arena;
void* arenaMalloc(std::size_t)
{
    return arena.data() + 16;
}
void* arenaRealloc(void* block, std::size_t)
{
    return std::memmove(arena.data() + 2048 + 48, block, 1000);
}

TEST(AlignedReallocate, KeepsTheOffsetAndNotTheAlignmentWhenTheBlockMoves)
{
    SystemAllocatorSlots() = {arenaMalloc, std::calloc, arenaRealloc, [](void*) {}};
    void* const address = alignedAllocate(100, 128);
    EXPECT_TRUE(isAligned(address, 128));
    EXPECT_EQ(offsetOf(address), 112);
    fill(address, 100);
    void* const moved = alignedReallocate(address, 200);
    EXPECT_EQ(blockOf(moved), arena.data() + 2048 + 48);
    EXPECT_EQ(offsetOf(moved), 112);
    EXPECT_FALSE(isAligned(moved, 128));
    EXPECT_TRUE(isFilled(moved, 100));
    alignedRelease(moved);
    SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
}

TEST(AlignedReallocate, LeavesTheOldBlockWhenItGivesNull)
{
    SlotRecorder slots;
    void* const address = alignedAllocate(100, 64);
    fill(address, 100);
    EXPECT_EQ(alignedReallocate(address, 0), nullptr);
    EXPECT_EQ(alignedReallocate(address, kMost), nullptr);
    EXPECT_EQ(alignedReallocate(address, kMost - 7), nullptr);
    EXPECT_THAT(slots.calls(), ElementsAre("malloc 172"));
    slots.failFrom(0);
    EXPECT_EQ(alignedReallocate(address, 200), nullptr);
    EXPECT_TRUE(isFilled(address, 100));
    alignedRelease(address);
    EXPECT_EQ(slots.live(), 0U);
}

TEST(AlignedReallocate, AllocatesInPlaceOfNull)
{
    SlotRecorder slots;
    void* const address = alignedReallocate(nullptr, 100);
    EXPECT_EQ(offsetOf(address), 8);
    EXPECT_EQ(alignedReallocate(nullptr, 0), nullptr);
    alignedRelease(address);
    EXPECT_EQ(slots.live(), 0U);
}

TEST(AlignedRelease, IgnoresNull)
{
    SlotRecorder slots;
    alignedRelease(nullptr);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

} // namespace
