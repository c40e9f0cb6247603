// The products of the Lanczos driver: with and without slices, against the kernel.

#include "tests/solvers/svd_support.h"

#include <lintrix/solvers/lanczos_operator.h>

namespace Velmar::Lintrix::testing {
namespace {

using detail::LanczosOperator;
using detail::SlicedRows;

constexpr std::int64_t kMuch = std::int64_t{1} << 40;

TEST(LanczosOperator, TransposedProductFromSlicesHasTheBitsOfTheKernel)
{
    for (const Shape& shape :
         {Shape{1, 1}, Shape{1, 9}, Shape{9, 1}, Shape{30, 7}, Shape{7, 30}, Shape{60, 60}}) {
        const SparseMatrix A = scatteredSparse(shape, 3);
        const LanczosOperator sliced(viewOf(A), kMuch), kernel(viewOf(A), 0);
        const auto x = randomVector(shape.rows, 4);
        std::vector<double> y(static_cast<std::size_t>(shape.cols), 1.0), z = y;
        sliced.multiplyTransposed(x.data(), y.data());
        kernel.multiplyTransposed(x.data(), z.data());
        EXPECT_EQ(y, z) << shape;
    }
}

TEST(LanczosOperator, ProductFromSlicesAgreesWithTheKernel)
{
    const SparseMatrix A = scatteredSparse({60, 40}, 3);
    const LanczosOperator sliced(viewOf(A), kMuch), kernel(viewOf(A), 0);
    const auto x = randomVector(40, 4);
    std::vector<double> y(60, 1.0), z = y;
    sliced.multiply(x.data(), y.data());
    kernel.multiply(x.data(), z.data());
    for (std::size_t i = 0; i < y.size(); ++i)
        EXPECT_NEAR(y[i], z[i], 40 * kEps); // the kernel has two sums a row
}

TEST(LanczosOperator, SymmetricMatrixIsAppliedAsTheFullOneBothWays)
{
    SparseMatrix A(3, true);
    A(0, 0) = 2.0;
    A(0, 2) = 3.0;
    A(1, 1) = 5.0;
    const LanczosOperator product(viewOf(A), kMuch);
    EXPECT_FALSE(product.hasSlices());
    EXPECT_FALSE(product.hasTransposedSlices());
    const std::vector<double> x{1.0, 10.0, 100.0};
    std::vector<double> y(3), z(3);
    product.multiply(x.data(), y.data());
    product.multiplyTransposed(x.data(), z.data());
    EXPECT_EQ(y, (std::vector<double>{302.0, 50.0, 3.0}));
    EXPECT_EQ(z, y);
}

TEST(LanczosOperator, TransposedProductIsAddedWithItsFactor)
{
    const SparseMatrix A(Matrix{{1, 2}, {3, 4}, {5, 6}});
    const LanczosOperator product(viewOf(A), kMuch);
    const std::vector<double> x{1.0, 0.0, -1.0};
    std::vector<double> y{10.0, 20.0};
    product.addTransposed(-0.5, x.data(), y.data());
    EXPECT_EQ(y, (std::vector<double>{12.0, 22.0}));
}

TEST(LanczosOperator, SlicesAreMadeUpToTheGivenBytesTheTransposedFirst)
{
    const SparseMatrix A(Matrix{{1, 2}, {3, 4}, {5, 6}});
    const auto bytesOf = [&](SlicedRows::Of side) {
        return SlicedRows::make(side, viewOf(A), kMuch)->bytes();
    };
    const std::int64_t transposed = bytesOf(SlicedRows::Of::Transpose),
                       both = transposed + bytesOf(SlicedRows::Of::A);
    const auto made = [&](std::int64_t bytes) {
        const LanczosOperator product(viewOf(A), bytes);
        return std::pair(product.hasTransposedSlices(), product.hasSlices());
    };
    EXPECT_EQ(made(both), std::pair(true, true));
    EXPECT_EQ(made(both - 1), std::pair(true, false));
    EXPECT_EQ(made(transposed), std::pair(true, false));
    EXPECT_EQ(made(0), std::pair(false, false));
}

} // namespace
} // namespace Velmar::Lintrix::testing
