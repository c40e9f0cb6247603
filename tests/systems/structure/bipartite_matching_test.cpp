#include <lintrix/systems/structure/bipartite_matching.h>

#include "tests/systems/structure/patterns.h"

#include <gtest/gtest.h>

#include <numeric>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

/// Partners agree, stand in the pattern, and are as many as the matching says.
void expectMatching(const SparsePattern& pattern, const BipartiteMatching& matching)
{
    ASSERT_EQ(matching.columnOf.size(), static_cast<std::size_t>(pattern.rows));
    ASSERT_EQ(matching.rowOf.size(), static_cast<std::size_t>(pattern.cols));
    Int pairs = 0;
    for (Int i = 0; i < pattern.rows; ++i) {
        const Int j = matching.columnOf[i];
        if (j == kUnmatched) continue;
        ++pairs;
        ASSERT_EQ(matching.rowOf[j], i);
        ASSERT_NE(std::ranges::find(pattern.row(i), j), pattern.row(i).end());
    }
    EXPECT_EQ(pairs, matching.size);
    EXPECT_EQ(pattern.cols - std::ranges::count(matching.rowOf, kUnmatched), pairs);
}

/// Whether a row without a column leads to a column without a row along an alternating path: then, and only
/// then, the matching is not the largest (C. Berge 1957).
bool hasAugmentingPath(const SparsePattern& pattern, const BipartiteMatching& matching)
{
    std::vector<bool> seen(static_cast<std::size_t>(pattern.rows));
    std::vector<Int> rows;
    for (Int i = 0; i < pattern.rows; ++i)
        if (matching.columnOf[i] == kUnmatched) rows.push_back(i);
    while (!rows.empty()) {
        const Int i = rows.back();
        rows.pop_back();
        for (const Int j : pattern.row(i)) {
            const Int other = matching.rowOf[j];
            if (other == kUnmatched) return true;
            if (!seen[other]) rows.push_back(other);
            seen[other] = true;
        }
    }
    return false;
}

/// Without pairs, or with all of the diagonal.
BipartiteMatching plainStart(const SparsePattern& pattern, bool diagonal)
{
    BipartiteMatching start{std::vector<Int>(static_cast<std::size_t>(pattern.rows), kUnmatched),
                            std::vector<Int>(static_cast<std::size_t>(pattern.cols), kUnmatched)};
    for (Int i = 0; diagonal && i < pattern.rows; ++i) {
        if (std::ranges::find(pattern.row(i), i) == pattern.row(i).end()) continue;
        start.columnOf[i] = start.rowOf[i] = i;
        ++start.size;
    }
    return start;
}

void expectLargestOf(const Cells& cells, Int cols)
{
    const PatternArrays pattern = patternOf(cells, cols);
    const Int size = exhaustiveMatching(cells, 0, 0);
    for (const BipartiteMatching& matching :
         {maximumMatching(pattern), maximumMatching(pattern, plainStart(pattern, false)),
          maximumMatching(pattern, plainStart(pattern, true))}) {
        expectMatching(pattern, matching);
        EXPECT_EQ(matching.size, size);
    }
}

TEST(BipartiteMatching, IsTheLargestOfEverySmallPattern)
{
    for (const auto& [rows, cols] : {std::pair{4, 4}, {3, 5}, {5, 3}, {2, 7}, {1, 6}, {6, 1}})
        for (std::uint64_t bits = 0; bits < std::uint64_t{1} << (rows * cols); ++bits) {
            expectLargestOf(cellsOf(rows, cols, bits), cols);
            if (HasFailure()) FAIL() << rows << " x " << cols << ", bits " << bits;
        }
}

TEST(BipartiteMatching, OfRandomPatternsLeavesNoAugmentingPath)
{
    std::mt19937_64 generator(1);
    std::uniform_int_distribution<Int> size(0, 90);
    std::uniform_real_distribution<double> perRow(0.3, 4.0);
    for (int run = 0; run < 2000; ++run) {
        const Int rows = size(generator), cols = size(generator);
        const double density = std::min(1.0, perRow(generator) / std::max(1, cols));
        const PatternArrays pattern = patternOf(randomCells(rows, cols, density, generator), cols);
        for (const BipartiteMatching& matching :
             {maximumMatching(pattern), maximumMatching(pattern, plainStart(pattern, false)),
              maximumMatching(pattern, plainStart(pattern, true))}) {
            expectMatching(pattern, matching);
            EXPECT_FALSE(hasAugmentingPath(pattern, matching));
        }
        if (HasFailure()) FAIL() << "run " << run;
    }
}

TEST(BipartiteMatching, FollowsAPathThroughAMillionRows)
{
    const PatternArrays pattern = ring(1000000);
    const BipartiteMatching start = plainStart(pattern, true);
    ASSERT_EQ(start.size, 999999);
    const BipartiteMatching matching = maximumMatching(pattern, start);
    expectMatching(pattern, matching);
    EXPECT_EQ(matching.size, 1000000);
}

/// Level k of such a pattern can be reached along two ways each, and none ends well: a search that forgets
/// which rows it has left in vain takes 2^k steps, one that begins anew for each row rows*entries.
TEST(BipartiteMatching, DoesNotRunAwayWhereThousandsOfRowsAreLeftOver)
{
    const Int n = 60000, left = 60000;
    PatternArrays pattern{n + left, n};
    for (Int i = 0; i < n + left; ++i) {
        const Int j = i < n ? i : 0;
        pattern.columns.push_back(j);
        if (j + 1 < n) pattern.columns.push_back(j + 1);
        if (j + 2 < n) pattern.columns.push_back(j + 2);
        pattern.starts.push_back(static_cast<Int>(pattern.columns.size()));
    }
    for (const BipartiteMatching& matching :
         {maximumMatching(pattern), maximumMatching(pattern, plainStart(pattern, false))}) {
        expectMatching(pattern, matching);
        EXPECT_EQ(matching.size, n);
    }
}

/// Many paths of many lengths are needed: blocks that are rings of 1, 2, 3 ... rows.
TEST(BipartiteMatching, FindsPathsOfEveryLength)
{
    PatternArrays pattern{0, 0};
    for (Int length = 1; length <= 600; ++length) {
        const PatternArrays block = ring(length);
        for (const Int j : block.columns) pattern.columns.push_back(pattern.cols + j);
        for (Int i = 1; i <= length; ++i)
            pattern.starts.push_back(pattern.starts[pattern.rows] + block.starts[i]);
        pattern.rows += length;
        pattern.cols += length;
    }
    const BipartiteMatching matching = maximumMatching(pattern, plainStart(pattern, true));
    expectMatching(pattern, matching);
    EXPECT_EQ(matching.size, pattern.rows);
}

TEST(BipartiteMatching, MayHaveNothingToMatch)
{
    for (const auto& [rows, cols] : {std::pair{0, 0}, {0, 4}, {4, 0}, {3, 5}}) {
        const PatternArrays pattern = patternOf(cellsOf(rows, cols, 0), cols);
        const BipartiteMatching matching = maximumMatching(pattern);
        expectMatching(pattern, matching);
        EXPECT_EQ(matching.size, 0);
    }
}

/// Sparse random patterns without a full matching: there a search without a good start takes minutes.
TEST(BipartiteMatching, OfALargeRandomPatternIsTheLargest)
{
    const Int n = 100000;
    std::mt19937_64 generator(5);
    std::uniform_int_distribution<Int> column(0, n - 1);
    PatternArrays pattern{n, n};
    for (Int i = 0; i < n; ++i) {
        std::vector<Int> row{column(generator), column(generator), column(generator)};
        std::ranges::sort(row);
        pattern.columns.insert(pattern.columns.end(), row.begin(), std::unique(row.begin(), row.end()));
        pattern.starts.push_back(static_cast<Int>(pattern.columns.size()));
    }
    const BipartiteMatching matching = maximumMatching(pattern);
    expectMatching(pattern, matching);
    EXPECT_LT(matching.size, n);
    EXPECT_FALSE(hasAugmentingPath(pattern, matching));
}

TEST(BipartiteMatching, PrefersTheDiagonal)
{
    const PatternArrays pattern = patternOf(cellsOf(3, 3, 0b111111111), 3);
    EXPECT_EQ(maximumMatching(pattern).columnOf, (std::vector<Int>{0, 1, 2}));
}

} // namespace
} // namespace Velmar::Lintrix::testing
