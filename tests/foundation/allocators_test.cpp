// The allocators: sizes, alignment, accounting, the same-size shortcut, and what a failure leaves behind.

#include <lintrix/foundation/allocators.h>

#include <lintrix/foundation/configuration.h>
#include <lintrix/services/system_allocator.h>

#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

constexpr const char* kNotEnoughMemory = "There is not enough memory to continue the execution.";

std::int64_t total()
{
    return TrellConfiguration::TotalMemory();
}

// The three typed families under one set of names.
struct Doubles {
    static constexpr std::uint64_t kBytes = 8;
    static double* take(std::uint64_t size) { return _malloc_double(size); }
    static double* resize(double* block, std::uint64_t size) { return _realloc_double(block, size); }
};
struct Complexes {
    static constexpr std::uint64_t kBytes = 16;
    static _TRELL_Complex* take(std::uint64_t size) { return _malloc_Complex(size); }
    static _TRELL_Complex* resize(_TRELL_Complex* block, std::uint64_t size)
    {
        return _realloc_Complex(block, size);
    }
};
struct Integers {
    static constexpr std::uint64_t kBytes = 4;
    static std::int32_t* take(std::uint64_t size) { return _malloc_int(size); }
    static std::int32_t* resize(std::int32_t* block, std::uint64_t size) { return _realloc_int(block, size); }
};

template <class Family>
class AllocatorTest : public ::testing::Test {
};

using Families = ::testing::Types<Doubles, Complexes, Integers>;
TYPED_TEST_SUITE(AllocatorTest, Families);

TYPED_TEST(AllocatorTest, BlockHasTheSizeOfItsElementsButAtLeastSixteenBytes)
{
    for (const std::uint64_t size : {0, 1, 2, 3, 4, 5, 7, 100, 1001, 9000000}) {
        const std::int64_t before = total();
        auto* block = TypeParam::take(size);
        const std::uint64_t expected = std::max<std::uint64_t>(16, size * TypeParam::kBytes);
        EXPECT_EQ(blockBytes(block), expected);
        EXPECT_EQ(total(), before + static_cast<std::int64_t>(expected));
        std::memset(static_cast<void*>(block), 0x5a, expected); // all of it is ours
        _free_mem_int(block);
        EXPECT_EQ(total(), before);
    }
}

TYPED_TEST(AllocatorTest, EveryBlockIsAlignedToSixteenBytes)
{
    std::vector<void*> blocks;
    for (std::uint64_t size = 0; size < 70; ++size) blocks.push_back(TypeParam::take(size * size));
    for (void* block : blocks) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
        _free_mem_int(block);
    }
}

// A system allocator whose blocks stand 8 bytes past a multiple of 16, or on one, in turn.
class CrookedSystem {
public:
    CrookedSystem() { SystemAllocatorSlots() = {take, clear, resize, give}; }
    ~CrookedSystem() { SystemAllocatorSlots() = saved_; }
    CrookedSystem(const CrookedSystem&) = delete;
    CrookedSystem& operator=(const CrookedSystem&) = delete;

private:
    // In front of each block: where the true one begins, and the size.
    struct Note {
        void* start;
        std::size_t size;
    };
    static Note* noteOf(void* block) { return static_cast<Note*>(block) - 1; }
    static void* take(std::size_t size)
    {
        static std::size_t shift = 0;
        shift = 8 - shift;
        auto* const start = static_cast<std::byte*>(std::malloc(size + 48));
        void* const block = start + 32 + shift;
        *noteOf(block) = {start, size};
        return block;
    }
    static void* clear(std::size_t count, std::size_t size)
    {
        return std::memset(take(count * size), 0, count * size);
    }
    static void* resize(void* block, std::size_t size)
    {
        void* const moved = take(size);
        std::memcpy(moved, block, std::min(size, noteOf(block)->size));
        give(block);
        return moved;
    }
    static void give(void* block)
    {
        if (block != nullptr) std::free(noteOf(block)->start);
    }

    SystemAllocator saved_ = SystemAllocatorSlots();
};

TYPED_TEST(AllocatorTest, BlocksAreAlignedWhateverTheSystemAllocatorGives)
{
    const CrookedSystem system;
    for (int k = 0; k < 4; ++k) {
        auto* block = TypeParam::take(4);
        std::memcpy(static_cast<void*>(block), "0123456789abcdef", 16);
        for (const std::uint64_t size : {100, 7, 1000, 1001, 64}) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
            block = TypeParam::resize(block, size);
            EXPECT_EQ(blockBytes(block), size * TypeParam::kBytes);
            EXPECT_EQ(std::memcmp(static_cast<const void*>(block), "0123456789abcdef", 16), 0);
        }
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
        _free_mem_int(block);
    }
}

TYPED_TEST(AllocatorTest, ResizeKeepsTheContentsUpToTheSmallerSize)
{
    const std::int64_t before = total();
    constexpr std::uint64_t kStart = 64;
    auto* block = TypeParam::take(kStart);
    for (std::uint64_t k = 0; k < kStart * TypeParam::kBytes; ++k) {
        reinterpret_cast<unsigned char*>(block)[k] = static_cast<unsigned char>(k * 7);
    }
    std::uint64_t kept = kStart;
    for (const std::uint64_t size : {100, 5000, 60, 1000000, 20, 4}) {
        block = TypeParam::resize(block, size);
        kept = std::min(kept, size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
        EXPECT_EQ(blockBytes(block), size * TypeParam::kBytes);
        EXPECT_EQ(total(), before + static_cast<std::int64_t>(size * TypeParam::kBytes));
        for (std::uint64_t k = 0; k < kept * TypeParam::kBytes; ++k) {
            ASSERT_EQ(reinterpret_cast<unsigned char*>(block)[k], static_cast<unsigned char>(k * 7));
        }
    }
    _free_mem_int(block);
    EXPECT_EQ(total(), before);
}

TYPED_TEST(AllocatorTest, SameSizeReturnsTheBlockWithoutAskingTheSystem)
{
    auto* block = TypeParam::take(100);
    const std::int64_t before = total();
    {
        const FailingAllocator none(0); // any request would fail
        EXPECT_EQ(TypeParam::resize(block, 100), block);
        EXPECT_FALSE(none.hasFailed());
    }
    EXPECT_EQ(total(), before);
    _free_mem_int(block);
}

TYPED_TEST(AllocatorTest, ResizeBelowTheSmallestBlockIsTheSmallestBlock)
{
    const std::int64_t before = total();
    auto* block = TypeParam::resize(TypeParam::take(100), 0);
    EXPECT_EQ(blockBytes(block), 16u);
    EXPECT_EQ(total(), before + 16);
    EXPECT_EQ(TypeParam::resize(block, 1), block);
    _free_mem_int(block);
    EXPECT_EQ(total(), before);
}

TYPED_TEST(AllocatorTest, RefusedRequestCountsNothing)
{
    const std::int64_t before = total();
    const FailingAllocator none(0);
    expectFailure<NotEnoughMemoryException>([] { TypeParam::take(100); }, kNotEnoughMemory);
    EXPECT_EQ(total(), before);
}

// The old size is withdrawn before the resize is tried, so it goes twice when that fails.
TYPED_TEST(AllocatorTest, FailedResizeKeepsTheBlockAndWithdrawsItsSizeTwice)
{
    const std::int64_t before = total();
    auto* block = TypeParam::take(100);
    const auto bytes = static_cast<std::int64_t>(blockBytes(block));
    std::memset(static_cast<void*>(block), 0x5a, static_cast<std::size_t>(bytes));
    {
        const FailingAllocator none(0);
        expectFailure<NotEnoughMemoryException>([&] { TypeParam::resize(block, 200); }, kNotEnoughMemory);
    }
    EXPECT_EQ(total(), before);
    EXPECT_EQ(blockBytes(block), static_cast<std::uint64_t>(bytes));
    for (std::int64_t k = 0; k < bytes; ++k) EXPECT_EQ(reinterpret_cast<unsigned char*>(block)[k], 0x5a);
    _free_mem_int(block);
    EXPECT_EQ(total(), before - bytes);
    MemoryAccount::add(bytes); // for the tests that follow in this process
}

TYPED_TEST(AllocatorTest, ElementCountThatWrapsServesASmallBlock)
{
    const std::uint64_t whole = UINT64_MAX / TypeParam::kBytes + 1; // times the element size: 0
    auto* block = TypeParam::take(whole);
    EXPECT_EQ(blockBytes(block), 16u);
    block = TypeParam::resize(block, whole + 8);
    EXPECT_EQ(blockBytes(block), 8 * TypeParam::kBytes);
    block = TypeParam::resize(block, whole);
    EXPECT_EQ(blockBytes(block), 16u);
    _free_mem_int(block);
}

TYPED_TEST(AllocatorTest, NegativeCountWidenedByACallerIsRefused)
{
    const std::int64_t before = total();
    for (const std::int64_t count : {std::int64_t{-1}, std::int64_t{-2}, std::int64_t{-5},
                                     std::int64_t{-100000}, std::int64_t{INT32_MIN}}) {
        expectFailure<NotEnoughMemoryException>([&] { TypeParam::take(static_cast<std::uint64_t>(count)); },
                                                kNotEnoughMemory);
        EXPECT_EQ(total(), before);
    }
}

TEST(Allocators, ThreeIntegersGetSixteenBytes)
{
    const std::int64_t before = total();
    std::int32_t* three = _malloc_int(3);
    EXPECT_EQ(total(), before + 16);
    EXPECT_EQ(_realloc_int(three, 2), three);
    EXPECT_EQ(total(), before + 16);
    double* two = _malloc_double(2);
    EXPECT_EQ(total(), before + 32);
    double* empty = _malloc_double(0);
    EXPECT_NE(empty, nullptr);
    EXPECT_EQ(total(), before + 48);
    for (void* block : {static_cast<void*>(three), static_cast<void*>(two), static_cast<void*>(empty)}) {
        _free_mem_int(block);
    }
    EXPECT_EQ(total(), before);
}

TEST(Allocators, UntypedResizeCountsInBytes)
{
    void* block = _malloc_double(2);
    block = _realloc_gen(block, 17);
    EXPECT_EQ(blockBytes(block), 17u);
    block = _realloc_gen(block, 3);
    EXPECT_EQ(blockBytes(block), 16u);
    _free_mem_int(block);
}

TEST(Allocators, ShrinkingKeepsTheFirstBytesAndGivesTheRestBack)
{
    const std::int64_t before = total();
    double* block = _malloc_double(100000);
    for (int i = 0; i < 100000; ++i) block[i] = i;
    block = static_cast<double*>(shrinkBlock(block, 99000 * 8));
    EXPECT_EQ(total(), before + 99000 * 8);
    EXPECT_EQ(blockBytes(block), 99000u * 8);
    for (int i = 0; i < 99000; ++i) ASSERT_EQ(block[i], i);
    block = static_cast<double*>(shrinkBlock(block, 1)); // no block is smaller than sixteen bytes
    EXPECT_EQ(total(), before + 16);
    EXPECT_EQ(block[1], 1.0);
    _free_mem_int(block);
    EXPECT_EQ(total(), before);
}

TEST(Allocators, ABlockThatCannotShrinkStaysAsItIs)
{
    const std::int64_t before = total();
    double* block = _malloc_double(50);
    const SystemAllocator saved = SystemAllocatorSlots();
    SystemAllocatorSlots().realloc = [](void*, std::size_t) -> void* { return nullptr; };
    void* const same = shrinkBlock(block, 80);
    SystemAllocatorSlots() = saved;
    EXPECT_EQ(same, block);
    EXPECT_EQ(total(), before + 400);
    _free_mem_int(block);
    EXPECT_EQ(total(), before);
}

TEST(Allocators, ReleaseOfNullChangesNothing)
{
    const std::int64_t before = total();
    _free_mem_int(nullptr);
    EXPECT_EQ(total(), before);
}

// The total as each call of the system found it.
struct TotalAtCall {
    std::int64_t malloc, realloc, free;
} totalAtCall;

TEST(Allocators, TotalMovesAfterAMallocBeforeAReallocAndAfterAFree)
{
    const SystemAllocator saved = SystemAllocatorSlots();
    SystemAllocatorSlots().malloc = [](std::size_t size) {
        totalAtCall.malloc = total();
        return std::malloc(size);
    };
    SystemAllocatorSlots().realloc = [](void* block, std::size_t size) {
        totalAtCall.realloc = total();
        return std::realloc(block, size);
    };
    SystemAllocatorSlots().free = [](void* block) {
        totalAtCall.free = total();
        std::free(block);
    };
    const std::int64_t before = total();
    _free_mem_int(_realloc_double(_malloc_double(10), 50));
    SystemAllocatorSlots() = saved;
    EXPECT_EQ(totalAtCall.malloc, before);
    EXPECT_EQ(totalAtCall.realloc, before);
    EXPECT_EQ(totalAtCall.free, before + 400);
}

TEST(Allocators, ThreadsMayTakeAndReleaseAtOnce)
{
    const std::int64_t before = total();
    std::vector<std::int32_t*> leftOver(4);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < leftOver.size(); ++t) {
        threads.emplace_back([&mine = leftOver[t]] {
            for (std::uint64_t k = 0; k < 2000; ++k) {
                double* block = _realloc_double(_malloc_double(k), 2 * k + 5);
                _free_mem_int(block);
            }
            mine = _malloc_int(1000);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(total(), before + 4 * 4000);
    for (std::int32_t* block : leftOver) _free_mem_int(block); // taken by another thread
    EXPECT_EQ(total(), before);
}

} // namespace
} // namespace Velmar::Lintrix::testing
