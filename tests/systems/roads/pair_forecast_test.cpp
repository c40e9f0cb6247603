// The order of elimination by pairs, and the entries that it leads to.

#include <lintrix/systems/roads/pair_forecast.h>

#include <gmock/gmock.h>

#include <numeric>
#include <random>
#include <set>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using detail::PatternArrays;
using detail::SparsePattern;
using ::testing::ElementsAre;

constexpr std::int64_t kNoLimit = 1'000'000;

PatternArrays patternOf(std::int32_t n, const std::set<std::pair<std::int32_t, std::int32_t>>& edges)
{
    PatternArrays pattern{n, n};
    for (std::int32_t i = 0; i < n; ++i) {
        for (std::int32_t j = 0; j < n; ++j)
            if (edges.contains({std::min(i, j), std::max(i, j)})) pattern.columns.push_back(j);
        pattern.starts.push_back(static_cast<std::int32_t>(pattern.columns.size()));
    }
    return pattern;
}

/// Eliminates one vertex after another: its later neighbours become neighbours of each other.
std::int64_t filledEntriesOf(const SparsePattern& pattern, const std::vector<std::int32_t>& vertexAt)
{
    const auto n = static_cast<std::size_t>(pattern.rows);
    std::vector<std::set<std::int32_t>> neighbours(n);
    for (std::size_t row = 0; row < n; ++row) {
        const auto columns = pattern.row(static_cast<std::int32_t>(row));
        neighbours[row].insert(columns.begin(), columns.end());
        neighbours[row].erase(static_cast<std::int32_t>(row));
    }
    std::int64_t entries = 0;
    for (const std::int32_t v : vertexAt) {
        const std::set<std::int32_t> around = std::exchange(neighbours[static_cast<std::size_t>(v)], {});
        entries += 1 + static_cast<std::int64_t>(around.size());
        for (const std::int32_t a : around) {
            neighbours[static_cast<std::size_t>(a)].insert(around.begin(), around.end());
            neighbours[static_cast<std::size_t>(a)].erase(a);
            neighbours[static_cast<std::size_t>(a)].erase(v);
        }
    }
    return entries;
}

TEST(PairOrder, SinglesComeFirstAndWhatOddCyclesLeaveLast)
{
    EXPECT_THAT(pairOrder({0, 1, 2}), ElementsAre(0, 1, 2));
    EXPECT_THAT(pairOrder({3, 1, 2, 0}), ElementsAre(1, 2, 0, 3)) << "a pair";
    EXPECT_THAT(pairOrder({2, 3, 1, 0}), ElementsAre(0, 2, 1, 3)) << "a cycle of four";
    EXPECT_THAT(pairOrder({1, 2, 0, 4, 5, 3, 6}), ElementsAre(6, 1, 2, 4, 5, 3, 0)) << "two of three";
}

TEST(FactorEntries, AreThoseOfAPlainElimination)
{
    std::mt19937_64 generator(3);
    for (int round = 0; round < 60; ++round) {
        constexpr std::int32_t n = 30;
        std::set<std::pair<std::int32_t, std::int32_t>> edges;
        for (int k = 0; k < 45; ++k) {
            const auto i = static_cast<std::int32_t>(generator() % n),
                       j = static_cast<std::int32_t>(generator() % n);
            edges.insert({std::min(i, j), std::max(i, j)});
        }
        std::vector<std::int32_t> order(n);
        std::iota(order.begin(), order.end(), 0);
        std::ranges::shuffle(order, generator);
        const PatternArrays pattern = patternOf(n, edges);
        EXPECT_EQ(factorEntries(pattern, order, kNoLimit), filledEntriesOf(pattern, order)) << round;
    }
}

TEST(FactorEntries, AreCountedNoFurtherThanTheLimit)
{
    // A star eliminated from its centre fills the matrix, from its ends nothing.
    std::set<std::pair<std::int32_t, std::int32_t>> star;
    for (std::int32_t i = 0; i < 1000; ++i) star.insert({0, i});
    const PatternArrays pattern = patternOf(1000, star);
    std::vector<std::int32_t> order(1000);
    std::iota(order.begin(), order.end(), 0);
    EXPECT_EQ(factorEntries(pattern, order, kNoLimit), 500500);
    const std::int64_t counted = factorEntries(pattern, order, 5000);
    EXPECT_GT(counted, 5000);
    EXPECT_LT(counted, 6001) << "a row more";
    std::ranges::reverse(order);
    EXPECT_EQ(factorEntries(pattern, order, 5000), 1999);
}

TEST(PairEntries, AreThoseOfTheMatchingsOrder)
{
    // 0 and 3 have no diagonal and only each other to be matched with.
    const PatternArrays pattern = patternOf(4, {{0, 3}, {1, 1}, {2, 2}, {1, 2}, {2, 3}});
    EXPECT_EQ(pairEntries(pattern, kNoLimit), filledEntriesOf(pattern, {1, 2, 0, 3}));
}

} // namespace
} // namespace Velmar::Lintrix::testing
