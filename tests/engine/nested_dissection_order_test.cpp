// The engine's other order of elimination.

#include <lintrix/engine/nested_dissection_order.h>

#include "tests/engine/analysis/graph/elimination_graphs.h"
#include "tests/support/factor_fill.h"
#include "tests/support/failing_allocator.h"

#include <lintrix/engine/minimum_degree_order.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;
using List = std::vector<std::int32_t>;

List inverse(const List& vertexAt)
{
    List positionOf(vertexAt.size(), -7);
    for (std::size_t k = 0; k < vertexAt.size(); ++k) positionOf[vertexAt[k]] = static_cast<int>(k);
    return positionOf;
}

TEST(NestedDissectionOrder, IsAPermutationAndTheSameEveryTime)
{
    for (const int side : {1, 2, 5, 17}) {
        const OwnedGraph graph = grid(side, side + 1);
        List vertexAt(static_cast<std::size_t>(graph.view().vertices())), again(vertexAt);
        ASSERT_EQ(NestedDissectionOrder(graph.starts, graph.neighbours, vertexAt), 0);
        ASSERT_EQ(NestedDissectionOrder(graph.starts, graph.neighbours, again), 0);
        EXPECT_EQ(std::ranges::count(inverse(vertexAt), -7), 0);
        EXPECT_EQ(vertexAt, again);
    }
}

TEST(NestedDissectionOrder, TakesFewerOperationsThanTheOrderOfAGrid)
{
    const OwnedGraph graph = grid(40, 40);
    List vertexAt(1600), given(1600);
    for (int k = 0; k < 1600; ++k) given[k] = k;
    ASSERT_EQ(NestedDissectionOrder(graph.starts, graph.neighbours, vertexAt), 0);
    List positionOf = inverse(vertexAt), givenPositions(given);
    EXPECT_LT(2.0 * factorFill(graph.view(), {positionOf, vertexAt}).operations,
              factorFill(graph.view(), {givenPositions, given}).operations);
}

/// An arrow, of which one side is there: its tip comes last, or last but one.
TEST(NestedDissectionOrder, AnUnsymmetricPatternIsTakenWithItsTranspose)
{
    const int n = 40;
    List starts(n + 1, n), columns, vertexAt(n);
    starts[0] = 0;
    for (int j = 0; j < n; ++j) columns.push_back(j);
    ASSERT_EQ(NestedDissectionOrder(starts, columns, vertexAt), 0);
    EXPECT_GE(inverse(vertexAt)[0], n - 2);
}

TEST(NestedDissectionOrder, AnswersByNumber)
{
    List one(1), none;
    EXPECT_EQ(NestedDissectionOrder(List{0}, none, none), 0);
    EXPECT_EQ(NestedDissectionOrder(List{0, 1}, List{5}, one), -3);
    EXPECT_EQ(NestedDissectionOrder(List{0, 1}, List{0}, one), 0);
    EXPECT_EQ(one, List{0});
    const OwnedGraph graph = grid(4, 4);
    List vertexAt(16);
    const FailingAllocator memory(0);
    EXPECT_EQ(NestedDissectionOrder(graph.starts, graph.neighbours, vertexAt), -2);
}

} // namespace
} // namespace Velmar::Lintrix::testing
