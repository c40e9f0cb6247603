#include <lintrix/engine/analysis/ordering/constrained_minimum_degree.h>
#include <lintrix/engine/analysis/ordering/minimum_degree.h>

#include "tests/engine/analysis/graph/elimination_graphs.h"
#include "tests/engine/analysis/ordering/dissection_checks.h"
#include "tests/support/factor_fill.h"
#include "tests/support/failing_allocator.h"

#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

constexpr int kDelta = 6;

Dissection constrained(const OwnedGraph& graph, int parts, std::size_t ranges = 512)
{
    const auto n = static_cast<std::size_t>(graph.view().vertices());
    Dissection result{{std::vector<int>(n, -7), std::vector<int>(n, -7)}, {}, {}, {}};
    result.room.assign(ranges, {-7, -7});
    result.list.room = result.room;
    result.failure =
        constrainedMinimumDegree(graph.view(), kDelta, parts, result.ordering.view(), result.list);
    return result;
}

OwnedOrdering plain(const OwnedGraph& graph)
{
    const auto n = static_cast<std::size_t>(graph.view().vertices());
    OwnedOrdering ordering{std::vector<int>(n), std::vector<int>(n)};
    EXPECT_FALSE(minimumDegree(graph.view(), kDelta, ordering.view()));
    return ordering;
}

int length(const PositionRange& range)
{
    return range.last == kEmptyEnd ? 0 : range.last - range.first + 1;
}

TEST(ConstrainedMinimumDegree, PartsAreIndependentForAnyGraphAndNumberOfParts)
{
    std::vector<OwnedGraph> graphs{graphOf(1, {}), graphOf(2, {}), graphOf(2, {{0, 1}}),
                                   graphOf(3, {{0, 2}})};
    for (const int n : {3, 8, 33, 150}) {
        graphs.push_back(graphOf(n, {}));
        graphs.push_back(star(n, n / 2));
        graphs.push_back(clique(n));
        graphs.push_back(cycle(n));
        graphs.push_back(copies(clique(3), n));
        graphs.push_back(kTree(n, 2, 1));
        graphs.push_back(randomGraph(n, 2 * n, static_cast<unsigned>(n)));
    }
    for (std::size_t g = 0; g < graphs.size(); ++g) {
        for (const int parts : {-3, 0, 1, 2, 3, 4, 7, 16, 1000}) {
            SCOPED_TRACE("graph " + std::to_string(g) + ", parts " + std::to_string(parts));
            expectSound(graphs[g].view(), constrained(graphs[g], parts));
        }
    }
}

TEST(ConstrainedMinimumDegree, OnePartIsPlainMinimumDegree)
{
    const auto graph = grid(20, 20);
    const auto result = constrained(graph, 1);
    EXPECT_EQ(result.ordering.vertexAt, plain(graph).vertexAt);
    EXPECT_EQ(result.list.count, 1);
    EXPECT_TRUE(result.list.wellFormed());
}

TEST(ConstrainedMinimumDegree, GridIsCutIntoEvenPartsBySmallSeparators)
{
    const auto graph = grid(60, 60);
    for (const int parts : {2, 4, 8}) {
        SCOPED_TRACE(parts);
        const auto result = constrained(graph, parts);
        expectSound(graph.view(), result);
        EXPECT_EQ(result.list.count, 2 * parts - 1);
        EXPECT_TRUE(result.list.wellFormed());
        int largest = 0, all = 0;
        for (const PositionRange& part : result.list.ranges().first(static_cast<std::size_t>(parts))) {
            largest = std::max(largest, length(part));
            all += length(part);
        }
        EXPECT_LE(largest * parts, 1.9 * all); // a fifth at each of three levels is 1.73
        EXPECT_GE(all, 3600 / 2);
    }
}

TEST(ConstrainedMinimumDegree, ConstraintCostsLittleFill)
{
    for (const auto& graph : {grid(50, 50), cube(10), randomGraph(900, 1500, 4)}) {
        auto unconstrained = plain(graph);
        const auto least = factorFill(graph.view(), unconstrained.view()).entries;
        for (const int parts : {2, 4, 8}) {
            auto result = constrained(graph, parts);
            const auto fill = factorFill(graph.view(), result.ordering.view()).entries;
            EXPECT_LT(static_cast<double>(fill), 1.3 * static_cast<double>(least)) << parts;
        }
    }
}

// What is ordered within a part is what minimum degree, and no other order, makes of it.
TEST(ConstrainedMinimumDegree, TreesStayWithoutFillInTheirParts)
{
    const auto graph = kTree(500, 1, 3);
    auto result = constrained(graph, 4);
    const auto columns = eliminated(graph.view(), result.ordering.view());
    for (const PositionRange& part : result.list.ranges().first(4)) {
        for (int k = part.first; k <= part.last; ++k) {
            const auto& rows = columns[static_cast<std::size_t>(k)];
            const auto inPart = std::ranges::count_if(rows, [&](int row) { return row <= part.last; });
            EXPECT_LE(inPart, 2) << "position " << k; // the diagonal and the parent
        }
    }
}

TEST(ConstrainedMinimumDegree, ListTakesNoMorePartsThanItHasRoomFor)
{
    const auto graph = grid(40, 40);
    const auto result = constrained(graph, 64, 9);
    expectSound(graph.view(), result);
    EXPECT_EQ(result.list.independent, 5);
    EXPECT_EQ(result.list.count, 9);
}

TEST(ConstrainedMinimumDegree, OrderIsTheSameEveryTime)
{
    const auto graph = randomGraph(600, 1800, 3);
    const auto first = constrained(graph, 4).ordering.vertexAt;
    constrained(grid(9, 9), 2);
    EXPECT_EQ(constrained(graph, 4).ordering.vertexAt, first);
}

TEST(ConstrainedMinimumDegree, WithoutMemoryItSaysSo)
{
    const auto graph = grid(12, 12);
    int requests = 0;
    for (bool failed = true; failed; ++requests) {
        const FailingAllocator allocator(requests);
        const auto result = constrained(graph, 4);
        failed = allocator.hasFailed();
        EXPECT_EQ(result.failure.error, failed ? Error::Memory : Error::None);
        EXPECT_EQ(result.failure.internal, failed ? static_cast<int>(BlockCode::Transient) : 0);
    }
    EXPECT_GT(requests, 20);
}

} // namespace
} // namespace Velmar::Lintrix::testing
