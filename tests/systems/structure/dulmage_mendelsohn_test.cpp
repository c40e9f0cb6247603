#include <lintrix/systems/structure/dulmage_mendelsohn.h>

#include "tests/systems/structure/patterns.h"

#include <gtest/gtest.h>

#include <numeric>
#include <set>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;
using List = std::vector<Int>;

List inverseOf(const List& permutation)
{
    List inverse(permutation.size(), -1);
    for (std::size_t k = 0; k < permutation.size(); ++k) inverse[permutation[k]] = static_cast<Int>(k);
    return inverse;
}

/// The part of the position, 0 to 2.
int partOf(const std::array<Int, 4>& parts, Int position)
{
    return position < parts[1] ? 0 : position < parts[2] ? 1 : 2;
}

void expectPermutation(List list, Int size)
{
    ASSERT_EQ(list.size(), static_cast<std::size_t>(size));
    std::ranges::sort(list);
    for (Int k = 0; k < size; ++k) ASSERT_EQ(list[k], k);
}

/// Zeros below the blocks, pairs on the diagonal, sizes of the parts; in O(entries).
void expectForm(const SparsePattern& pattern, const DulmageMendelsohn& dm)
{
    expectPermutation(dm.rowAt, pattern.rows);
    expectPermutation(dm.columnAt, pattern.cols);
    ASSERT_TRUE(std::ranges::is_sorted(dm.rowParts));
    ASSERT_TRUE(std::ranges::is_sorted(dm.columnParts));
    ASSERT_EQ(dm.rowParts[3], pattern.rows);
    ASSERT_EQ(dm.columnParts[3], pattern.cols);
    ASSERT_EQ(dm.rowParts[2] - dm.rowParts[1], dm.columnParts[2] - dm.columnParts[1]);
    ASSERT_TRUE(dm.surplus() > 0 || dm.columnParts[1] == 0);
    ASSERT_TRUE(dm.rowParts[3] - dm.rowParts[2] > dm.columnParts[3] - dm.columnParts[2] ||
                dm.rowParts[2] == pattern.rows);
    ASSERT_EQ(dm.structuralRank, pattern.cols - dm.surplus());
    ASSERT_EQ(dm.blockStarts.front(), dm.rowParts[1]);
    ASSERT_EQ(dm.blockStarts.back(), dm.rowParts[2]);
    ASSERT_EQ(std::ranges::adjacent_find(dm.blockStarts, std::greater_equal<>()), dm.blockStarts.end());

    const List columnTo = inverseOf(dm.columnAt);
    const auto blockOf = [&](Int p) {
        return std::ranges::upper_bound(dm.blockStarts, p) - dm.blockStarts.begin();
    };
    for (Int p = 0; p < pattern.rows; ++p) {
        const int rowPart = partOf(dm.rowParts, p);
        bool paired = p >= dm.structuralRank;
        for (const Int j : pattern.row(dm.rowAt[p])) {
            const int columnPart = partOf(dm.columnParts, columnTo[j]);
            ASSERT_LE(rowPart, columnPart);
            if (rowPart == 1 && columnPart == 1) {
                ASSERT_LE(blockOf(p), blockOf(columnTo[j] - dm.surplus()));
            }
            paired = paired || columnTo[j] == p + dm.surplus();
        }
        ASSERT_TRUE(paired);
    }
}

/// A column is horizontal exactly when some largest matching does without it, and a row vertical likewise.
void expectCoarseParts(const Cells& cells, Int cols, const DulmageMendelsohn& dm)
{
    const Int rank = exhaustiveMatching(cells, 0, 0);
    EXPECT_EQ(dm.structuralRank, rank);
    for (Int q = 0; q < cols; ++q)
        EXPECT_EQ(exhaustiveMatching(withoutColumn(cells, dm.columnAt[q]), 0, 0) == rank,
                  partOf(dm.columnParts, q) == 0);
    for (Int p = 0; p < static_cast<Int>(cells.size()); ++p)
        EXPECT_EQ(exhaustiveMatching(withoutRow(cells, dm.rowAt[p]), 0, 0) == rank,
                  partOf(dm.rowParts, p) == 2);
}

/// Within the square part p leads to q where row p has the column at q: two positions are of one block
/// exactly when each reaches the other (S. Warshall 1962).
void expectBlocks(const Cells& cells, const DulmageMendelsohn& dm)
{
    const Int first = dm.rowParts[1], behind = dm.rowParts[2];
    std::vector<std::vector<bool>> reaches(cells.size(), std::vector<bool>(cells.size()));
    for (Int p = first; p < behind; ++p)
        for (Int q = first; q < behind; ++q)
            reaches[p][q] = p == q || cells[dm.rowAt[p]][dm.columnAt[q + dm.surplus()]];
    for (Int k = first; k < behind; ++k)
        for (Int p = first; p < behind; ++p)
            for (Int q = first; q < behind; ++q)
                if (reaches[p][k] && reaches[k][q]) reaches[p][q] = true;
    const auto blockOf = [&](Int p) {
        return std::ranges::upper_bound(dm.blockStarts, p) - dm.blockStarts.begin();
    };
    for (Int p = first; p < behind; ++p)
        for (Int q = first; q < behind; ++q)
            EXPECT_EQ(blockOf(p) == blockOf(q), reaches[p][q] && reaches[q][p]);
}

void expectDecomposition(const Cells& cells, Int cols)
{
    const PatternArrays pattern = patternOf(cells, cols);
    const DulmageMendelsohn dm = dulmageMendelsohn(pattern);
    expectForm(pattern, dm);
    if (::testing::Test::HasFailure()) return;
    expectCoarseParts(cells, cols, dm);
    expectBlocks(cells, dm);
}

TEST(DulmageMendelsohn, HoldsForEverySmallPattern)
{
    for (const auto& [rows, cols] : {std::pair{4, 4}, {3, 4}, {4, 3}, {2, 5}, {1, 5}, {5, 1}})
        for (std::uint64_t bits = 0; bits < std::uint64_t{1} << (rows * cols); ++bits) {
            expectDecomposition(cellsOf(rows, cols, bits), cols);
            if (HasFailure()) FAIL() << rows << " x " << cols << ", bits " << bits;
        }
}

TEST(DulmageMendelsohn, HoldsForRandomPatternsOfAnyShape)
{
    std::mt19937_64 generator(2);
    std::uniform_int_distribution<Int> size(0, 8);
    std::uniform_real_distribution<double> density(0.05, 0.5);
    for (int run = 0; run < 2000; ++run) {
        const Int rows = size(generator), cols = size(generator);
        expectDecomposition(randomCells(rows, cols, density(generator), generator), cols);
        if (HasFailure()) FAIL() << "run " << run;
    }
}

TEST(DulmageMendelsohn, OfLargerRandomPatternsHasItsForm)
{
    std::mt19937_64 generator(3);
    std::uniform_int_distribution<Int> size(20, 150);
    std::uniform_real_distribution<double> perRow(0.5, 3.0);
    for (int run = 0; run < 500; ++run) {
        const Int rows = size(generator), cols = size(generator);
        const Cells cells = randomCells(rows, cols, perRow(generator) / cols, generator);
        const PatternArrays pattern = patternOf(cells, cols);
        const DulmageMendelsohn dm = dulmageMendelsohn(pattern);
        expectForm(pattern, dm);
        expectBlocks(cells, dm);
        if (HasFailure()) FAIL() << "run " << run;
    }
}

// Permuted at will, the three parts and the blocks of the square one are the same rows and columns.
TEST(DulmageMendelsohn, DoesNotDependOnTheMatching)
{
    std::mt19937_64 generator(4);
    const auto rowsByPart = [](const DulmageMendelsohn& dm, const List& original) {
        std::vector<std::set<Int>> parts(3);
        for (Int p = 0; p < static_cast<Int>(dm.rowAt.size()); ++p)
            parts[partOf(dm.rowParts, p)].insert(original[dm.rowAt[p]]);
        return parts;
    };
    for (int run = 0; run < 300; ++run) {
        const Cells cells = randomCells(12, 12, 0.14, generator);
        List rows(12), columns(12);
        std::iota(rows.begin(), rows.end(), 0);
        columns = rows;
        const List same = rows;
        std::ranges::shuffle(rows, generator);
        std::ranges::shuffle(columns, generator);
        Cells shuffled = cells;
        for (Int i = 0; i < 12; ++i)
            for (Int j = 0; j < 12; ++j) shuffled[i][j] = cells[rows[i]][columns[j]];
        const DulmageMendelsohn one = dulmageMendelsohn(patternOf(cells, 12)),
                                other = dulmageMendelsohn(patternOf(shuffled, 12));
        EXPECT_EQ(rowsByPart(one, same), rowsByPart(other, rows));
        EXPECT_EQ(one.blocks(), other.blocks());
    }
}

TEST(DulmageMendelsohn, LeavesTheColumnsOfOneBlockInPlace)
{
    const Int n = 50;
    Cells cells(static_cast<std::size_t>(n), std::vector<bool>(static_cast<std::size_t>(n)));
    for (Int i = 0; i < n; ++i) cells[i][(i + 7) % n] = cells[i][(i + 8) % n] = true;
    const DulmageMendelsohn dm = dulmageMendelsohn(patternOf(cells, n));
    EXPECT_EQ(dm.blocks(), 1);
    EXPECT_TRUE(std::ranges::is_sorted(dm.columnAt));
}

// [ x x x . . ]   columns 0, 1, 2 have row 0 alone; row 1 is a block of its own;
// [ . . . x x ]   rows 2 and 3 have column 4 alone
// [ . . . . x ]
// [ . . . . x ]
TEST(DulmageMendelsohn, TellsAllThreePartsOfASmallMatrix)
{
    const Cells cells{{true, true, true, false, false},
                      {false, false, false, true, true},
                      {false, false, false, false, true},
                      {false, false, false, false, true}};
    const DulmageMendelsohn dm = dulmageMendelsohn(patternOf(cells, 5));
    EXPECT_EQ(dm.structuralRank, 3);
    EXPECT_EQ(dm.rowParts, (std::array<Int, 4>{0, 1, 2, 4}));
    EXPECT_EQ(dm.columnParts, (std::array<Int, 4>{0, 3, 4, 5}));
    EXPECT_EQ(dm.surplus(), 2);
    EXPECT_EQ(dm.blockStarts, (List{1, 2}));
    EXPECT_EQ(dm.columnAt[3], 3);
    EXPECT_EQ(dm.columnAt[4], 4);
}

TEST(DulmageMendelsohn, FindsTheLongestRingAndTheLongestChain)
{
    const Int n = 1000000;
    PatternArrays loop{n, n}, chain{n, n};
    for (Int i = 0; i < n; ++i) {
        loop.columns.insert(loop.columns.end(), {std::min(i, (i + 1) % n), std::max(i, (i + 1) % n)});
        loop.starts.push_back(2 * i + 2);
        if (i > 0) chain.columns.push_back(i - 1);
        chain.columns.push_back(i);
        chain.starts.push_back(static_cast<Int>(chain.columns.size()));
    }
    const DulmageMendelsohn one = dulmageMendelsohn(loop), many = dulmageMendelsohn(chain);
    expectForm(loop, one);
    EXPECT_EQ(one.blocks(), 1);
    expectForm(chain, many);
    EXPECT_EQ(many.blocks(), n);
    EXPECT_EQ(many.columnAt.front(), n - 1); // upper triangular: the last row of the chain first
}

// The path by which an unmatched row reaches all others is as long as the matrix.
TEST(DulmageMendelsohn, FollowsAlternatingPathsThroughAMillionRows)
{
    const Int n = 1000000;
    PatternArrays tall{n + 1, n};
    for (Int i = 0; i <= n; ++i) {
        if (i > 0) tall.columns.push_back(i - 1);
        if (i < n) tall.columns.push_back(i);
        tall.starts.push_back(static_cast<Int>(tall.columns.size()));
    }
    const DulmageMendelsohn vertical = dulmageMendelsohn(tall),
                            horizontal = dulmageMendelsohn(transposed(tall));
    expectForm(tall, vertical);
    EXPECT_EQ(vertical.rowParts, (std::array<Int, 4>{0, 0, 0, n + 1}));
    EXPECT_EQ(horizontal.columnParts, (std::array<Int, 4>{0, n + 1, n + 1, n + 1}));
}

TEST(DulmageMendelsohn, MayHaveNothingToPart)
{
    for (const auto& [rows, cols] : {std::pair{0, 0}, {0, 4}, {4, 0}, {3, 5}}) {
        const PatternArrays pattern = patternOf(cellsOf(rows, cols, 0), cols);
        const DulmageMendelsohn dm = dulmageMendelsohn(pattern);
        expectForm(pattern, dm);
        EXPECT_EQ(dm.blocks(), 0);
        EXPECT_EQ(dm.columnParts, (std::array<Int, 4>{0, cols, cols, cols}));
        EXPECT_EQ(dm.rowParts, (std::array<Int, 4>{0, 0, 0, rows}));
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
