// The judgement of answers.

#include <lintrix/systems/roads/quality.h>

#include <lintrix/sparse/sparse_assembler.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

Quality judgeAlone(const Matrix& A, const Matrix& X, const Matrix& B)
{
    return judgeColumns(A, X, B).front();
}

TEST(Judge, TheResidualIsScaledColumnByColumn)
{
    const Matrix A{{2, -1}, {0, 4}}; // infinity norm 4
    const Matrix X{{1, 100}, {1, 100}};
    Matrix B = A * X;
    B(1, 0) += 0.5; // |r| = 0.5, |x| = 1, |b| = 4.5
    EXPECT_DOUBLE_EQ(judgeAlone(A, X, B).residual, 0.5 / (4 * 1 + 4.5));
    EXPECT_FALSE(judgeAlone(A, X, B).normalResidual);
    EXPECT_DOUBLE_EQ(judgeAlone(A, X, B).judged(), 0.5 / 8.5);
}

TEST(Judge, AnExactSolutionHasNoResidualWhateverTheScale)
{
    EXPECT_EQ(judgeAlone(Matrix(2, 2), Matrix(2, 1), Matrix(2, 1)).residual, 0.0);
    EXPECT_EQ(judgeAlone(Matrix(3, 2), Matrix(2, 1), Matrix(3, 1)).judged(), 0.0);
}

TEST(Judge, TallSystemsAreJudgedByTheNormalEquations)
{
    const Matrix A{{1}, {1}};
    const Quality best = judgeAlone(A, Matrix{{2}}, Matrix{{1}, {3}}); // r = (-1, 1), A'r = 0
    EXPECT_DOUBLE_EQ(best.residual, 1.0 / 5.0);
    EXPECT_EQ(best.normalResidual, 0.0);
    EXPECT_EQ(best.judged(), 0.0);
    const Quality other = judgeAlone(A, Matrix{{1}}, Matrix{{1}, {3}}); // r = (0, 2), A'r = 2, ||A'|| = 2
    EXPECT_DOUBLE_EQ(*other.normalResidual, 2.0 / (2.0 * 4.0));
}

TEST(Judge, WhatOverflowsIsNaNNotZero)
{
    const double big = 1e308;
    EXPECT_TRUE(
        std::isnan(judgeAlone(Matrix{{big, big}, {0, 1}}, Matrix{{1}, {1}}, Matrix{{1}, {1}}).residual));
    EXPECT_TRUE(
        std::isnan(judgeAlone(Matrix{{1, 0}, {0, 1}}, Matrix{{big}, {big}}, Matrix{{-big}, {0}}).residual));
}

TEST(LargestDifference, TellsNaN)
{
    EXPECT_EQ(largestDifference(Matrix{{1, 2}, {3, 4}}, Matrix{{1, 2.5}, {3, 3}}), 1.0);
    EXPECT_TRUE(std::isnan(largestDifference(Matrix{{NAN, 9}}, Matrix{{0, 0}})));
}

TEST(JudgeSparse, TheProbesColumnIsJudgedApart)
{
    const SparseMatrix A(Matrix{{2, -1}, {0, 4}}); // infinity norm 4
    const Matrix probe{{1}, {-1}};
    const Matrix X{{1, 1}, {1, -1}};
    Matrix B = A * X;
    B(1, 0) += 0.5;  // |r| = 0.5, |x| = 1, |b| = 4.5
    B(0, 1) += 0.25; // |r| = 0.25, |x| = 1, |b| = 4
    const ProbedQuality quality = judge<double>(A, X, B, probe);
    EXPECT_DOUBLE_EQ(quality.residual, 0.5 / 8.5);
    EXPECT_DOUBLE_EQ(quality.probeResidual, 0.25 / 8.0);
    EXPECT_EQ(quality.probeError, 0.0);
    EXPECT_EQ(judge<double>(A, X, B, Matrix{{4}, {-1}}).probeError, 0.75);
}

/// The second unknown is in units of 2^-60: beside the first one, its error does not show.
TEST(JudgeSparse, AnErrorThatTheLargestUnknownHidesComesOutInUnits)
{
    const SparseMatrix A(Matrix{{1, 0}, {0, 0x1p60}});
    const Matrix probe{{-3}, {0x1p-60}}, B = A * Matrix{{1, -3}, {0x1p-60, 0x1p-60}};
    const ProbedQuality quality = judge<double>(A, Matrix{{1, -3}, {0x1p-60, 0x1p-59}}, B, probe);
    EXPECT_EQ(quality.probeError, 0x1p-60 / 3);
    EXPECT_EQ(quality.probeErrorInUnits, 0.5 / 0.75); // both are taken to [1/2, 1)
}

TEST(JudgeSparse, EachSolutionThatIsKnownCounts)
{
    const SparseMatrix A(Matrix{{2, -1}, {0, 4}});
    const Matrix known{{1, 1}, {1, -1}}; // of the last two of three columns
    const Matrix B = A * Matrix{{7, 1, 1}, {9, 1, -1}};
    const ProbedQuality quality = judge<double>(A, Matrix{{7, 1, 1}, {9, 1.5, -1.25}}, B, known);
    EXPECT_EQ(quality.probeError, 0.25);
    EXPECT_EQ(quality.knownError, 0.5);
    EXPECT_EQ(quality.error(), 0.5);
    EXPECT_FALSE(judge<double>(A, Matrix{{7, 1, 1}, {9, 1, -1}}, B, columnOf(known, 1)).knownError);
}

/// Along (1, -1) a step of 2^-12 changes the second equation by 2^-52, one of 2^-4 by 2^-44, beside 4.
TEST(JudgeSparse, LostDigitsAreOwedToNoFactorWhereEachEquationIsSolved)
{
    const SparseMatrix A(Matrix{{1, 1}, {1, 1 + 0x1p-40}});
    const Matrix known{{1, 1}, {1, 1}}, B = A * known, probe = columnOf(known, 1);
    const auto judged = [&](double own, double ofProbe) {
        return judge<double>(A, Matrix{{1 + own, 1 + ofProbe}, {1 - own, 1 - ofProbe}}, B, probe);
    };
    EXPECT_TRUE(judged(0x1p-12, 0x1p-12).isSharp);
    EXPECT_FALSE(judged(0x1p-12, 0x1p-4).isSharp); // 2^-46
    EXPECT_FALSE(judged(0x1p-4, 0x1p-12).isSharp);
    EXPECT_FALSE(judged(0.0, 0.0).isSharp); // accurate
}

TEST(JudgeSparse, AnErrorThatIsNoNumberIsTheWorst)
{
    EXPECT_EQ(worseError(0.25, std::nullopt), 0.25);
    EXPECT_EQ(worseError(0.25, 0.125), 0.25);
    EXPECT_EQ(worseError(0.25, 0.5), 0.5);
    EXPECT_TRUE(std::isnan(worseError(kNaN, 0.5)));
    EXPECT_TRUE(std::isnan(worseError(0.5, kNaN)));
}

TEST(JudgeSparse, OneTriangleStandsForTheWholeMatrix)
{
    SparseMatrix A(2, true);
    A.Item(0, 0, 1.0);
    A.Item(0, 1, 8.0);
    A.Item(1, 1, 2.0); // infinity norm 10
    const Matrix X{{1, 1}, {1, 1}};
    Matrix B = A * X;
    B(0, 0) += 1.0; // |r| = 1, |x| = 1, |b| = 10
    EXPECT_DOUBLE_EQ(judge<double>(A, X, B, columnOf(X, 1)).residual, 1.0 / 20.0);
}

CMatrix columnsOf(std::int32_t rows, const std::vector<Complex>& cells)
{
    CMatrix columns(rows, static_cast<std::int32_t>(cells.size()) / rows);
    std::ranges::copy(cells, cellsOf(columns).begin());
    return columns;
}

TEST(JudgeSparse, ComplexsCountByTheirMagnitude)
{
    // | 2    3+4i |
    // | 3-4i 1    |   infinity norm 7
    const CSparseMatrix A({2.0, {3.0, 4.0}, {3.0, -4.0}, 1.0}, {1, 3, 5}, {1, 2, 1, 2});
    const Complex i{0.0, 1.0};
    const CMatrix X = columnsOf(2, {1.0, i, i, 1.0});
    CMatrix B = A * X;
    EXPECT_TRUE(B == columnsOf(2, {{-2.0, 3.0}, {3.0, -3.0}, {3.0, 6.0}, {5.0, 3.0}}));
    EXPECT_EQ(judge<Complex>(A, X, B, columnOf(X, 1)).residual, 0.0);
    B(1, 0) += Complex{0.3, 0.4}; // |r| = 0.5, |x| = 1
    const ProbedQuality quality = judge<Complex>(A, X, B, columnsOf(2, {i, {1.0, 0.5}}));
    EXPECT_NEAR(quality.residual, 0.5 / (7.0 + std::abs(Complex(3.3, -2.6))), 1e-15);
    EXPECT_EQ(quality.probeResidual, 0.0);
    EXPECT_DOUBLE_EQ(quality.probeError, 0.5 / std::abs(Complex(1.0, 0.5)));
    CMatrix notFinite = X;
    notFinite(0, 0) = {1.0, kNaN};
    EXPECT_TRUE(std::isnan(judge<Complex>(A, notFinite, B, columnOf(X, 1)).residual));
}

TEST(Verdict, GoesByResidualAndError)
{
    EXPECT_EQ(verdictOf(1e-16, 1e-14), Verdict::Accurate);
    EXPECT_EQ(verdictOf(1e-12, 1e-6), Verdict::Accurate);
    EXPECT_EQ(verdictOf(2e-12, 1e-14), Verdict::Degraded);
    EXPECT_EQ(verdictOf(1e-16, 2e-6), Verdict::Degraded);
    EXPECT_EQ(verdictOf(1e-16, 0.09), Verdict::Degraded) << "one digit";
    EXPECT_EQ(verdictOf(1e-16, 0.1), Verdict::Failed) << "none";
    EXPECT_EQ(verdictOf(1e-16, kNaN), Verdict::Failed);
    EXPECT_EQ(verdictOf(1e-8, 1e-14), Verdict::Degraded);
    EXPECT_EQ(verdictOf(2e-8, 1e-14), Verdict::Failed);
    EXPECT_EQ(verdictOf(kNaN, 1e-14), Verdict::Failed);
    EXPECT_EQ(NameOf(Verdict::Accurate), "accurate");
    EXPECT_EQ(NameOf(Verdict::Degraded), "degraded");
    EXPECT_EQ(NameOf(Verdict::Failed), "failed");
}

TEST(ProbeSolution, OfAComplexSystemHasNoSmallPart)
{
    const CMatrix z = probeSolution<Complex>(100);
    for (const Complex cell : cellsOf(z)) {
        for (const double part : {cell.real(), cell.imag()}) {
            EXPECT_GE(std::abs(part), 0.5);
            EXPECT_LT(std::abs(part), 1.0);
        }
    }
}

TEST(ProbeSolution, IsSeededAndHasNoSmallElement)
{
    const Matrix z = probeSolution<double>(1000);
    EXPECT_EQ(largestDifference(z, probeSolution<double>(1000)), 0.0);
    for (const double cell : cellsOf(z)) {
        EXPECT_GE(std::abs(cell), 0.5);
        EXPECT_LT(std::abs(cell), 1.0);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
