// The order of elimination that the engine offers to others.

#include <lintrix/engine/minimum_degree_order.h>

#include "tests/engine/analysis/graph/elimination_graphs.h"
#include "tests/support/factor_fill.h"
#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;
using List = std::vector<std::int32_t>;

TEST(MinimumDegreeOrder, IsAPermutationThatForetellsItsFill)
{
    for (const int side : {1, 2, 5, 17}) {
        const OwnedGraph graph = grid(side, side + 1);
        const auto n = static_cast<std::size_t>(graph.view().vertices());
        List vertexAt(n, -7), positionOf(n, -7);
        EliminationForecast forecast;
        ASSERT_EQ(MinimumDegreeOrder(graph.starts, graph.neighbours, vertexAt, &forecast), 0);
        for (std::size_t k = 0; k < n; ++k) positionOf[vertexAt[k]] = static_cast<int>(k);
        ASSERT_EQ(std::ranges::count(positionOf, -7), 0);
        const FactorFill fill = factorFill(graph.view(), {positionOf, vertexAt});
        EXPECT_EQ(forecast.lowerNonZeros, fill.entries);
    }
}

TEST(MinimumDegreeOrder, CountsTheOperationsOfAFullMatrix)
{
    const int n = 9;
    List starts(n + 1), columns, vertexAt(n);
    for (int i = 0; i < n; ++i) {
        for (int j = n - 1; j >= 0; --j) columns.push_back(j); // the diagonal among them, and no order
        starts[i + 1] = static_cast<int>(columns.size());
    }
    EliminationForecast forecast;
    ASSERT_EQ(MinimumDegreeOrder(starts, columns, vertexAt, &forecast), 0);
    EXPECT_EQ(forecast.lowerNonZeros, n * (n + 1) / 2);
    double operations = 0.0;
    for (int below = 0; below < n; ++below) operations += below + 2.0 * below * below;
    EXPECT_EQ(forecast.operations, operations);
}

TEST(MinimumDegreeOrder, AnUnsymmetricPatternIsTakenWithItsTranspose)
{
    const List starts{0, 3, 3, 3}, columns{0, 1, 2}; // an arrow, of which one side is there
    List vertexAt(3);
    EliminationForecast forecast;
    ASSERT_EQ(MinimumDegreeOrder(starts, columns, vertexAt, &forecast), 0);
    EXPECT_EQ(forecast.lowerNonZeros, 5);
}

TEST(MinimumDegreeOrder, AnswersByNumber)
{
    List one(1), none;
    EXPECT_EQ(MinimumDegreeOrder(List{0}, none, none), 0);
    EXPECT_EQ(MinimumDegreeOrder(List{0, 1}, List{5}, one), -3);
    const OwnedGraph graph = grid(4, 4);
    List vertexAt(16);
    for (int k = 0;; ++k) {
        const FailingAllocator memory(k);
        const int answer = MinimumDegreeOrder(graph.starts, graph.neighbours, vertexAt);
        if (!memory.hasFailed()) {
            EXPECT_EQ(answer, 0);
            EXPECT_GT(k, 5);
            break;
        }
        EXPECT_EQ(answer, -2);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
