// The order of columns within supernodes: it changes nothing but places, and makes stretches longer.

#include "tests/engine/analysis/graph/elimination_graphs.h"
#include "tests/engine/analysis/symbolic/symbolic_pipeline.h"
#include "tests/support/failing_allocator.h"

#include <lintrix/engine/analysis/symbolic/column_refinement.h>

#include <algorithm>
#include <functional>

namespace Velmar::Lintrix::testing {
namespace {

// The stretches of neighbouring rows in all row lists.
int stretches(const FactorStructure& structure)
{
    int count = 0;
    for (int J = 0; J < structure.supernodes(); ++J) {
        const auto rows = structure.rowsOf(J);
        for (std::size_t i = 0; i < rows.size(); ++i) count += i == 0 || rows[i] != rows[i - 1] + 1 ? 1 : 0;
    }
    return count;
}

class Refined : public ::testing::TestWithParam<int> {
protected:
    static OwnedGraph graph()
    {
        const int seed = GetParam();
        return seed % 2 == 0 ? grid(5 + seed, 9) : randomGraph(20 + 4 * seed, 50 + 9 * seed, unsigned(seed));
    }
    static std::vector<PositionRange> ranges(int n, bool one)
    {
        if (one) return {{0, n - 1}};
        return {{0, n / 3}, {n / 3 + 1, n / 2}, {n / 2 + 1, n - 1}};
    }
};

TEST_P(Refined, TheStructureHoldsTheFactorOfTheNewOrder)
{
    const OwnedGraph g = graph();
    const int n = g.view().vertices();
    for (const bool one : {true, false}) {
        for (const int width : {1, 3, 128}) {
            Pipeline p(g.view(), randomOrdering(n, unsigned(GetParam())), width, false, ranges(n, one));
            const OwnedOrdering before = p.ordering;
            const std::vector<int> heights = [&] {
                std::vector<int> all;
                for (int J = 0; J < p.structure().supernodes(); ++J) all.push_back(p.structure().height(J));
                return all;
            }();
            const int stretchesBefore = stretches(p.structure());
            ASSERT_FALSE(refineColumnOrder(p.structure(), p.ranges, 1, p.rows, p.ordering.view()));
            EXPECT_LE(stretches(p.structure()), stretchesBefore + stretchesBefore / 8);

            const auto columns = eliminated(g.view(), p.ordering.view());
            for (int J = 0; J < p.structure().supernodes(); ++J) {
                const auto rows = p.structure().rowsOf(J);
                ASSERT_EQ(p.structure().height(J), heights[std::size_t(J)]);
                ASSERT_TRUE(std::adjacent_find(rows.begin(), rows.end(), std::greater_equal()) == rows.end());
                for (int k = 0; k < p.structure().width(J); ++k) {
                    const auto& filled = columns[std::size_t(rows[std::size_t(k)])];
                    ASSERT_TRUE(std::includes(rows.begin(), rows.end(), filled.begin(), filled.end()));
                }
                if (const int parent = p.structure().parent(J); parent >= 0) {
                    const auto above = p.structure().rowsOf(parent), below = p.structure().rowsBelow(J);
                    ASSERT_GT(parent, J);
                    ASSERT_TRUE(std::includes(above.begin(), above.end(), below.begin(), below.end()));
                }
            }
            for (int v = 0; v < n; ++v) {
                const int position = p.ordering.positionOf[std::size_t(v)];
                EXPECT_EQ(p.ordering.vertexAt[std::size_t(position)], v);
                for (const PositionRange& range : p.ranges) {
                    const auto inside = [&](int k) { return range.first <= k && k <= range.last; };
                    EXPECT_EQ(inside(position), inside(before.positionOf[std::size_t(v)]));
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Graphs, Refined, ::testing::Range(0, 16));

TEST(ColumnRefinement, MakesStretchesLongerOnAGrid)
{
    const OwnedGraph g = grid(30, 30);
    Pipeline p(g.view(), randomOrdering(900, 3), 128);
    const int before = stretches(p.structure());
    ASSERT_FALSE(refineColumnOrder(p.structure(), p.ranges, 1, p.rows, p.ordering.view()));
    EXPECT_LT(stretches(p.structure()), before * 3 / 4);
}

TEST(ColumnRefinement, IsTheSameForAnyNumberOfThreads)
{
    const OwnedGraph g = grid(90, 90);
    Pipeline alone(g.view(), randomOrdering(8100, 5), 4);
    ASSERT_GT(alone.rows.size(), 800000U) << "too little for a team";
    const Pipeline start = alone;
    ASSERT_FALSE(refineColumnOrder(alone.structure(), alone.ranges, 1, alone.rows, alone.ordering.view()));
    for (const int threads : {2, 3, 16}) {
        Pipeline shared = start;
        ASSERT_FALSE(refineColumnOrder(shared.structure(), shared.ranges, threads, shared.rows,
                                       shared.ordering.view()));
        EXPECT_EQ(shared.rows, alone.rows) << threads << " threads";
        EXPECT_EQ(shared.ordering.positionOf, alone.ordering.positionOf) << threads << " threads";
        EXPECT_EQ(shared.ordering.vertexAt, alone.ordering.vertexAt) << threads << " threads";
    }
}

// A clique of n is one list of n rows for n^3 / 3 operations.
TEST(ColumnRefinement, IsRepaidByManyOperationsForEachRow)
{
    const auto repays = [](const OwnedGraph& g, int width) {
        const int n = g.view().vertices();
        return repaysRefinement(Pipeline(g.view(), randomOrdering(n, 2), width).structure());
    };
    EXPECT_FALSE(repays(grid(1, 200), 128));
    EXPECT_FALSE(repays(grid(12, 12), 128));
    EXPECT_FALSE(repays(clique(120), 128));
    EXPECT_TRUE(repays(clique(160), 128));
    EXPECT_FALSE(repays(clique(160), 1)) << "160 lists, of 80 rows on average";
}

TEST(ColumnRefinement, WithoutMemoryChangesNothing)
{
    const OwnedGraph g = grid(12, 12);
    Pipeline p(g.view(), randomOrdering(144, 3), 128);
    const auto rows = p.rows;
    const auto positions = p.ordering.positionOf;
    for (int k = 0; k < 3; ++k) {
        const FailingAllocator failing(k);
        const Failure failure = refineColumnOrder(p.structure(), p.ranges, 1, p.rows, p.ordering.view());
        EXPECT_EQ(failure.internal, -900);
        EXPECT_GT(failure.bytes, 0);
    }
    EXPECT_EQ(p.rows, rows);
    EXPECT_EQ(p.ordering.positionOf, positions);
}

} // namespace
} // namespace Velmar::Lintrix::testing
