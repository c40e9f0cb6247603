// The products of the Lanczos driver: with and without the transposed copy, against the kernel.

#include "tests/solvers/svd_support.h"

#include <lintrix/solvers/lanczos_operator.h>
#include <lintrix/sparse/access.h>

namespace Velmar::Lintrix::testing {
namespace {

using detail::LanczosMatrix;
using detail::LanczosOperator;

constexpr std::int64_t kMuch = std::int64_t{1} << 40;

LanczosMatrix viewOf(const SparseMatrix& A)
{
    using detail::SparseAccess;
    return {A.Rows(),
            A.Cols(),
            SparseAccess::values(A),
            SparseAccess::rowPointers(A),
            SparseAccess::columns(A),
            A.Symmetric()};
}

std::vector<double> randomVector(int size, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::vector<double> x(static_cast<std::size_t>(size));
    for (double& cell : x) cell = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
    return x;
}

const std::vector<Shape> kShapes{{1, 1}, {1, 9}, {9, 1}, {30, 7}, {7, 30}, {60, 60}};

TEST(LanczosOperator, TransposedCopyGivesTheBitsOfTheKernel)
{
    MKL_Set_Dynamic(0);
    for (const Shape& shape : kShapes) {
        MKL_Set_Num_Threads(shape.cols > shape.rows ? 2 : 1);
        const SparseMatrix A = scatteredSparse(shape, 3);
        const LanczosOperator copied(viewOf(A), kMuch), kernel(viewOf(A), 0);
        ASSERT_TRUE(copied.hasTransposedCopy());
        ASSERT_FALSE(kernel.hasTransposedCopy());
        const auto x = randomVector(shape.rows, 4);
        std::vector<double> y(static_cast<std::size_t>(shape.cols), 1.0), z = y;
        copied.multiplyTransposed(x.data(), y.data());
        kernel.multiplyTransposed(x.data(), z.data());
        EXPECT_EQ(y, z) << shape;
    }
    MKL_Set_Num_Threads(1);
    MKL_Set_Dynamic(1);
}

TEST(LanczosOperator, ThreadsOfTheTransposedProductChangeNoBit)
{
    std::vector<double> cells;
    std::vector<std::int32_t> columns, starts{1};
    for (int row = 0; row < 400; ++row) { // 80 000 elements, and rows without any
        for (int c = 1; c <= 200 && row % 7 != 3; ++c) {
            cells.push_back(1.0 / (row + c));
            columns.push_back(c + row % 5);
        }
        starts.push_back(static_cast<std::int32_t>(cells.size()) + 1);
    }
    const LanczosMatrix B{400, 204, cells.data(), starts.data(), columns.data(), false};
    const LanczosOperator copied(B, kMuch), kernel(B, 0);
    const auto x = randomVector(B.m, 5);
    std::vector<double> y(static_cast<std::size_t>(B.n)), z = y;
    MKL_Set_Dynamic(0);
    MKL_Set_Num_Threads(4);
    copied.multiplyTransposed(x.data(), y.data());
    MKL_Set_Num_Threads(1);
    MKL_Set_Dynamic(1);
    kernel.multiplyTransposed(x.data(), z.data());
    EXPECT_EQ(y, z);
}

TEST(LanczosOperator, SymmetricMatrixIsAppliedAsTheFullOneBothWays)
{
    SparseMatrix A(3, true);
    A(0, 0) = 2.0;
    A(0, 2) = 3.0;
    A(1, 1) = 5.0;
    const LanczosOperator product(viewOf(A), kMuch);
    EXPECT_FALSE(product.hasTransposedCopy());
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

TEST(LanczosOperator, WideMatrixIsCopiedForSeveralThreadsOnly)
{
    const SparseMatrix A = scatteredSparse({5, 9}, 3);
    MKL_Set_Dynamic(0);
    for (const int threads : {1, 2}) {
        MKL_Set_Num_Threads(threads);
        EXPECT_EQ(LanczosOperator(viewOf(A), kMuch).hasTransposedCopy(), threads == 2);
    }
    MKL_Set_Num_Threads(1);
    MKL_Set_Dynamic(1);
}

TEST(LanczosOperator, CopyIsMadeUpToTheGivenBytes)
{
    const SparseMatrix A(Matrix{{1, 2}, {3, 4}, {5, 6}}); // 6 elements of 12 bytes, 2 pointers of 4
    EXPECT_TRUE(LanczosOperator(viewOf(A), 80).hasTransposedCopy());
    EXPECT_FALSE(LanczosOperator(viewOf(A), 79).hasTransposedCopy());
}

} // namespace
} // namespace Velmar::Lintrix::testing
