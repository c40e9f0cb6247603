// The owner of one raw block.

#include <lintrix/foundation/block.h>

#include <lintrix/foundation/configuration.h>

#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <array>
#include <complex>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

using detail::Block;
using detail::blockBytes;

template <class Cell>
class BlockTest : public ::testing::Test {
protected:
    ~BlockTest() override { EXPECT_EQ(TrellConfiguration::TotalMemory(), before_); } // nothing leaks

    std::int64_t held() const { return TrellConfiguration::TotalMemory() - before_; }

private:
    const std::int64_t before_ = TrellConfiguration::TotalMemory();
};

using Cells = ::testing::Types<double, std::int32_t, std::complex<double>>;
TYPED_TEST_SUITE(BlockTest, Cells);

TYPED_TEST(BlockTest, TakesItsCellsAndGivesThemBack)
{
    static_assert(!std::is_copy_constructible_v<Block<TypeParam>>);
    static_assert(!std::is_copy_assignable_v<Block<TypeParam>>);
    const Block<TypeParam> block(100);
    EXPECT_TRUE(block);
    EXPECT_EQ(blockBytes(block.get()), 100 * sizeof(TypeParam));
    EXPECT_EQ(&block[7], block.get() + 7);
}

TYPED_TEST(BlockTest, EmptyBlockOwnsNothing)
{
    Block<TypeParam> block;
    EXPECT_FALSE(block);
    EXPECT_EQ(block.get(), nullptr);
    block.reset();
    EXPECT_EQ(this->held(), 0);
}

TYPED_TEST(BlockTest, ZeroedBlockIsAllZero)
{
    const auto block = Block<TypeParam>::zeroed(50);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(block[i], TypeParam(0));
}

TYPED_TEST(BlockTest, CopyOfIsIndependentOfItsSource)
{
    std::array<TypeParam, 3> source{1, 2, 3};
    const auto block = Block<TypeParam>::copyOf(source.data(), 3);
    source = {};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(block[i], TypeParam(i + 1));
}

TYPED_TEST(BlockTest, ClearTouchesTheGivenCellsOnly)
{
    const std::array<TypeParam, 3> source{1, 2, 3};
    auto block = Block<TypeParam>::copyOf(source.data(), 3);
    block.clear(2);
    EXPECT_EQ(block[1], TypeParam(0));
    EXPECT_EQ(block[2], TypeParam(3));
}

TYPED_TEST(BlockTest, MoveHandsTheBlockOver)
{
    static_assert(std::is_nothrow_move_constructible_v<Block<TypeParam>>);
    Block<TypeParam> source(10);
    const TypeParam* cells = source.get();
    const Block<TypeParam> target(std::move(source));
    EXPECT_EQ(target.get(), cells);
    EXPECT_FALSE(source);
}

TYPED_TEST(BlockTest, MoveAssignmentReleasesTheOldBlockAndEmptiesTheSource)
{
    static_assert(std::is_nothrow_move_assignable_v<Block<TypeParam>>);
    Block<TypeParam> source(10), target(1000);
    const TypeParam* cells = source.get();
    target = std::move(source);
    EXPECT_EQ(target.get(), cells);
    EXPECT_FALSE(source);
    EXPECT_EQ(this->held(), static_cast<std::int64_t>(10 * sizeof(TypeParam)));
}

TYPED_TEST(BlockTest, MoveAssignmentToItselfChangesNothing)
{
    Block<TypeParam> block(10);
    const TypeParam* cells = block.get();
    Block<TypeParam>& alias = block;
    block = std::move(alias);
    EXPECT_EQ(block.get(), cells);
}

TYPED_TEST(BlockTest, CellsTellsWhatTheBlockTrulyHolds)
{
    EXPECT_EQ(Block<TypeParam>().cells(), 0);
    EXPECT_EQ(Block<TypeParam>(100).cells(), 100);
    EXPECT_EQ(Block<TypeParam>(0).cells(), static_cast<std::int64_t>(16 / sizeof(TypeParam))); // the smallest
}

TYPED_TEST(BlockTest, ResizeKeepsWhatFits)
{
    const std::array<TypeParam, 6> source{1, 2, 3, 4, 5, 6};
    auto block = Block<TypeParam>::copyOf(source.data(), 6);
    for (const int cells : {5000, 4, 4}) {
        block.resize(cells);
        EXPECT_EQ(block.cells(), cells);
        EXPECT_EQ(this->held(), static_cast<std::int64_t>(cells * sizeof(TypeParam)));
        for (int i = 0; i < 4; ++i) EXPECT_EQ(block[i], source[static_cast<std::size_t>(i)]);
    }
}

// The total has then lost the block: the allocators withdraw before they try.
TYPED_TEST(BlockTest, RefusedResizeLeavesTheBlockToItsOwner)
{
    const std::array<TypeParam, 6> source{1, 2, 3, 4, 5, 6};
    auto block = Block<TypeParam>::copyOf(source.data(), 6);
    const std::int64_t whole = this->held();
    const TypeParam* cells = block.get();
    {
        const FailingAllocator allocator(0);
        expectFailure<NotEnoughMemoryException>([&] { block.resize(5000); },
                                                "There is not enough memory to continue the execution.");
    }
    EXPECT_EQ(block.get(), cells);
    EXPECT_EQ(block.cells(), 6);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(block[i], source[static_cast<std::size_t>(i)]);
    EXPECT_EQ(this->held(), 0);
    detail::MemoryAccount::add(whole); // for the release
}

TYPED_TEST(BlockTest, ReleaseGivesTheBlockUpWithoutFreeingIt)
{
    Block<TypeParam> block(10);
    TypeParam* cells = block.release();
    EXPECT_FALSE(block);
    EXPECT_EQ(this->held(), static_cast<std::int64_t>(10 * sizeof(TypeParam)));
    detail::_free_mem_int(cells);
}

TYPED_TEST(BlockTest, ResetFreesAtOnceAndMayBeRepeated)
{
    Block<TypeParam> block(10);
    block.reset();
    EXPECT_FALSE(block);
    EXPECT_EQ(this->held(), 0);
    block.reset();
    EXPECT_EQ(this->held(), 0);
}

TYPED_TEST(BlockTest, NegativeCountIsRefusedByTheAllocator)
{
    for (const std::int32_t cells : {-1, -1000, INT32_MIN}) {
        expectFailure<NotEnoughMemoryException>([&] { Block<TypeParam> block(cells); },
                                                "There is not enough memory to continue the execution.");
        expectFailure<NotEnoughMemoryException>([&] { Block<TypeParam>::zeroed(cells); },
                                                "There is not enough memory to continue the execution.");
    }
}

TYPED_TEST(BlockTest, RefusedMemoryLeavesNothingBehind)
{
    const TypeParam source[3] = {};
    const auto untouched = [] { return true; };
    EXPECT_EQ(failEachAllocation([] { Block<TypeParam> block(3); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([] { Block<TypeParam>::zeroed(3); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { Block<TypeParam>::copyOf(source, 3); }, untouched), 1);
}

} // namespace
} // namespace Velmar::Lintrix::testing
