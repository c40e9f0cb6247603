// Which supernodes update which, one target at a time and panels that are worked at together.

#include "tests/engine/analysis/symbolic/symbolic_pipeline.h"
#include "tests/engine/analysis/symbolic/symbolic_reference.h"

#include <lintrix/engine/factorization/descendants.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

// A grid in a random order, whose last supernodes are wide and cut into panels of `panelWidth` columns.
class Descendants : public ::testing::TestWithParam<int> {
protected:
    Descendants() : graph_(grid(12, 11)), pipeline_(graph_.view(), randomOrdering(132, 3), GetParam(), false)
    {
        starts_ = pipeline_.descendantStarts;
        entries_.resize(static_cast<std::size_t>(starts_.back()));
        listDescendants(structure(), lists());
    }

    FactorStructure structure() const { return pipeline_.structure(); }
    DescendantLists lists() { return {starts_, entries_}; }

    // The rows below K that are columns of J.
    std::vector<int> sharedRows(int K, int J) const
    {
        std::vector<int> shared;
        for (const int row : structure().rowsBelow(K)) {
            if (structure().supernodeOf[static_cast<std::size_t>(row)] == J) shared.push_back(row);
        }
        return shared;
    }

private:
    OwnedGraph graph_;
    Pipeline pipeline_;
    std::vector<std::int64_t> starts_;
    std::vector<Descendant> entries_;
};

TEST_P(Descendants, AreAllThatShareRowsAscending)
{
    for (int J = 0; J < structure().supernodes(); ++J) {
        const std::span<const Descendant> list = lists().of(J);
        auto next = list.begin();
        for (int K = 0; K < J; ++K) {
            const std::vector<int> shared = sharedRows(K, J);
            if (shared.empty()) continue;
            ASSERT_NE(next, list.end());
            EXPECT_EQ(next->source, K);
            ASSERT_EQ(next->last - next->first, static_cast<int>(shared.size()));
            EXPECT_EQ(structure().rowsBelow(K)[static_cast<std::size_t>(next->first)], shared.front());
            ++next;
        }
        EXPECT_EQ(next, list.end());
    }
}

TEST_P(Descendants, PanelsTogetherHaveTheRowsOfTheOneBefore)
{
    const int last = structure().supernodes() - 1;
    bool some = false;
    for (int J = 0; J <= last; ++J) {
        const int end = lastTogether(structure(), J, last, kPanelsTogether);
        EXPECT_GE(end, J);
        EXPECT_LT(end, J + kPanelsTogether);
        for (int K = J; K < end; ++K) {
            some = true;
            EXPECT_TRUE(std::ranges::equal(structure().rowsBelow(K), structure().rowsOf(K + 1)));
        }
        const bool bound = end == last || end == J + kPanelsTogether - 1;
        EXPECT_TRUE(bound || !std::ranges::equal(structure().rowsBelow(end), structure().rowsOf(end + 1)));
        EXPECT_EQ(lastTogether(structure(), J, J, kPanelsTogether), J);
        EXPECT_EQ(lastTogether(structure(), J, last, 1), J);
        EXPECT_EQ(lastTogether(structure(), J, last, 2), std::min(end, J + 1));
    }
    EXPECT_TRUE(some) << "no supernode was cut";
}

TEST_P(Descendants, OfPanelsTogetherAreMergedAscendingEachOnce)
{
    const int last = structure().supernodes() - 1;
    for (int J = 0, end; J <= last; J = end + 1) {
        end = lastTogether(structure(), J, last, kPanelsTogether);
        std::set<int> expected;
        for (int panel = J; panel <= end; ++panel) {
            for (const Descendant& d : lists().of(panel)) expected.insert(d.source);
        }
        MergedDescendants merged(lists(), J, end, {0, end});
        for (const int K : expected) {
            ASSERT_TRUE(merged.next());
            ASSERT_EQ(merged.source(), K);
            auto row = static_cast<std::size_t>(merged.firstRow());
            for (int panel = J; panel <= end; ++panel) {
                const std::vector<int> shared = sharedRows(K, panel);
                ASSERT_EQ(merged.columns(panel - J), static_cast<int>(shared.size()));
                for (const int column : shared) EXPECT_EQ(structure().rowsBelow(K)[row++], column);
            }
        }
        EXPECT_FALSE(merged.next());
    }
}

INSTANTIATE_TEST_SUITE_P(PanelWidths, Descendants, ::testing::Values(1, 3, 8));

} // namespace
} // namespace Velmar::Lintrix::testing
