// One matching for several analyses.

#include "tests/engine/engine_call.h"

#include <lintrix/engine/analysis_summary.h>
#include <lintrix/engine/shared_matching.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace Velmar::Lintrix::testing {
namespace {

/// Large elements beside the diagonal of ones: row i belongs to column i + 1, the last one to the first.
Rows shifted(int n, double large)
{
    Rows A{n, {}, {1}, {}};
    for (int i = 1; i <= n; ++i) {
        const int next = i % n + 1;
        for (const int j : {std::min(i, next), std::max(i, next)}) {
            A.ja.push_back(j);
            A.a.push_back(j == next ? large + 0.25 * i : 1.);
        }
        A.ia.push_back(static_cast<int>(A.ja.size()) + 1);
    }
    return A;
}

/// Matched and scaled, by minimum degree or nested dissection.
struct Matched : EngineCall {
    explicit Matched(const Rows& rows, int ordering = 0, int type = 11) : EngineCall(rows, type)
    {
        set(2, ordering);
        set(11, 1);
        set(13, 1);
    }
    int moved() const { return AnalysisView(pt.data()).Matching()->moved; }
};

TEST(SharedMatching, IsLeftByOneAnalysisAndTakenByTheNext)
{
    SharedMatching matching;
    const SharedMatching::Use use(matching);
    Matched first(shifted(6, 10.)), second(shifted(6, 0.01), 2); // alone, it would keep to its diagonal
    ASSERT_EQ(first.run(11), 0);
    EXPECT_EQ(first.moved(), 6);
    EXPECT_TRUE(matching.IsKnown());
    EXPECT_EQ(matching.Bytes(), 6 * 20);
    ASSERT_EQ(second.run(11), 0);
    EXPECT_EQ(second.moved(), 6);
    matching.Forget();
    EXPECT_EQ(matching.Bytes(), 0);
    ASSERT_EQ(second.run(11), 0);
    EXPECT_EQ(second.moved(), 0);
}

TEST(SharedMatching, ChangesNoBitOfASolution)
{
    const Rows A = gridMatrix(11, 12, 3);
    for (const int ordering : {0, 2}) {
        Matched alone(A, ordering), other(A, 2 - ordering), sharing(A, ordering);
        ASSERT_EQ(alone.run(13), 0);
        SharedMatching matching;
        const SharedMatching::Use use(matching);
        ASSERT_EQ(other.run(11), 0);
        ASSERT_EQ(sharing.run(13), 0);
        EXPECT_EQ(sharing.x, alone.x);
    }
}

TEST(SharedMatching, ServesItsOrderItsScalingAndUnsymmetricTypesAlone)
{
    SharedMatching matching;
    const SharedMatching::Use use(matching);
    Matched first(shifted(6, 10.)), larger(shifted(7, 0.01)), unscaled(shifted(6, 0.01)),
        symmetric(gridMatrix(-2, 3, 1), 0, -2);
    ASSERT_EQ(symmetric.run(11), 0);
    EXPECT_FALSE(matching.IsKnown());
    ASSERT_EQ(first.run(11), 0);
    unscaled.set(11, 0);
    ASSERT_EQ(unscaled.run(11), 0);
    EXPECT_EQ(unscaled.moved(), 0);
    ASSERT_EQ(first.run(11), 0); // what stands now is without scales
    ASSERT_EQ(larger.run(11), 0);
    EXPECT_EQ(larger.moved(), 0);
    EXPECT_TRUE(matching.Serves(7, true));
    EXPECT_FALSE(matching.Serves(6, true));
}

TEST(SharedMatching, OfASingularPatternIsNotKept)
{
    SharedMatching matching;
    const SharedMatching::Use use(matching);
    Rows A = shifted(4, 10.);
    for (int k = A.ia[0] - 1; k < A.ia[1] - 1; ++k) A.a[static_cast<std::size_t>(k)] = 0.;
    Matched call(A);
    EXPECT_NE(call.run(11), 0);
    EXPECT_FALSE(matching.IsKnown());
}

TEST(SharedMatching, IsUsedWithinItsScopeAlone)
{
    SharedMatching outer, inner;
    {
        const SharedMatching::Use use(outer);
        {
            const SharedMatching::Use nested(inner);
            EXPECT_EQ(SharedMatching::InUse(), &inner);
        }
        EXPECT_EQ(SharedMatching::InUse(), &outer);
    }
    EXPECT_EQ(SharedMatching::InUse(), nullptr);
    Matched call(shifted(5, 10.));
    ASSERT_EQ(call.run(11), 0);
    EXPECT_FALSE(outer.IsKnown() || inner.IsKnown());
}

} // namespace
} // namespace Velmar::Lintrix::testing
