// The assembly tree against a naive symbolic elimination of the same pattern.

#include <lintrix/systems/multifrontal/front_tree.h>

#include <gtest/gtest.h>
#include <tests/systems/structure/patterns.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::multifrontal;

/// Of a symmetric pattern in the order of elimination: fill[i][j], i > j, where L has an entry.
Cells eliminated(const Cells& cells, const std::vector<Int>& vertexAt)
{
    const auto n = vertexAt.size();
    Cells fill(n, std::vector<bool>(n));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < i; ++j) fill[i][j] = cells[vertexAt[i]][vertexAt[j]];
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t j = k + 1; j < n; ++j)
            for (std::size_t i = j + 1; i < n; ++i)
                if (fill[j][k] && fill[i][k]) fill[i][j] = true;
    return fill;
}

std::int64_t entriesOf(const Cells& fill)
{
    auto count = static_cast<std::int64_t>(fill.size());
    for (const auto& row : fill) count += std::ranges::count(row, true);
    return count;
}

void expectPermutation(const FrontTree& tree, Int n)
{
    ASSERT_EQ(tree.order(), n);
    ASSERT_EQ(std::ssize(tree.positionOf), n);
    for (Int k = 0; k < n; ++k) ASSERT_EQ(tree.positionOf[tree.vertexAt[k]], k);
    ASSERT_EQ(std::ssize(tree.starts), tree.fronts() + 1);
    ASSERT_EQ(std::ssize(tree.rowStarts), tree.fronts() + 1);
    ASSERT_EQ(tree.starts.front(), 0);
    ASSERT_EQ(tree.starts.back(), n);
    ASSERT_EQ(tree.rowStarts.back(), std::ssize(tree.rows));
    for (Int f = 0; f < tree.fronts(); ++f) ASSERT_GT(tree.columnsOf(f), 0);
}

/// Each subtree without gaps, and behind it its root.
void expectPostorder(const FrontTree& tree)
{
    std::vector<Int> first(tree.parents.size());
    std::iota(first.begin(), first.end(), 0);
    for (Int f = 0; f < tree.fronts(); ++f) {
        Int next = first[f]; // all before are in subtrees of children
        ASSERT_LE(next, f);
        if (const Int parent = tree.parents[f]; parent >= 0) {
            ASSERT_GT(parent, f);
            first[parent] = std::min(first[parent], first[f]);
        }
    }
    std::vector<Int> size(tree.parents.size(), 1);
    for (Int f = 0; f < tree.fronts(); ++f) {
        ASSERT_EQ(first[f], f - size[f] + 1);
        if (tree.parents[f] >= 0) size[tree.parents[f]] += size[f];
    }
}

/// Of its last column, which is in no case one that another front has widened.
std::vector<Int> rowsBelow(const Cells& fill, Int column)
{
    std::vector<Int> rows;
    for (Int i = column + 1; i < std::ssize(fill); ++i)
        if (fill[i][column]) rows.push_back(i);
    return rows;
}

bool has(const FrontTree& tree, Int f, Int position)
{
    return (position >= tree.starts[f] && position < tree.starts[f + 1]) ||
           std::ranges::binary_search(tree.rowsOf(f), position);
}

void expectFrontsHoldTheFill(const FrontTree& tree, const Cells& fill)
{
    for (Int f = 0; f < tree.fronts(); ++f) {
        ASSERT_TRUE(std::ranges::equal(tree.rowsOf(f), rowsBelow(fill, tree.starts[f + 1] - 1)));
        for (Int j = tree.starts[f]; j < tree.starts[f + 1]; ++j)
            for (const Int i : rowsBelow(fill, j)) ASSERT_TRUE(has(tree, f, i)) << i << ", " << j;
        const Int parent = tree.parents[f];
        ASSERT_EQ(parent < 0, tree.rowsOf(f).empty());
        for (const Int i : tree.rowsOf(f)) ASSERT_TRUE(has(tree, parent, i));
    }
}

/// Column by column, and front by front.
FrontForecast counted(const FrontTree& tree)
{
    FrontForecast forecast;
    std::vector<std::int64_t> rest(tree.parents.size());
    for (Int f = 0; f < tree.fronts(); ++f) {
        const std::int64_t below = std::ssize(tree.rowsOf(f)), size = tree.columnsOf(f) + below;
        for (std::int64_t left = size; left > below; --left) {
            forecast.entries += left;
            forecast.operations += static_cast<double>(left * (left - 1)); // a product and a sum for each
        }                                                                  // of left*(left - 1)/2
        const std::int64_t waiting = std::accumulate(rest.begin(), rest.end(), std::int64_t{0});
        forecast.cellsAtOnce = std::max(forecast.cellsAtOnce, waiting + size * size);
        for (Int child = 0; child < f; ++child)
            if (tree.parents[child] == f) rest[child] = 0;
        rest[f] = below * below;
    }
    return forecast;
}

void expectTree(const Cells& cells, const std::vector<Int>& vertexAt)
{
    const auto n = static_cast<Int>(vertexAt.size());
    const auto pattern = patternOf(cells, n);
    const FrontTree tree = frontTreeOf(pattern, vertexAt);
    expectPermutation(tree, n);
    expectPostorder(tree);
    const Cells fill = eliminated(cells, tree.vertexAt);
    ASSERT_EQ(entriesOf(fill), entriesOf(eliminated(cells, vertexAt)))
        << "the same fill as in the order told";
    expectFrontsHoldTheFill(tree, fill);
    const FrontForecast told = forecastOf(tree), expected = counted(tree);
    ASSERT_EQ(told.entries, expected.entries);
    ASSERT_EQ(told.operations, expected.operations);
    ASSERT_EQ(told.cellsAtOnce, expected.cellsAtOnce);
    ASSERT_GE(told.entries, entriesOf(fill));
}

std::vector<Int> ascending(Int n)
{
    std::vector<Int> order(static_cast<std::size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    return order;
}

Cells symmetric(Cells cells)
{
    for (std::size_t i = 0; i < cells.size(); ++i)
        for (std::size_t j = 0; j < i; ++j) cells[j][i] = cells[i][j];
    return cells;
}

/// Edges k to step(k).
template <class Step>
Cells forest(Int n, Step step)
{
    Cells cells(static_cast<std::size_t>(n), std::vector<bool>(static_cast<std::size_t>(n)));
    for (Int k = 0; k < n; ++k)
        if (const Int other = step(k); other >= 0 && other < n) cells[k][other] = cells[other][k] = true;
    return cells;
}

void expectTrees(const Cells& cells, std::mt19937_64& generator)
{
    std::vector<Int> order = ascending(static_cast<Int>(cells.size()));
    expectTree(cells, order);
    std::ranges::reverse(order);
    expectTree(cells, order);
    for (int k = 0; k < 3; ++k) {
        std::shuffle(order.begin(), order.end(), generator);
        expectTree(cells, order);
    }
}

TEST(FrontTree, HoldsTheFillOfRandomPatterns)
{
    std::mt19937_64 generator(1);
    for (Int n = 1; n <= 60; ++n) {
        for (const double entries : {0.0, 1.0, 2.0, 4.0, 12.0}) {
            SCOPED_TRACE(::testing::Message() << "n " << n << ", entries a row " << entries);
            expectTrees(symmetric(randomCells(n, n, std::min(1.0, entries / n), generator)), generator);
            ASSERT_FALSE(::testing::Test::HasFatalFailure());
        }
    }
}

TEST(FrontTree, HoldsTheFillOfForestsPathsStarsAndBlocks)
{
    std::mt19937_64 generator(2);
    for (const Int n : {1, 2, 17, 40, 60}) {
        expectTrees(forest(n, [](Int k) { return k + 1; }), generator);
        expectTrees(forest(n, [](Int k) { return k == 0 ? -1 : 0; }), generator);
        expectTrees(forest(n, [](Int k) { return k == 0 ? -1 : (k - 1) / 2; }), generator);
        expectTrees(forest(n, [](Int k) { return k % 5 == 0 ? -1 : k - 1; }), generator);
    }
}

TEST(FrontTree, OfNothingHasNoFront)
{
    const FrontTree tree = frontTreeOf(patternOf({}, 0), {});
    EXPECT_EQ(tree.fronts(), 0);
    EXPECT_EQ(tree.order(), 0);
    EXPECT_EQ(forecastOf(tree).entries, 0);
}

TEST(FrontTree, OfADiagonalIsAForestOfRoots)
{
    const FrontTree tree = frontTreeOf(patternOf(forest(9, [](Int k) { return k; }), 9), ascending(9));
    EXPECT_EQ(tree.fronts(), 9);
    EXPECT_TRUE(std::ranges::all_of(tree.parents, [](Int parent) { return parent == -1; }));
    EXPECT_EQ(forecastOf(tree).entries, 9);
    EXPECT_EQ(forecastOf(tree).operations, 0.0);
}

TEST(FrontTree, OfADenseMatrixIsOneFront)
{
    std::mt19937_64 generator(3);
    const FrontTree tree = frontTreeOf(patternOf(randomCells(50, 50, 1.0, generator), 50), ascending(50));
    EXPECT_EQ(tree.fronts(), 1);
    EXPECT_EQ(forecastOf(tree).entries, 50 * 51 / 2);
}

/// Two bodies of 40 that share 5: where they joined, 1600 of the zeros would be stored.
TEST(FrontTree, LargeFrontsKeepTheirZerosApart)
{
    Cells cells(85, std::vector<bool>(85));
    for (Int i = 0; i < 85; ++i)
        for (Int j = 0; j < 85; ++j) cells[i][j] = (i < 40) == (j < 40) || i >= 80 || j >= 80;
    const FrontTree tree = frontTreeOf(patternOf(cells, 85), ascending(85));
    EXPECT_EQ(tree.fronts(), 2);
    EXPECT_EQ(forecastOf(tree).entries, entriesOf(eliminated(cells, tree.vertexAt)));
}

} // namespace
} // namespace Velmar::Lintrix::testing
