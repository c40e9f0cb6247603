// The judges of the decompositions: a ratio sees a small error at every size, and never lets a NaN pass.

#include "tests/decompositions/cases.h"

#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int kSizes[] = {1, 7, 64, 130, 300};

Matrix filled(int rows, int cols, double value)
{
    Matrix A(rows, cols);
    for (int j = 0; j < cols; ++j) {
        for (int i = 0; i < rows; ++i) A(i, j) = value;
    }
    return A;
}

TEST(ResidualRatios, OfASolutionKnowNoSize)
{
    for (const int n : kSizes) {
        const Matrix B = filled(n, 3, 1.0), X = filled(n, 3, 1.0 + 100 * kEps);
        EXPECT_NEAR(solveRatio(identity(n), X, B), 100.0, 1.0) << n;
        EXPECT_EQ(solveRatio(identity(n), B, B), 0.0) << n;
    }
}

TEST(ResidualRatios, OfASolutionSeeASmallColumnBesideALargeOne)
{
    Matrix B(7, 2), X(7, 2);
    for (int i = 0; i < 7; ++i) {
        B(i, 0) = X(i, 0) = 1e8;
        B(i, 1) = 1.0;
        X(i, 1) = 1.0 + 100 * kEps;
    }
    EXPECT_NEAR(solveRatio(identity(7), X, B), 100.0, 1.0);
}

TEST(ResidualRatios, OfAnInverseAreScaledByTheSizeAndBothNorms)
{
    for (const int n : kSizes) {
        const Matrix A = identity(n) * 2.0, X = identity(n) * (0.5 * (1.0 + 100 * n * kEps));
        EXPECT_NEAR(inverseRatio(A, X), 100.0, 1.0) << n;
        EXPECT_EQ(inverseRatio(A, identity(n) * 0.5), 0.0) << n;
    }
}

TEST(ResidualRatios, OfValuesAreScaledByTheSizeAndTheNorm)
{
    const Vector x{2, 1}, y{2, 1 + 600 * kEps};
    EXPECT_NEAR(valuesRatio(x, y, 3, 2.0), 100.0, 1.0);
    EXPECT_EQ(valuesRatio(x, x, 3, 2.0), 0.0);
}

TEST(ResidualRatios, OfANaNAreBelowNothing)
{
    const Matrix A = identity(3), B = filled(3, 3, 1.0);
    for (int k = 0; k < 9; ++k) {
        Matrix X(B), Y(A);
        X(k % 3, k / 3) = kNaN;
        Y(k % 3, k / 3) = kNaN;
        EXPECT_FALSE(solveRatio(A, X, B) < kResidualLimit) << k;
        EXPECT_FALSE(solveRatio(A, B, X) < kResidualLimit) << k;
        EXPECT_FALSE(differenceRatio(B, X) < kResidualLimit) << k;
        EXPECT_FALSE(inverseRatio(A, Y) < kResidualLimit) << k;
        EXPECT_FALSE(orthogonalityRatio(Y) < kResidualLimit) << k;
        EXPECT_FALSE(normalEquationRatio(A, X, B) < kResidualLimit) << k;
    }
    for (int i = 0; i < 3; ++i) {
        Vector x{3, 2, 1};
        x(i) = kNaN;
        EXPECT_FALSE(valuesRatio(Vector{3, 2, 1}, x, 3, 3.0) < kResidualLimit) << i;
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
