// Which road follows which, as tables.

#include <lintrix/systems/roads/road_choice.h>

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

std::ostream& operator<<(std::ostream& out, const Attempt& attempt)
{
    out << nameOf(attempt.road, -2);
    return attempt.ordering ? out << " by " << NameOf(*attempt.ordering) : out;
}

} // namespace Velmar::Lintrix::detail::roads

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;

constexpr auto kDegree = FillInReducingMethod::MinimumDegree,
               kDissection = FillInReducingMethod::NestedDissection;
constexpr SearchState kOpen{}, kGiven{.orderingIsOpen = false}, kSuspect{.looksSingular = true};

struct Step {
    Attempt last;
    Ending ending;
    SearchState state;
    std::optional<Attempt> next;
};

void expectAll(const std::vector<Step>& table, FillInReducingMethod ordering = kDegree)
{
    for (std::size_t k = 0; k < table.size(); ++k) {
        const Step& step = table[k];
        EXPECT_EQ(nextAttempt(step.last, ordering, step.ending, step.state), step.next)
            << "row " << k << ", " << step.last;
    }
}

Attempt repeated(Road road, FillInReducingMethod ordering = kDissection)
{
    return {road, ordering};
}

constexpr Road kAll[] = {Road::Cholesky, Road::Symmetric, Road::Delayed, Road::Unmatched, Road::Matched,
                         Road::Fronts,   Road::Coarse,    Road::Pivoted, Road::Dense};

TEST(NextAttempt, NothingFollowsAnAccurateOne)
{
    for (const Road road : kAll) expectAll({{{road}, Ending::Accurate, kOpen, std::nullopt}});
}

TEST(NextAttempt, AStrongerRoadFollowsAPoorOne)
{
    expectAll({
        {{Road::Cholesky}, Ending::Poor, kOpen, Attempt{Road::Symmetric}},
        {{Road::Symmetric}, Ending::Poor, kOpen, Attempt{Road::Delayed}},
        {{Road::Delayed}, Ending::Poor, kOpen, Attempt{Road::Matched}},
        {{Road::Unmatched}, Ending::Poor, kOpen, Attempt{Road::Matched}},
        {{Road::Matched}, Ending::Poor, kOpen, Attempt{Road::Fronts}},
        {{Road::Fronts}, Ending::Poor, kOpen, Attempt{Road::Coarse}},
        {{Road::Coarse}, Ending::Poor, kOpen, Attempt{Road::Pivoted}},
        {{Road::Pivoted}, Ending::Poor, kOpen, Attempt{Road::Dense}},
        {{Road::Dense}, Ending::Poor, kOpen, std::nullopt},
    });
}

TEST(NextAttempt, AnUnsteadyRoadIsRepeatedInTheOtherOrder)
{
    expectAll({
        {{Road::Symmetric}, Ending::Unsteady, kOpen, repeated(Road::Symmetric)},
        {{Road::Unmatched}, Ending::Unsteady, kOpen, repeated(Road::Unmatched)},
        {{Road::Matched}, Ending::Unsteady, kOpen, repeated(Road::Matched)},
        {{Road::Delayed}, Ending::Unsteady, kOpen, Attempt{Road::Matched}}, // has one order
        {{Road::Fronts}, Ending::Unsteady, kOpen, Attempt{Road::Coarse}},   // likewise
        {{Road::Coarse}, Ending::Unsteady, kOpen, Attempt{Road::Pivoted}},
        // once
        {repeated(Road::Symmetric), Ending::Unsteady, kOpen, Attempt{Road::Delayed}},
        {repeated(Road::Matched), Ending::Unsteady, kOpen, Attempt{Road::Fronts}},
        // where the caller leaves it open
        {{Road::Symmetric}, Ending::Unsteady, kGiven, Attempt{Road::Delayed}},
        {{Road::Matched}, Ending::Unsteady, kGiven, Attempt{Road::Fronts}},
    });
    expectAll({{{Road::Symmetric}, Ending::Unsteady, kOpen, repeated(Road::Symmetric, kDegree)}},
              kDissection);
}

TEST(NextAttempt, WhereManyMatchedPivotsWereReplacedAnotherOrderIsNotTried)
{
    constexpr SearchState many{.replacedMany = true};
    expectAll({
        {{Road::Matched}, Ending::Unsteady, many, Attempt{Road::Fronts}},
        // zeros on the diagonal, as a graph has them, are replaced by the thousand and made good for
        {{Road::Symmetric}, Ending::Unsteady, many, repeated(Road::Symmetric)},
        {{Road::Unmatched}, Ending::Unsteady, many, repeated(Road::Unmatched)},
    });
}

TEST(NextAttempt, ManyAreMoreThanAnEighth)
{
    EXPECT_FALSE(areMany(0, 3));
    EXPECT_TRUE(areMany(1, 7));
    EXPECT_FALSE(areMany(1, 8));
    EXPECT_FALSE(areMany(1250, 10000));
    EXPECT_TRUE(areMany(1251, 10000));
}

TEST(NextAttempt, NothingFollowsWhatSolvesEachEquationToItsLastPlaces)
{
    for (const Road road : kAll) expectAll({{{road}, Ending::Sharp, kOpen, std::nullopt}});
}

TEST(NextAttempt, FewDigitsOfAStableRoadAreTheMatrixsOwn)
{
    expectAll({
        {{Road::Cholesky}, Ending::IllConditioned, kOpen, std::nullopt},
        {{Road::Symmetric}, Ending::IllConditioned, kOpen, Attempt{Road::Delayed}},
        {{Road::Delayed}, Ending::IllConditioned, kOpen, std::nullopt},
        {{Road::Unmatched}, Ending::IllConditioned, kOpen, Attempt{Road::Matched}},
        {{Road::Matched}, Ending::IllConditioned, kOpen, std::nullopt},
        {{Road::Fronts}, Ending::IllConditioned, kOpen, std::nullopt},
        {{Road::Coarse}, Ending::IllConditioned, kOpen, std::nullopt},
    });
}

TEST(NextAttempt, ThatAMatrixIsSingularLUHasTheLastWord)
{
    expectAll({
        {{Road::Symmetric}, Ending::Singular, kOpen, Attempt{Road::Delayed}},
        {{Road::Delayed}, Ending::Singular, kOpen, std::nullopt},
        {{Road::Unmatched}, Ending::Singular, kOpen, Attempt{Road::Matched}},
        {{Road::Matched}, Ending::Singular, kOpen, std::nullopt},
        {{Road::Fronts}, Ending::Singular, kOpen, std::nullopt},
        {{Road::Coarse}, Ending::Singular, kOpen, std::nullopt},
        // told before by another road
        {{Road::Delayed}, Ending::Unsteady, kSuspect, Attempt{Road::Matched}},
        {{Road::Matched}, Ending::Unsteady, kSuspect, Attempt{Road::Fronts}},
        {{Road::Matched}, Ending::Poor, kSuspect, Attempt{Road::Fronts}},
    });
}

TEST(NextAttempt, ExchangesOfRowsAreForRegularMatricesWithADenseClass)
{
    expectAll({
        {{Road::Coarse}, Ending::Poor, kGiven, Attempt{Road::Pivoted}},
        {{Road::Coarse}, Ending::Poor, kSuspect, std::nullopt},
        {{Road::Fronts}, Ending::NotTaken, kOpen, Attempt{Road::Coarse}},
        {{Road::Pivoted}, Ending::NotTaken, kOpen, Attempt{Road::Dense}},
        {{Road::Pivoted}, Ending::IllConditioned, kOpen, Attempt{Road::Dense}},
        {{Road::Dense}, Ending::NotTaken, kOpen, std::nullopt},
    });
}

// What replaces pivots can tell what makes a matrix singular.
TEST(NextAttempt, TheEngineFollowsPartialPivotingThatCameFirst)
{
    constexpr SearchState first{.pivotedFirst = true};
    expectAll({
        {{Road::Pivoted}, Ending::Poor, first, Attempt{Road::Matched}},
        {{Road::Pivoted}, Ending::NotTaken, first, Attempt{Road::Matched}},
        {{Road::Pivoted}, Ending::IllConditioned, first, Attempt{Road::Matched}},
        {{Road::Matched}, Ending::Poor, first, Attempt{Road::Fronts}},
        {{Road::Fronts}, Ending::Poor, first, Attempt{Road::Coarse}},
        {{Road::Coarse}, Ending::Poor, first, Attempt{Road::Dense}},
    });
}

TEST(ReachOf, ColumnsOneByOneAreSlow)
{
    const RoadCost done{1, 1e9,
                        0}; // 3e10 operations are near, 1e12 far, each of them taking eight times as long
    EXPECT_EQ(reachOf(Road::Pivoted, {1, 3e9, 0}, done, 1e9), Reach::Near);
    EXPECT_EQ(reachOf(Road::Pivoted, {1, 5e9, 0}, done, 1e9), Reach::Far);
    EXPECT_EQ(reachOf(Road::Pivoted, {1, 2e11, 0}, done, 1e9), Reach::Beyond);
    EXPECT_EQ(mostColumnOperations(Reach::Near, done), 3e10 / 8.0);
    EXPECT_EQ(mostColumnOperations(Reach::Far, done), 1e12 / 8.0);
}

TEST(NextAttempt, WhatIsNotTakenIsPassedOverWithWhatCostsAsMuch)
{
    expectAll({
        {{Road::Symmetric}, Ending::NotTaken, kOpen, Attempt{Road::Delayed}},
        {{Road::Delayed}, Ending::NotTaken, kOpen, Attempt{Road::Matched}},
        {{Road::Matched}, Ending::NotTaken, kOpen, std::nullopt},
    });
}

TEST(ReachOf, GoesByWhatWasDoneAndByTheMemory)
{
    struct Row {
        Road road;
        RoadCost cost, done;
        Reach reach;
    };
    const double memory = 1e9;
    const std::vector<Row> table{
        {Road::Matched, {1, 1e9, 0}, {1, 1, 0}, Reach::Near}, // short
        {Road::Matched, {1, 2e10, 0}, {1, 1e8, 0}, Reach::Far},
        {Road::Matched, {1, 2e10, 0}, {1, 1e9, 0}, Reach::Near},
        {Road::Matched, {1, 2e12, 0}, {1, 1e9, 0}, Reach::Beyond},
        {Road::Matched, {1, 2e12, 0}, {1, 1e10, 0}, Reach::Far},
        {Road::Matched, {1, 1e9, 2e9}, {1, 1e9, 0}, Reach::Beyond},
        {Road::Matched, {6'000'000, 1e9, 0}, {10'000, 1e8, 0}, Reach::Near},
    };
    for (std::size_t k = 0; k < table.size(); ++k)
        EXPECT_EQ(reachOf(table[k].road, table[k].cost, table[k].done, memory), table[k].reach)
            << "row " << k;
}

TEST(DenseCost, IsThatOfTheSquareAndItsFactors)
{
    const RoadCost cost = denseCost(3000, false), complexCost = denseCost(3000, true);
    EXPECT_EQ(cost.entries, 3000 * 3001 / 2);
    EXPECT_DOUBLE_EQ(cost.operations, 1.8e10);
    EXPECT_DOUBLE_EQ(cost.bytes, 144e6);
    EXPECT_EQ(complexCost.entries, cost.entries);
    EXPECT_DOUBLE_EQ(complexCost.operations, 7.2e10);
    EXPECT_DOUBLE_EQ(complexCost.bytes, 288e6);
    EXPECT_TRUE(std::isfinite(denseCost(46340, false).bytes));
    EXPECT_TRUE(std::isinf(denseCost(46341, false).bytes)) << "more cells than a matrix can have";
    EXPECT_EQ(denseCost(2147483647, true).entries, 2305843008139952128);
}

} // namespace
} // namespace Velmar::Lintrix::testing
