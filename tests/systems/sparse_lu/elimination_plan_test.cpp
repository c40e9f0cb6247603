// Which elements come to the diagonal, the blocks, and the order within them.

#include <lintrix/systems/sparse_lu/elimination_plan.h>

#include "tests/systems/structure/patterns.h"

#include <gtest/gtest.h>

#include <numeric>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;
using namespace detail::sparse_lu;

/// Columns as rows, all elements 1.
struct Columns {
    PatternArrays pattern;
    std::vector<double> sizes;
};

Columns columnsOf(const Cells& cells, Int n)
{
    Columns columns{patternOf(cells, n), {}};
    columns.sizes.assign(columns.pattern.columns.size(), 1.0);
    return columns;
}

/// Position of the block that a position is in.
std::vector<Int> blockOf(const EliminationPlan& plan)
{
    std::vector<Int> blocks;
    for (Int b = 0; b < plan.blocks(); ++b)
        blocks.resize(static_cast<std::size_t>(plan.blockStarts[b + 1]), b);
    return blocks;
}

std::vector<Int> inverseOf(const std::vector<Int>& at)
{
    std::vector<Int> inverse(at.size(), -1);
    for (std::size_t k = 0; k < at.size(); ++k) inverse[at[k]] = static_cast<Int>(k);
    return inverse;
}

void expectBlockTriangular(const SparsePattern& columns, const EliminationPlan& plan)
{
    const std::vector<Int> rowTo = inverseOf(plan.rowAt), block = blockOf(plan);
    ASSERT_EQ(std::ranges::count(rowTo, -1), 0);
    ASSERT_EQ(std::ranges::count(inverseOf(plan.columnAt), -1), 0);
    ASSERT_EQ(block.size(), plan.rowAt.size());
    for (Int k = 0; k < columns.rows; ++k) {
        bool isDiagonalThere = false;
        for (const Int row : columns.row(plan.columnAt[k])) {
            ASSERT_LE(block[rowTo[row]], block[k]);
            isDiagonalThere |= rowTo[row] == k;
        }
        ASSERT_TRUE(isDiagonalThere) << k;
    }
}

TEST(StrongMatching, TakesTheDiagonalWithinTheThreshold)
{
    const Columns columns = columnsOf({{true, true}, {true, true}}, 2);
    const std::vector<double> strong{0.1, 1.0, 1.0, 0.1}, weak{0.09, 1.0, 1.0, 0.09};
    EXPECT_EQ(strongMatching(columns.pattern, strong, 0.1).columnOf, (std::vector<Int>{0, 1}));
    EXPECT_EQ(strongMatching(columns.pattern, weak, 0.1).columnOf, (std::vector<Int>{1, 0}));
}

TEST(StrongMatching, IsOfTheLargestSize)
{
    std::mt19937_64 generator(8);
    for (int k = 0; k < 300; ++k) {
        const Int n = 1 + k % 8;
        const Cells cells = randomCells(n, n, 0.3, generator);
        Columns columns = columnsOf(cells, n);
        std::uniform_real_distribution<double> size(0.0, 1.0);
        for (double& value : columns.sizes) value = size(generator);
        const BipartiteMatching matching = strongMatching(columns.pattern, columns.sizes, 0.1);
        EXPECT_EQ(matching.size, exhaustiveMatching(cells, 0, 0));
    }
}

TEST(PlanElimination, RandomPatternsBecomeBlockTriangular)
{
    std::mt19937_64 generator(21);
    for (int k = 0; k < 200; ++k) {
        const Int n = 1 + k % 40;
        const Cells cells = randomCells(n, n, 2.5 / n, generator);
        const Columns columns = columnsOf(cells, n);
        const BipartiteMatching matching = strongMatching(columns.pattern, columns.sizes, 0.1);
        if (matching.size < n) continue;
        for (const ColumnOrder order : {ColumnOrder::AlongDiagonal, ColumnOrder::AnyRows})
            expectBlockTriangular(columns.pattern, planElimination(columns.pattern, matching, order));
    }
}

TEST(PlanElimination, ATriangleFallsIntoSingleRows)
{
    const Int n = 30;
    Cells cells(n, std::vector<bool>(n));
    for (Int i = 0; i < n; ++i)
        for (Int j = 0; j <= i; ++j) cells[i][j] = true;
    const Columns columns = columnsOf(cells, n);
    const EliminationPlan plan = planElimination(
        columns.pattern, strongMatching(columns.pattern, columns.sizes, 0.1), ColumnOrder::AlongDiagonal);
    EXPECT_EQ(plan.blocks(), n);
    EXPECT_EQ(plan.operations, 0.0);
    expectBlockTriangular(columns.pattern, plan);
}

// An arrow whose head comes first fills all, and nothing when it comes last.
TEST(PlanElimination, ForetellsTheFactorAlongTheDiagonal)
{
    const Int n = 12;
    Cells cells(n, std::vector<bool>(n));
    for (Int i = 0; i < n; ++i) cells[i][0] = cells[0][i] = cells[i][i] = true;
    const Columns columns = columnsOf(cells, n);
    const EliminationPlan plan = planElimination(
        columns.pattern, strongMatching(columns.pattern, columns.sizes, 0.1), ColumnOrder::AlongDiagonal);
    EXPECT_EQ(plan.blocks(), 1);
    EXPECT_EQ(plan.lowerNonZeros, 2 * n - 1);
    EXPECT_EQ(plan.operations, 3.0 * (n - 1)); // a division, a product and a sum a pivot
}

} // namespace
} // namespace Velmar::Lintrix::testing
