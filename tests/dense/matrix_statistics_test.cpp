// Reductions, norms, statistics, normalization and the tests on symmetry, equality and finiteness of Matrix.
//
// The formulas hold down to the order of operations, so results are compared bit by bit with that order
// written out here, and once more, scaled, with a two-pass evaluation in long double that shares no step.

#include "tests/dense/dense_support.h"

#include <lintrix/services/blas.h>
#include <lintrix/services/hardening.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <functional>
#include <thread>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr const char* kRowIndex = "Row index exceeds matrix size.";
constexpr const char* kColumnIndex = "Column index exceeds matrix size.";

constexpr NormalizeMode kModes[] = {NormalizeMode::ZScores, NormalizeMode::UnitLength,
                                    NormalizeMode::MaximumOne};

// Shapes for the statistics: the last has columns long enough for a kernel to share out among threads.
std::vector<Shape> statisticsShapes()
{
    std::vector<Shape> shapes = allShapes();
    shapes.push_back({1000, 90}); // more columns than one tile of CorrelationMatrix
    shapes.push_back({20011, 4});
    return shapes;
}

Matrix randomOf(const Shape& shape)
{
    return matrixWith(shape, Spectrum::Random, 5);
}

const double* columnOf(const Matrix& A, int j)
{
    return reinterpret_cast<const double*>(A.DataPtr()) + std::int64_t{A.Rows()} * j;
}

double dotOf(const Matrix& A, int i, int j)
{
    return detail::blas::dot(A.Rows(), columnOf(A, i), 1, columnOf(A, j), 1);
}

// ---- the formulas in their told order

struct OnePass {
    explicit OnePass(const Matrix& A) : S(std::size_t(A.Cols())), P(A.Cols(), A.Cols())
    {
        for (int i = 0; i < A.Cols(); ++i) {
            for (int r = 0; r < A.Rows(); ++r) {
                const double t = A(r, i);
                S[std::size_t(i)] = S[std::size_t(i)] + t;
                P(i, i) = P(i, i) + t * t;
            }
            for (int j = i + 1; j < A.Cols(); ++j) P(i, j) = dotOf(A, i, j);
        }
    }
    double sum(int i) const { return S[std::size_t(i)]; }
    std::vector<double> S;
    Matrix P;
};

Matrix correlationsOf(const Matrix& A)
{
    const OnePass s(A);
    const double f = A.Rows();
    Matrix R(A.Cols(), A.Cols());
    for (int i = 0; i < A.Cols(); ++i) {
        R(i, i) = 1.0;
        for (int j = i + 1; j < A.Cols(); ++j) {
            double d = std::sqrt(s.P(i, i) * f - s.sum(i) * s.sum(i));
            d = std::sqrt(s.P(j, j) * f - s.sum(j) * s.sum(j)) * d;
            if (d != 0.0) d = (s.P(i, j) * f - s.sum(j) * s.sum(i)) / d;
            R(i, j) = R(j, i) = d;
        }
    }
    return R;
}

Matrix covariancesOf(const Matrix& A)
{
    const OnePass s(A);
    const double f = A.Rows();
    Matrix R(A.Cols(), A.Cols());
    for (int i = 0; i < A.Cols(); ++i) {
        for (int j = i; j < A.Cols(); ++j) {
            R(i, j) = R(j, i) = s.P(i, j) / f - (s.sum(j) / f) * (s.sum(i) / f);
        }
    }
    return R;
}

double covarianceOf(const Matrix& A, int col1, int col2)
{
    double sx = 0.0, sy = 0.0, sxy = 0.0;
    for (int r = 0; r < A.Rows(); ++r) {
        const double x = A(r, col1), y = A(r, col2);
        sx += x;
        sy += y;
        sxy += y * x;
    }
    const double f = A.Rows();
    return sxy / f - (sy / f) * (sx / f);
}

double correlationOf(const Matrix& A, int col1, int col2)
{
    double sx = 0.0, sxx = 0.0, sy = 0.0, syy = 0.0, sxy = 0.0;
    for (int r = 0; r < A.Rows(); ++r) {
        const double x = A(r, col1), y = A(r, col2);
        sx += x;
        sxx += x * x;
        sy += y;
        syy += y * y;
        sxy += y * x;
    }
    const double f = A.Rows();
    return (f * sxy - sy * sx) / (std::sqrt(f * syy - sy * sy) * std::sqrt(f * sxx - sx * sx));
}

void normalizeLine(double* x, int n, int stride, NormalizeMode mode)
{
    const auto cell = [&](int i) -> double& { return x[std::int64_t{i} * stride]; };
    if (mode == NormalizeMode::ZScores) {
        double mean = 0.0, ss = 0.0;
        for (int i = 0; i < n; ++i) mean = mean + cell(i);
        mean = mean / n;
        for (int i = 0; i < n; ++i) {
            cell(i) = cell(i) - mean;
            ss = ss + cell(i) * cell(i);
        }
        if (ss != 0.0) detail::blas::scal(n, 1.0 / std::sqrt(ss / n), x, stride);
    } else if (mode == NormalizeMode::UnitLength) {
        const double s = detail::blas::dot(n, x, stride, x, stride);
        if (s != 0.0) detail::blas::scal(n, 1.0 / std::sqrt(s), x, stride);
    } else {
        int k = 0;
        for (int i = 1; i < n; ++i) {
            if (std::abs(cell(i)) > std::abs(cell(k))) k = i;
        }
        const double v = cell(k);
        if (v != 0.0) detail::blas::scal(n, 1.0 / v, x, stride);
    }
}

// ---- the same by two passes in long double

struct Moments {
    long double covariance, magnitude; ///< magnitude: what the one-pass sums go through, over n
};

Moments momentsOf(const Matrix& A, int i, int j)
{
    const int n = A.Rows();
    long double meanX = 0, meanY = 0, absX = 0, absY = 0, absXY = 0, covariance = 0;
    for (int r = 0; r < n; ++r) {
        const long double x = A(r, i), y = A(r, j);
        meanX += x / n;
        meanY += y / n;
        absX += std::abs(x) / n;
        absY += std::abs(y) / n;
        absXY += std::abs(x * y) / n;
    }
    for (int r = 0; r < n; ++r) covariance += (A(r, i) - meanX) * (A(r, j) - meanY) / n;
    return {covariance, absXY + absX * absY};
}

// |covariance - true| / (n*eps*magnitude)
double covarianceRatio(const Matrix& A, int i, int j, double covariance)
{
    const Moments true_ = momentsOf(A, i, j);
    const long double error = std::abs(covariance - true_.covariance);
    return static_cast<double>(error / (A.Rows() * kEps * true_.magnitude));
}

// |correlation - true| / (n*eps*amplification), the sum of what cancellation does to the three moments.
double correlationRatio(const Matrix& A, int i, int j, double correlation)
{
    const Moments xy = momentsOf(A, i, j), xx = momentsOf(A, i, i), yy = momentsOf(A, j, j);
    const long double spread = std::sqrt(xx.covariance * yy.covariance);
    const long double amplification =
        xy.magnitude / spread + xx.magnitude / xx.covariance + yy.magnitude / yy.covariance;
    const long double error = std::abs(correlation - xy.covariance / spread);
    return static_cast<double>(error / (A.Rows() * kEps * amplification));
}

// ---- indices

TEST(MatrixStatistics, BadIndexIsRefusedWithItsText)
{
    struct Indexed {
        const char* name;
        const char* text;
        int limit;
        std::function<double(const Matrix&, int)> operation;
    };
    const std::vector<Indexed> operations{
        {"RowSum", kRowIndex, 3, [](const Matrix& A, int i) { return A.RowSum(i); }},
        {"ColSum", kColumnIndex, 4, [](const Matrix& A, int i) { return A.ColSum(i); }},
        {"RowsDotProduct first", kRowIndex, 3, [](auto& A, int i) { return A.RowsDotProduct(i, 1); }},
        {"RowsDotProduct second", kRowIndex, 3, [](auto& A, int i) { return A.RowsDotProduct(1, i); }},
        {"ColsDotProduct first", kColumnIndex, 4, [](auto& A, int i) { return A.ColsDotProduct(i, 1); }},
        {"ColsDotProduct second", kColumnIndex, 4, [](auto& A, int i) { return A.ColsDotProduct(1, i); }},
        {"ColCorrelation first", kColumnIndex, 4, [](auto& A, int i) { return A.ColCorrelation(i, 1); }},
        {"ColCorrelation second", kColumnIndex, 4, [](auto& A, int i) { return A.ColCorrelation(1, i); }},
        {"ColCorrelation both", kColumnIndex, 4, [](auto& A, int i) { return A.ColCorrelation(i, i); }},
        {"ColCovariance first", kColumnIndex, 4, [](auto& A, int i) { return A.ColCovariance(i, 1); }},
        {"ColCovariance second", kColumnIndex, 4, [](auto& A, int i) { return A.ColCovariance(1, i); }},
    };
    const Matrix A = counted(3, 4);
    for (const Indexed& indexed : operations) {
        SCOPED_TRACE(indexed.name);
        for (const int index : {-1, indexed.limit, INT_MIN, INT_MAX}) {
            EXPECT_THAT([&] { indexed.operation(A, index); },
                        ThrowsMessage<IndexOutOfBoundsException>(indexed.text));
        }
        EXPECT_NO_THROW(indexed.operation(A, 0));
        EXPECT_NO_THROW(indexed.operation(A, indexed.limit - 1));
    }
}

// ---- norms and sums

TEST(MatrixStatistics, NormOfASmallMatrixByEachType)
{
    const Matrix A{{1, -2}, {3, 4}};
    EXPECT_DOUBLE_EQ(A.Norm(NormType::FrobeniusNorm), std::sqrt(30.0));
    EXPECT_EQ(A.Norm(NormType::InfinityNorm), 7.0);
    EXPECT_EQ(A.Norm(NormType::OneNorm), 6.0);
    EXPECT_EQ(A.Norm(NormType::MaxAbsValue), 4.0);
}

TEST(MatrixStatistics, NormsOfAllShapesAgreeWithPlainSums)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        long double squares = 0;
        double largest = 0;
        for (int j = 0; j < shape.cols; ++j) {
            for (int i = 0; i < shape.rows; ++i) {
                squares += static_cast<long double>(A(i, j)) * A(i, j);
                largest = std::max(largest, std::abs(A(i, j)));
            }
        }
        const double frobenius = static_cast<double>(std::sqrt(squares));
        const double one = oneNorm(A), infinity = oneNorm(naiveTranspose(A));
        const double limit = 2.0 * std::max(shape.rows, shape.cols) * kEps;
        EXPECT_NEAR(A.Norm(NormType::FrobeniusNorm), frobenius, limit * frobenius);
        EXPECT_NEAR(A.Norm(NormType::OneNorm), one, limit * one);
        EXPECT_NEAR(A.Norm(NormType::InfinityNorm), infinity, limit * infinity);
        EXPECT_EQ(A.Norm(NormType::MaxAbsValue), largest);
    }
}

TEST(MatrixStatistics, FrobeniusNormNeitherOverflowsNorUnderflows)
{
    EXPECT_DOUBLE_EQ((Matrix{{3e200, 4e200}}.Norm(NormType::FrobeniusNorm)), 5e200);
    EXPECT_DOUBLE_EQ((Matrix{{3e-200, 4e-200}}.Norm(NormType::FrobeniusNorm)), 5e-200);
}

TEST(MatrixStatistics, NaNComesThroughEveryNorm)
{
    const Matrix A{{1, kNaN}, {3, 4}};
    for (const NormType type :
         {NormType::FrobeniusNorm, NormType::InfinityNorm, NormType::OneNorm, NormType::MaxAbsValue}) {
        EXPECT_TRUE(std::isnan(A.Norm(type)));
    }
}

TEST(MatrixStatistics, InfinityNormTakesAWorkBlockAndTheOthersTakeNone)
{
    const Matrix A = counted(3, 4);
    expectAllocations(1, A, [&] { A.Norm(NormType::InfinityNorm); });
    expectAllocations(0, A, [&] { A.Norm(NormType::FrobeniusNorm); });
    expectAllocations(0, A, [&] { A.Norm(NormType::OneNorm); });
    expectAllocations(0, A, [&] { A.Norm(NormType::MaxAbsValue); });
}

TEST(MatrixStatistics, TraceOfTwoByThreeSumsTwoCells)
{
    EXPECT_EQ((Matrix{{1, 2, 3}, {4, 5, 6}}.Trace()), 6.0);
    EXPECT_EQ((Matrix{{1, 2}, {3, 4}, {5, 6}}.Trace()), 5.0);
}

TEST(MatrixStatistics, SumsRunInOrder)
{
    for (const Shape& shape : statisticsShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        double trace = 0.0;
        for (int i = 0; i < std::min(shape.rows, shape.cols); ++i) trace += A(i, i);
        EXPECT_EQ(A.Trace(), trace);
        for (int i = 0; i < shape.rows; i += 1 + shape.rows / 4) {
            double sum = 0.0;
            for (int j = 0; j < shape.cols; ++j) sum += A(i, j);
            EXPECT_EQ(A.RowSum(i), sum);
        }
        for (int j = 0; j < shape.cols; ++j) {
            double sum = 0.0;
            for (int i = 0; i < shape.rows; ++i) sum += A(i, j);
            EXPECT_EQ(A.ColSum(j), sum);
        }
    }
    EXPECT_EQ((Matrix{{1e16, 1, -1e16}}.RowSum(0)), 0.0); // the 1 is lost on the way
    EXPECT_EQ((Matrix{{1e16}, {1}, {-1e16}}.ColSum(0)), 0.0);
    EXPECT_FALSE(std::signbit(Matrix(1, 1, -0.0).RowSum(0))); // the sum starts from 0.0
    EXPECT_FALSE(std::signbit(Matrix(1, 1, -0.0).ColSum(0)));
    EXPECT_FALSE(std::signbit(Matrix(1, 1, -0.0).Trace()));
}

TEST(MatrixStatistics, DotProductsAreThoseOfTheKernel)
{
    for (const Shape& shape : statisticsShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        const int r = shape.rows - 1, c = shape.cols - 1;
        EXPECT_EQ(A.ColsDotProduct(0, c), dotOf(A, 0, c));
        EXPECT_EQ(A.ColsDotProduct(c, c), dotOf(A, c, c));
        const double* cells = columnOf(A, 0);
        EXPECT_EQ(A.RowsDotProduct(0, r),
                  detail::blas::dot(shape.cols, cells, shape.rows, cells + r, shape.rows));
    }
    const Matrix A{{1, 2}, {3, 4}, {5, 6}};
    EXPECT_EQ(A.RowsDotProduct(0, 2), 17.0);
    EXPECT_EQ(A.ColsDotProduct(0, 1), 44.0);
}

// ---- statistics matrices

TEST(MatrixStatistics, CorrelationMatrixFollowsItsFormulaToTheBit)
{
    for (const Shape& shape : statisticsShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        EXPECT_TRUE(identical(A.CorrelationMatrix(), correlationsOf(A)));
    }
}

TEST(MatrixStatistics, CovarianceMatrixFollowsItsFormulaToTheBit)
{
    for (const Shape& shape : statisticsShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        EXPECT_TRUE(identical(A.CovarianceMatrix(), covariancesOf(A)));
    }
}

TEST(MatrixStatistics, PairFormsFollowTheirFormulasToTheBit)
{
    for (const Shape& shape : statisticsShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        const int last = shape.cols - 1;
        EXPECT_EQ(A.ColCovariance(0, last), covarianceOf(A, 0, last));
        EXPECT_EQ(A.ColCovariance(last, 0), covarianceOf(A, last, 0));
        EXPECT_EQ(A.ColCovariance(0, 0), covarianceOf(A, 0, 0));
        if (shape.cols == 1 || shape.rows == 1) continue;
        EXPECT_EQ(A.ColCorrelation(0, last), correlationOf(A, 0, last));
        EXPECT_EQ(A.ColCorrelation(last, 0), correlationOf(A, last, 0));
    }
}

TEST(MatrixStatistics, StatisticsAgreeWithTwoPassesInHigherPrecision)
{
    for (const Shape& shape : statisticsShapes()) {
        if (shape.rows == 1) continue;
        SCOPED_TRACE(shape);
        Matrix A = randomOf(shape);
        for (int j = 0; j < shape.cols; ++j) { // means and scales of many sizes
            for (int i = 0; i < shape.rows; ++i) A(i, j) = (A(i, j) + j % 5) * std::pow(10.0, j % 7 - 3);
        }
        const Matrix covariances = A.CovarianceMatrix(), correlations = A.CorrelationMatrix();
        for (int j = 0; j < shape.cols; j += 1 + shape.cols / 8) {
            for (int i = 0; i < shape.cols; i += 1 + shape.cols / 8) {
                EXPECT_LT(covarianceRatio(A, i, j, covariances(i, j)), kResidualLimit);
                EXPECT_LT(covarianceRatio(A, i, j, A.ColCovariance(i, j)), kResidualLimit);
                EXPECT_LT(correlationRatio(A, i, j, correlations(i, j)), kResidualLimit);
                EXPECT_LT(correlationRatio(A, i, j, A.ColCorrelation(i, j)), kResidualLimit);
            }
        }
    }
}

TEST(MatrixStatistics, StatisticsMatricesAreSymmetricToTheBit)
{
    for (const Shape& shape : statisticsShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        const Matrix covariances = A.CovarianceMatrix(), correlations = A.CorrelationMatrix();
        EXPECT_EQ(covariances.Rows(), shape.cols);
        EXPECT_TRUE(identical(covariances, naiveTranspose(covariances)));
        EXPECT_EQ(correlations.Rows(), shape.cols);
        EXPECT_TRUE(identical(correlations, naiveTranspose(correlations)));
        for (int i = 0; i < shape.cols; ++i) EXPECT_EQ(correlations(i, i), 1.0);
    }
}

TEST(MatrixStatistics, CorrelationMatrixOfOneRowIsTheIdentity)
{
    // cells whose squares are exact: every radicand is 0
    EXPECT_TRUE(identical(Matrix{{1, -2, 3, 0.5}}.CorrelationMatrix(), identity(4)));
    EXPECT_TRUE(identical(randomOf({1, 40}).CorrelationMatrix(), identity(40)));
}

TEST(MatrixStatistics, ConstantColumnHasNoCorrelationInTheMatrixAndNaNInThePairForm)
{
    const Matrix A{{5, 1}, {5, 2}, {5, 4}};
    EXPECT_EQ(A.ColCorrelation(0, 0), 1.0);
    EXPECT_TRUE(std::isnan(A.ColCorrelation(0, 1)));
    EXPECT_TRUE(std::isnan(A.ColCorrelation(1, 0)));
    const Matrix R = A.CorrelationMatrix();
    EXPECT_EQ(R(0, 0), 1.0);
    EXPECT_EQ(R(0, 1), 0.0);
    EXPECT_EQ(R(1, 0), 0.0);
    EXPECT_EQ(R(1, 1), 1.0);
}

TEST(MatrixStatistics, RadicandBelowZeroByRoundingGivesNaN)
{
    const Matrix A{{1.3, 1}, {1.3, 2}, {1.3, 4}};
    const OnePass s(A);
    ASSERT_LT(s.P(0, 0) * 3.0 - s.sum(0) * s.sum(0), 0.0);
    const Matrix R = A.CorrelationMatrix();
    EXPECT_TRUE(std::isnan(R(0, 1)));
    EXPECT_TRUE(std::isnan(R(1, 0)));
    EXPECT_EQ(R(0, 0), 1.0);
    EXPECT_TRUE(std::isnan(A.ColCorrelation(0, 1)));
}

TEST(MatrixStatistics, NaNAndInfinityPassThroughTheStatistics)
{
    const Matrix A{{kNaN, 1, kInf}, {2, 5, 3}, {1, 0, 4}};
    EXPECT_EQ(A.ColCorrelation(0, 0), 1.0); // unread
    EXPECT_TRUE(std::isnan(A.ColCovariance(0, 0)));
    for (const Matrix& R : {A.CorrelationMatrix(), A.CovarianceMatrix()}) {
        EXPECT_TRUE(std::isnan(R(0, 1)));
        EXPECT_TRUE(std::isnan(R(1, 2)) || std::isinf(R(1, 2)));
        EXPECT_TRUE(std::isfinite(R(1, 1)));
    }
    EXPECT_EQ(A.CorrelationMatrix()(0, 0), 1.0);
}

TEST(MatrixStatistics, ColCovarianceDividesByTheRowCount)
{
    const Matrix A{{1, 1}, {2, 2}, {3, 3}};
    EXPECT_DOUBLE_EQ(A.ColCovariance(0, 1), 2.0 / 3.0);
    EXPECT_DOUBLE_EQ(A.ColCovariance(0, 0), 2.0 / 3.0);
    EXPECT_DOUBLE_EQ(A.CovarianceMatrix()(0, 1), 2.0 / 3.0);
}

TEST(MatrixStatistics, OppositeColumnsCorrelateToMinusOne)
{
    const Matrix A{{1, -1}, {2, -2}, {4, -4}};
    EXPECT_DOUBLE_EQ(A.ColCorrelation(0, 1), -1.0);
    EXPECT_DOUBLE_EQ(A.CorrelationMatrix()(1, 0), -1.0);
}

TEST(MatrixStatistics, StatisticsThatFindNoMemoryLeakNothing)
{
    const Matrix A = randomOf({7, 5});
    const auto same = [&] { return identical(A, randomOf({7, 5})); };
    EXPECT_GE(failEachAllocation([&] { A.CorrelationMatrix(); }, same), 2);
    EXPECT_GE(failEachAllocation([&] { A.CovarianceMatrix(); }, same), 2);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        const Matrix R = A.CorrelationMatrix();
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before + 25 * std::int64_t{sizeof(double)});
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(MatrixStatistics, ThreadsMayReadOneObjectTogether)
{
    const Matrix A = randomOf({300, 40});
    const Matrix correlations = A.CorrelationMatrix(), covariances = A.CovarianceMatrix();
    const double norm = A.Norm(NormType::InfinityNorm);
    std::vector<int> agreed(4);
    std::vector<std::thread> threads;
    for (int& count : agreed) {
        threads.emplace_back([&] {
            for (int k = 0; k < 10; ++k) {
                count += identical(A.CorrelationMatrix(), correlations) &&
                         identical(A.CovarianceMatrix(), covariances) &&
                         A.Norm(NormType::InfinityNorm) == norm;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(agreed, ElementsAre(10, 10, 10, 10));
}

// ---- normalization

TEST(MatrixStatistics, ZScoresOfOneTwoThree)
{
    const double factor = 1.0 / std::sqrt(2.0 / 3.0);
    Matrix A{{1}, {2}, {3}};
    A.NormalizeCols(NormalizeMode::ZScores);
    EXPECT_TRUE(identical(A, Matrix{{-factor}, {0}, {factor}}));
    Matrix B{{1, 2, 3}};
    B.NormalizeRows(NormalizeMode::ZScores);
    EXPECT_TRUE(identical(B, Matrix{{-factor, 0, factor}}));
}

TEST(MatrixStatistics, ZScoresOfAConstantLineAreZeros)
{
    Matrix A{{4, 1}, {4, 3}};
    A.NormalizeCols(NormalizeMode::ZScores);
    EXPECT_TRUE(identical(A, Matrix{{0, -1}, {0, 1}}));
    Matrix B{{4, 4}, {1, 3}};
    B.NormalizeRows(NormalizeMode::ZScores);
    EXPECT_TRUE(identical(B, Matrix{{0, 0}, {-1, 1}}));
}

TEST(MatrixStatistics, MaximumOneKeepsTheSignOfTheLargestElementInTheDivisor)
{
    Matrix A{{1}, {-4}, {2}};
    A.NormalizeCols(NormalizeMode::MaximumOne);
    EXPECT_TRUE(identical(A, Matrix{{-0.25}, {1}, {-0.5}}));
    Matrix B{{1, -4, 2}};
    B.NormalizeRows(NormalizeMode::MaximumOne);
    EXPECT_TRUE(identical(B, Matrix{{-0.25, 1, -0.5}}));
}

TEST(MatrixStatistics, MaximumOneTakesTheFirstOfEqualMagnitudes)
{
    Matrix A{{3, -3}, {-3, 3}};
    A.NormalizeCols(NormalizeMode::MaximumOne);
    EXPECT_TRUE(identical(A, Matrix{{1, 1}, {-1, -1}}));
    Matrix B{{3, -3}, {-3, 3}};
    B.NormalizeRows(NormalizeMode::MaximumOne);
    EXPECT_TRUE(identical(B, Matrix{{1, -1}, {1, -1}}));
}

TEST(MatrixStatistics, UnitLengthDividesByTheEuclideanNorm)
{
    Matrix A{{3, 0}, {4, 2}};
    A.NormalizeCols(NormalizeMode::UnitLength);
    EXPECT_LT(differenceRatio(Matrix{{0.6, 0}, {0.8, 1}}, A), 2.0);
    Matrix B{{3, 4}, {0, 2}};
    B.NormalizeRows(NormalizeMode::UnitLength);
    EXPECT_LT(differenceRatio(Matrix{{0.6, 0.8}, {0, 1}}, B), 2.0);
}

TEST(MatrixStatistics, ZeroLineStaysZeroInEveryMode)
{
    for (const NormalizeMode mode : kModes) {
        Matrix A{{0, 1}, {0, 2}};
        A.NormalizeCols(mode);
        EXPECT_EQ(A(0, 0), 0.0);
        EXPECT_EQ(A(1, 0), 0.0);
        Matrix B{{0, 0}, {1, 2}};
        B.NormalizeRows(mode);
        EXPECT_EQ(B(0, 0), 0.0);
        EXPECT_EQ(B(0, 1), 0.0);
    }
}

TEST(MatrixStatistics, AnotherNormalizeModeChangesNothing)
{
    Matrix A = randomOf({5, 3});
    const auto before = bitsOf(A);
    for (const int mode : {-1, 3, 7}) {
        A.NormalizeCols(static_cast<NormalizeMode>(mode));
        A.NormalizeRows(static_cast<NormalizeMode>(mode));
        EXPECT_EQ(bitsOf(A), before);
    }
}

TEST(MatrixStatistics, NormalizationFollowsItsFormulasToTheBit)
{
    for (const Shape& shape : statisticsShapes()) {
        const Matrix A = randomOf(shape);
        for (const NormalizeMode mode : kModes) {
            SCOPED_TRACE(::testing::Message() << shape << ", mode " << static_cast<int>(mode));
            Matrix own(A), expected(A);
            auto* cells = reinterpret_cast<double*>(expected.DataPtr());
            own.NormalizeCols(mode);
            for (int c = 0; c < shape.cols; ++c) {
                normalizeLine(cells + std::int64_t{shape.rows} * c, shape.rows, 1, mode);
            }
            EXPECT_EQ(bitsOf(own), bitsOf(expected));
            own.NormalizeRows(mode);
            for (int r = 0; r < shape.rows; ++r) normalizeLine(cells + r, shape.cols, shape.rows, mode);
            EXPECT_EQ(bitsOf(own), bitsOf(expected));
        }
    }
}

TEST(MatrixStatistics, NormalizedLinesHaveTheirProperty)
{
    for (const Shape& shape : allShapes()) {
        if (shape.rows == 1) continue;
        SCOPED_TRACE(shape);
        const double limit = kResidualLimit * shape.rows * kEps;
        Matrix z = randomOf(shape), unit(z), one(z);
        z.NormalizeCols(NormalizeMode::ZScores);
        unit.NormalizeCols(NormalizeMode::UnitLength);
        one.NormalizeCols(NormalizeMode::MaximumOne);
        for (int c = 0; c < shape.cols; ++c) {
            EXPECT_NEAR(z.ColSum(c) / shape.rows, 0.0, limit);
            EXPECT_NEAR(z.ColCovariance(c, c), 1.0, limit);
            EXPECT_NEAR(unit.ColsDotProduct(c, c), 1.0, limit);
            const std::vector<double> cells = one.ColVector(c).ToArray();
            EXPECT_NEAR(*std::max_element(cells.begin(), cells.end()), 1.0, 2 * kEps);
            EXPECT_GE(*std::min_element(cells.begin(), cells.end()), -1.0 - 2 * kEps);
        }
    }
}

TEST(MatrixStatistics, NormalizationKeepsTheBlockAndAllocatesNothing)
{
    Matrix A = randomOf({5, 3});
    const std::intptr_t address = A.DataPtr();
    const FailingAllocator allocator(0);
    for (const NormalizeMode mode : kModes) {
        A.NormalizeCols(mode);
        A.NormalizeRows(mode);
    }
    EXPECT_FALSE(allocator.hasFailed());
    EXPECT_EQ(A.DataPtr(), address);
}

TEST(MatrixStatistics, NaNSpoilsItsOwnLineAlone)
{
    for (const NormalizeMode mode : {NormalizeMode::ZScores, NormalizeMode::UnitLength}) {
        Matrix A{{kNaN, 1}, {2, 2}}, clean{{5, 1}, {2, 2}};
        A.NormalizeCols(mode);
        clean.NormalizeCols(mode);
        EXPECT_TRUE(std::isnan(A(0, 0)) && std::isnan(A(1, 0)));
        EXPECT_EQ(A(0, 1), clean(0, 1));
        EXPECT_EQ(A(1, 1), clean(1, 1));
    }
}

// ---- symmetry

TEST(MatrixStatistics, NonSquareMatrixIsNotSymmetric)
{
    EXPECT_FALSE(Matrix(2, 3).IsSymmetric());
    EXPECT_FALSE(Matrix(3, 2).IsSymmetric(1e300));
}

TEST(MatrixStatistics, EachPairIsLookedAtForSymmetry)
{
    const int n = 5;
    const Matrix R = randomOf({n, n});
    const Matrix A = R + naiveTranspose(R);
    EXPECT_TRUE(A.IsSymmetric());
    EXPECT_TRUE(A.IsSymmetric(0.0));
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            Matrix B(A);
            B(i, j) += 1.0;
            EXPECT_EQ(B.IsSymmetric(), i == j);
        }
    }
}

TEST(MatrixStatistics, SymmetryToleranceIsInclusiveAndOneBillionthIfNotGiven)
{
    EXPECT_TRUE((Matrix{{1, 0.5}, {0, 1}}.IsSymmetric(0.5)));
    EXPECT_FALSE((Matrix{{1, 0.5}, {0, 1}}.IsSymmetric(std::nextafter(0.5, 0.0))));
    EXPECT_TRUE((Matrix{{1, 1e-09}, {0, 1}}.IsSymmetric()));
    EXPECT_FALSE((Matrix{{1, std::nextafter(1e-09, 1.0)}, {0, 1}}.IsSymmetric()));
}

TEST(MatrixStatistics, NegativeToleranceFindsOnlyOneByOneSymmetric)
{
    EXPECT_FALSE(identity(2).IsSymmetric(-1.0));
    EXPECT_TRUE(identity(1).IsSymmetric(-1.0));
}

TEST(MatrixStatistics, NaNPairPassesAsSymmetric)
{
    EXPECT_TRUE((Matrix{{1, kNaN}, {2, 1}}.IsSymmetric()));
    EXPECT_TRUE((Matrix{{1, kInf}, {kInf, 1}}.IsSymmetric())); // their difference is NaN
    EXPECT_FALSE((Matrix{{1, kInf}, {-kInf, 1}}.IsSymmetric()));
}

// ---- near-equality

TEST(MatrixStatistics, IsEqualComparesBlocksAndNotShapes)
{
    const Matrix A{{1, 3}, {2, 4}}, B{{1}, {2}, {3}, {4}};
    EXPECT_TRUE(A.IsEqual(B));
    EXPECT_TRUE(B.IsEqual(A));
    EXPECT_FALSE(A == B); // the exact comparison looks at the shape
    EXPECT_TRUE(counted(2, 3).IsEqual(counted(3, 2)));
    EXPECT_FALSE((A.IsEqual(Matrix{{1, 2}, {3, 4}})));
}

TEST(MatrixStatistics, IsEqualLooksAsFarAsThisObjectHasCells)
{
    const Matrix A{{1}, {2}}, larger{{1}, {2}, {9}};
    EXPECT_TRUE(A.IsEqual(larger));
    if constexpr (detail::kHardened) {
        EXPECT_THAT([&] { larger.IsEqual(A); },
                    ThrowsMessage<InvalidOperationException>("The other matrix has fewer cells."));
    } else { // a difference before the smaller one ends is found in time
        EXPECT_FALSE((Matrix{{1}, {7}, {9}}.IsEqual(A)));
    }
}

TEST(MatrixStatistics, EqualityToleranceIsInclusiveAndItsSignIsIgnored)
{
    const Matrix A{{1, 2}}, B{{1, 2.5}};
    EXPECT_TRUE(A.IsEqual(B, 0.5));
    EXPECT_TRUE(A.IsEqual(B, -0.5));
    EXPECT_FALSE(A.IsEqual(B, 0.25));
    EXPECT_FALSE(A.IsEqual(B, -0.25));
    EXPECT_TRUE(A.IsEqual(A, 0.0));
    EXPECT_TRUE((Matrix(1, 1).IsEqual(Matrix{{1e-09}})));
    EXPECT_FALSE((Matrix(1, 1).IsEqual(Matrix{{std::nextafter(1e-09, 1.0)}})));
}

TEST(MatrixStatistics, EachCellIsLookedAtForEquality)
{
    const Matrix A = randomOf({3, 4});
    for (int j = 0; j < 4; ++j) {
        for (int i = 0; i < 3; ++i) {
            Matrix B(A);
            B(i, j) -= 1.0;
            EXPECT_FALSE(A.IsEqual(B));
            EXPECT_TRUE(A.IsEqual(B, 1.5));
        }
    }
}

TEST(MatrixStatistics, NaNDifferencePassesAsEqual)
{
    EXPECT_TRUE((Matrix{{kNaN, 1}}.IsEqual(Matrix{{5, 1}})));
    EXPECT_TRUE((Matrix{{5, kInf}}.IsEqual(Matrix{{kNaN, kInf}})));
    EXPECT_FALSE((Matrix{{kInf, 1}}.IsEqual(Matrix{{5, 1}})));
}

// ---- finiteness

TEST(MatrixStatistics, IsFiniteOfMatrixAndOfVectorAnswerOpposites)
{
    for (const double special : {1.0, DBL_MAX, DBL_TRUE_MIN, kNaN, kInf, -kInf}) {
        for (int place = 0; place < 6; ++place) {
            Matrix A = counted(2, 3);
            A(place % 2, place / 2) = special;
            const Vector x = blockOf(A);
            const bool finite = std::isfinite(special);
            EXPECT_EQ(A.IsFinite(), !finite); // ordinary numbers: false; a NaN or an infinity: true
            EXPECT_EQ(x.IsFinite(), finite);
            EXPECT_EQ(A.HasINFs(), std::isinf(special));
            EXPECT_EQ(A.HasNaNs(), std::isnan(special));
        }
    }
}

TEST(MatrixStatistics, InfinityAndNaNAreToldApart)
{
    const Matrix A{{1, kNaN}, {-kInf, 2}};
    EXPECT_TRUE(A.HasINFs());
    EXPECT_TRUE(A.HasNaNs());
    EXPECT_TRUE(A.IsFinite());
}

// What the sizes alone decide is answered after release, too; the rest is the caller's fault.
TEST(MatrixStatistics, ReleasedMatrixAnswersBySizeAloneAndIsRefusedWhenHardened)
{
    Matrix released(2, 3);
    released.Dispose();
    EXPECT_THAT([&] { released.RowSum(2); }, ThrowsMessage<IndexOutOfBoundsException>(kRowIndex));
    EXPECT_THAT([&] { released.ColSum(3); }, ThrowsMessage<IndexOutOfBoundsException>(kColumnIndex));
    EXPECT_EQ(released.ColCorrelation(1, 1), 1.0);
    EXPECT_FALSE(released.IsSymmetric());
    if constexpr (detail::kHardened) {
        const std::vector<std::function<void(Matrix&)>> operations{
            [](Matrix& A) { A.Norm(NormType::OneNorm); },
            [](Matrix& A) { A.Trace(); },
            [](Matrix& A) { A.RowSum(0); },
            [](Matrix& A) { A.ColSum(0); },
            [](Matrix& A) { A.RowsDotProduct(0, 0); },
            [](Matrix& A) { A.ColsDotProduct(0, 0); },
            [](Matrix& A) { A.CorrelationMatrix(); },
            [](Matrix& A) { A.CovarianceMatrix(); },
            [](Matrix& A) { A.ColCorrelation(0, 1); },
            [](Matrix& A) { A.ColCovariance(0, 1); },
            [](Matrix& A) { A.NormalizeCols(NormalizeMode::ZScores); },
            [](Matrix& A) { A.NormalizeRows(NormalizeMode::ZScores); },
            [](Matrix& A) { A.IsSymmetric(); },
            [](Matrix& A) { A.IsEqual(identity(2)); },
            [](Matrix& A) { A.HasINFs(); },
            [](Matrix& A) { A.HasNaNs(); },
            [](Matrix& A) { A.IsFinite(); },
        };
        for (const auto& operation : operations) {
            Matrix A = identity(2);
            A.Dispose();
            EXPECT_THAT([&] { operation(A); },
                        ThrowsMessage<InvalidOperationException>("The object was used after its release."));
        }
    }
}

// ---- sizes at both ends

TEST(MatrixStatistics, ResultsOfMoreCellsThanABlockHoldsAreRefused)
{
    for (const std::int32_t cols : {46341, 65536, 65537}) {
        const Matrix row(1, cols);
        expectRefusedByTheAllocator([&] { row.CovarianceMatrix(); });
        expectRefusedByTheAllocator([&] { row.CorrelationMatrix(); });
    }
}

// The sums are empty and the divisor is 0.
TEST(MatrixStatistics, AMatrixWithoutRowsHasTheFormulasOfEmptySums)
{
    Matrix none = Vector(std::vector<double>{}).ToMatrix();
    EXPECT_TRUE(std::isnan(none.CovarianceMatrix()(0, 0)));
    EXPECT_EQ(none.CorrelationMatrix()(0, 0), 1.0);
    EXPECT_TRUE(std::isnan(none.ColCovariance(0, 0)));
    EXPECT_EQ(none.ColSum(0), 0.0);
    EXPECT_EQ(none.Trace(), 0.0);
    for (const NormalizeMode mode : kModes) {
        none.NormalizeCols(mode);
        none.NormalizeRows(mode);
        EXPECT_EQ(none.Rows(), 0);
    }
}

} // namespace
} // namespace Velmar::Lintrix
