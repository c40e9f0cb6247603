// The estimate of a 1-norm from products alone, against norms and inverses that are known.

#include <lintrix/systems/quality/norm_estimate.h>
#include <lintrix/systems/quality/residual.h>

#include "tests/systems/quality/dense_factor.h"
#include "tests/systems/quality/reference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

constexpr double kEps = 0x1p-53;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

template <class T>
class NormEstimate : public ::testing::Test {
};
using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(NormEstimate, CellTypes);

template <class Cell>
double estimateOf(const MatrixOf<Cell>& A, const NormEstimation& how = {})
{
    return estimateOneNorm(mapOf(AnyMatrix<Cell>(A)), how);
}
template <class Cell>
double normOf(const MatrixOf<Cell>& A)
{
    return oneNorm(AnyMatrix<Cell>(A));
}

/// Never above the norm; `within` counts those no smaller than a third of it.
template <class Cell>
void judge(double estimate, double norm, int n, int& within)
{
    EXPECT_LE(estimate, norm * (1.0 + 4 * n * kEps));
    within += estimate >= norm / 3.0;
}

TYPED_TEST(NormEstimate, OfRandomMatricesIsBelowTheNormAndSeldomFarBelow)
{
    using Cell = TypeParam;
    Cells random(21);
    int within = 0;
    for (int trial = 0; trial < 1000; ++trial) {
        const int n = random.whole(1, 40);
        MatrixOf<Cell> A = random.matrix<Cell>(n, n, random.real(0.1, 1.0));
        for (int j = 0; j < n && trial % 2 == 0; ++j) {
            for (int i = 0; i < n; ++i) A(i, j) *= std::pow(10.0, (i * 7 + j * 5) % 13 - 6);
        }
        judge<Cell>(estimateOf<Cell>(A), normOf<Cell>(A), n, within);
    }
    EXPECT_GE(within, 950);
}

TYPED_TEST(NormEstimate, OfInversesIsBelowTheNormAndSeldomFarBelow)
{
    using Cell = TypeParam;
    Cells random(22);
    int within = 0;
    for (int trial = 0; trial < 200; ++trial) {
        const int n = random.whole(5, 25);
        const MatrixOf<Cell> A = random.matrix<Cell>(n, n);
        const double norm = static_cast<double>(columnNorm(inverse(quadOf(A))));
        const double own = normOf<Cell>(A), condition = conditionEstimate(own, inverseMap<Cell>(A));
        const double slack = 1.0 + 10 * n * n * kEps * own * norm; // of the solves
        EXPECT_LE(condition, own * norm * slack);
        within += condition >= own * norm / 3.0;
    }
    EXPECT_GE(within, 190);
}

TYPED_TEST(NormEstimate, IsExactForFewColumns)
{
    using Cell = TypeParam;
    Cells random(23);
    for (int n = 1; n <= 4; ++n) {
        for (int trial = 0; trial < 50; ++trial) {
            const MatrixOf<Cell> A = random.matrix<Cell>(random.whole(1, 9), n);
            EXPECT_NEAR(estimateOf<Cell>(A), normOf<Cell>(A), 20 * kEps * normOf<Cell>(A));
        }
    }
    const MatrixOf<Cell> wide = random.matrix<Cell>(7, 9);
    EXPECT_NEAR(estimateOf<Cell>(wide, {.columns = 9}), normOf<Cell>(wide), 20 * kEps * normOf<Cell>(wide));
}

TYPED_TEST(NormEstimate, IsExactWhereRowsAreOfOneSign)
{
    using Cell = TypeParam;
    Cells random(24);
    for (int trial = 0; trial < 50; ++trial) {
        const int n = random.whole(5, 60);
        MatrixOf<Cell> A(n, n);
        for (int i = 0; i < n; ++i) {
            const double sign = random.real() < 0.0 ? -1.0 : 1.0;
            for (int j = 0; j < n; ++j) A(i, j) = sign * random.real(0.0, 1.0);
        }
        EXPECT_NEAR(estimateOf<Cell>(A), normOf<Cell>(A), 4 * n * kEps * normOf<Cell>(A));
    }
    // The inverse of the second difference, tridiagonal (-1, 2, -1), is positive: element (i, j) of it
    // is i*(n + 1 - j)/(n + 1) for i <= j, counted from 1, and its norm (n + 1)^2/8 for odd n.
    const int n = 99;
    MatrixOf<Cell> A(n, n);
    for (int i = 0; i < n; ++i) {
        A(i, i) = 2.0;
        if (i > 0) A(i, i - 1) = A(i - 1, i) = -1.0;
    }
    EXPECT_NEAR(conditionEstimate(4.0, inverseMap<Cell>(A)), 4.0 * 100 * 100 / 8, 1e-9);
}

TYPED_TEST(NormEstimate, FindsTheOneColumnThatMatters)
{
    using Cell = TypeParam;
    for (int j = 0; j < 30; ++j) {
        MatrixOf<Cell> A(30, 30, Cell(1.0));
        A(7, j) = -1e6;
        EXPECT_NEAR(estimateOf<Cell>(A), normOf<Cell>(A), 1e-6);
    }
}

TYPED_TEST(NormEstimate, OfRectanglesZerosAndNothing)
{
    using Cell = TypeParam;
    const EmptyRows<Cell> none(0, 0);
    const EmptyRows<Cell> flat(5, 7);
    EXPECT_EQ(estimateOneNorm(mapOf(AnyMatrix<Cell>(none))), 0.0);
    EXPECT_EQ(estimateOneNorm(mapOf(AnyMatrix<Cell>(flat))), 0.0);
    EXPECT_EQ(conditionEstimate(0.0, mapOf(AnyMatrix<Cell>(none))), 1.0);
    EXPECT_EQ(conditionEstimate(0.0, mapOf(AnyMatrix<Cell>(flat))), kInfinity);
    Cells random(25);
    int within = 0;
    for (const auto& [rows, cols] : {std::pair{1, 9}, {2, 30}, {30, 6}}) {
        const MatrixOf<Cell> A = random.matrix<Cell>(rows, cols);
        judge<Cell>(estimateOf<Cell>(A), normOf<Cell>(A), rows + cols, within);
    }
    EXPECT_EQ(within, 3);
}

TYPED_TEST(NormEstimate, OfWhatIsNotFiniteTellsIt)
{
    using Cell = TypeParam;
    for (const int n : {1, 3, 12}) {
        for (const int place : {0, n / 2, n - 1}) {
            MatrixOf<Cell> A(n, n, Cell(1.0));
            A(place, n - 1 - place) = kNaN;
            EXPECT_TRUE(std::isnan(estimateOf<Cell>(A)));
            A(place, n - 1 - place) = kInfinity;
            EXPECT_FALSE(std::isfinite(estimateOf<Cell>(A)));
            EXPECT_FALSE(std::isfinite(conditionEstimate(1.0, mapOf(AnyMatrix<Cell>(A)))));
        }
    }
    MatrixOf<Cell> singular(6, 6, Cell(1.0));
    singular(3, 3) = 0.0;
    EXPECT_FALSE(std::isfinite(conditionEstimate(1.0, inverseMap<Cell>(singular))));
    EXPECT_TRUE(std::isnan(conditionEstimate(kNaN, inverseMap<Cell>(MatrixOf<Cell>(6, 6, Cell(1.0))))));
}

TYPED_TEST(NormEstimate, LivesAtBothEndsOfTheRange)
{
    using Cell = TypeParam;
    Cells random(26);
    for (const double scale : {0x1p-1060, 0x1p-500, 0x1p1010}) {
        const MatrixOf<Cell> A = random.matrix<Cell>(20, 20);
        EXPECT_NEAR(estimateOf<Cell>(A * Cell(scale)) / scale, estimateOf<Cell>(A), 1e-2);
    }
}

TYPED_TEST(NormEstimate, IsTheSameEachTimeAndKeepsToItsLimits)
{
    using Cell = TypeParam;
    Cells random(27);
    for (int trial = 0; trial < 50; ++trial) {
        const MatrixOf<Cell> A = random.matrix<Cell>(50, 50);
        const LinearMap<Cell> plain = mapOf(AnyMatrix<Cell>(A));
        int products = 0;
        LinearMap<Cell> counted = plain;
        counted.times = [&](std::int32_t columns, const Cell* x, Cell* y) {
            EXPECT_LE(columns, 3);
            ++products;
            plain.times(columns, x, y);
        };
        const double estimate = estimateOneNorm(counted, {.columns = 3});
        EXPECT_LE(products, 6) << "five iterations and the product that ends them";
        EXPECT_EQ(estimate, estimateOf<Cell>(A, {.columns = 3}));
    }
}

TEST(NormEstimateOfRealValues, OneColumnClimbsAlike)
{
    // Without random columns nothing tells real cells from complex ones but the look for repeated signs,
    // which ends a climb that has come to its end.
    Cells random(28);
    for (int trial = 0; trial < 50; ++trial) {
        const Matrix A = random.matrix<double>(15, 15);
        EXPECT_EQ(estimateOf<double>(A, {.columns = 1}),
                  estimateOf<ComplexCell>(A.ToCMatrix(), {.columns = 1}));
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
