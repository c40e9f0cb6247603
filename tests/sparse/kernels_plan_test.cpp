#include <lintrix/sparse/kernels/row_pointers.h>
#include <lintrix/sparse/kernels/thread_plan.h>

#include <gtest/gtest.h>

#include <limits>
#include <vector>

using namespace Velmar::Lintrix::detail;

namespace {

void expectCovering(const Blocks& blocks)
{
    EXPECT_EQ(blocks.first(0), 0);
    for (int block = 1; block < blocks.count; ++block) {
        EXPECT_EQ(blocks.first(block), blocks.last(block - 1));
        EXPECT_EQ(blocks.last(block - 1) - blocks.first(block - 1), blocks.size / blocks.count);
    }
    EXPECT_EQ(blocks.last(blocks.count - 1), blocks.size);
}

TEST(KernelPlan, RowsAreCutInOneBlockAThreadAndTheLastTakesTheRest)
{
    const Blocks blocks = planRows(11, 4);
    EXPECT_EQ(blocks.count, 4);
    EXPECT_EQ(blocks.first(3), 6);
    EXPECT_EQ(blocks.last(3), 11);
    for (const int rows : {0, 1, 3, 4, 5, 1000, std::numeric_limits<int>::max()}) {
        for (const int threads : {1, 2, 3, 4, 64}) expectCovering(planRows(rows, threads));
    }
}

TEST(KernelPlan, OneThreadHasOneBlockOfRows)
{
    EXPECT_EQ(planRows(1000, 1).count, 1);
    EXPECT_EQ(planRows(1000, 2).count, 2);
    EXPECT_EQ(planRows(2, 2).count, 2);
}

// The last block would have them all.
TEST(KernelPlan, FewerRowsThanThreadsAreNotCut)
{
    EXPECT_EQ(planRows(1, 2).count, 1);
    EXPECT_EQ(planRows(3, 300).count, 1);
    EXPECT_EQ(planRows(0, 2).count, 1);
}

TEST(KernelPlan, ColumnsAreCutAboveTwoHundredAThread)
{
    EXPECT_EQ(planColumns(400, 2).count, 1);
    EXPECT_EQ(planColumns(401, 2).count, 2);
    EXPECT_EQ(planColumns(100000, 1).count, 1);
    EXPECT_EQ(planColumns(std::numeric_limits<int>::max(), std::numeric_limits<int>::max()).count, 1);
    expectCovering(planColumns(407, 2));
}

TEST(KernelPlan, TheSymmetricProductIsCutAboveAHundredRowsAThread)
{
    EXPECT_EQ(planSymmetric(200, 2, false).blocks.count, 1);
    EXPECT_EQ(planSymmetric(201, 2, false).blocks.count, 2);
    EXPECT_EQ(planSymmetric(100000, 1, false).blocks.count, 1);
    EXPECT_EQ(
        planSymmetric(std::numeric_limits<int>::max(), std::numeric_limits<int>::max(), false).blocks.count,
        1);
    expectCovering(planSymmetric(1003, 4, false).blocks);
}

TEST(KernelPlan, AThousandRowsOnFourThreadsAreReducedByOneAndOneMoreByAll)
{
    const SymmetricPlan small = planSymmetric(1000, 4, true);
    EXPECT_EQ(small.blocks.count, 4);
    EXPECT_FALSE(small.sharedReduction);
    const SymmetricPlan large = planSymmetric(1001, 4, true);
    EXPECT_EQ(large.blocks.count, 4);
    EXPECT_TRUE(large.sharedReduction);
}

TEST(KernelPlan, SixteenThreadsAreCutToEightBeforeTheRowsAreCompared)
{
    EXPECT_EQ(planSymmetric(5000, 15, true).blocks.count, 15);
    EXPECT_EQ(planSymmetric(5000, 16, true).blocks.count, 8);
    EXPECT_EQ(planSymmetric(5000, 16, false).blocks.count, 16);
    EXPECT_EQ(planSymmetric(801, 16, true).blocks.count, 8);
    EXPECT_EQ(planSymmetric(800, 16, true).blocks.count, 1);
    EXPECT_EQ(planSymmetric(801, 16, false).blocks.count, 1);
}

TEST(RowPointers, AreTheRunningSumOfTheLengthsFromOne)
{
    std::vector<int> ic{-9, 3, 0, 2};
    EXPECT_TRUE(lengthsToPointers(3, ic.data()));
    EXPECT_EQ(ic, (std::vector<int>{1, 4, 4, 6}));
    std::vector<int> none{-9};
    EXPECT_TRUE(lengthsToPointers(0, none.data()));
    EXPECT_EQ(none[0], 1);
}

TEST(RowPointers, ThatPassTheLargestIntAreRefused)
{
    const int largest = std::numeric_limits<int>::max();
    std::vector<int> fits{0, largest - 5, 4}, passes{0, largest - 5, 5};
    EXPECT_TRUE(lengthsToPointers(2, fits.data()));
    EXPECT_EQ(fits[2], largest);
    EXPECT_FALSE(lengthsToPointers(2, passes.data()));
}

} // namespace
