// When a factor is made anew, and what time buys in iterations.

#include <lintrix/engine/solution/factor_reuse.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::detail::engine {
namespace {

FactorQuestion question(int steps, int kind, int budget = 100, int iterationResult = 0)
{
    return {
        .stored = true, .steps = steps, .kind = kind, .budget = budget, .iterationResult = iterationResult};
}

TEST(FactorReuse, AMissingFactorIsMadeAtAnyPhase)
{
    for (const int steps : {12, 13, 22, 23, 33}) {
        for (const int kind : {0, 1, 2, -1}) {
            FactorQuestion missing = question(steps, kind);
            missing.stored = false;
            EXPECT_TRUE(needsFactor(missing));
        }
    }
}

TEST(FactorReuse, ADirectSolveFactorizesWheneverThePhaseSays)
{
    EXPECT_TRUE(needsFactor(question(22, 0)));
    EXPECT_TRUE(needsFactor(question(23, 0)));
    EXPECT_FALSE(needsFactor(question(33, 0)));
}

TEST(FactorReuse, AnIterativeSolveKeepsTheFactor)
{
    for (const int kind : {1, 2, -1, -2}) {
        EXPECT_FALSE(needsFactor(question(22, kind)));
        EXPECT_FALSE(needsFactor(question(23, kind)));
        EXPECT_FALSE(needsFactor(question(33, kind)));
    }
}

TEST(FactorReuse, ASmallBudgetAsksForAFactorUnlessIterationComesFirst)
{
    EXPECT_TRUE(needsFactor(question(23, 1, 4)));
    EXPECT_TRUE(needsFactor(question(22, 2, 4)));
    EXPECT_FALSE(needsFactor(question(23, 1, 5)));
    EXPECT_FALSE(needsFactor(question(23, -1, 4)));
    EXPECT_FALSE(needsFactor(question(33, 1, 4)));
}

TEST(FactorReuse, AFailedIterationAsksForAFactorBelowPhase30)
{
    for (const int result : {-1, -34, -1003}) {
        EXPECT_TRUE(needsFactor(question(23, 1, 100, result)));
        EXPECT_TRUE(needsFactor(question(22, -1, 100, result)));
        EXPECT_FALSE(needsFactor(question(33, 1, 100, result)));
    }
}

TEST(IterationBudgets, FollowTheTimesBetweenTwoAndAHundred)
{
    EXPECT_EQ(iterationBudget(1, 0.0, 1.0).most, 2);
    EXPECT_EQ(iterationBudget(1, 10.0, 1.0).most, 14); // 13.5 + 1
    EXPECT_EQ(iterationBudget(1, 10.0, 1.0).half, 8);
    EXPECT_EQ(iterationBudget(2, 10.0, 1.0).most, 27); // 27 + 1, less than a unit: the share is below 0.45
    EXPECT_EQ(iterationBudget(2, 10.0, 1.0).half, 14);
    EXPECT_EQ(iterationBudget(3, 10.0, 1.0).most, 41);
    EXPECT_EQ(iterationBudget(1, 1e9, 1.0).most, 100);
    EXPECT_EQ(iterationBudget(1, std::numeric_limits<double>::max(), 1e-9).most, 100);
    EXPECT_EQ(iterationBudget(1, 100.0 / (3.0 * 0.44999998807907104), 1.0).most, 100); // 101 becomes 100
}

TEST(IterationBudgets, AreNothingForASolveTooFastToBeTimed)
{
    EXPECT_EQ(iterationBudget(1, 1.0, 0.0).most, 0);
    EXPECT_EQ(iterationBudget(1, 1.0, 0.0).half, 1);
    EXPECT_EQ(iterationBudget(2, 1.0, 1e-10).most, 0);
    EXPECT_EQ(iterationBudget(1, 1.0, std::nextafter(1.000000013351432e-10, 1.0)).most, 100);
}

TEST(IterationBudgets, AreAlways150WhereIterationComesFirst)
{
    for (const double seconds : {0.0, 1.0, 1e9}) {
        EXPECT_EQ(iterationBudget(-1, 1.0, seconds).most, 150);
        EXPECT_EQ(iterationBudget(-2, 1.0, seconds).half, 76);
    }
}

} // namespace
} // namespace Velmar::Lintrix::detail::engine
