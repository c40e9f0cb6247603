// The rules of the driver: sizes of the passes, tolerance, observer.

#include "tests/solvers/svd_support.h"

#include <lintrix/solvers/lanczos.h>

#include <limits>
#include <stdexcept>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;

TEST(Lanczos, FirstPassTakesTheGeometricMeanOfSmallerSideAndCount)
{
    EXPECT_EQ(detail::firstTarget(100, 50, 4), 14); // sqrt(200) = 14.14; the bidiagonal matrix has order 15
    EXPECT_EQ(detail::firstTarget(50, 100, 4), 14);
    EXPECT_EQ(detail::firstTarget(1, 1, 1), 1);
    EXPECT_EQ(detail::firstTarget(1, 1000, 1), 1);
    EXPECT_EQ(detail::firstTarget(25, 25, 4), 10);              // an exact root
    EXPECT_EQ(detail::firstTarget(33, 99, 3), 9);               // sqrt(99) = 9.95
    EXPECT_EQ(detail::firstTarget(46341, 46340, 46340), 46340); // the largest product that is a 32-bit number
}

TEST(Lanczos, WrappedProductIsNoSensibleTarget)
{
    EXPECT_EQ(detail::firstTarget(46341, 46341, 46341), std::numeric_limits<std::int32_t>::min());
}

TEST(Lanczos, EachFurtherPassTakesHalfAsManyStepsAgainAndOne)
{
    EXPECT_EQ(detail::nextTarget(1), 2);
    EXPECT_EQ(detail::nextTarget(2), 4);
    EXPECT_EQ(detail::nextTarget(10), 16);
    EXPECT_EQ(detail::nextTarget(16), 25);
    EXPECT_EQ(detail::nextTarget(25), 38);
    EXPECT_EQ(detail::nextTarget(38), 58);
}

TEST(Lanczos, ToleranceIsItsMagnitudeAndAtLeast1em14)
{
    EXPECT_EQ(detail::lanczosTolerance(0.0), 1e-14);
    EXPECT_EQ(detail::lanczosTolerance(1e-20), 1e-14);
    EXPECT_EQ(detail::lanczosTolerance(-1e-20), 1e-14);
    EXPECT_EQ(detail::lanczosTolerance(-1e-6), 1e-6);
    EXPECT_EQ(detail::lanczosTolerance(1e-6), 1e-6);
    EXPECT_EQ(detail::lanczosTolerance(std::numeric_limits<double>::infinity()),
              std::numeric_limits<double>::infinity());
    EXPECT_EQ(detail::lanczosTolerance(std::numeric_limits<double>::quiet_NaN()), 1e-14);
}

TEST(Lanczos, FirstTestComesAfter14StepsFor100By50And4)
{
    EXPECT_THAT(stepsOf(scatteredSparse({100, 50}, 1), 4, 1e-6, 1), ElementsAre(14));
}

TEST(Lanczos, FailedTestsExtendBy10To16To25To38)
{
    // Singular values that lie close together.
    std::vector<double> cells;
    for (int i = 0; i < 100; ++i) cells.push_back(1.0 + 0.001 * i);
    EXPECT_THAT(stepsOf(diagonalSparse(cells), 1, 1e-13, 4), ElementsAre(10, 16, 25, 38));
}

// One step on diag(1, 2) from (1, 1)/sqrt(2) has r(0) = (1, 2)/sqrt(5), and the value |A*r(0)| = |(1,
// 4)|/sqrt(5).
TEST(Lanczos, StartVectorIsAlmostConstantWithASmallPerturbation)
{
    const SparseSVD svd(diagonalSparse({1.0, 2.0}), 1, 10.0);
    ASSERT_EQ(svd.LastPass().steps, 1);
    EXPECT_NEAR(svd.S()[0], std::sqrt(17.0 / 5.0), 1e-3);
    EXPECT_GT(std::abs(svd.S()[0] - std::sqrt(17.0 / 5.0)), 1e-9);
}

// ||v - A'*u/s|| for the last wanted triplet, absolute whatever the norm of A.
TEST(Lanczos, ResidualIsThatOfTheLastTripletAloneAndAbsolute)
{
    for (const double factor : {1.0, 1e6}) {
        const SparseMatrix A = factor * scatteredSparse({60, 40}, 2);
        LanczosObserver observer;
        observer.afterPass = [](const LanczosPass&) { return false; };
        const SparseSVD svd(A, 3, 1e-14, observer);
        const Matrix dense = A.ToDense();
        double squared = 0.0;
        for (int c = 0; c < 40; ++c) {
            double image = 0.0;
            for (int r = 0; r < 60; ++r) image += dense(r, c) * svd.U()(r, 2);
            squared += std::pow(svd.V()(c, 2) - image / svd.S()[2], 2);
        }
        EXPECT_GT(svd.LastPass().residual, 1e-3);
        EXPECT_NEAR(svd.LastPass().residual, std::sqrt(squared), 1e-12);
    }
}

TEST(Lanczos, ObserverSeesEveryStepOnceAndEveryPass)
{
    std::vector<double> cells;
    for (int i = 0; i < 100; ++i) cells.push_back(1.0 + 0.001 * i);
    std::vector<std::pair<int, int>> steps;
    std::vector<LanczosPass> passes;
    LanczosObserver observer;
    observer.afterStep = [&](int step, int target) { steps.emplace_back(step, target); };
    observer.afterPass = [&](const LanczosPass& pass) {
        passes.push_back(pass);
        return pass.pass < 2;
    };
    const SparseSVD svd(diagonalSparse(cells), 1, 1e-13, observer);
    ASSERT_EQ(steps.size(), 16U);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(steps[static_cast<std::size_t>(i)], std::pair(i + 1, i < 10 ? 10 : 16));
    }
    ASSERT_EQ(passes.size(), 2U);
    EXPECT_EQ(passes[0].pass, 1);
    EXPECT_EQ(passes[0].steps, 10);
    EXPECT_EQ(passes[0].tolerance, 1e-13);
    EXPECT_GT(passes[0].residual, passes[1].residual);
    EXPECT_EQ(svd.LastPass().pass, 2);
    EXPECT_EQ(svd.LastPass().residual, passes[1].residual);
}

TEST(Lanczos, ObserverThatStopsLeavesTheTripletsOfItsPass)
{
    const SparseMatrix A = scatteredSparse({60, 40}, 2);
    LanczosObserver observer;
    observer.afterPass = [](const LanczosPass&) { return false; };
    const SparseSVD svd(A, 3, 1e-14, observer);
    EXPECT_GT(svd.LastPass().residual, 1e-14);
    EXPECT_LT(leftResidual(A.ToDense(), svd), valueError(A, svd.S()[0]));
    EXPECT_NEAR(svd.S()[0], denseValues(A)[0], 0.1 * svd.S()[0]);
}

TEST(Lanczos, WhatAnObserverRaisesGoesThroughAndNothingLeaks)
{
    const SparseMatrix A = scatteredSparse({60, 40}, 2);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    LanczosObserver observer;
    observer.afterStep = [](int step, int) {
        if (step == 5) throw std::runtime_error("enough");
    };
    EXPECT_THROW(SparseSVD(A, 3, 1e-14, observer), std::runtime_error);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

} // namespace
} // namespace Velmar::Lintrix::testing
