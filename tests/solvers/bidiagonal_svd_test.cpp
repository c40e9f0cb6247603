// All triplets of a small lower bidiagonal matrix.

#include "tests/solvers/svd_support.h"

#include <lintrix/solvers/bidiagonal_svd.h>

#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using detail::BidiagonalSvd;

Matrix squareOf(const double* cells, int b)
{
    Matrix A(b, b);
    for (int c = 0; c < b; ++c) {
        for (int r = 0; r < b; ++r) A(r, c) = cells[r + b * c];
    }
    return A;
}

// The routine changes its method above order 25.
TEST(BidiagonalSvd, FactorsReproduceTheLowerBidiagonalMatrix)
{
    std::mt19937_64 generator(11);
    for (const int b : {1, 2, 3, 24, 25, 26, 60}) {
        const Matrix cells = randomMatrix({b, 2}, generator);
        std::vector<double> diagonal, subdiagonal, values(static_cast<std::size_t>(b));
        Matrix B(b, b);
        for (int i = 0; i < b; ++i) {
            diagonal.push_back(cells(i, 0));
            subdiagonal.push_back(cells(i, 1));
            B(i, i) = cells(i, 0);
            if (i + 1 < b) B(i + 1, i) = cells(i, 1);
        }
        const BidiagonalSvd svd(b, diagonal.data(), subdiagonal.data(), values.data());
        EXPECT_TRUE(std::is_sorted(values.begin(), values.end(), std::greater<>()));
        const Matrix P = squareOf(svd.left.get(), b), Qt = squareOf(svd.rightTrans.get(), b);
        EXPECT_LT(orthogonalityRatio(P), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(naiveTranspose(Qt)), kResidualLimit);
        EXPECT_LT(differenceRatio(B, naiveProduct(scaledColumns(P, Vector(values)), Qt)), kResidualLimit);
        EXPECT_EQ(diagonal[0], cells(0, 0)); // the arguments stay
    }
}

TEST(BidiagonalSvd, ABidiagonalMatrixThatIsNotFiniteHasNaNsForTripletsAndNothingIsPrinted)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 infinity = std::numeric_limits<double>::infinity();
    for (const int b : {3, 40}) {
        for (const double bad : {nan, infinity}) {
            for (const bool onDiagonal : {true, false}) {
                std::vector<double> diagonal(static_cast<std::size_t>(b), 2.0), subdiagonal = diagonal,
                                                                                values = diagonal;
                (onDiagonal ? diagonal : subdiagonal)[1] = bad;
                ::testing::internal::CaptureStderr();
                const BidiagonalSvd svd(b, diagonal.data(), subdiagonal.data(), values.data());
                EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
                for (const double value : values) EXPECT_TRUE(std::isnan(value));
                for (int i = 0; i < b * b; ++i) {
                    EXPECT_TRUE(std::isnan(svd.left[i]));
                    EXPECT_TRUE(std::isnan(svd.rightTrans[i]));
                }
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
