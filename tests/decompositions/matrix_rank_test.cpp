// Rank and pseudo-inverse as operations of Matrix.

#include <lintrix/decompositions/svd.h>
#include <lintrix/dense/matrix.h>

#include "tests/decompositions/cases.h"

#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kFailed = "Operation has failed to complete.";

TEST(MatrixRank, OfEverySpectrumIsFull)
{
    forEachMatrix(anyShape, [](const Matrix& A) { EXPECT_EQ(A.Rank(), std::min(A.Rows(), A.Cols())); });
}

TEST(MatrixRank, OfAnOuterProductIsOne)
{
    const Threads one(1);
    for (const Shape& shape : allShapes()) {
        const Matrix x = matrixWith({shape.rows, 1}, Spectrum::Random, kSeed);
        const Matrix y = matrixWith({1, shape.cols}, Spectrum::Random, kSeed + 1);
        EXPECT_EQ(naiveProduct(x, y).Rank(), 1) << shape;
    }
}

TEST(MatrixRank, OfSmallMatricesByHand)
{
    EXPECT_EQ(Matrix(3, 4).Rank(), 0);
    EXPECT_EQ(identity(5).Rank(), 5);
    EXPECT_EQ((Matrix{{1, 2}, {2, 4}}.Rank()), 1);
    EXPECT_EQ((Matrix{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}.Rank()), 2);
    EXPECT_EQ((Matrix{{1, 0, 0, 0}, {0, 0, 1, 0}}.Rank()), 2);
    EXPECT_EQ((Matrix{{1}, {1}, {1}}.Rank()), 1);
    EXPECT_EQ((Matrix{{1e-300}}.Rank()), 1); // a rank knows no scale
}

TEST(MatrixRank, DoesNotChangeWithTheScale)
{
    const Matrix A{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    for (const double scale : {0x1p-900, 0x1p-30, 0x1p30, 0x1p900}) EXPECT_EQ((A * scale).Rank(), 2);
}

TEST(MatrixRank, FormsNoVectors)
{
    // six blocks with vectors (see SVD), and one more for a result
    const Matrix A = matrixWith({5, 3}, Spectrum::Random, kSeed), before(A);
    EXPECT_EQ(failEachAllocation([&] { A.Rank(); }, [&] { return identical(A, before); }), 4);
}

TEST(MatrixPseudoInverse, FulfilsThePenroseConditions)
{
    forEachMatrix(anyShape, [](const Matrix& A) { expectPenroseConditions(A, A.PseudoInverse()); });
}

TEST(MatrixPseudoInverse, TakesValuesBelowTheToleranceAsZero)
{
    const Matrix A{{4, 0, 0}, {0, 2, 0}, {0, 0, 1}};
    EXPECT_TRUE(identical(A.PseudoInverse(1.5), Matrix{{0.25, 0, 0}, {0, 0.5, 0}, {0, 0, 0}}));
    EXPECT_TRUE(
        identical(A.PseudoInverse(2.0), Matrix{{0.25, 0, 0}, {0, 0.5, 0}, {0, 0, 0}})); // one equal stays
    EXPECT_TRUE(identical(A.PseudoInverse(), Matrix{{0.25, 0, 0}, {0, 0.5, 0}, {0, 0, 1}}));
}

TEST(MatrixPseudoInverse, OfAWideMatrixIsTall)
{
    const Matrix X = matrixWith({3, 5}, Spectrum::Random, kSeed).PseudoInverse();
    EXPECT_EQ(X.Rows(), 5);
    EXPECT_EQ(X.Cols(), 3);
}

TEST(MatrixPseudoInverse, OfARegularMatrixIsItsInverse)
{
    EXPECT_LT(differenceRatio(Matrix{{-2, 1}, {1.5, -0.5}}, Matrix{{1, 2}, {3, 4}}.PseudoInverse()),
              kResidualLimit);
}

TEST(MatrixPseudoInverse, OfTheZeroMatrixHoldsNoZeros)
{
    EXPECT_FALSE(allFinite(Matrix(2, 3).PseudoInverse()));
    EXPECT_TRUE(identical(Matrix(2, 3).PseudoInverse(1e-300), Matrix(3, 2)));
}

TEST(MatrixPseudoInverse, NegativeToleranceActsAsItsMagnitude)
{
    const Matrix A{{4, 0}, {0, 2}};
    EXPECT_TRUE(identical(A.PseudoInverse(-3.0), Matrix{{0.25, 0}, {0, 0}}));
}

TEST(MatrixPseudoInverse, EveryRefusedBlockIsAFailureThatLeaksNothing)
{
    const Matrix A = matrixWith({5, 3}, Spectrum::Random, kSeed), before(A);
    const auto untouched = [&] { return identical(A, before); };
    EXPECT_EQ(failEachAllocation([&] { A.PseudoInverse(); }, untouched), 8);
    EXPECT_EQ(failEachAllocation([&] { A.PseudoInverse(0.1); }, untouched), 8);
}

TEST(MatrixPseudoInverse, DecompositionThatDidNotConvergeIsAFailureThatLeaksNothing)
{
    const Matrix A{{std::numeric_limits<double>::quiet_NaN(), 1}, {2, 3}};
    ASSERT_FALSE(SVD(A).Succeeded());
    const std::int64_t before = TrellConfiguration::TotalMemory();
    expectFailure<OperationFailedException>([&] { A.Rank(); }, kFailed);
    expectFailure<OperationFailedException>([&] { A.PseudoInverse(); }, kFailed);
    expectFailure<OperationFailedException>([&] { A.PseudoInverse(0.5); }, kFailed);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

} // namespace
} // namespace Velmar::Lintrix::testing
