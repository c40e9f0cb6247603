#include <lintrix/systems/structure/column_block.h>

#include "tests/support/matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <random>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;
using Int = std::int32_t;

template <class Cell>
class ColumnBlocks : public ::testing::Test {
public:
    using Block = ColumnBlock<Cell>;

    static Block copyOf(const MatrixOf<Cell>& A)
    {
        Block block{A.Rows(), A.Cols()};
        for (Int j = 0; j < A.Cols(); ++j)
            for (Int i = 0; i < A.Rows(); ++i) block.column(j)[i] = A(i, j);
        return block;
    }
    static MatrixOf<Cell> matrixOf(const Block& block)
    {
        MatrixOf<Cell> A(block.length, block.count);
        for (Int j = 0; j < block.count; ++j)
            for (Int i = 0; i < block.length; ++i) A(i, j) = block.column(j)[i];
        return A;
    }
    /// Orthonormal columns of the given number.
    static Block orthonormalBlock(Int length, Int count)
    {
        Block block = copyOf(matrixWith<MatrixOf<Cell>>({length, length}, Spectrum::Flat, 7));
        block.shrink(count);
        return block;
    }
};
using Cells = ::testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(ColumnBlocks, Cells);

TYPED_TEST(ColumnBlocks, BecomeOrthogonalByAUnitaryMatrix)
{
    using M = MatrixOf<TypeParam>;
    std::mt19937_64 generator(1);
    for (const Int count : {1, 2, 3, 4, 8}) {
        const M before = randomMatrix<M>({40, count}, generator);
        auto W = this->copyOf(before), J = this->copyOf(identity<M>(count));
        const std::vector<double> lengths = orthogonalize(W, &J);
        EXPECT_TRUE(std::ranges::is_sorted(lengths, std::greater<>()));
        EXPECT_LT(orthogonalityRatio(this->matrixOf(J)), kResidualLimit);
        EXPECT_LT(differenceRatio(naiveProduct(before, this->matrixOf(J)), this->matrixOf(W)),
                  kResidualLimit);
        orthonormalize(W);
        EXPECT_LT(orthogonalityRatio(this->matrixOf(W)), kResidualLimit);
    }
}

// Columns of lengths down to 1e-120 that lean on each other by a half: their singular values are the lengths
// times numbers of order 1, and the smallest is not lost in the rounding of the largest.
TYPED_TEST(ColumnBlocks, KeepSmallSingularValuesBesideLargeOnes)
{
    const Int length = 30, count = 4;
    auto Q = this->orthonormalBlock(length, count);
    auto W = Q;
    for (Int j = 0; j < count; ++j)
        for (Int i = 0; i < length; ++i)
            W.column(j)[i] =
                std::pow(1e-40, j) * (Q.column(j)[i] + (j > 0 ? 0.5 * Q.column(j - 1)[i] : TypeParam(0)));
    const std::vector<double> lengths = orthogonalize(W);
    // Down to lower order, column j is left with its part across the columns before.
    for (Int j = 0; j < count; ++j) EXPECT_NEAR(lengths[j] / std::pow(1e-40, j), 1.0, 1e-13);
}

TYPED_TEST(ColumnBlocks, LoseColumnsOfNoLength)
{
    auto W = this->orthonormalBlock(10, 3);
    std::fill(W.column(1), W.column(2), TypeParam(0));
    EXPECT_EQ(orthonormalize(W).size(), 2U);
    EXPECT_EQ(W.count, 2);
    EXPECT_LT(orthogonalityRatio(this->matrixOf(W)), kResidualLimit);
    ColumnBlock<TypeParam> none{5, 3};
    EXPECT_TRUE(orthonormalize(none).empty());
}

TYPED_TEST(ColumnBlocks, GetABasisThatHoldsTheirSpan)
{
    const auto given = this->orthonormalBlock(30, 3);
    auto W = given; // then a combination, on another scale, and a column of zeros
    W.count = 5;
    W.cells.resize(150);
    for (Int i = 0; i < 30; ++i) W.column(3)[i] = 1e-200 * (W.column(0)[i] + W.column(2)[i]);
    takeBasis(W);
    ASSERT_EQ(W.count, 5);
    const auto basis = this->matrixOf(W), inside = this->matrixOf(given);
    EXPECT_LT(orthogonalityRatio(basis), kResidualLimit);
    EXPECT_LT(differenceRatio(naiveProduct(basis, naiveProduct(naiveAdjoint(basis), inside)), inside),
              kResidualLimit);
}

TYPED_TEST(ColumnBlocks, GetABasisOfNoMoreColumnsThanTheirLength)
{
    ColumnBlock<TypeParam> W{2, 4}, none{3, 0};
    std::ranges::fill(W.cells, TypeParam(1));
    takeBasis(W);
    EXPECT_EQ(W.count, 2);
    EXPECT_LT(orthogonalityRatio(this->matrixOf(W)), kResidualLimit);
    takeBasis(none);
    EXPECT_EQ(none.count, 0);
}

TYPED_TEST(ColumnBlocks, AreTurnedByTheirLengths)
{
    using M = MatrixOf<TypeParam>;
    for (const Int count : {1, 5, 8, 9, 20, 40}) {
        SCOPED_TRACE(count);
        const M Q = this->matrixOf(this->orthonormalBlock(40, count));
        std::vector<double> values;
        for (Int j = 0; j < count; ++j) values.push_back(std::pow(0.5, j));
        const M J = matrixWith<M>({count, count}, Spectrum::Flat, 6);
        M scaled(40, count);
        for (Int j = 0; j < count; ++j)
            for (Int i = 0; i < 40; ++i) scaled(i, j) = 1e150 * values[static_cast<std::size_t>(j)] * Q(i, j);
        const M before = naiveProduct(scaled, J);
        auto W = this->copyOf(before), companion = this->copyOf(identity<M>(count));
        const std::vector<double> lengths = turnByLengths(W, companion);
        ASSERT_EQ(lengths.size(), static_cast<std::size_t>(count));
        for (std::size_t j = 0; j < values.size(); ++j) EXPECT_NEAR(lengths[j] / 1e150, values[j], 1e-14);
        EXPECT_LT(orthogonalityRatio(this->matrixOf(companion)), kResidualLimit);
        const auto turned = this->copyOf(naiveProduct(before, this->matrixOf(companion)));
        for (Int j = 0; j < count; ++j)
            EXPECT_NEAR(euclideanNorm(40, turned.column(j)) / 1e150, lengths[j] / 1e150, 1e-13);
    }
}

TYPED_TEST(ColumnBlocks, AreClearedOfOthers)
{
    using M = MatrixOf<TypeParam>;
    std::mt19937_64 generator(2);
    const auto Q = this->orthonormalBlock(30, 4);
    const M before = randomMatrix<M>({30, 3}, generator);
    auto W = this->copyOf(before);
    clearOf(Q, W);
    const M basis = this->matrixOf(Q), left = this->matrixOf(W), taken = before - left;
    EXPECT_LT(
        differenceRatio(naiveProduct(naiveAdjoint(basis), before), naiveProduct(naiveAdjoint(basis), taken)),
        kResidualLimit);
    EXPECT_LT(differenceRatio(naiveProduct(basis, naiveProduct(naiveAdjoint(basis), taken)), taken),
              kResidualLimit);
    const auto same = W.cells;
    clearOf(ColumnBlock<TypeParam>{30, 0}, W);
    EXPECT_EQ(W.cells, same);
}

TYPED_TEST(ColumnBlocks, MayBeOfAnyScale)
{
    for (const double scale : {1e300, 1e-290}) {
        auto W = this->orthonormalBlock(20, 2);
        for (TypeParam& x : W.cells) x *= scale;
        EXPECT_NEAR(euclideanNorm(20, W.column(0)) / scale, 1.0, 1e-14);
        const std::vector<double> lengths = orthonormalize(W);
        EXPECT_NEAR(lengths[1] / scale, 1.0, 1e-14);
        EXPECT_LT(orthogonalityRatio(this->matrixOf(W)), kResidualLimit);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
