// LQ, and the shortest solutions of wide systems.

#include <lintrix/decompositions/lq.h>

#include "tests/decompositions/cases.h"

#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kSizes = "Matrix sizes do not match.";
constexpr const char* kOverdetermined = "Overdetermined system.";

// ||x - x'|| / (n*||x||*eps), x' the part of x in the row space of A: the shortest solution has no other. The
// rows are made orthonormal by Gram and Schmidt, each twice; A has to be well conditioned.
double outsideRowSpaceRatio(const Matrix& A, const Matrix& x)
{
    Matrix basis = naiveTranspose(A);
    const auto removeFrom = [&](Matrix& target, int column, int count) { // its parts along the first columns
        for (int k = 0; k < count; ++k) {
            double part = 0.0;
            for (int i = 0; i < basis.Rows(); ++i) part += basis(i, k) * target(i, column);
            for (int i = 0; i < basis.Rows(); ++i) target(i, column) -= part * basis(i, k);
        }
    };
    for (int j = 0; j < basis.Cols(); ++j) {
        removeFrom(basis, j, j);
        removeFrom(basis, j, j);
        double square = 0.0;
        for (int i = 0; i < basis.Rows(); ++i) square += basis(i, j) * basis(i, j);
        for (int i = 0; i < basis.Rows(); ++i) basis(i, j) /= std::sqrt(square);
    }
    Matrix rest(x);
    removeFrom(rest, 0, basis.Cols());
    return oneNorm(rest) / (x.Rows() * oneNorm(x) * kEps);
}

// ---- factors

TEST(LQ, FactorsReproduceTheMatrix)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const LQ lq(A);
        EXPECT_LT(differenceRatio(A, naiveProduct(lq.L(), lq.Q())), kResidualLimit);
    });
}

TEST(LQ, FactorsHaveTheirShapesAndTheirStructure)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const LQ lq(A);
        const int p = std::min(A.Rows(), A.Cols());
        const Matrix L = lq.L(), Q = lq.Q();
        ASSERT_EQ(lq.Rows(), A.Rows());
        ASSERT_EQ(lq.Cols(), A.Cols());
        ASSERT_EQ(L.Rows(), A.Rows());
        ASSERT_EQ(L.Cols(), p);
        ASSERT_EQ(Q.Rows(), p);
        ASSERT_EQ(Q.Cols(), A.Cols());
        EXPECT_LT(orthogonalityRatio(naiveTranspose(Q)), kResidualLimit);
        for (int j = 0; j < p; ++j) {
            for (int i = 0; i < j; ++i) EXPECT_EQ(L(i, j), 0.0);
        }
    });
}

TEST(LQ, WideMatrixGivesASquareLAndThinRows)
{
    const Matrix A = matrixWith({3, 6}, Spectrum::Random, kSeed);
    const LQ lq(A);
    EXPECT_EQ(lq.L().Rows(), 3);
    EXPECT_EQ(lq.L().Cols(), 3);
    EXPECT_EQ(lq.Q().Rows(), 3);
    EXPECT_EQ(lq.Q().Cols(), 6);
    EXPECT_LT(differenceRatio(A, naiveProduct(lq.L(), lq.Q())), kResidualLimit);
}

TEST(LQ, TallMatrixGivesATallLAndASquareQ)
{
    const Matrix A = matrixWith({6, 3}, Spectrum::Random, kSeed);
    const LQ lq(A);
    EXPECT_EQ(lq.L().Rows(), 6);
    EXPECT_EQ(lq.L().Cols(), 3);
    EXPECT_EQ(lq.Q().Rows(), 3);
    EXPECT_EQ(lq.Q().Cols(), 3);
    EXPECT_LT(differenceRatio(A, naiveProduct(lq.L(), lq.Q())), kResidualLimit);
}

TEST(LQ, NoShapeAndNoRankIsRefusedByTheConstructor)
{
    for (const Shape& shape : allShapes()) {
        const LQ zero(Matrix(shape.rows, shape.cols));
        EXPECT_EQ(oneNorm(zero.L()), 0.0);
        EXPECT_LT(orthogonalityRatio(naiveTranspose(zero.Q())), kResidualLimit);
    }
}

TEST(LQ, InputIsNeverWrittenAndMayGo)
{
    Matrix A = matrixWith({5, 7}, Spectrum::Random, kSeed);
    const Matrix before(A);
    const LQ lq(A);
    EXPECT_TRUE(identical(A, before));
    A.Dispose();
    EXPECT_LT(differenceRatio(before, naiveProduct(lq.L(), lq.Q())), kResidualLimit);
}

// ---- systems

TEST(LQ, OneRightHandColumnGivesASolution)
{
    forEachMatrix(squareOrWide, [](const Matrix& A) {
        const Matrix b = rightHandsFor(A, 1), x = LQ(A).Solve(b);
        ASSERT_EQ(x.Rows(), A.Cols());
        ASSERT_EQ(x.Cols(), 1);
        EXPECT_LT(solveRatio(A, x, b), kResidualLimit);
    });
}

TEST(LQ, OneRightHandColumnGivesTheShortestSolution)
{
    for (const Shape shape : {Shape{1, 1}, Shape{1, 5}, Shape{3, 5}, Shape{3, 40}, Shape{70, 129}}) {
        for (const Spectrum spectrum : {Spectrum::Random, Spectrum::Flat}) {
            const Matrix A = matrixWith(shape, spectrum, kSeed);
            EXPECT_LT(outsideRowSpaceRatio(A, LQ(A).Solve(rightHandsFor(A, 1))), kResidualLimit)
                << shape << ", " << spectrum;
        }
    }
    for (const Shape& shape : allShapes()) { // A*A' = I, so x = A'*b
        if (!squareOrWide(shape)) continue;
        const Matrix A = matrixWith(shape, Spectrum::Flat, kSeed), b = rightHandsFor(A, 1);
        EXPECT_LT(differenceRatio(naiveProduct(naiveTranspose(A), b), LQ(A).Solve(b)), kResidualLimit)
            << shape;
    }
}

// Also far more columns than the work space of 64*n cells serves at once.
TEST(LQ, SquareMatrixSolvesAnyNumberOfRightHandColumns)
{
    forEachMatrix(square, [](const Matrix& A) {
        const LQ lq(A);
        for (const int nrhs : {2, 3, 70, 200}) {
            const Matrix B = rightHandsFor(A, nrhs);
            EXPECT_LT(solveRatio(A, lq.Solve(B), B), kResidualLimit) << nrhs << " right-hand columns";
        }
    });
}

// The right-hand sides stand at a stride of m in front of a block of zeros, and the triangular solve divides
// the cell at place k by diagonal element k mod m; the result is that block read at a stride of n. A has
// powers of two on the diagonal and zeros elsewhere: no reflector does anything, and nothing is rounded.
TEST(LQ, SolveReadsAtAStrideOfNWhatStandsAtAStrideOfM)
{
    for (const Shape shape :
         {Shape{1, 1}, Shape{2, 3}, Shape{3, 5}, Shape{3, 40}, Shape{65, 65}, Shape{70, 129}}) {
        const int m = shape.rows, n = shape.cols;
        Matrix A(m, n);
        for (int i = 0; i < m; ++i) A(i, i) = std::ldexp(1.0, i % 5);
        for (const int nrhs : {1, 2, 3, 5, 70}) {
            Matrix B(m, nrhs), expected(n, nrhs);
            for (int k = 0; k < m * nrhs; ++k) {
                B(k % m, k / m) = k + 1;
                expected(k % n, k / n) = (k + 1) / A(k % m, k % m);
            }
            EXPECT_TRUE(identical(LQ(A).Solve(B), expected))
                << shape << ", " << nrhs << " right-hand columns";
        }
    }
}

// The second column of the right-hand sides stands where the zeros of the first one would have to: it adds a
// part outside the row space to the first column, and A*x does not see that.
TEST(LQ, OnlyTheFirstColumnOfAWideSystemIsASolutionAndNotTheShortest)
{
    for (const Shape shape : {Shape{3, 5}, Shape{3, 40}, Shape{64, 65}, Shape{70, 129}}) {
        const Matrix A = matrixWith(shape, Spectrum::Random, kSeed), B = rightHandsFor(A, 3);
        const LQ lq(A);
        const Matrix X = lq.Solve(B);
        EXPECT_LT(solveRatio(A, columnOf(X, 0), columnOf(B, 0)), kResidualLimit) << shape;
        EXPECT_GT(outsideRowSpaceRatio(A, columnOf(X, 0)), 1e6) << shape;
        for (const int j : {1, 2}) {
            const double norm = std::max(1.0, oneNorm(columnOf(X, j)));
            const double error = differenceRatio(columnOf(B, j), naiveProduct(A, columnOf(X, j)));
            EXPECT_GT(error / norm, 1e6) << shape;
        }
    }
}

TEST(LQ, FirstColumnOfAWideSystemIsASolutionWhateverTheirNumber)
{
    const Matrix A = matrixWith({2, 3}, Spectrum::Flat, kSeed);
    for (const int nrhs : {192, 193, 1000}) { // the work space serves 192 columns at once
        const Matrix B = rightHandsFor(A, nrhs);
        EXPECT_LT(solveRatio(A, columnOf(LQ(A).Solve(B), 0), columnOf(B, 0)), kResidualLimit) << nrhs;
    }
}

TEST(LQ, SingularMatrixGivesHugeOrNonFiniteCellsAndNoFailure)
{
    EXPECT_FALSE(allFinite(LQ(Matrix(1, 1)).Solve(Matrix(1, 1, 1.0))));
    EXPECT_FALSE(allFinite(LQ(Matrix(3, 3)).Solve(Matrix(3, 2, 1.0))));
    EXPECT_FALSE(allFinite(LQ(Matrix{{1, 2, 3}, {0, 0, 0}}).Solve(Matrix(2, 1, 1.0)))); // zero row
    const Matrix X = LQ(Matrix{{1, 2}, {2, 4}}).Solve(Matrix{{1}, {1}});
    EXPECT_TRUE(!allFinite(X) || oneNorm(X) > 1e10);
}

TEST(LQ, SolveWritesNeitherTheRightHandsNorTheFactors)
{
    const Threads one(1);
    const Matrix A = matrixWith({64, 65}, Spectrum::Geometric, kSeed), B = rightHandsFor(A, 3);
    const Matrix before(B);
    const LQ lq(A);
    const Matrix L = lq.L(), Q = lq.Q(), X = lq.Solve(B);
    EXPECT_TRUE(identical(B, before));
    EXPECT_TRUE(identical(lq.L(), L));
    EXPECT_TRUE(identical(lq.Q(), Q));
    EXPECT_TRUE(identical(lq.Solve(B), X));
}

TEST(LQ, SolutionDoesNotDependOnTheOrderOfTheEquations)
{
    const Matrix A = matrixWith({3, 40}, Spectrum::Flat, kSeed), b = rightHandsFor(A, 1);
    Matrix reversedA(A), reversedB(b);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 40; ++j) reversedA(i, j) = A(2 - i, j);
        reversedB(i, 0) = b(2 - i, 0);
    }
    EXPECT_LT(differenceRatio(LQ(A).Solve(b), LQ(reversedA).Solve(reversedB)), kResidualLimit);
}

TEST(LQ, SolveChecksTheRowsThenTheShape)
{
    const LQ tall(Matrix(6, 3)), wide(Matrix(3, 6));
    expectFailure<SizeMismatchException>([&] { tall.Solve(Matrix(3, 1)); }, kSizes);
    expectFailure<SizeMismatchException>([&] { tall.Solve(Matrix(6, 1)); }, kOverdetermined);
    expectFailure<SizeMismatchException>([&] { wide.Solve(Matrix(6, 1)); }, kSizes);
    expectFailure<SizeMismatchException>([&] { wide.Solve(Matrix(2, 1)); }, kSizes);
}

// ---- runs

TEST(LQ, SecondRunOnOneThreadGivesTheSameBits)
{
    const Threads one(1);
    const Matrix A = matrixWith({70, 129}, Spectrum::Geometric, kSeed), B = rightHandsFor(A, 3);
    const LQ first(A), second(A);
    EXPECT_TRUE(identical(first.L(), second.L()));
    EXPECT_TRUE(identical(first.Q(), second.Q()));
    EXPECT_TRUE(identical(first.Solve(B), second.Solve(B)));
}

TEST(LQ, OneThreadAndManyAgreeToRounding)
{
    const Matrix A = matrixWith({300, 400}, Spectrum::Flat, kSeed), b = rightHandsFor(A, 1);
    Matrix alone, together;
    {
        const Threads one(1);
        alone = LQ(A).Solve(b);
    }
    {
        const Threads four(4);
        together = LQ(A).Solve(b);
    }
    EXPECT_LT(differenceRatio(alone, together), kResidualLimit);
}

// ---- memory and life

TEST(LQ, RefusedMemoryLeavesNothingBehind)
{
    const Matrix A = matrixWith({5, 7}, Spectrum::Random, kSeed), B = rightHandsFor(A, 2);
    const Matrix beforeA(A), beforeB(B);
    const LQ lq(A), tall(naiveTranspose(A));
    const auto untouched = [&] { return identical(A, beforeA) && identical(B, beforeB); };
    EXPECT_EQ(failEachAllocation([&] { LQ fresh(A); }, untouched), 3); // a, work, tau
    EXPECT_GE(failEachAllocation([&] { lq.L(); }, untouched), 1);
    EXPECT_GE(failEachAllocation([&] { lq.Q(); }, untouched), 2);
    EXPECT_GE(failEachAllocation([&] { tall.Q(); }, untouched), 3);
    EXPECT_GE(failEachAllocation([&] { lq.Solve(B); }, untouched), 2);
    EXPECT_LT(differenceRatio(A, naiveProduct(lq.L(), lq.Q())), kResidualLimit);
}

TEST(LQ, HoldsFactorsAndTheLargerNumberOfReflectorsAndGivesThemBack)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        const Matrix tall(10, 6, 1.0), wide(6, 10, 1.0);
        const std::int64_t own = TrellConfiguration::TotalMemory();
        const LQ first(tall);
        EXPECT_EQ(TrellConfiguration::TotalMemory(), own + 10 * 6 * 8 + 10 * 8);
        const LQ second(wide);
        EXPECT_EQ(TrellConfiguration::TotalMemory(), own + 2 * (10 * 6 * 8 + 10 * 8));
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(LQ, DisposeReleasesAtOnceAndMayBeRepeated)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    LQ lq(Matrix(3, 5));
    lq.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    lq.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ(lq.Rows(), 3);
    EXPECT_EQ(lq.Cols(), 5);
}

TEST(LQ, MoveHandsTheFactorsOver)
{
    static_assert(!std::is_copy_constructible_v<LQ>);
    static_assert(!std::is_copy_assignable_v<LQ>);
    static_assert(std::is_nothrow_move_constructible_v<LQ>);
    static_assert(std::is_nothrow_move_assignable_v<LQ>);
    const Matrix A{{4, 3}, {6, 3}};
    const std::int64_t before = TrellConfiguration::TotalMemory();
    LQ source(A);
    LQ moved(std::move(source));
    LQ target(Matrix(40, 50));
    target = std::move(moved);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before + 32 + 16);
    EXPECT_EQ(target.Cols(), 2);
    EXPECT_LT(differenceRatio(A, naiveProduct(target.L(), target.Q())), kResidualLimit);
    source.Dispose();
    moved.Dispose();
    EXPECT_LT(differenceRatio(A, naiveProduct(target.L(), target.Q())), kResidualLimit);
}

TEST(LQ, UseAfterReleaseIsRefusedWhenHardened)
{
    const Matrix A{{4, 3}, {6, 3}};
    LQ disposed(A), source(A), target(A);
    disposed.Dispose();
    target = std::move(source);
    for (const LQ* lq : {&disposed, &source}) {
        expectRefusedWhenHardened([&] { lq->L(); });
        expectRefusedWhenHardened([&] { lq->Q(); });
        expectRefusedWhenHardened([&] { lq->Solve(A); });
    }
    Matrix gone(2, 2);
    gone.Dispose();
    expectRefusedWhenHardened([&] { LQ lq(gone); });
    expectRefusedWhenHardened([&] { target.Solve(gone); });
}

} // namespace
} // namespace Velmar::Lintrix::testing
