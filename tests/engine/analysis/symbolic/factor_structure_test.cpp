// Supernodes, row lists, panels, maps, schedule and operation counts.

#include "tests/engine/allowance.h"
#include "tests/engine/analysis/symbolic/symbolic_pipeline.h"
#include "tests/support/failing_allocator.h"

#include <lintrix/engine/analysis/symbolic/entry_maps.h>
#include <lintrix/engine/analysis/symbolic/forecast.h>
#include <lintrix/engine/analysis/symbolic/schedule.h>

#include <cmath>
#include <numeric>

namespace Velmar::Lintrix::testing {
namespace {

class Structure : public ::testing::TestWithParam<int> {
protected:
    int n() const { return 1 + GetParam() * 11 % 70; }
    OwnedGraph graph() const
    {
        return randomGraph(n(), GetParam() * 7 % 190, static_cast<unsigned>(GetParam()));
    }
    OwnedOrdering ordering() const { return randomOrdering(n(), static_cast<unsigned>(GetParam() + 9)); }
};

TEST_P(Structure, SupernodesAreFundamentalUpToThePanelWidth)
{
    for (const int width : {1, 3, 128}) {
        const OwnedGraph g = graph();
        Pipeline p(g.view(), ordering(), width);
        const auto fundamental = [&](std::size_t j) { // column j continues the run of j - 1
            return p.parent[j - 1] == static_cast<int>(j) && p.count[j] + 1 == p.count[j - 1];
        };
        EXPECT_EQ(p.starts.front(), 0);
        EXPECT_EQ(p.starts.back(), n());
        int run = 0, longest = 0, inSupernode = 0;
        for (std::size_t j = 0; j < p.parent.size(); ++j) {
            const bool continues = j > 0 && fundamental(j);
            run = continues ? run + 1 : 1;
            longest = std::max(longest, run);
            const bool begins = !continues || inSupernode == width;
            inSupernode = begins ? 1 : inSupernode + 1;
            const auto J = static_cast<std::size_t>(p.supernodeOf[j]);
            EXPECT_EQ(p.starts[J] == static_cast<int>(j), begins) << "column " << j;
        }
        EXPECT_EQ(p.partition.longestRun, longest);
    }
}

TEST_P(Structure, RowListsAreTheColumnsOfTheFactor)
{
    for (const int width : {1, 4, 128}) {
        const OwnedGraph g = graph();
        Pipeline p(g.view(), ordering(), width);
        const auto columns = eliminated(g.view(), p.ordering.view());
        const FactorStructure s = p.structure();
        std::int64_t fill = 0;
        for (int J = 0; J < s.supernodes(); ++J) {
            const auto list = s.rowsOf(J);
            for (int j = 0; j < s.width(J); ++j) {
                EXPECT_EQ(std::vector<int>(list.begin() + j, list.end()),
                          columns[static_cast<std::size_t>(s.starts[static_cast<std::size_t>(J)] + j)])
                    << "supernode " << J << ", column " << j;
            }
        }
        for (const auto& column : columns) fill += static_cast<std::int64_t>(column.size());
        EXPECT_EQ(p.sizes.fill, fill);
    }
}

TEST_P(Structure, PanelsLieOneAfterAnother)
{
    const OwnedGraph g = graph();
    const Pipeline p(g.view(), ordering(), 5, true);
    const FactorStructure s = p.structure();
    std::int64_t lower = 0, upper = 0;
    int tallest = 0, widest = 0;
    for (int J = 0; J < s.supernodes(); ++J) {
        EXPECT_EQ(p.lowerStarts[static_cast<std::size_t>(J)], lower);
        EXPECT_EQ(p.upperStarts[static_cast<std::size_t>(J)], upper);
        lower += s.height(J) * s.width(J);
        upper += (s.height(J) - s.width(J)) * s.width(J);
        tallest = std::max(tallest, s.height(J));
        widest = std::max(widest, s.width(J));
    }
    EXPECT_EQ(p.sizes.lower, lower);
    EXPECT_EQ(p.sizes.upper, upper);
    EXPECT_EQ(p.lowerStarts.back(), lower);
    EXPECT_EQ(p.upperStarts.back(), upper);
    EXPECT_EQ(p.sizes.tallest, tallest);
    EXPECT_EQ(p.sizes.widest, widest);
    EXPECT_EQ(p.sizes.rowIndices, p.rowStarts.back());
}

TEST_P(Structure, UpdatesAreToldAsTheListsAreFilledAndOfThoseThatAreThere)
{
    const OwnedGraph g = graph();
    for (const int panelWidth : {1, 5}) {
        const Pipeline p(g.view(), ordering(), panelWidth);
        const FactorStructure s = p.structure();
        std::vector<std::int64_t> starts{0};
        std::int64_t largest = 0;
        for (int target = 0; target < s.supernodes(); ++target) {
            std::int64_t descendants = 0;
            for (int J = 0; J < target; ++J) { // the update that J gives to target
                const auto rows = s.rowsBelow(J);
                const auto from = std::ranges::lower_bound(rows, s.starts[static_cast<std::size_t>(target)]);
                const auto to =
                    std::ranges::lower_bound(rows, s.starts[static_cast<std::size_t>(target) + 1]);
                largest = std::max<std::int64_t>(largest, (rows.end() - from) * (to - from));
                descendants += from < to;
            }
            starts.push_back(starts.back() + descendants);
        }
        EXPECT_EQ(p.descendantStarts, starts);
        EXPECT_EQ(p.updates.updates, starts.back());
        EXPECT_EQ(p.updates.largest, largest);
        std::vector<std::int64_t> measuredStarts(starts.size());
        const UpdateSizes measured = measureUpdates(s, measuredStarts);
        EXPECT_EQ(measuredStarts, starts);
        EXPECT_EQ(measured.updates, starts.back());
        EXPECT_EQ(measured.largest, largest);
    }
}

// A matrix on the graph with a value of its own at each place: 1000 * row + column.
struct Entries {
    std::vector<int> starts{0}, columns;
    std::vector<double> values;

    Entries(const Graph& graph, bool upperOnly, const std::vector<int>& rowAt)
    {
        for (const int row : rowAt) { // row i of this matrix stands in row rowAt[i] of the graph's
            std::vector<int> list(graph.of(row).begin(), graph.of(row).end());
            list.push_back(row);
            std::sort(list.begin(), list.end());
            for (const int column : list) {
                if (upperOnly && column < row) continue;
                columns.push_back(column);
                values.push_back(1000.0 * row + column);
            }
            starts.push_back(static_cast<int>(columns.size()));
        }
    }
    RowPattern pattern() const { return {starts, columns}; }
};

struct Maps {
    Maps(const Pipeline& p, const Entries& A)
        : firstEntry(p.starts.size()), source(A.columns.size()), place(A.columns.size())
    {
    }
    EntryMaps view() { return {firstEntry, source, place}; }

    std::vector<int> firstEntry, source, place;
};

TEST_P(Structure, MapsOfUnsymmetricStorageBringEachEntryToItsPlace)
{
    const OwnedGraph g = graph();
    Pipeline p(g.view(), ordering(), 4, true);
    const std::vector<int> columnOfRow = randomOrdering(n(), 77).vertexAt;
    const Entries A(g.view(), false, columnOfRow);
    Maps maps(p, A);
    const FactorStructure s = p.structure();
    ASSERT_FALSE(mapEntries(A.pattern(), columnOfRow, p.ordering.view(), s, false, 1, maps.view()));
    for (int J = 0; J < s.supernodes(); ++J) {
        const auto at = static_cast<std::size_t>(J);
        std::vector<double> lower(static_cast<std::size_t>(s.height(J) * s.width(J))),
            upper(static_cast<std::size_t>((s.height(J) - s.width(J)) * s.width(J)));
        for (int k = maps.firstEntry[at]; k < maps.firstEntry[at + 1]; ++k) {
            const int place = maps.place[static_cast<std::size_t>(k)];
            const double value = A.values[static_cast<std::size_t>(maps.source[static_cast<std::size_t>(k)])];
            (place >= 0 ? lower[static_cast<std::size_t>(place)] : upper[static_cast<std::size_t>(~place)]) =
                value;
        }
        const auto rows = s.rowsOf(J);
        const auto value = [&](int row, int column) { // of the ordered matrix
            const int r = p.ordering.vertexAt[static_cast<std::size_t>(row)],
                      c = p.ordering.vertexAt[static_cast<std::size_t>(column)];
            const auto list = g.view().of(r);
            return r == c || std::binary_search(list.begin(), list.end(), c) ? 1000.0 * r + c : 0.0;
        };
        for (int j = 0; j < s.width(J); ++j) {
            const int column = s.starts[at] + j;
            for (int i = 0; i < s.height(J); ++i) {
                const int row = rows[static_cast<std::size_t>(i)];
                EXPECT_EQ(lower[static_cast<std::size_t>(i + s.height(J) * j)], value(row, column));
                if (i < s.width(J)) continue;
                const int below = i - s.width(J), ld = s.height(J) - s.width(J);
                EXPECT_EQ(upper[static_cast<std::size_t>(below + ld * j)], value(column, row));
            }
        }
    }
}

TEST_P(Structure, MapsOfSymmetricStorageMarkTheOtherTriangle)
{
    const OwnedGraph g = graph();
    Pipeline p(g.view(), ordering(), 4);
    std::vector<int> natural(static_cast<std::size_t>(n()));
    std::iota(natural.begin(), natural.end(), 0);
    const Entries A(g.view(), true, natural);
    Maps maps(p, A);
    const FactorStructure s = p.structure();
    ASSERT_FALSE(mapEntries(A.pattern(), {}, p.ordering.view(), s, true, 1, maps.view()));
    std::size_t visited = 0;
    for (int J = 0; J < s.supernodes(); ++J) {
        const auto at = static_cast<std::size_t>(J);
        for (int k = maps.firstEntry[at]; k < maps.firstEntry[at + 1]; ++k, ++visited) {
            const int place = maps.place[static_cast<std::size_t>(k)], offset = place >= 0 ? place : ~place;
            const int row = s.rowsOf(J)[static_cast<std::size_t>(offset % s.height(J))];
            const int column = s.starts[at] + offset / s.height(J);
            int r = p.ordering.vertexAt[static_cast<std::size_t>(row)];
            int c = p.ordering.vertexAt[static_cast<std::size_t>(column)];
            EXPECT_EQ(place<0, r> c) << "the entry is stored as (" << c << ", " << r << ")";
            if (r > c) std::swap(r, c);
            EXPECT_EQ(A.values[static_cast<std::size_t>(maps.source[static_cast<std::size_t>(k)])],
                      1000.0 * r + c);
            EXPECT_GE(row, column);
        }
    }
    EXPECT_EQ(visited, A.columns.size());
}

TEST_P(Structure, OperationsAreSumsOverColumns)
{
    const OwnedGraph g = graph();
    const Pipeline p(g.view(), ordering(), 4);
    double symmetric = 0.0, unsymmetric = 0.0;
    for (const int count : p.count) {
        const double below = count - 1.0;
        symmetric += below + below * below;
        unsymmetric += below + 2.0 * below * below;
    }
    EXPECT_DOUBLE_EQ(operationCount(p.structure(), false, false), symmetric);
    EXPECT_DOUBLE_EQ(operationCount(p.structure(), true, false), unsymmetric);
    EXPECT_DOUBLE_EQ(operationCount(p.structure(), true, true), 4.0 * unsymmetric);
}

INSTANTIATE_TEST_SUITE_P(RandomGraphs, Structure, ::testing::Range(0, 40));

TEST(RowListStarts, RefuseWhatPassesTheLargestSize)
{
    const std::vector<int> starts{0, 2, 3}, count{3, 2, 1};
    std::vector<std::int64_t> rowStarts(3);
    EXPECT_FALSE(rowListStarts(starts, count, 4, rowStarts));
    EXPECT_EQ(rowStarts, (std::vector<std::int64_t>{0, 3, 4}));
    const Failure failure = rowListStarts(starts, count, 3, rowStarts);
    EXPECT_EQ(failure.error, Error::Reordering);
    EXPECT_EQ(failure.internal, -20);
}

TEST(EntryMaps, AreTheSameForAnyNumberOfThreads)
{
    const OwnedGraph g = grid(90, 90);
    Pipeline p(g.view(), randomOrdering(8100, 5), 4);
    ASSERT_GT(p.rows.size(), 800000U) << "too little for a team";
    std::vector<int> inPlace(8100);
    std::iota(inPlace.begin(), inPlace.end(), 0);
    const Entries A(g.view(), true, inPlace);
    ASSERT_EQ(A.pattern().order(), 8100);
    Maps alone(p, A);
    ASSERT_FALSE(mapEntries(A.pattern(), {}, p.ordering.view(), p.structure(), true, 1, alone.view()));
    for (const int threads : {2, 3, 16}) {
        Maps shared(p, A);
        ASSERT_FALSE(
            mapEntries(A.pattern(), {}, p.ordering.view(), p.structure(), true, threads, shared.view()));
        EXPECT_EQ(shared.firstEntry, alone.firstEntry);
        EXPECT_EQ(shared.source, alone.source);
        EXPECT_EQ(shared.place, alone.place) << threads << " threads";
    }
}

// Told to end before each entry has its supernode, it sorts none by what stands in the place of that.
TEST(EntryMaps, AreLeftAloneWhereTheWorkEndsBeforeTheyAreSorted)
{
    const int n = 40000;
    const OwnedGraph g = grid(n, 1);
    std::vector<int> inPlace(n);
    std::iota(inPlace.begin(), inPlace.end(), 0);
    Pipeline p(g.view(), orderingOf(inPlace), 4);
    const Entries A(g.view(), true, inPlace);
    Maps maps(p, A);
    std::ranges::fill(maps.source, -7);
    Allowance none(0);
    const detail::WorkScope scope(none);
    const Failure failure =
        mapEntries(A.pattern(), {}, p.ordering.view(), p.structure(), true, 1, maps.view());
    EXPECT_EQ(failure.error, stopped().error);
    EXPECT_EQ(std::ranges::count(maps.source, -7), std::ssize(maps.source));
}

TEST(EntryMaps, APanelBeyondThirtyTwoBitsIsRefused)
{
    // One supernode of two columns over 2^30 rows: only its sizes are looked at.
    const std::vector<int> starts{0, 2}, supernodeOf{0, 0};
    const std::vector<std::int64_t> rowStarts{0, std::int64_t{1} << 30};
    const FactorStructure structure{starts, supernodeOf, rowStarts, {}};
    OwnedOrdering ordering = orderingOf({0, 1});
    const Failure failure = mapEntries({}, {}, ordering.view(), structure, true, 1, {});
    EXPECT_EQ(failure.error, Error::Overflow);
    EXPECT_EQ(failure.internal, -182);
}

// Two parts of a path on either side of a separator: 0 1 2 | 4 5 6 | 3.
class TwoParts : public ::testing::Test {
protected:
    OwnedGraph graph_ = graphOf(7, {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}});
    std::vector<PositionRange> ranges_{{0, 2}, {3, 5}, {6, 6}};
    Pipeline p_{graph_.view(), orderingOf({0, 1, 2, 6, 5, 4, 3}), 128, true, ranges_};
};

TEST_F(TwoParts, SupernodesBelongToTheSubgraphOfTheirLastColumn)
{
    std::vector<PositionRange> supernodes(3);
    supernodesOfSubgraphs(p_.structure(), ranges_, supernodes);
    const FactorStructure s = p_.structure();
    ASSERT_EQ(supernodes.front().first, 0);
    ASSERT_EQ(supernodes.back().last, s.supernodes() - 1);
    for (std::size_t r = 0; r < 3; ++r) {
        if (r > 0) {
            EXPECT_EQ(supernodes[r].first, supernodes[r - 1].last + 1);
        }
        for (int J = supernodes[r].first; J <= supernodes[r].last; ++J) {
            const int last = s.starts[static_cast<std::size_t>(J) + 1] - 1;
            EXPECT_TRUE(last >= ranges_[r].first && last <= ranges_[r].last) << "supernode " << J;
        }
    }
}

TEST_F(TwoParts, EachPartUpdatesTheSeparatorFromTheSupernodesThatReachIt)
{
    std::vector<PositionRange> supernodes(3);
    const FactorStructure s = p_.structure();
    supernodesOfSubgraphs(s, ranges_, supernodes);
    std::vector<int> updates(2), expected(2);
    ASSERT_FALSE(countUpdates(s, supernodes, 2, updates));
    for (std::size_t part = 0; part < 2; ++part) {
        for (int K = supernodes[part].first; K <= supernodes[part].last; ++K) {
            const auto rows = s.rowsBelow(K);
            expected[part] += std::any_of(rows.begin(), rows.end(), [&](int row) {
                return s.supernodeOf[static_cast<std::size_t>(row)] >= supernodes[2].first;
            });
        }
    }
    EXPECT_EQ(updates, expected);
    std::vector<int> starts(3), targets(2);
    const int all = listTargets(updates, 2, 1, starts, targets);
    EXPECT_EQ(all, (updates[0] > 0) + (updates[1] > 0));
    EXPECT_EQ(starts.back(), all);
}

TEST_F(TwoParts, UpdateCountsTellWhenThereIsNoMemory)
{
    std::vector<PositionRange> supernodes(3);
    supernodesOfSubgraphs(p_.structure(), ranges_, supernodes);
    std::vector<int> updates(2);
    const FailingAllocator none(0);
    EXPECT_EQ(countUpdates(p_.structure(), supernodes, 2, updates).internal, -900);
}

TEST(ListTargets, NamesTheSeparatorsWithUpdates)
{
    const std::vector<int> updates{2, 0, 1, 0, 0, 5}; // two parts, three separators
    std::vector<int> starts(3), targets(3);
    EXPECT_EQ(listTargets(updates, 2, 3, starts, targets), 3);
    EXPECT_EQ(starts, (std::vector{0, 2, 3}));
    EXPECT_EQ(targets, (std::vector{0, 2, 2}));
}

TEST(SupernodesOfSubgraphs, AnEmptySubgraphHasNone)
{
    const OwnedGraph g = graphOf(4, {});
    const std::vector<PositionRange> ranges{{0, 3}};
    const Pipeline p(g.view(), orderingOf({0, 1, 2, 3}), 8, true, ranges);
    const std::vector<PositionRange> subgraphs{{0, 1}, {2, 1}, {2, 3}};
    std::vector<PositionRange> supernodes(3);
    supernodesOfSubgraphs(p.structure(), subgraphs, supernodes);
    EXPECT_EQ(supernodes[1].last, supernodes[1].first - 1);
    EXPECT_EQ(supernodes[2].first, 2);
}

TEST(TreeHeight, IsThatOfTheEliminationTreeWhereverSupernodesAreCut)
{
    for (const unsigned seed : {1U, 2U, 3U, 4U, 5U}) {
        const OwnedGraph g = randomGraph(60, 90, seed);
        for (const int panelWidth : {1, 3, 100}) {
            Pipeline p(g.view(), randomOrdering(60, seed), panelWidth);
            std::vector<int> depth(61, 0), work(60);
            for (std::size_t j = 60; j-- > 0;)
                depth[j] = 1 + (p.parent[j] == kRoot ? 0 : depth[static_cast<std::size_t>(p.parent[j])]);
            EXPECT_EQ(treeHeight(p.structure(), work), *std::ranges::max_element(depth));
        }
    }
}

TEST(ChunkOfSupernodes, IsAtLeastOneAndGrowsWithTheirNumber)
{
    EXPECT_EQ(chunkOfSupernodes(0, 2), 1);
    EXPECT_EQ(chunkOfSupernodes(10, 2), 1);
    EXPECT_EQ(chunkOfSupernodes(12800, 2), 100);
}

} // namespace
} // namespace Velmar::Lintrix::testing
