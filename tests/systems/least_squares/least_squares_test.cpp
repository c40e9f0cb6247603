#include "tests/systems/least_squares/rectangles.h"

#include "tests/support/files.h"

#include <lintrix/decompositions/svd.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/matrix_market.h>
#include <lintrix/systems/least_squares/least_squares.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using detail::LeastSquares;
using detail::LeastSquaresAnswer;
using detail::LeastSquaresMethod;

template <class Cell>
class LeastSquaresOf : public ::testing::Test {
};
using Cells = ::testing::Types<Real, Complex16>;
TYPED_TEST_SUITE(LeastSquaresOf, Cells);

/// The judge's figures are those that are told, and small.
template <class Cell>
void expectLeastSquares(const Rectangle<Cell>& A, const std::vector<Cell>& b,
                        const LeastSquaresAnswer<Cell>& answer, double limit = 1e-13)
{
    const auto r = residualOf(A, b, answer.x);
    EXPECT_LE(normalResidualOf(A, r), limit);
    EXPECT_NEAR(answer.residual, static_cast<double>(lengthOf(r)), 1e-12 * answer.residual);
    EXPECT_TRUE(answer.settled);
    EXPECT_FALSE(answer.consistent);
}

template <class Cell>
void expectConsistent(const Rectangle<Cell>& A, const std::vector<Cell>& b,
                      const LeastSquaresAnswer<Cell>& answer)
{
    const auto scale = normOf(A) * lengthOf(answer.x) + lengthOf(b);
    EXPECT_LE(static_cast<double>(lengthOf(residualOf(A, b, answer.x)) / scale), 2e-15);
    EXPECT_TRUE(answer.consistent);
}

TYPED_TEST(LeastSquaresOf, TallRegularSystemsAreSolvedByTheNormalEquations)
{
    auto A = regular<TypeParam>(300, 80, 4, 1);
    Draw<TypeParam> draw(2);
    LeastSquares<TypeParam> system(A.view());
    ASSERT_TRUE(system.forecast().has_value());
    EXPECT_GE(system.forecast()->entries, 80);
    EXPECT_GT(system.forecast()->operations, 0.0);
    EXPECT_GT(system.forecast()->bytes, 0.0);
    for (int k = 0; k < 2; ++k) { // the factor serves them all
        const auto b = draw.cells(300);
        const auto answer = system.solve(b.data());
        EXPECT_EQ(answer.method, LeastSquaresMethod::NormalEquations);
        expectLeastSquares(A, b, answer);
    }
    const auto b = product(A, draw.cells(80));
    expectConsistent(A, b, system.solve(b.data()));
    EXPECT_FALSE(system.rank().deficient);
    EXPECT_EQ(system.rank().small, 0);
}

TYPED_TEST(LeastSquaresOf, WideRegularSystemsHaveTheSolutionOfLeastNorm)
{
    auto [A, C] = deficient<TypeParam>(60, 60, 90, 3); // B is square: full row rank
    Draw<TypeParam> draw(4);
    const auto b = draw.cells(60);
    LeastSquares<TypeParam> system(A.view());
    const auto answer = system.solve(b.data());
    expectConsistent(A, b, answer);
    EXPECT_LE(nullPartOf(C, answer.x), 1e-13);
    EXPECT_FALSE(system.rank().deficient);
}

TYPED_TEST(LeastSquaresOf, TallDeficientSystemsAreToldAndHaveTheLeastNorm)
{
    auto [A, C] = deficient<TypeParam>(200, 60, 7, 5);
    Draw<TypeParam> draw(6);
    const auto b = draw.cells(200);
    LeastSquares<TypeParam> system(A.view());
    const auto answer = system.solve(b.data());
    EXPECT_TRUE(system.rank().deficient);
    EXPECT_EQ(system.rank().small, 7);
    EXPECT_GT(system.rank().condition, 1e13);
    expectLeastSquares(A, b, answer);
    EXPECT_LE(nullPartOf(C, answer.x), 1e-12);
}

/// Rows that depend on each other, and a b that does not fit: neither x nor r is given by A*x = b alone.
TYPED_TEST(LeastSquaresOf, WideDeficientSystemsAreToldAndHaveTheLeastNorm)
{
    auto [A, C] = deficient<TypeParam>(70, 50, 60, 7); // 70 x 110 of rank 50
    Draw<TypeParam> draw(8);
    const auto b = draw.cells(70);
    LeastSquares<TypeParam> system(A.view());
    const auto answer = system.solve(b.data());
    EXPECT_TRUE(system.rank().deficient);
    EXPECT_EQ(system.rank().small, 20);
    expectLeastSquares(A, b, answer);
    EXPECT_LE(nullPartOf(C, answer.x), 1e-12);
    const auto fitting = product(A, draw.cells(110));
    const auto exact = system.solve(fitting.data());
    expectConsistent(A, fitting, exact);
    EXPECT_LE(nullPartOf(C, exact.x), 1e-12);
}

TYPED_TEST(LeastSquaresOf, ColumnsOverSixteenOrdersAreScaled)
{
    std::vector<double> scale;
    for (int j = 0; j < 80; ++j) scale.push_back(std::pow(10.0, 8.0 - 0.2 * j));
    auto A = scaledColumns(regular<TypeParam>(300, 80, 4, 9), scale);
    Draw<TypeParam> draw(10);
    const auto b = draw.cells(300);
    LeastSquares<TypeParam> system(A.view());
    const auto answer = system.solve(b.data());
    EXPECT_FALSE(system.rank().deficient);
    EXPECT_FALSE(answer.consistent); // though ||A|| ||x|| is past all residuals
    const auto r = residualOf(A, b, answer.x);
    // each column by itself is orthogonal to the residual
    for (int j = 0; j < 80; ++j)
        scale[static_cast<std::size_t>(j)] = 1.0 / scale[static_cast<std::size_t>(j)];
    EXPECT_LE(normalResidualOf(scaledColumns(A, scale), r), 1e-12);
    auto wide = A.adjoint();
    const auto c = draw.cells(80);
    LeastSquares<TypeParam> other(wide.view());
    expectConsistent(wide, c, other.solve(c.data()));
}

TYPED_TEST(LeastSquaresOf, DenseRowsDoNotFillTheFactor)
{
    auto A = regular<TypeParam>(2000, 900, 2, 11);
    Draw<TypeParam> draw(12);
    for (const int row : {100, 1500, 1999}) {
        for (int j = 0; j < 900; ++j) A.at(row, j) = draw.cell();
    }
    const auto b = draw.cells(2000);
    LeastSquares<TypeParam> system(A.view());
    ASSERT_TRUE(system.forecast().has_value());
    EXPECT_LT(system.forecast()->entries, 900 * 901 / 2 / 2);
    expectLeastSquares(A, b, system.solve(b.data()));
    auto wide = A.adjoint();
    const auto c = draw.cells(900);
    LeastSquares<TypeParam> other(wide.view());
    expectConsistent(wide, c, other.solve(c.data()));
}

/// A column that differs from another one by 1e-6 only: squared, this is at the edge of sight.
TYPED_TEST(LeastSquaresOf, NearlyDependentColumnsAreSettledAndNotCalledDeficient)
{
    for (const double distance : {1e-4, 1e-6, 1e-8}) {
        const auto B = regular<TypeParam>(300, 79, 4, 13);
        Rectangle<TypeParam> A(300, 80);
        Draw<TypeParam> draw(14);
        for (int i = 0; i < 300; ++i) {
            for (const auto& [j, value] : B.row(i)) A.at(i, j) = value;
            if (B.row(i).count(0) != 0) A.at(i, 79) = A.at(i, 0);
        }
        for (int i = 0; i < 300; i += 10) A.at(i, 79) += distance * draw.cell();
        LeastSquares<TypeParam> system(A.view());
        const auto b = product(A, draw.cells(80));
        const auto answer = system.solve(b.data());
        EXPECT_FALSE(system.rank().deficient) << distance;
        EXPECT_GE(system.rank().condition, 0.1 / distance);
        expectConsistent(A, b, answer);
    }
}

/// Pairs of columns that differ by ever less: of many small singular values the least counts.
TYPED_TEST(LeastSquaresOf, TheLeastOfManySmallSingularValuesIsFound)
{
    for (const bool deficient : {false, true}) {
        const auto B = regular<TypeParam>(400, 60, 4, 31);
        Rectangle<TypeParam> A(400, 69);
        Draw<TypeParam> draw(32);
        for (int i = 0; i < 400; ++i) {
            for (const auto& [j, value] : B.row(i)) A.at(i, j) = value;
            for (int k = 0; k < 9; ++k) {
                if (B.row(i).count(k) != 0) A.at(i, 60 + k) = A.at(i, k);
                if (i % 9 == k && !(deficient && k == 8))
                    A.at(i, 60 + k) += std::ldexp(1.0, -24 - 2 * k) * draw.cell();
            }
        }
        LeastSquares<TypeParam> system(A.view());
        EXPECT_EQ(system.rank().deficient, deficient);
        EXPECT_GE(system.rank().condition, 0x1p38);
        EXPECT_LE(system.rank().condition, deficient ? HUGE_VAL : 0x1p48);
    }
}

TYPED_TEST(LeastSquaresOf, EmptyColumnsAndRowsAreADeficiency)
{
    auto A = regular<TypeParam>(100, 30, 3, 15);
    Rectangle<TypeParam> holed(100, 33);
    for (int i = 0; i < 100; ++i) {
        if (i == 50) continue;
        for (const auto& [j, value] : A.row(i)) holed.at(i, j + (j >= 10 ? 3 : 0)) = value;
    }
    Draw<TypeParam> draw(16);
    const auto b = draw.cells(100);
    LeastSquares<TypeParam> system(holed.view());
    const auto answer = system.solve(b.data());
    EXPECT_TRUE(system.rank().deficient);
    EXPECT_EQ(system.rank().small, 3);
    expectLeastSquares(holed, b, answer);
    for (std::size_t j = 10; j < 13; ++j) EXPECT_EQ(answer.x[j], TypeParam{});
}

TYPED_TEST(LeastSquaresOf, ZeroAndEmptyMatricesAreAnsweredAtOnce)
{
    const std::vector<TypeParam> b(5, TypeParam(1.0));
    Rectangle<TypeParam> zero(5, 3), noColumns(5, 0), noRows(0, 4);
    LeastSquares<TypeParam> system(zero.view());
    EXPECT_FALSE(system.forecast().has_value());
    const auto answer = system.solve(b.data());
    EXPECT_EQ(answer.x, std::vector<TypeParam>(3));
    EXPECT_DOUBLE_EQ(answer.residual, std::sqrt(5.0));
    EXPECT_TRUE(answer.settled);
    EXPECT_TRUE(system.rank().deficient);
    EXPECT_EQ(system.rank().small, 3);
    LeastSquares<TypeParam> narrow(noColumns.view()), flat(noRows.view());
    EXPECT_TRUE(narrow.solve(b.data()).settled);
    EXPECT_TRUE(narrow.solve(b.data()).x.empty());
    EXPECT_EQ(flat.solve(b.data()).x, std::vector<TypeParam>(4));
    EXPECT_FALSE(flat.rank().deficient);
    auto A = regular<TypeParam>(5, 3, 1, 17);
    const std::vector<TypeParam> nothing(5);
    LeastSquares<TypeParam> some(A.view());
    EXPECT_EQ(some.solve(nothing.data()).x, std::vector<TypeParam>(3));
}

TYPED_TEST(LeastSquaresOf, WhatIsNotFiniteComesBackAsNaN)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), infinity = HUGE_VAL;
    for (const double bad : {nan, infinity}) {
        auto A = regular<TypeParam>(20, 8, 2, 18);
        std::vector<TypeParam> b(20, TypeParam(1.0));
        b[3] = bad;
        LeastSquares<TypeParam> system(A.view());
        const auto answer = system.solve(b.data());
        EXPECT_FALSE(answer.settled);
        EXPECT_TRUE(std::isnan(answer.residual));
        EXPECT_TRUE(std::isnan(std::abs(answer.x[7])));
        b[3] = 0.0;
        EXPECT_TRUE(system.solve(b.data()).settled);
        A.at(2, 2) = bad;
        LeastSquares<TypeParam> broken(A.view());
        EXPECT_TRUE(std::isnan(broken.solve(b.data()).residual));
    }
}

TYPED_TEST(LeastSquaresOf, SizesAtTheEndsOfTheRangeArePowersOfTwo)
{
    for (const double size : {1e-150, 1e150}) {
        auto A = scaledColumns(regular<TypeParam>(60, 20, 3, 19), std::vector<double>(20, size));
        Draw<TypeParam> draw(20);
        const auto b = draw.cells(60);
        LeastSquares<TypeParam> system(A.view());
        const auto answer = system.solve(b.data());
        EXPECT_LE(normalResidualOf(A, residualOf(A, b, answer.x)), 1e-13) << size;
    }
}

/// Scattered entries fill the factor, and the condition is small: there LSMR is sooner done.
TYPED_TEST(LeastSquaresOf, ADearFactorIsNotMadeWhereAFewStepsOfLsmrDo)
{
    auto A = regular<TypeParam>(3000, 1000, 3, 24);
    Draw<TypeParam> draw(25);
    const auto b = draw.cells(3000);
    LeastSquares<TypeParam> system(A.view());
    ASSERT_TRUE(system.forecast().has_value());
    ASSERT_GT(system.forecast()->operations, 1e8);
    const auto answer = system.solve(b.data());
    EXPECT_EQ(answer.method, LeastSquaresMethod::Lsmr);
    expectLeastSquares(A, b, answer);
    EXPECT_FALSE(system.rank().deficient); // this factorizes
    EXPECT_LT(system.rank().condition, 100.0);
    EXPECT_EQ(system.solve(b.data()).method, LeastSquaresMethod::NormalEquations);
}

TEST(LeastSquares, TheCallbackEndsASolve)
{
    auto [A, C] = deficient<Real>(200, 60, 7, 21);
    const auto b = Draw<Real>(22).cells(200);
    LeastSquares<Real> system(A.view());
    int calls = 0;
    system.progress([&calls](const detail::LsmrStep&) { return ++calls < 1; });
    const auto answer = system.solve(b.data());
    EXPECT_TRUE(answer.stopped);
    EXPECT_EQ(calls, 1);
}

TEST(LeastSquares, MethodsHaveNames)
{
    EXPECT_EQ(nameOf(LeastSquaresMethod::NormalEquations), "normal equations");
    EXPECT_EQ(nameOf(LeastSquaresMethod::AugmentedSystem), "augmented system");
    EXPECT_EQ(nameOf(LeastSquaresMethod::PreconditionedLsmr), "LSMR with a factor");
    EXPECT_EQ(nameOf(LeastSquaresMethod::Lsmr), "LSMR");
    EXPECT_EQ(nameOf(LeastSquaresMethod::Nothing), "nothing");
}

/// min ||b - A*x|| of least norm by the dense SVD.
std::vector<double> pseudoSolution(const SparseMatrix& A, int rank, const std::vector<double>& b)
{
    const SVD svd(A.ToDense(), false);
    const Matrix U = svd.U().value(), V = svd.V().value();
    const Vector S = svd.SingularValues();
    std::vector<double> x(static_cast<std::size_t>(A.Cols()));
    for (int k = 0; k < rank; ++k) {
        double part = 0.0;
        for (int i = 0; i < A.Rows(); ++i) part += U(i, k) * b[static_cast<std::size_t>(i)];
        for (int j = 0; j < A.Cols(); ++j) x[static_cast<std::size_t>(j)] += part / S[k] * V(j, k);
    }
    return x;
}

struct RealFile {
    const char* name;
    int rank;
    double condition;
};

/// Ranks and conditions as the matrices' sources tell them.
TEST(LeastSquares, RealMatricesHaveTheRankAndTheSolutionOfTheDenseSvd)
{
    for (const auto& [name, rank, condition] :
         {RealFile{"ash219.mtx", 85, 3.0}, RealFile{"illc1033.mtx", 320, 1.9e4},
          RealFile{"lp_afiro.mtx", 27, 11.0}, RealFile{"lpi_galenet.mtx", 8, 2.9},
          RealFile{"lp_share2b.mtx", 96, 1.2e4}, RealFile{"abb313.mtx", 128, 50.0},
          RealFile{"klein-b1.mtx", 9, 2.0}, RealFile{"n3c4-b4.mtx", 5, 2.0}, RealFile{"relat4.mtx", 5, 5.0},
          RealFile{"Maragal_1.mtx", 10, 10.0}}) {
        const SparseMatrix A = ReadMatrixMarket(dataFile(name));
        using detail::SparseAccess;
        const detail::RowsView<double> view{A.Rows(), A.Cols(), SparseAccess::values(A),
                                            SparseAccess::rowPointers(A), SparseAccess::columns(A)};
        const auto b = Draw<double>(23).cells(A.Rows());
        LeastSquares<double> system(view);
        const auto answer = system.solve(b.data());
        const int full = std::min(A.Rows(), A.Cols());
        EXPECT_TRUE(answer.settled) << name;
        EXPECT_EQ(system.rank().deficient, rank < full) << name;
        EXPECT_EQ(system.rank().small, full - rank) << name;
        std::vector<double> difference = pseudoSolution(A, rank, b);
        const double length = static_cast<double>(lengthOf(difference));
        for (std::size_t j = 0; j < difference.size(); ++j) difference[j] -= answer.x[j];
        // the square where the residual is large: Wedin's bound
        EXPECT_LE(static_cast<double>(lengthOf(difference)),
                  1e-13 * condition * condition * length + 1e-12 * length)
            << name;
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
