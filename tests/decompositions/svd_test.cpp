// Singular values and vectors, rank and pseudo-inverse of a decomposition. The forms on Matrix have a test of
// their own.

#include <lintrix/decompositions/svd.h>

#include "tests/decompositions/cases.h"

#include <lintrix/dense/vector.h>

#include <climits>
#include <limits>
#include <optional>
#include <thread>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kIndex = "Row or column index exceeds matrix size.";
constexpr double kMachineEpsilon = 2.220446049250313e-16;

int smallerSide(const Matrix& A)
{
    return std::min(A.Rows(), A.Cols());
}
int largerSide(const Matrix& A)
{
    return std::max(A.Rows(), A.Cols());
}

Matrix reproduced(const SVD& svd)
{
    return naiveProduct(svd.U().value(), naiveProduct(svd.S(), svd.VH().value()));
}

// The rows of VH that the decomposition defines, as columns.
Matrix definedV(const SVD& svd, int count)
{
    return svd.VH().value().SubMatrix(0, count - 1, 0, svd.VH().value().Cols() - 1).Transpose();
}

double valuesRatio(const Matrix& A, const Vector& x, const Vector& y)
{
    return testing::valuesRatio(x, y, largerSide(A), x(0));
}

// Rank r almost surely, and well away from r-1 and r+1.
Matrix ofRank(const Shape& shape, int rank, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    const Matrix left = randomMatrix({shape.rows, rank}, generator);
    return naiveProduct(left, randomMatrix({rank, shape.cols}, generator));
}

// ---- factors

TEST(SVDTest, FactorsReproduceTheMatrix)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const SVD svd(A);
        ASSERT_TRUE(svd.Succeeded());
        EXPECT_LT(differenceRatio(A, reproduced(svd)), kResidualLimit);
    });
}

TEST(SVDTest, SingularVectorsAreOrthonormal)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const SVD svd(A);
        EXPECT_LT(orthogonalityRatio(svd.U().value()), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(definedV(svd, smallerSide(A))), kResidualLimit);
    });
}

TEST(SVDTest, SingularValuesAreThoseThatWereImposed)
{
    const Threads one(1);
    for (const Shape& shape : allShapes()) {
        for (const Spectrum spectrum : {Spectrum::Flat, Spectrum::Geometric, Spectrum::OneTiny}) {
            SCOPED_TRACE(::testing::Message() << shape << ", " << spectrum);
            const Matrix A = matrixWith(shape, spectrum, kSeed);
            const int count = smallerSide(A);
            Vector expected(count);
            for (int i = 0; i < count; ++i) expected(i) = singularValue(spectrum, i, count);
            EXPECT_LT(valuesRatio(A, expected, SVD(A).SingularValues()), kResidualLimit);
            EXPECT_LT(valuesRatio(A, expected, SVD(A, true).SingularValues()), kResidualLimit);
        }
    }
}

TEST(SVDTest, SingularValuesFallAndAreNotNegative)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const Vector s = SVD(A, true).SingularValues();
        for (int i = 0; i < s.Length(); ++i) {
            EXPECT_GE(s(i), 0.0);
            if (i > 0) {
                EXPECT_LE(s(i), s(i - 1));
            }
        }
    });
}

TEST(SVDTest, SingularValuesOfTheTransposedMatrixAreTheSame)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const Vector s = SVD(A, true).SingularValues();
        EXPECT_LT(valuesRatio(A, s, SVD(naiveTranspose(A), true).SingularValues()), kResidualLimit);
        EXPECT_LT(valuesRatio(A, s, SVD(A).SingularValues()), kResidualLimit);
    });
}

TEST(SVDTest, SingularValuesSurviveOrthogonalTransforms)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const Matrix Q = matrixWith({A.Rows(), A.Rows()}, Spectrum::Flat, kSeed + 2);
        const Matrix Z = matrixWith({A.Cols(), A.Cols()}, Spectrum::Flat, kSeed + 3);
        const Vector s = SVD(A, true).SingularValues();
        EXPECT_LT(valuesRatio(A, s, SVD(naiveProduct(Q, A), true).SingularValues()), kResidualLimit);
        EXPECT_LT(valuesRatio(A, s, SVD(naiveProduct(A, Z), true).SingularValues()), kResidualLimit);
    });
}

TEST(SVDTest, RankDeficientMatricesAreReproduced)
{
    const Threads one(1);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = ofRank(shape, 1 + std::min(shape.rows, shape.cols) / 3, kSeed);
        const SVD svd(A);
        ASSERT_TRUE(svd.Succeeded());
        EXPECT_LT(differenceRatio(A, reproduced(svd)), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(svd.U().value()), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(definedV(svd, smallerSide(A))), kResidualLimit);
    }
}

TEST(SVDTest, InputIsNotWritten)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const Matrix before(A);
        const SVD svd(A), values(A, true);
        EXPECT_TRUE(identical(A, before));
    });
}

// ---- shapes

TEST(SVDTest, TwoByFiveHasASquareUAndAWideS)
{
    const Matrix A = matrixWith({2, 5}, Spectrum::Random, kSeed);
    const SVD svd(A);
    const Matrix U = svd.U().value(), S = svd.S(), VH = svd.VH().value(), V = svd.V().value();
    EXPECT_EQ(U.Rows(), 2);
    EXPECT_EQ(U.Cols(), 2);
    EXPECT_EQ(S.Rows(), 2);
    EXPECT_EQ(S.Cols(), 5);
    EXPECT_EQ(VH.Rows(), 5);
    EXPECT_EQ(VH.Cols(), 5);
    EXPECT_TRUE(identical(V, naiveTranspose(VH)));
    for (int j = 0; j < 5; ++j) {
        for (int i = 2; i < 5; ++i) EXPECT_EQ(VH(i, j), 0.0); // the rows that nothing defines are clear
    }
    EXPECT_LT(differenceRatio(A, reproduced(svd)), kResidualLimit);
}

TEST(SVDTest, FiveByTwoHasAThinUAndASquareS)
{
    const Matrix A = matrixWith({5, 2}, Spectrum::Random, kSeed);
    const SVD svd(A);
    const Matrix U = svd.U().value(), S = svd.S(), VH = svd.VH().value();
    EXPECT_EQ(U.Rows(), 5);
    EXPECT_EQ(U.Cols(), 2);
    EXPECT_EQ(S.Rows(), 2);
    EXPECT_EQ(S.Cols(), 2);
    EXPECT_EQ(VH.Rows(), 2);
    EXPECT_EQ(VH.Cols(), 2);
    EXPECT_TRUE(identical(svd.V().value(), naiveTranspose(VH)));
    EXPECT_LT(differenceRatio(A, reproduced(svd)), kResidualLimit);
}

TEST(SVDTest, SHoldsTheSingularValuesOnItsDiagonalAndZerosElsewhere)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const SVD svd(A);
        const Matrix S = svd.S();
        const Vector s = svd.SingularValues();
        ASSERT_EQ(S.Rows(), smallerSide(A));
        ASSERT_EQ(S.Cols(), A.Cols());
        ASSERT_EQ(s.Length(), smallerSide(A));
        for (int j = 0; j < S.Cols(); ++j) {
            for (int i = 0; i < S.Rows(); ++i) EXPECT_EQ(S(i, j), i == j ? s(i) : 0.0);
        }
        for (int i = 0; i < s.Length(); ++i) EXPECT_EQ(svd.SingularValue(i), s(i));
    });
}

TEST(SVDTest, SingularValueRefusesABadIndex)
{
    const SVD tall(Matrix(5, 2)), wide(Matrix(2, 5), true);
    for (const int index : {-1, 2, 4, 5, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(index);
        expectFailure<IndexOutOfBoundsException>([&] { tall.SingularValue(index); }, kIndex);
        expectFailure<IndexOutOfBoundsException>([&] { wide.SingularValue(index); }, kIndex);
    }
}

TEST(SVDTest, ResultsAreBuiltAnewOnEachAccess)
{
    const SVD svd(matrixWith({5, 3}, Spectrum::Random, kSeed));
    const Matrix before = svd.U().value();
    svd.U().value().Clear();
    Matrix S = svd.S();
    S.Clear();
    Vector s = svd.SingularValues();
    s.Clear();
    EXPECT_TRUE(identical(svd.U().value(), before));
    EXPECT_GT(svd.S()(0, 0), 0.0);
    EXPECT_GT(svd.SingularValue(0), 0.0);
}

// ---- the form without vectors

TEST(SVDTest, SingularValuesAloneGiveNoVectorsAndNoPseudoInverse)
{
    for (const Shape& shape : {Shape{1, 1}, Shape{5, 3}, Shape{3, 5}, Shape{65, 64}}) {
        SCOPED_TRACE(shape);
        const Matrix A = matrixWith(shape, Spectrum::Random, kSeed);
        const SVD values(A, true), both(A, false);
        EXPECT_TRUE(values.Succeeded());
        EXPECT_EQ(values.U(), std::nullopt);
        EXPECT_EQ(values.VH(), std::nullopt);
        EXPECT_EQ(values.V(), std::nullopt);
        EXPECT_EQ(values.PseudoInverse(), std::nullopt);
        EXPECT_EQ(values.PseudoInverse(0.5), std::nullopt);
        EXPECT_LT(valuesRatio(A, both.SingularValues(), values.SingularValues()), kResidualLimit);
        EXPECT_EQ(values.S().Rows(), smallerSide(A));
        EXPECT_EQ(values.S()(0, 0), values.SingularValue(0));
        EXPECT_EQ(values.Rank(), smallerSide(A));
        EXPECT_EQ(values.Rank(1e300), 0);
    }
}

TEST(SVDTest, FormWithVectorsIsTheDefault)
{
    const Matrix A = matrixWith({5, 3}, Spectrum::Random, kSeed);
    const SVD plain(A), told(A, false);
    EXPECT_TRUE(identical(plain.U().value(), told.U().value()));
    EXPECT_TRUE(identical(plain.VH().value(), told.VH().value()));
    EXPECT_TRUE(identical(plain.SingularValues(), told.SingularValues()));
}

// ---- rank

TEST(SVDTest, RankCountsTheValuesAboveTheTolerance)
{
    const SVD svd(Matrix{{4, 0, 0}, {0, 2, 0}, {0, 0, 1}});
    EXPECT_EQ(svd.Rank(), 3);
    EXPECT_EQ(svd.Rank(0.0), 3);
    EXPECT_EQ(svd.Rank(0.5), 3);
    EXPECT_EQ(svd.Rank(1.5), 2);
    EXPECT_EQ(svd.Rank(3.0), 1);
    EXPECT_EQ(svd.Rank(5.0), 0);
}

TEST(SVDTest, ValueEqualToTheToleranceIsNotCountedButInverted)
{
    const Matrix A{{4, 0}, {0, 2}};
    const SVD svd(A);
    ASSERT_EQ(svd.SingularValue(1), 2.0);
    EXPECT_EQ(svd.Rank(2.0), 1);
    EXPECT_TRUE(identical(svd.PseudoInverse(2.0).value(), Matrix{{0.25, 0}, {0, 0.5}}));
    const double above = std::nextafter(2.0, 3.0), below = std::nextafter(2.0, 0.0);
    EXPECT_EQ(svd.Rank(below), 2);
    EXPECT_TRUE(identical(svd.PseudoInverse(above).value(), Matrix{{0.25, 0}, {0, 0}}));
}

TEST(SVDTest, NegativeToleranceActsAsItsMagnitude)
{
    const SVD svd(Matrix{{4, 0}, {0, 2}});
    EXPECT_EQ(svd.Rank(-2.0), 1);
    EXPECT_EQ(svd.Rank(-1.0), 2);
    EXPECT_TRUE(identical(svd.PseudoInverse(-3.0).value(), svd.PseudoInverse(3.0).value()));
    EXPECT_TRUE(identical(svd.PseudoInverse(-3.0).value(), Matrix{{0.25, 0}, {0, 0}}));
}

TEST(SVDTest, DefaultToleranceIsTheLargerSideTimesTheLargestValueTimesEpsilon)
{
    for (const Shape& shape : {Shape{3, 3}, Shape{5, 2}, Shape{2, 5}, Shape{64, 65}}) {
        SCOPED_TRACE(shape);
        const Matrix A = ofRank(shape, 2, kSeed);
        const SVD svd(A);
        const double tolerance = std::max(shape.rows, shape.cols) * svd.SingularValue(0) * kMachineEpsilon;
        EXPECT_EQ(svd.Rank(), svd.Rank(tolerance));
        EXPECT_TRUE(identical(svd.PseudoInverse().value(), svd.PseudoInverse(tolerance).value()));
    }
    // s = (1, t) with t around the tolerance of a 2 x 2 matrix, 2*2^-52
    const auto rankWith = [](double t) { return SVD(Matrix{{1, 0}, {0, t}}).Rank(); };
    EXPECT_EQ(rankWith(0x1p-51), 1);
    EXPECT_EQ(rankWith(std::nextafter(0x1p-51, 1.0)), 2);
    // and of a 3 x 2 one, 3*2^-52
    const auto tallRankWith = [](double t) { return SVD(Matrix{{1, 0}, {0, t}, {0, 0}}).Rank(); };
    EXPECT_EQ(tallRankWith(2.5 * 0x1p-52), 1);
    EXPECT_EQ(tallRankWith(3.5 * 0x1p-52), 2);
}

TEST(SVDTest, KnownRanksAreFound)
{
    const Threads one(1);
    for (const Shape& shape : allShapes()) {
        const int full = std::min(shape.rows, shape.cols);
        for (int rank = 1; rank <= full; rank += 1 + full / 5) {
            SCOPED_TRACE(::testing::Message() << shape << " of rank " << rank);
            const Matrix A = ofRank(shape, rank, kSeed);
            EXPECT_EQ(SVD(A).Rank(), rank);
            EXPECT_EQ(SVD(A, true).Rank(), rank);
        }
    }
}

TEST(SVDTest, FullRankOfEverySpectrumIsFound)
{
    forEachMatrix(anyShape, [](const Matrix& A) { EXPECT_EQ(SVD(A, true).Rank(), smallerSide(A)); });
}

// ---- pseudo-inverse

TEST(SVDTest, PseudoInverseOfTheZeroMatrixIsNotZero)
{
    for (const Shape& shape : {Shape{1, 1}, Shape{2, 2}, Shape{3, 2}, Shape{2, 3}}) {
        SCOPED_TRACE(shape);
        const SVD svd(Matrix(shape.rows, shape.cols));
        EXPECT_EQ(svd.Rank(), 0);
        const Matrix X = svd.PseudoInverse().value();
        EXPECT_EQ(X.Rows(), shape.cols);
        EXPECT_EQ(X.Cols(), shape.rows);
        EXPECT_FALSE(allFinite(X)); // 0 is not below the tolerance 0, so it is divided by
    }
}

TEST(SVDTest, PseudoInverseFulfilsThePenroseConditions)
{
    forEachMatrix(anyShape,
                  [](const Matrix& A) { expectPenroseConditions(A, SVD(A).PseudoInverse().value()); });
}

TEST(SVDTest, PseudoInverseOfRankDeficientMatricesFulfilsThePenroseConditions)
{
    const Threads one(1);
    for (const Shape& shape : allShapes()) {
        const int full = std::min(shape.rows, shape.cols);
        for (int rank = 1; rank <= full; rank += 1 + full / 3) {
            SCOPED_TRACE(::testing::Message() << shape << " of rank " << rank);
            const Matrix A = ofRank(shape, rank, kSeed + 1);
            expectPenroseConditions(A, SVD(A).PseudoInverse().value());
        }
    }
}

TEST(SVDTest, PseudoInverseTakesValuesBelowTheToleranceAsZero)
{
    const Matrix A{{4, 0, 0}, {0, 2, 0}, {0, 0, 1}};
    const SVD svd(A);
    EXPECT_TRUE(identical(svd.PseudoInverse(1.5).value(), Matrix{{0.25, 0, 0}, {0, 0.5, 0}, {0, 0, 0}}));
    EXPECT_TRUE(identical(svd.PseudoInverse(9.0).value(), Matrix(3, 3)));
}

TEST(SVDTest, PseudoInverseOfAWideMatrixIsTall)
{
    const Matrix X = SVD(Matrix{{2, 0, 0}, {0, 4, 0}}).PseudoInverse().value();
    EXPECT_LT(differenceRatio(Matrix{{0.5, 0}, {0, 0.25}, {0, 0}}, X), kResidualLimit);
}

// ---- life

TEST(SVDTest, ConstructorKeepsTheVectorsAndGivesTheWorkSpaceBack)
{
    for (const Shape& shape : {Shape{4, 4}, Shape{5, 3}, Shape{3, 5}}) {
        const std::int64_t m = shape.rows, n = shape.cols, mn = std::min(m, n);
        const Matrix A = matrixWith(shape, Spectrum::Random, kSeed);
        const std::int64_t before = TrellConfiguration::TotalMemory();
        {
            const SVD svd(A);
            EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 8 * (mn + m * m + n * n));
        }
        {
            const SVD svd(A, true);
            EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 8 * mn);
        }
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    }
}

TEST(SVDTest, EveryRefusedBlockIsAFailureThatLeaksNothing)
{
    const Matrix A = matrixWith({5, 3}, Spectrum::Random, kSeed), before(A);
    const auto untouched = [&] { return identical(A, before); };
    EXPECT_EQ(failEachAllocation([&] { SVD svd(A); }, untouched), 6);
    EXPECT_EQ(failEachAllocation([&] { SVD svd(A, true); }, untouched), 4);
    const SVD svd(A);
    EXPECT_EQ(failEachAllocation([&] { svd.U(); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { svd.S(); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { svd.VH(); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { svd.V(); }, untouched), 2);
    EXPECT_EQ(failEachAllocation([&] { svd.SingularValues(); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { svd.PseudoInverse(); }, untouched), 2);
    EXPECT_EQ(failEachAllocation([&] { svd.Rank(); }, untouched), 0);
}

TEST(SVDTest, DisposeReleasesAtOnceAndMayBeRepeated)
{
    const Matrix A = matrixWith({5, 3}, Spectrum::Random, kSeed);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    SVD svd(A);
    svd.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    svd.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_TRUE(svd.Succeeded());
    expectRefusedWhenHardened([&] { svd.U(); });
    expectRefusedWhenHardened([&] { svd.S(); });
    expectRefusedWhenHardened([&] { svd.VH(); });
    expectRefusedWhenHardened([&] { svd.V(); });
    expectRefusedWhenHardened([&] { svd.SingularValues(); });
    expectRefusedWhenHardened([&] { svd.SingularValue(0); });
    expectRefusedWhenHardened([&] { svd.Rank(); });
    expectRefusedWhenHardened([&] { svd.Rank(1.0); });
    expectRefusedWhenHardened([&] { svd.PseudoInverse(); });
    expectRefusedWhenHardened([&] { svd.PseudoInverse(1.0); });
}

TEST(SVDTest, MovesAndDoesNotCopy)
{
    static_assert(std::is_nothrow_move_constructible_v<SVD> && std::is_nothrow_move_assignable_v<SVD>);
    static_assert(!std::is_copy_constructible_v<SVD> && !std::is_copy_assignable_v<SVD>);
    static_assert(!std::is_convertible_v<Matrix, SVD>);
    const Matrix A = matrixWith({5, 3}, Spectrum::Random, kSeed);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        SVD first(A);
        SVD second(std::move(first));
        EXPECT_LT(differenceRatio(A, reproduced(second)), kResidualLimit);
        SVD third(Matrix(2, 2));
        third = std::move(second);
        EXPECT_LT(differenceRatio(A, reproduced(third)), kResidualLimit);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(SVDTest, ThreadsMayReadOneObjectTogether)
{
    const Matrix A = matrixWith({40, 30}, Spectrum::Random, kSeed);
    const SVD svd(A);
    const Matrix inverse = svd.PseudoInverse().value(), V = svd.V().value();
    std::vector<int> agreed(4);
    std::vector<std::thread> threads;
    for (int& count : agreed) {
        threads.emplace_back([&] {
            for (int k = 0; k < 20; ++k) {
                count += identical(svd.V().value(), V) && svd.Rank() == 30 &&
                         differenceRatio(inverse, svd.PseudoInverse().value()) < kResidualLimit;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(agreed, std::vector<int>(4, 20));
}

} // namespace
} // namespace Velmar::Lintrix::testing
