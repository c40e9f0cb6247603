// The structural rank beside a plain search for augmenting paths.

#include <lintrix/systems/roads/transversal.h>

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using Columns = std::vector<std::vector<std::int32_t>>; ///< columns by row

SparseMatrix matrixOf(const Columns& pattern, bool symmetric = false)
{
    const auto n = static_cast<std::int32_t>(pattern.size());
    std::vector<std::int32_t> starts{0}, columns;
    for (const auto& row : pattern) {
        columns.insert(columns.end(), row.begin(), row.end());
        starts.push_back(static_cast<std::int32_t>(columns.size()));
    }
    SparseMatrix matrix(std::vector<double>(columns.size(), 1.0), starts, columns);
    matrix.Cols(n);
    matrix.Symmetric(symmetric);
    return matrix;
}

/// One augmenting path after another (Kuhn).
std::int32_t rankOf(const Columns& pattern)
{
    std::vector<std::int32_t> rowOf(pattern.size(), -1);
    std::vector<bool> seen;
    const std::function<bool(std::int32_t)> place = [&](std::int32_t row) {
        for (const std::int32_t col : pattern[static_cast<std::size_t>(row)]) {
            const auto c = static_cast<std::size_t>(col);
            if (seen[c]) continue;
            seen[c] = true;
            if (rowOf[c] >= 0 && !place(rowOf[c])) continue;
            rowOf[c] = row;
            return true;
        }
        return false;
    };
    std::int32_t rank = 0;
    for (std::int32_t row = 0; row < static_cast<std::int32_t>(pattern.size()); ++row) {
        seen.assign(pattern.size(), false);
        rank += place(row) ? 1 : 0;
    }
    return rank;
}

TEST(StructuralRank, OfPatternsKnown)
{
    EXPECT_EQ(structuralRank(matrixOf({{0}, {1}, {2}})), 3);
    EXPECT_EQ(structuralRank(matrixOf({{2}, {0}, {1}})), 3);
    EXPECT_EQ(structuralRank(matrixOf({{0, 1}, {0}, {0}})), 2);
    EXPECT_EQ(structuralRank(matrixOf({{}, {}, {}})), 0);
    EXPECT_EQ(structuralRank(matrixOf({{0}, {0}, {0, 2}})), 2);
}

TEST(StructuralRank, ATriangleStandsForBoth)
{
    EXPECT_EQ(structuralRank(matrixOf({{1}, {}}, true)), 2);
    EXPECT_EQ(structuralRank(matrixOf({{1, 2, 3}, {}, {}, {}}, true)), 2) << "a star";
    EXPECT_EQ(structuralRank(matrixOf({{1, 2}, {2}, {}}, true)), 3) << "an odd cycle";
}

TEST(StructuralRank, ZerosThatAreStoredDoNotCount)
{
    SparseMatrix matrix = matrixOf({{0, 1}, {0, 1}});
    matrix(0, 0) = 0.0;
    matrix(1, 0) = 0.0;
    EXPECT_EQ(structuralRank(matrix), 1);
}

TEST(StructuralRank, IsThatOfAPlainSearch)
{
    std::mt19937_64 generator(11);
    for (int round = 0; round < 300; ++round) {
        const std::int32_t n = 1 + static_cast<std::int32_t>(generator() % 40);
        Columns pattern(static_cast<std::size_t>(n));
        for (auto& row : pattern) {
            for (std::int32_t col = 0; col < n; ++col)
                if (generator() % static_cast<std::uint64_t>(n) < 2) row.push_back(col);
        }
        EXPECT_EQ(structuralRank(matrixOf(pattern)), rankOf(pattern)) << round;
    }
}

TEST(StructuralRank, OfALongChainNeedsNoDeepStack)
{
    // Row i holds columns i and i + 1, the last row column 0 alone: all rows but one have to move.
    constexpr std::int32_t n = 300000;
    Columns pattern(n);
    for (std::int32_t i = 0; i + 1 < n; ++i) pattern[static_cast<std::size_t>(i)] = {i, i + 1};
    pattern.back() = {0};
    EXPECT_EQ(structuralRank(matrixOf(pattern)), n);
}

} // namespace
} // namespace Velmar::Lintrix::testing
