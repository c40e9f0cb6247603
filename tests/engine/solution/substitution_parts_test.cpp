// The parts of a factor that threads substitute in: independent, complete, balanced, always the same.

#include <lintrix/engine/solution/substitution_parts.h>

#include "tests/engine/analysis/graph/elimination_graphs.h"
#include "tests/engine/analysis/symbolic/symbolic_pipeline.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

TEST(ConsecutiveSubgraphs, BeginRightBehindEachOtherAndAreNotEmpty)
{
    const auto consecutive = [](std::vector<PositionRange> ranges) { return areConsecutive(ranges); };
    EXPECT_TRUE(consecutive({{0, 9}}));
    EXPECT_TRUE(consecutive({{0, 3}, {4, 7}, {8, 9}}));
    EXPECT_FALSE(consecutive({{1, 3}}));
    EXPECT_FALSE(consecutive({{0, 3}, {5, 9}}));
    EXPECT_FALSE(consecutive({{0, 8}, {9, 9}, {9, 9}}));
    EXPECT_FALSE(consecutive({{0, 3}, {4, -1}, {4, 9}}));
    EXPECT_FALSE(consecutive({{4, 7}, {0, 3}}));
}

/// The lists, with the arrays that they are views of.
struct Dealt {
    Dealt(const FactorStructure& structure, int parts)
        : starts(static_cast<std::size_t>(parts) + 2),
          ranges(static_cast<std::size_t>(structure.supernodes()))
    {
        EXPECT_FALSE(dealOutParts(structure, parts, starts, ranges, worthWhile));
    }
    SubstitutionParts view() const { return {starts, ranges}; }
    /// The list of each supernode; -1 for none, -2 for two.
    std::vector<int> listOf() const
    {
        std::vector<int> found(ranges.size(), -1);
        for (int list = 0; list <= view().count(); ++list) {
            int before = -1;
            for (const auto [first, last] : view().list(list)) {
                EXPECT_LT(before, first);
                for (int J = first; J <= last; ++J) {
                    int& mine = found[static_cast<std::size_t>(J)];
                    mine = mine == -1 ? list : -2;
                }
                before = last;
            }
        }
        return found;
    }

    std::vector<int> starts;
    std::vector<PositionRange> ranges;
    bool worthWhile = false;
};

/// A grid in the order of a dissection by lines, each part of which is one range, or in a random order.
Pipeline gridInOrder(int x, int y, bool dissected)
{
    const OwnedGraph graph = grid(x, y);
    if (!dissected) return {graph.view(), randomOrdering(x * y, 5), 16};
    std::vector<int> vertices;
    for (const auto& [first, behind] :
         {std::pair(0, x / 2), std::pair(x / 2 + 1, x), std::pair(x / 2, x / 2 + 1)}) {
        for (int i = first; i < behind; ++i) {
            for (int j = 0; j < y; ++j) vertices.push_back(i + x * j);
        }
    }
    const int half = (x / 2) * y, other = (x - x / 2 - 1) * y;
    return {graph.view(),
            orderingOf(vertices),
            16,
            false,
            {{0, half - 1}, {half, half + other - 1}, {half + other, x * y - 1}}};
}

TEST(SubstitutionParts, AreJoinedByNoEntryAndHoldEverySupernodeOnce)
{
    for (const bool dissected : {false, true}) {
        const Pipeline p = gridInOrder(30, 31, dissected);
        const FactorStructure structure = p.structure();
        for (const int parts : {1, 2, 3, 4, 7, 16}) {
            const Dealt dealt(structure, parts);
            ASSERT_EQ(dealt.view().count(), parts);
            const std::vector<int> listOf = dealt.listOf();
            for (int J = 0; J < structure.supernodes(); ++J) {
                const int own = listOf[static_cast<std::size_t>(J)];
                ASSERT_GE(own, 0);
                for (const int row : structure.rowsBelow(J)) {
                    const int other = listOf[static_cast<std::size_t>(structure.supernodeOf[row])];
                    ASSERT_TRUE(other == own || other == parts) << parts << ' ' << J;
                }
            }
        }
    }
}

double entriesOf(const FactorStructure& structure, std::span<const PositionRange> ranges)
{
    double entries = 0.0;
    for (const auto [first, last] : ranges) {
        for (int J = first; J <= last; ++J) entries += double(structure.width(J)) * structure.height(J);
    }
    return entries;
}

TEST(SubstitutionParts, HaveAboutTheSameEntriesInAGrid)
{
    const Pipeline p = gridInOrder(41, 40, true);
    const FactorStructure structure = p.structure();
    const double all = static_cast<double>(p.sizes.lower);
    const Dealt dealt(structure, 2);
    EXPECT_TRUE(dealt.worthWhile);
    for (int part = 0; part < 2; ++part) EXPECT_LT(entriesOf(structure, dealt.view().list(part)), 0.55 * all);
    EXPECT_LT(entriesOf(structure, dealt.view().shared()), 0.2 * all);
}

TEST(SubstitutionParts, AreNotWorthWhileInAChainACliqueOrASmallFactor)
{
    const auto natural = [](const OwnedGraph& graph) {
        std::vector<int> vertices(static_cast<std::size_t>(graph.view().vertices()));
        std::iota(vertices.begin(), vertices.end(), 0);
        return Pipeline(graph.view(), orderingOf(vertices), 16);
    };
    EXPECT_FALSE(Dealt(natural(grid(30000, 1)).structure(), 2).worthWhile);
    EXPECT_FALSE(Dealt(natural(clique(300)).structure(), 2).worthWhile);
    EXPECT_FALSE(Dealt(gridInOrder(9, 9, true).structure(), 2).worthWhile);
}

TEST(SubstitutionParts, OfTreesThatStandApartShareNothing)
{
    std::set<std::pair<int, int>> edges;
    for (int clique = 0; clique < 40; ++clique) {
        for (int v = 0; v < 40; ++v) {
            for (int u = 0; u < v; ++u) edges.emplace(40 * clique + v, 40 * clique + u);
        }
    }
    const Pipeline p(graphOf(1600, edges).view(), randomOrdering(1600, 5), 16);
    const Dealt dealt(p.structure(), 4);
    EXPECT_TRUE(dealt.worthWhile);
    EXPECT_TRUE(dealt.view().shared().empty());
    for (int part = 0; part < 4; ++part)
        EXPECT_EQ(entriesOf(p.structure(), dealt.view().list(part)),
                  entriesOf(p.structure(), dealt.view().list(0)));
}

} // namespace
} // namespace Velmar::Lintrix::testing
