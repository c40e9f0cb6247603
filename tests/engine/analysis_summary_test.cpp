#include "tests/engine/engine_call.h"

#include <lintrix/engine/analysis_summary.h>
#include <lintrix/engine/call/handle.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

using namespace Velmar::Lintrix;
using Velmar::Lintrix::testing::diagonal;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::Rows;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

void expectNothing(const AnalysisView& view)
{
    EXPECT_FALSE(view.Matching());
    EXPECT_FALSE(view.Summary());
    EXPECT_EQ(view.Supernodes(), 0);
}

TEST(AnalysisSummary, TellsNothingOfAHandleWithoutAnAnalysis)
{
    EngineCall call(tridiagonal(4));
    expectNothing(AnalysisView(call.pt.data()));
    EXPECT_EQ(call.run(33), -1); // leaves the basic blocks
    expectNothing(AnalysisView(call.pt.data()));
    EXPECT_EQ(call.run(11), 0);
    EXPECT_TRUE(AnalysisView(call.pt.data()).Summary());
    call.release();
    expectNothing(AnalysisView(call.pt.data()));
    EngineCall atOnce(diagonal({1., 2.}));
    EXPECT_EQ(atOnce.run(11), 0);
    expectNothing(AnalysisView(atOnce.pt.data()));
}

TEST(AnalysisSummary, OfAPathInItsOwnOrder)
{
    for (const int mtype : {11, 2}) {
        EngineCall call(tridiagonal(5, mtype == 2), mtype);
        call.set(5, 1);
        call.perm = {1, 2, 3, 4, 5};
        ASSERT_EQ(call.run(11), 0);
        const AnalysisView view(call.pt.data());
        const auto summary = view.Summary();
        ASSERT_TRUE(summary);
        EXPECT_EQ(summary->lowerNonZeros, 9);
        EXPECT_EQ(summary->supernodes, 4);
        EXPECT_EQ(summary->largestSupernode, 2);
        EXPECT_EQ(summary->treeHeight, 5);
        // Panels 2 x 1 three times, then 2 x 2; U right of them has one element each.
        EXPECT_EQ(summary->storedElements, mtype == 2 ? 10 : 13);
        EXPECT_EQ(summary->operations, 4 * (mtype == 2 ? 2. : 3.)); // r divisions and r^2 or 2 r^2, r = 1
        EXPECT_GT(summary->totalSeconds, 0.);
        EXPECT_GE(summary->totalSeconds, summary->orderingSeconds);
        EXPECT_EQ(view.Matching().has_value(), mtype == 11); // the identity
    }
}

TEST(AnalysisSummary, SupernodesCoverTheColumnsOfTheFactor)
{
    EngineCall call(tridiagonal(50));
    ASSERT_EQ(call.run(11), 0);
    const AnalysisView view(call.pt.data());
    std::int32_t next = 0;
    std::int64_t entries = 0;
    for (std::int32_t J = 0; J < view.Supernodes(); ++J) {
        const Supernode supernode = view.SupernodeAt(J);
        EXPECT_EQ(supernode.firstColumn, next);
        next += supernode.columns;
        for (std::int32_t k = 0; k < supernode.columns; ++k) {
            EXPECT_EQ(supernode.rows[static_cast<std::size_t>(k)], supernode.firstColumn + k);
            entries += static_cast<std::int64_t>(supernode.rows.size()) - k;
        }
        EXPECT_TRUE(std::ranges::is_sorted(supernode.rows));
    }
    EXPECT_EQ(next, 50);
    EXPECT_EQ(entries, view.Summary()->lowerNonZeros);
}

TEST(AnalysisSummary, MatchingTellsMovedRowsAndSingularPatterns)
{
    EngineCall moved(Rows{3, {5., 1., 5., 1.}, {1, 3, 4, 5}, {1, 2, 1, 3}}); // row 2 has column 1 alone
    moved.set(13, 1);
    ASSERT_EQ(moved.run(11), 0);
    EXPECT_EQ(AnalysisView(moved.pt.data()).Matching()->matched, 3);
    EXPECT_EQ(AnalysisView(moved.pt.data()).Matching()->moved, 2);

    EngineCall singular(Rows{3, {1., 1., 1., 1.}, {1, 3, 4, 5}, {1, 2, 1, 1}});
    singular.set(13, 1);
    ASSERT_EQ(singular.run(11), -6);
    EXPECT_EQ(AnalysisView(singular.pt.data()).Matching()->matched, 2);
    EXPECT_FALSE(AnalysisView(singular.pt.data()).Summary());
}

} // namespace
