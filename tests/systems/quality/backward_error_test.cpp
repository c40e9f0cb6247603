// Backward errors against their definitions in 113 bits, and where the definitions have holes.

#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/residual.h>

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
constexpr double kTiny = std::numeric_limits<double>::min();

template <class T>
class BackwardErrors : public ::testing::Test {
};
using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(BackwardErrors, CellTypes);

/// Of one column, with the residual as it is given.
template <class Cell, class Kind>
BackwardError errorOf(const Kind& A, const std::vector<Cell>& b, const std::vector<Cell>& x,
                      const std::vector<Cell>& r, TransposeMode op = TransposeMode::NotTransposed)
{
    return backwardErrors(AnyMatrix<Cell>(A), op, 1, b.data(), x.data(), r.data()).front();
}

/// Of one column, with its residual in twice the working precision.
template <class Cell, class Kind>
BackwardError errorOf(const Kind& A, const std::vector<Cell>& b, const std::vector<Cell>& x)
{
    std::vector<Cell> r(b.size());
    residualInTwicePrecision<Cell>(AnyMatrix<Cell>(A), TransposeMode::NotTransposed, 1, b.data(), x.data(),
                                   nullptr, r.data());
    return errorOf<Cell>(A, b, x, r);
}

TYPED_TEST(BackwardErrors, FollowTheirDefinitions)
{
    using Cell = TypeParam;
    Cells random(11);
    for (const TransposeMode op :
         {TransposeMode::NotTransposed, TransposeMode::Transposed, TransposeMode::ConjugateTransposed}) {
        const SparseOf<Cell> matrix(random.matrix<Cell>(12, 9, 0.5));
        const QuadMatrix A = quadOf(matrix, op);
        const auto x = random.vector<Cell>(2 * A.cols), b = random.vector<Cell>(2 * A.rows);
        std::vector<Cell> r(b.size());
        residual(AnyMatrix<Cell>(matrix), op, 2, b.data(), x.data(), r.data());
        const auto errors = backwardErrors(AnyMatrix<Cell>(matrix), op, 2, b.data(), x.data(), r.data());
        ASSERT_EQ(errors.size(), 2U);
        for (int c = 0; c < 2; ++c) {
            long double norm = 0, byElements = 0, ofX = 0, ofB = 0, ofR = 0;
            for (int i = 0; i < A.rows; ++i) {
                const long double right = sizeOf(b[i + c * A.rows]), left = sizeOf(r[i + c * A.rows]);
                long double sum = 0, w = right;
                for (int j = 0; j < A.cols; ++j) {
                    sum += sizeOf(A(i, j));
                    w += sizeOf(A(i, j)) * sizeOf(x[j + c * A.cols]);
                    ofX = std::max(ofX, sizeOf(x[j + c * A.cols]));
                }
                norm = std::max(norm, sum);
                ofB = std::max(ofB, right);
                ofR = std::max(ofR, left);
                byElements = std::max(byElements, left / w);
            }
            EXPECT_NEAR(errors[c].normwise, static_cast<double>(ofR / (norm * ofX + ofB)), 30 * kEps);
            EXPECT_NEAR(errors[c].componentwise, static_cast<double>(byElements), 30 * kEps);
            EXPECT_EQ(errors[c].omega1, errors[c].componentwise) << "no row is empty";
            EXPECT_EQ(errors[c].omega2, 0.0);
        }
    }
}

TYPED_TEST(BackwardErrors, OfZeroOverZeroAreZero)
{
    using Cell = TypeParam;
    const EmptyRows<Cell> none(0, 0);
    const BackwardError ofNothing = errorOf<Cell>(none, {}, {}, {});
    EXPECT_EQ(ofNothing.normwise, 0.0);
    EXPECT_EQ(ofNothing.componentwise, 0.0);

    const MatrixOf<Cell> holed({1.0, 0.0, 0.0, 0.0}, 2, 2);
    const BackwardError solved = errorOf<Cell>(holed, {3.0, 0.0}, {3.0, 5.0});
    EXPECT_EQ(solved.normwise, 0.0);
    EXPECT_EQ(solved.componentwise, 0.0) << "row 1 reads 0 = 0";
    EXPECT_EQ(solved.omega2, 0.0);

    const BackwardError trivial = errorOf<Cell>(holed, {0.0, 0.0}, {0.0, 0.0});
    EXPECT_EQ(trivial.normwise, 0.0);
    EXPECT_EQ(trivial.componentwise, 0.0);
}

TYPED_TEST(BackwardErrors, AreOneWhereXSolvesNothing)
{
    using Cell = TypeParam;
    const MatrixOf<Cell> singular({1.0, 0.0, 0.0, 0.0}, 2, 2);
    EXPECT_EQ(errorOf<Cell>(singular, {3.0, 2.0}, {3.0, 5.0}).componentwise, 1.0) << "0 = 2";
    EXPECT_EQ(errorOf<Cell>(singular, {0.0, 2.0}, {0.0, 0.0}).normwise, 1.0);
}

TYPED_TEST(BackwardErrors, AreNeverGoodWhereTheDataAreNotFinite)
{
    using Cell = TypeParam;
    const std::vector<Cell> good{1.0, 1.0};
    for (int place = 0; place < 4; ++place) {
        for (const double bad : {kNaN, kInfinity, -kInfinity}) {
            MatrixOf<Cell> A({2.0, 0.0, 0.0, 1.0}, 2, 2);
            std::vector<Cell> b = good, x = good, r(2);
            if (place == 0) A(0, 0) = bad;
            if (place == 1) b[0] = bad;
            if (place == 2) x[0] = bad;
            if (place == 3) r[0] = bad;
            const BackwardError error = errorOf<Cell>(A, b, x, r);
            SCOPED_TRACE(std::to_string(place) + " " + std::to_string(bad));
            EXPECT_FALSE(error.normwise < 1.0);
            EXPECT_FALSE(error.componentwise < 1.0);
            EXPECT_FALSE(error.omega1 < 1.0 && error.omega2 < 1.0);
            if (place < 3 || std::isnan(bad)) {
                EXPECT_TRUE(std::isnan(error.normwise));
                EXPECT_TRUE(std::isnan(error.componentwise));
            }
        }
    }
}

TYPED_TEST(BackwardErrors, ANaNIsNotHiddenByAnotherRow)
{
    using Cell = TypeParam;
    const MatrixOf<Cell> A({1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0}, 3, 3);
    for (int place = 0; place < 3; ++place) {
        std::vector<Cell> r{1.0, 1.0, 1.0};
        r[place] = kNaN;
        const BackwardError error = errorOf<Cell>(A, {1.0, 1.0, 1.0}, {1.0, 1.0, 1.0}, r);
        EXPECT_TRUE(std::isnan(error.normwise));
        EXPECT_TRUE(std::isnan(error.componentwise));
        EXPECT_TRUE(std::isnan(error.omega1));
    }
}

TYPED_TEST(BackwardErrors, NormwiseOutlivesProductsThatLeaveTheRange)
{
    using Cell = TypeParam;
    const MatrixOf<Cell> large({Cell(1e200)}, 1, 1), small({Cell(1e-200)}, 1, 1);
    EXPECT_NEAR(errorOf<Cell>(large, {1e300}, {1e200}, {1e300}).normwise / 1e-100, 1.0, 1e-12);
    EXPECT_EQ(errorOf<Cell>(small, {0.0}, {1e-200}, {1e-300}).normwise / 1e100, 1.0);
    EXPECT_TRUE(std::isnan(errorOf<Cell>(large, {1e300}, {1e200}, {1e300}).componentwise))
        << "w is infinite, and r/w = 0 would be a lie";
}

TYPED_TEST(BackwardErrors, OfTinyScalesAreTooLargeRatherThanTooSmall)
{
    using Cell = TypeParam;
    const MatrixOf<Cell> A({Cell(1.0)}, 1, 1); // terms: 2
    const double shift = 2 * kTiny, below = shift / kEps;
    const auto componentwise = [&](double b, double r) {
        return errorOf<Cell>(A, {Cell(b)}, {Cell(0.0)}, {Cell(r)}).componentwise;
    };
    EXPECT_EQ(componentwise(2 * below, below), 0.5);
    EXPECT_EQ(componentwise(below, below / 2), (below / 2 + shift) / (below + shift));
    EXPECT_EQ(componentwise(kTiny, 0.0), shift / (kTiny + shift));
    EXPECT_EQ(componentwise(0.0, 0.0), 0.0);
}

TYPED_TEST(BackwardErrors, ARowThatRoundingAloneHasMadeIsJudgedByItsSize)
{
    using Cell = TypeParam;
    // Row 1 reads x_0 = 0, and elimination has left 1e-20 there: by elements a full error.
    const MatrixOf<Cell> A({1.0, 1.0, 1.0, 0.0}, 2, 2);
    const BackwardError error = errorOf<Cell>(A, {1.0, 0.0}, {1e-20, 1.0});
    EXPECT_EQ(error.componentwise, 1.0);
    EXPECT_LE(error.omega1, kEps);
    EXPECT_GT(error.omega2, 0.0);
    EXPECT_LE(error.omega2, 1.1e-20);
    EXPECT_LE(error.normwise, kEps);
}

TEST(BackwardErrorsOfRealValues, AreTheSameInComplexCells)
{
    Cells random(12);
    const Matrix A = random.matrix<double>(8, 8);
    const std::vector<double> x = random.vector<double>(8), b = random.vector<double>(8);
    const BackwardError real = errorOf<double>(A, b, x);
    const BackwardError complex =
        errorOf<ComplexCell>(A.ToCMatrix(), {b.begin(), b.end()}, {x.begin(), x.end()});
    EXPECT_EQ(real.normwise, complex.normwise);
    EXPECT_EQ(real.componentwise, complex.componentwise);
    EXPECT_EQ(real.omega1, complex.omega1);
}

} // namespace
} // namespace Velmar::Lintrix::testing
