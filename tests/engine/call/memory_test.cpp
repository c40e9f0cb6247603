#include <lintrix/engine/call/memory.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>
#include <utility>

namespace Velmar::Lintrix::detail::engine {
namespace {

// Each takes 128 + 8 bytes for its alignment.
TEST(BlockSum, RoundsEachBlockUp)
{
    EXPECT_EQ(BlockSum().add<int>(1).add<int>(222).add<int>(223).kilobytes(), 1 + 1 + 2);
    EXPECT_EQ(BlockSum().addBytes(888).addBytes(889).kilobytes(), 1 + 2);
    EXPECT_EQ(BlockSum().add<int>(0).add<double>(-1).kilobytes(), 0);
    EXPECT_EQ(BlockSum().add<int>(1).add(BlockSum().add<int>(223)).kilobytes(), 3);
}

TEST(BlockSum, OfMoreThanThereIsStaysLarge)
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    EXPECT_GT(BlockSum().add<double>(most).add<double>(most).kilobytes(), std::numeric_limits<int>::max());
}

TEST(BlockMeter, KeepsTheLargestSum)
{
    const BlockMeter meter(BlockSum().add<char>(3000)); // 4
    {
        const auto first = Scratch<char>::uninitialised(1000), second = Scratch<char>::zeroed(5000); // 2, 6
        EXPECT_EQ(meter.peakKilobytes(), 4 + 2 + 6);
    }
    const auto third = Scratch<char>::uninitialised(2000); // 3
    EXPECT_EQ(meter.peakKilobytes(), 4 + 2 + 6);
    const auto fourth = Scratch<char>::uninitialised(7000); // 7
    EXPECT_EQ(meter.peakKilobytes(), 4 + 3 + 7);
}

TEST(BlockMeter, FollowsABlockToItsLastOwner)
{
    const BlockMeter meter({});
    {
        auto block = Scratch<char>::uninitialised(1000);
        Scratch<char> owner;
        owner = std::move(block);
    }
    char* const slot = Scratch<char>::uninitialised(3000).release();
    EXPECT_EQ(meter.peakKilobytes(), 4);
    EXPECT_FALSE(Scratch<double>::uninitialised(std::int64_t{1} << 62)); // no block
    const auto beside = Scratch<char>::uninitialised(3000);
    EXPECT_EQ(meter.peakKilobytes(), 4 + 4);
    alignedRelease(slot);
}

TEST(BlockMeter, HearsOfItsOwnThreadAlone)
{
    const BlockMeter meter({});
    std::thread([] { Scratch<char>::uninitialised(5000); }).join();
    EXPECT_EQ(meter.peakKilobytes(), 0);
}

TEST(BlockMeter, HearsNothingAfterItsEnd)
{
    auto outlives = Scratch<char>();
    {
        const BlockMeter meter({});
        outlives = Scratch<char>::uninitialised(5000);
    }
    const BlockMeter next({});
    const auto block = Scratch<char>::uninitialised(1000);
    EXPECT_EQ(next.peakKilobytes(), 2);
}

} // namespace
} // namespace Velmar::Lintrix::detail::engine
