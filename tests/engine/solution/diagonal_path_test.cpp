#include "tests/engine/engine_call.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>

using namespace Velmar::Lintrix;
using Velmar::Lintrix::testing::diagonal;
using Velmar::Lintrix::testing::EngineCall;

namespace {

bool holdsNothing(const EngineCall& call)
{
    return std::all_of(call.pt.begin(), call.pt.end(), [](void* slot) { return slot == nullptr; });
}

TEST(DiagonalPath, OfOrderOneMakesNoHandleAndALaterReleaseReturnsAtOnce)
{
    EngineCall call(diagonal({4.}));
    call.b = {8.};
    EXPECT_EQ(call.run(13), 0);
    EXPECT_EQ(call.x[0], 2.);
    EXPECT_EQ(call.iparm(12), -1);
    EXPECT_TRUE(holdsNothing(call));
    call.set(3, 99);
    call.set(64, 99);
    EXPECT_EQ(call.run(-1), 0);
    EXPECT_EQ(call.run(0), 0);
    EXPECT_EQ(call.iparm(3), 99);
    EXPECT_EQ(call.iparm(64), 99);
}

TEST(DiagonalPath, DoesNotLookAtColumns)
{
    EngineCall call(diagonal({2., 4., -8.}));
    call.A.ja = {3, -7, 1};
    call.b = {2., 4., 8.};
    EXPECT_EQ(call.run(33), 0);
    EXPECT_EQ(call.x[0], 1.);
    EXPECT_EQ(call.x[1], 1.);
    EXPECT_EQ(call.x[2], -1.);
}

TEST(DiagonalPath, CountsPositiveValuesAndOthers)
{
    EngineCall call(diagonal({2., 4., -8.}));
    EXPECT_EQ(call.run(22), 0);
    EXPECT_EQ(call.iparm(22), 2);
    EXPECT_EQ(call.iparm(23), 1);
    EXPECT_EQ(call.x[0], 0.);
}

TEST(DiagonalPath, AtAnAnalysisOnlyMarksTheMatrix)
{
    EngineCall call(diagonal({0., 0.}));
    call.set(22, 7);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(12), -1);
    EXPECT_EQ(call.iparm(22), 7);
}

TEST(DiagonalPath, FailsForARowThatHoldsOtherThanOne)
{
    EngineCall call(diagonal({1., 1., 1.}));
    call.A.ia = {1, 2, 2, 4};
    const auto [error, text] = call.runPrinting(13, 1);
    EXPECT_EQ(error, -7);
    EXPECT_EQ(text, "*** Error in PARDISO  ( internal_error,unclass.) error_num= 2\n"
                    "*** something wrong with diagonal matrix row 2\n");
    EXPECT_EQ(call.x[0], 0.);
}

TEST(DiagonalPath, FailsForAZeroValue)
{
    EngineCall call(diagonal({1., 1., 0.}));
    const auto [error, text] = call.runPrinting(22, -1);
    EXPECT_EQ(error, -7);
    EXPECT_EQ(text, "*** Error in PARDISO  ( internal_error,unclass.) error_num= -3\n"
                    "*** something wrong with diagonal matrix row 3\n");
}

TEST(DiagonalPath, SolvesForEachRightHandSide)
{
    EngineCall call(diagonal({2., 4.}));
    call.nrhs = 3;
    call.b = {2., 4., 6., 8., 10., 12.};
    EXPECT_EQ(call.run(23), 0);
    EXPECT_EQ(std::vector(call.x.begin(), call.x.begin() + 6), (std::vector{1., 1., 3., 2., 5., 3.}));
}

TEST(DiagonalPath, PutsTheSolutionWhereItIsAskedFor)
{
    EngineCall call(diagonal({2., 4.}));
    call.set(6, 1);
    EXPECT_EQ(call.run(33), 0);
    EXPECT_EQ(call.b[0], 0.5);
    EXPECT_EQ(call.b[1], 0.25);
    EXPECT_EQ(call.b[2], 1.);
}

TEST(DiagonalPath, ServesComplexElements)
{
    EngineCall call(diagonal({0., 2., -1., 0.}), 13);
    call.n = 2; // two complex values in the place of four real ones
    call.b = {2., 0., 3., 1.};
    EXPECT_EQ(call.run(13), 0);
    EXPECT_EQ(call.x[0], 0.);
    EXPECT_EQ(call.x[1], -1.);
    EXPECT_EQ(call.x[2], -3.);
    EXPECT_EQ(call.x[3], -1.);
    EXPECT_EQ(call.iparm(22), 0);
    EXPECT_EQ(call.iparm(23), 2);
}

template <class Cell>
void solvesInSinglePrecision(int mtype)
{
    std::array<void*, 64> pt{};
    std::array<int, 64> iparm{};
    iparm[27] = 1;
    const Cell a[] = {Cell(2), Cell(-4)};
    Cell b[] = {Cell(2), Cell(2)}, x[2] = {};
    int ia[] = {1, 2, 3}, ja[] = {1, 2}, error = 1;
    pardiso(pt.data(), 1, 1, mtype, 13, 2, a, ia, ja, nullptr, 1, iparm.data(), 0, b, x, error);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(x[0], Cell(1));
    EXPECT_EQ(x[1], Cell(-0.5F));
}

TEST(DiagonalPath, ServesSinglePrecision)
{
    solvesInSinglePrecision<float>(11);
    solvesInSinglePrecision<std::complex<float>>(4);
}

TEST(DiagonalPath, HasNoStatistics)
{
    EngineCall call(diagonal({2., 4.}));
    EXPECT_EQ(call.runPrinting(13, 1).text, "Sorry, no statistics for solve in case of a diagonal matrix\n");
    EXPECT_EQ(call.runPrinting(11, 1).text,
              "Sorry, no statistics for reorder in case of a diagonal matrix\n");
    EXPECT_EQ(call.runPrinting(13, 0).text, "");
    EXPECT_EQ(call.runPrinting(13, -1).text, "");
}

TEST(DiagonalPath, OfOrderZeroDoesNothing)
{
    EngineCall call(diagonal({}));
    EXPECT_EQ(call.run(13), 0);
    EXPECT_EQ(call.iparm(12), -1);
}

} // namespace
