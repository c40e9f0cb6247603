#include "tests/support/matrices.h"

#include <lintrix/complex/cmatrix.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/systems/iterations/lsmr.h>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::LinearMap;
using detail::lsmr;
using detail::LsmrEnd;
using detail::LsmrOptions;
using detail::LsmrOutcome;
using detail::LsmrStep;

template <class Cell>
Cell conjugate(const Cell& x)
{
    if constexpr (std::is_same_v<Cell, double>)
        return x;
    else
        return std::conj(x);
}

/// The products of a dense matrix, whose Item(r, c) is copied.
template <class Cell, class M>
LinearMap<Cell> mapOf(const M& A)
{
    const std::int32_t m = A.Rows(), n = A.Cols();
    LinearMap<Cell> map{m, n, {}, {}};
    map.times = [A, m, n](std::int32_t columns, const Cell* x, Cell* y) {
        for (std::int64_t c = 0; c < columns; ++c) {
            for (int i = 0; i < m; ++i) {
                Cell sum{};
                for (int j = 0; j < n; ++j) sum += Cell(A(i, j)) * x[c * n + j];
                y[c * m + i] = sum;
            }
        }
    };
    map.adjointTimes = [A, m, n](std::int32_t columns, const Cell* x, Cell* y) {
        for (std::int64_t c = 0; c < columns; ++c) {
            for (int j = 0; j < n; ++j) {
                Cell sum{};
                for (int i = 0; i < m; ++i) sum += conjugate(Cell(A(i, j))) * x[c * m + i];
                y[c * n + j] = sum;
            }
        }
    };
    return map;
}

template <class Cell>
std::vector<Cell> randomCells(int size, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    const auto draw = [&] { return static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0; };
    std::vector<Cell> x(static_cast<std::size_t>(size));
    for (Cell& cell : x) {
        if constexpr (std::is_same_v<Cell, double>)
            cell = draw();
        else
            cell = {draw(), draw()};
    }
    return x;
}

template <class Cell>
double normOf(const std::vector<Cell>& x)
{
    long double sum = 0.0L;
    for (const Cell& cell : x) sum += static_cast<long double>(std::norm(cell));
    return static_cast<double>(std::sqrt(sum));
}

template <class Cell>
std::vector<Cell> residualOf(const LinearMap<Cell>& A, const std::vector<Cell>& b, const std::vector<Cell>& x)
{
    std::vector<Cell> r(b.size());
    A.times(1, x.data(), r.data());
    for (std::size_t i = 0; i < r.size(); ++i) r[i] = b[i] - r[i];
    return r;
}

template <class Cell>
double gradientOf(const LinearMap<Cell>& A, const std::vector<Cell>& r)
{
    std::vector<Cell> g(static_cast<std::size_t>(A.cols));
    A.adjointTimes(1, r.data(), g.data());
    return normOf(g);
}

double distance(const std::vector<double>& x, const Matrix& y)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        sum += (x[i] - y(static_cast<int>(i), 0)) * (x[i] - y(static_cast<int>(i), 0));
    }
    return std::sqrt(sum);
}

/// Rank r by construction.
Matrix ofRank(const Shape& shape, int r, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    const Matrix left = randomMatrix({shape.rows, r}, generator);
    return naiveProduct(left, randomMatrix({r, shape.cols}, generator));
}

/// The least squares solution of least norm by the dense SVD.
Matrix pseudoSolution(const Matrix& A, int rank, const std::vector<double>& b)
{
    const SVD svd(A, false);
    const Matrix U = svd.U().value(), V = svd.V().value();
    const Vector S = svd.SingularValues();
    Matrix x(A.Cols(), 1);
    for (int k = 0; k < rank; ++k) {
        double part = 0.0;
        for (int i = 0; i < A.Rows(); ++i) part += U(i, k) * b[static_cast<std::size_t>(i)];
        for (int j = 0; j < A.Cols(); ++j) x(j, 0) += part / S[k] * V(j, k);
    }
    return x;
}

TEST(Lsmr, RandomSystemsOfAnyShapeAreSolvedToTheTolerances)
{
    for (const Shape shape : {Shape{60, 20}, Shape{20, 60}, Shape{30, 30}, Shape{40, 1}, Shape{1, 40}}) {
        std::mt19937_64 generator(11);
        const auto A = mapOf<double>(randomMatrix(shape, generator));
        const auto b = randomCells<double>(shape.rows, 12);
        std::vector<double> x(static_cast<std::size_t>(shape.cols));
        const LsmrOutcome outcome = lsmr<double>(A, nullptr, b.data(), x.data(), {});
        EXPECT_TRUE(outcome.reached()) << shape;
        EXPECT_EQ(outcome.end, shape.rows > shape.cols ? LsmrEnd::LeastSquares : LsmrEnd::Consistent)
            << shape;
        const auto r = residualOf(A, b, x);
        EXPECT_NEAR(outcome.residual, normOf(r), 1e-12);
        if (shape.rows > shape.cols)
            EXPECT_LE(gradientOf(A, r), 1e-13 * outcome.norm * normOf(r)) << shape;
        else
            EXPECT_LE(normOf(r), 1e-13 * outcome.norm * normOf(x)) << shape;
    }
}

TEST(Lsmr, ComplexSystemsUseTheAdjoint)
{
    for (const Shape shape : {Shape{50, 15}, Shape{15, 50}}) {
        std::mt19937_64 generator(5);
        const auto A = mapOf<std::complex<double>>(randomMatrix<CMatrix>(shape, generator));
        const auto b = randomCells<std::complex<double>>(shape.rows, 6);
        std::vector<std::complex<double>> x(static_cast<std::size_t>(shape.cols));
        const LsmrOutcome outcome = lsmr<std::complex<double>>(A, nullptr, b.data(), x.data(), {});
        EXPECT_TRUE(outcome.reached()) << shape;
        const auto r = residualOf(A, b, x);
        EXPECT_LE(gradientOf(A, r), 1e-12 * outcome.norm * normOf(b)) << shape;
    }
}

TEST(Lsmr, FromZeroADeficientSystemHasTheSolutionOfLeastNorm)
{
    for (const Shape shape : {Shape{40, 25}, Shape{25, 40}}) {
        const Matrix A = ofRank(shape, 12, 21);
        const auto b = randomCells<double>(shape.rows, 22);
        std::vector<double> x(static_cast<std::size_t>(shape.cols));
        const LsmrOutcome outcome = lsmr<double>(mapOf<double>(A), nullptr, b.data(), x.data(), {});
        EXPECT_EQ(outcome.end, LsmrEnd::LeastSquares) << shape;
        EXPECT_LE(distance(x, pseudoSolution(A, 12, b)), 1e-11 * normOf(x)) << shape;
    }
}

/// Columns over sixteen orders of magnitude: hopeless as they stand, quick once they are scaled.
TEST(Lsmr, ColumnScalingIsAPreconditioner)
{
    std::mt19937_64 generator(31);
    Matrix A = randomMatrix({60, 17}, generator);
    std::vector<double> scale(17);
    for (int j = 0; j < 17; ++j) {
        scale[static_cast<std::size_t>(j)] = std::pow(10.0, 8 - j);
        for (int i = 0; i < 60; ++i) A(i, j) /= scale[static_cast<std::size_t>(j)];
    }
    const auto multiply = [scale](std::int32_t, const double* x, double* y) {
        for (std::size_t j = 0; j < scale.size(); ++j) y[j] = scale[j] * x[j];
    };
    const LinearMap<double> P{17, 17, multiply, multiply};
    const auto b = randomCells<double>(60, 32);
    std::vector<double> x(17), plain(17);
    const auto map = mapOf<double>(A);
    const LsmrOutcome scaled = lsmr<double>(map, &P, b.data(), x.data(), {});
    const LsmrOutcome unscaled = lsmr<double>(map, nullptr, b.data(), plain.data(), {});
    EXPECT_LE(scaled.iterations, 60);
    EXPECT_LT(scaled.residual, 0.999 * unscaled.residual);
    // each column by itself: its cosine with the residual is at rounding level
    const auto r = residualOf(map, b, x);
    std::vector<double> g(17);
    map.adjointTimes(1, r.data(), g.data());
    for (std::size_t j = 0; j < 17; ++j) EXPECT_LE(std::abs(g[j]) * scale[j], 1e-11 * normOf(r)) << j;
}

/// P = R^-1 of A's own factor: one step, and one round more where rounding asks for it.
TEST(Lsmr, ARightInverseTakesAStepOrTwo)
{
    const Matrix A = matrixWith({50, 20}, Spectrum::Geometric, 41);
    const SVD svd(A, false);
    Matrix P(20, 20);
    const Matrix V = svd.V().value();
    const Vector S = svd.SingularValues();
    for (int i = 0; i < 20; ++i) {
        for (int j = 0; j < 20; ++j) P(i, j) = V(i, j) / S[j];
    }
    const auto map = mapOf<double>(A), right = mapOf<double>(P);
    const auto b = randomCells<double>(50, 42);
    std::vector<double> x(20);
    const LsmrOutcome outcome = lsmr<double>(map, &right, b.data(), x.data(), {});
    EXPECT_LE(outcome.iterations, 8);
    EXPECT_LE(outcome.normalResidual, 1e-8);
    const auto r = residualOf(map, b, x);
    EXPECT_LE(gradientOf(map, r), 1e-8 * normOf(r));
}

/// Rounds are counted, and each begins with the true residual.
TEST(Lsmr, ARestartEndsARoundAfterSomeDigits)
{
    std::mt19937_64 generator(45);
    const auto map = mapOf<double>(randomMatrix({50, 20}, generator));
    const auto b = randomCells<double>(50, 46);
    std::vector<double> x(20), y(20);
    LsmrOptions options;
    options.restart = 1e-3;
    const LsmrOutcome restarted = lsmr<double>(map, nullptr, b.data(), x.data(), options);
    const LsmrOutcome plain = lsmr<double>(map, nullptr, b.data(), y.data(), {});
    EXPECT_TRUE(restarted.reached());
    EXPECT_GE(restarted.rounds, 4); // 1e-14 in steps of 1e-3
    EXPECT_LT(plain.rounds, restarted.rounds);
}

/// x = start + z: what the start has in the null space stays.
TEST(Lsmr, AStartIsImprovedAndKeepsItsPartOfTheNullSpace)
{
    const Matrix A = ofRank({12, 20}, 12, 51);
    const auto map = mapOf<double>(A);
    const auto b = randomCells<double>(12, 52), start = randomCells<double>(20, 53);
    std::vector<double> x = start;
    EXPECT_EQ(lsmr<double>(map, nullptr, b.data(), x.data(), {}).end, LsmrEnd::Consistent);
    const auto r = residualOf(map, b, start);
    const Matrix correction = pseudoSolution(A, 12, r);
    std::vector<double> moved(20);
    for (std::size_t i = 0; i < 20; ++i) moved[i] = x[i] - start[i];
    EXPECT_LE(distance(moved, correction), 1e-12 * normOf(x));
}

TEST(Lsmr, TheLimitAndTheCallbackEndARunWithAMeasuredResidual)
{
    const auto map = mapOf<double>(matrixWith({50, 30}, Spectrum::Geometric, 61));
    const auto b = randomCells<double>(50, 62);
    std::vector<double> x(30);
    LsmrOptions options;
    options.limit = 5;
    const LsmrOutcome limited = lsmr<double>(map, nullptr, b.data(), x.data(), options);
    EXPECT_EQ(limited.end, LsmrEnd::Limit);
    EXPECT_EQ(limited.iterations, 5);
    EXPECT_NEAR(limited.residual, normOf(residualOf(map, b, x)), 1e-14 * normOf(b));
    std::vector<double> told;
    options.progress = [&](const LsmrStep& step) {
        told.push_back(step.residual);
        return step.iteration < 3;
    };
    std::fill(x.begin(), x.end(), 0.0);
    const LsmrOutcome stopped = lsmr<double>(map, nullptr, b.data(), x.data(), options);
    EXPECT_EQ(stopped.end, LsmrEnd::Stopped);
    EXPECT_EQ(told.size(), 3U);
    // without a preconditioner the recurrence tells the residual itself
    EXPECT_NEAR(told.back(), normOf(residualOf(map, b, x)), 1e-12 * normOf(b));
}

TEST(Lsmr, NoDataAndNoAnswerEndAtOnce)
{
    std::vector<double> x{1.0, 2.0}, none;
    const std::vector<double> b{0.0, 0.0, 0.0}, c{1.0, 1.0, 1.0};
    const auto zero = mapOf<double>(Matrix(3, 2));
    EXPECT_EQ(lsmr<double>(zero, nullptr, b.data(), x.data(), {}).end, LsmrEnd::Consistent);
    const LsmrOutcome outcome = lsmr<double>(zero, nullptr, c.data(), x.data(), {});
    EXPECT_EQ(outcome.end, LsmrEnd::LeastSquares);
    EXPECT_DOUBLE_EQ(outcome.residual, std::sqrt(3.0));
    const auto nothing = [](std::int32_t, const double*, double*) {};
    const LinearMap<double> noRows{0, 2, nothing,
                                   [](std::int32_t, const double*, double* y) { y[0] = y[1] = 0.0; }};
    EXPECT_TRUE(lsmr<double>(noRows, nullptr, none.data(), x.data(), {}).reached());
    const LinearMap<double> noCols{
        3, 0, [](std::int32_t, const double*, double* y) { y[0] = y[1] = y[2] = 0.0; }, nothing};
    EXPECT_TRUE(lsmr<double>(noCols, nullptr, c.data(), none.data(), {}).reached());
}

TEST(Lsmr, WhatIsNotFiniteIsToldAndXStays)
{
    std::mt19937_64 generator(71);
    Matrix A = randomMatrix({6, 3}, generator);
    auto b = randomCells<double>(6, 72);
    std::vector<double> x(3, 0.5);
    b[2] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(lsmr<double>(mapOf<double>(A), nullptr, b.data(), x.data(), {}).end, LsmrEnd::NotFinite);
    b[2] = 1.0;
    A(1, 1) = std::numeric_limits<double>::infinity();
    EXPECT_EQ(lsmr<double>(mapOf<double>(A), nullptr, b.data(), x.data(), {}).end, LsmrEnd::NotFinite);
    EXPECT_EQ(x, std::vector<double>(3, 0.5));
}

} // namespace
} // namespace Velmar::Lintrix::testing
