// The entries of the library's matrices, and the structural rank beside a plain search for augmenting paths.

#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/systems/structure/sparse_entries.h>

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::entriesOf;
using ::testing::ElementsAre;
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

TEST(SparseEntries, AreThoseThatAreNotZero)
{
    SparseMatrix A(3, 4);
    A(0, 3) = 5.0;
    A(0, 1) = std::numeric_limits<double>::quiet_NaN();
    A(2, 0) = 7.0;
    A(2, 2) = 1.0;
    A(2, 2) = 0.0;
    const auto entries = entriesOf<double>(A);
    EXPECT_EQ(entries.pattern.rows, 3);
    EXPECT_EQ(entries.pattern.cols, 4);
    EXPECT_THAT(entries.pattern.starts, ElementsAre(0, 2, 2, 3));
    EXPECT_THAT(entries.pattern.columns, ElementsAre(1, 3, 0));
    EXPECT_EQ(entries.values[1], 5.0);
}

TEST(SparseEntries, OfATriangleAreAll)
{
    SparseMatrix A(3, 3);
    A.Symmetric(true);
    A(0, 0) = 1.0;
    A(0, 2) = 2.0;
    A(1, 2) = 3.0;
    const auto entries = entriesOf<double>(A);
    EXPECT_THAT(entries.pattern.starts, ElementsAre(0, 2, 3, 5));
    EXPECT_THAT(entries.pattern.columns, ElementsAre(0, 2, 2, 0, 1)) << "columns ascend";
    EXPECT_THAT(entries.values, ElementsAre(1.0, 2.0, 3.0, 2.0, 3.0));
}

TEST(StructuralRank, OfPatternsKnown)
{
    EXPECT_EQ(detail::structuralRank<double>(matrixOf({{0}, {1}, {2}})), 3);
    EXPECT_EQ(detail::structuralRank<double>(matrixOf({{2}, {0}, {1}})), 3);
    EXPECT_EQ(detail::structuralRank<double>(matrixOf({{0, 1}, {0}, {0}})), 2);
    EXPECT_EQ(detail::structuralRank<double>(matrixOf({{}, {}, {}})), 0);
    EXPECT_EQ(detail::structuralRank<double>(matrixOf({{0}, {0}, {0, 2}})), 2);
}

TEST(StructuralRank, ATriangleStandsForBoth)
{
    EXPECT_EQ(detail::structuralRank<double>(matrixOf({{1}, {}}, true)), 2);
    EXPECT_EQ(detail::structuralRank<double>(matrixOf({{1, 2, 3}, {}, {}, {}}, true)), 2) << "a star";
    EXPECT_EQ(detail::structuralRank<double>(matrixOf({{1, 2}, {2}, {}}, true)), 3) << "an odd cycle";
}

TEST(StructuralRank, ZerosThatAreStoredDoNotCount)
{
    SparseMatrix matrix = matrixOf({{0, 1}, {0, 1}});
    matrix(0, 0) = 0.0;
    matrix(1, 0) = 0.0;
    EXPECT_EQ(detail::structuralRank<double>(matrix), 1);
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
        EXPECT_EQ(detail::structuralRank<double>(matrixOf(pattern)), rankOf(pattern)) << round;
    }
}

TEST(StructuralRank, OfALongChainNeedsNoDeepStack)
{
    // Row i holds columns i and i + 1, the last row column 0 alone: all rows but one have to move.
    constexpr std::int32_t n = 300000;
    Columns pattern(n);
    for (std::int32_t i = 0; i + 1 < n; ++i) pattern[static_cast<std::size_t>(i)] = {i, i + 1};
    pattern.back() = {0};
    EXPECT_EQ(detail::structuralRank<double>(matrixOf(pattern)), n);
}

} // namespace
} // namespace Velmar::Lintrix::testing
