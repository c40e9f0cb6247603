#include <lintrix/engine/keeping/structure_check.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

using namespace Velmar::Lintrix::detail::engine;

namespace {

// Columns 0 1 | 2 | 3 4: the first supernode has row 3 below, the second rows 3 and 4.
//
//     x
//     x x
//         x
//     x x x x
//         x x x
struct Sample {
    std::vector<int> starts = {0, 2, 3, 5}, supernodeOf = {0, 0, 1, 2, 2}, rows = {0, 1, 3, 2, 3, 4, 3, 4};
    std::vector<std::int64_t> rowStarts = {0, 3, 6, 8};

    FactorStructure view() const { return {starts, supernodeOf, rowStarts, rows}; }
    bool isClosed() const
    {
        std::vector<int> work(5 + 2 * 3);
        return haveClosedRows(view(), work);
    }
};

TEST(StructureCheck, InvertsPermutationsOnly)
{
    std::vector<int> inverse(4);
    EXPECT_TRUE(invert(std::vector{2, 0, 3, 1}, inverse));
    EXPECT_EQ(inverse, (std::vector{1, 3, 0, 2}));
    for (const std::vector<int>& order :
         {std::vector{0, 1, 2, 2}, {0, 1, 2, 4}, {0, 1, 2, -1}, {0, 1, 2, 1 << 30}})
        EXPECT_FALSE(invert(order, inverse));
}

TEST(StructureCheck, RangesCoverAllPositionsInOrder)
{
    using Ranges = std::vector<PositionRange>;
    EXPECT_TRUE(cover(Ranges{{0, 3}}, 4));
    EXPECT_TRUE(cover(Ranges{{0, 1}, {2, 2}, {3, 3}}, 4));
    for (const Ranges& ranges : {Ranges{{0, 2}},
                                 {{0, 4}},
                                 {{1, 3}},
                                 {{0, 1}, {1, 3}},
                                 {{0, 1}, {3, 3}},
                                 {{0, -1}, {0, 3}},
                                 {{2, 3}, {0, 1}},
                                 {}})
        EXPECT_FALSE(cover(ranges, 4));
}

TEST(StructureCheck, SupernodesCutTheColumnsToTheWidth)
{
    EXPECT_TRUE(areSupernodes(std::vector{0, 2, 3, 5}, 5, 2));
    EXPECT_FALSE(areSupernodes(std::vector{0, 2, 3, 5}, 5, 1));
    for (const std::vector<int>& starts :
         {std::vector{1, 2, 3, 5}, {0, 2, 3, 4}, {0, 2, 2, 5}, {0, 3, 2, 5}, {0, 9, 3, 5}, {0, -9, 3, 5}})
        EXPECT_FALSE(areSupernodes(starts, 5, 100));
}

TEST(StructureCheck, RowListsHaveRoomForTheColumnsAndNoMoreRowsThanThereAre)
{
    using Starts = std::vector<std::int64_t>;
    const std::vector<int> starts = {0, 2, 3, 5};
    EXPECT_TRUE(areRowStarts(Starts{0, 3, 6, 8}, starts, 8));
    for (const Starts& rowStarts : {Starts{1, 3, 6, 8},
                                    {0, 3, 6, 7},
                                    {0, 1, 6, 8},
                                    {0, 3, 7, 8},
                                    {0, 6, 6, 8},
                                    {0, 3, 9, 8},
                                    {0, std::int64_t{1} << 62, 6, 8},
                                    {0, 3, INT64_MIN, 8},
                                    {0, -5, 6, 8}})
        EXPECT_FALSE(areRowStarts(rowStarts, starts, 8));
}

TEST(StructureCheck, RowsAreThoseOfTheParentToo)
{
    Sample sample;
    EXPECT_TRUE(sample.isClosed());
    for (const auto& [place, row] : std::vector<std::pair<std::size_t, int>>{
             {0, 1}, {1, 0}, {2, 1}, {2, 5}, {2, -1}, {4, 2}, {5, 3}, {7, 3}, {6, 4}, {3, 4}}) {
        Sample changed;
        changed.rows[place] = row;
        EXPECT_FALSE(changed.isClosed()) << place;
    }
    // Row 2 is that of the second supernode, which would need row 4 for the first one's.
    Sample open;
    open.rows = {0, 1, 2, 4, 2, 3, 3, 4};
    open.rowStarts = {0, 4, 6, 8};
    EXPECT_FALSE(open.isClosed());
}

TEST(StructureCheck, EntriesHaveAPlace)
{
    const Sample sample;
    const std::vector<int> identity = {0, 1, 2, 3, 4};
    const auto holds = [&](int row, int column, std::span<const int> columnOfRow = {}) {
        std::vector<int> starts(6, 0), columns = {column};
        for (int i = row + 1; i <= 5; ++i) starts[static_cast<std::size_t>(i)] = 1;
        return holdsEntries(sample.view(), {starts, columns}, columnOfRow, identity);
    };
    for (const auto& [row, column] :
         std::vector<std::pair<int, int>>{{0, 0}, {0, 1}, {1, 0}, {3, 0}, {0, 3}, {2, 4}, {4, 2}, {4, 3}}) {
        EXPECT_TRUE(holds(row, column)) << row << ' ' << column;
    }
    for (const auto& [row, column] : std::vector<std::pair<int, int>>{{0, 2}, {2, 0}, {1, 4}, {4, 1}, {1, 2}})
        EXPECT_FALSE(holds(row, column)) << row << ' ' << column;
    EXPECT_TRUE(holds(0, 2, std::vector{2, 1, 0, 3, 4}));
    EXPECT_FALSE(holds(2, 2, std::vector{2, 1, 0, 3, 4}));
}

TEST(StructureCheck, ExchangesStayInTheirBlock)
{
    const Sample sample;
    const auto pass = [&](Method method, std::vector<int> rows, std::vector<int> columns) {
        rows.insert(rows.end(), columns.begin(), columns.end());
        return areExchanges(sample.view(), method, rows);
    };
    const std::vector<int> none = {1, 2, 1, 1, 2}, zero(5, 0);
    for (const Method method : {Method::RowPivoting, Method::DiagonalPivoting, Method::BunchKaufman}) {
        EXPECT_TRUE(pass(method, none, zero));
        EXPECT_TRUE(pass(method, {2, 2, 1, 2, 2}, zero));
        EXPECT_FALSE(pass(method, {1, 1, 1, 1, 2}, zero));
        EXPECT_FALSE(pass(method, {1, 3, 1, 1, 2}, zero));
        EXPECT_FALSE(pass(method, {1, 2, 0, 1, 2}, zero));
        EXPECT_FALSE(pass(method, {1, 2, -2147483647 - 1, 1, 2}, zero));
        EXPECT_EQ(pass(method, {-1, -2, 1, 1, 2}, zero), method == Method::BunchKaufman);
    }
    for (const std::vector<int>& half : {std::vector{-1, 2, 1, 1, 2},
                                         {1, -2, 1, 1, 2},
                                         {1, 2, -1, 1, 2},
                                         {-1, -1, 1, 1, 2},
                                         {-1, -3, 1, 1, 2}})
        EXPECT_FALSE(pass(Method::BunchKaufman, half, zero));
    EXPECT_TRUE(pass(Method::CompletePivoting, none, none));
    EXPECT_FALSE(pass(Method::CompletePivoting, none, zero));
    EXPECT_FALSE(pass(Method::CompletePivoting, none, {1, 2, 1, 3, 2}));
    EXPECT_TRUE(pass(Method::Cholesky, zero, zero));
}

} // namespace
