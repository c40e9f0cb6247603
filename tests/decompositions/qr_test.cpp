// QR with and without column pivoting, and least squares.

#include <lintrix/decompositions/qr.h>

#include "tests/decompositions/cases.h"

#include <numeric>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kRightHands = "Right hands matrix size does not match.";
constexpr const char* kUnderdetermined = "Underdetermined system. Use LQ decomposition instead.";

// m x n with powers of two on the diagonal and zeros elsewhere: no reflector does anything, and nothing is
// rounded.
Matrix powersOfTwo(const Shape& shape)
{
    Matrix A(shape.rows, shape.cols);
    for (int i = 0; i < std::min(shape.rows, shape.cols); ++i) A(i, i) = std::ldexp(1.0, i % 5);
    return A;
}

// ---- factors

class QRForms : public ::testing::TestWithParam<bool> { // with pivoting or without
};

INSTANTIATE_TEST_SUITE_P(BothForms, QRForms, ::testing::Bool(),
                         [](const auto& form) { return form.param ? "Pivoting" : "Plain"; });

TEST_P(QRForms, FactorsReproduceThePermutedMatrix)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const QR qr(A, GetParam());
        EXPECT_LT(differenceRatio(naiveProduct(A, qr.P()), naiveProduct(qr.Q(), qr.R())), kResidualLimit);
    });
}

TEST_P(QRForms, FactorsHaveTheirShapesAndTheirStructure)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const QR qr(A, GetParam());
        const int p = std::min(A.Rows(), A.Cols());
        const Matrix Q = qr.Q(), R = qr.R();
        ASSERT_EQ(Q.Rows(), A.Rows());
        ASSERT_EQ(Q.Cols(), p);
        ASSERT_EQ(R.Rows(), p);
        ASSERT_EQ(R.Cols(), A.Cols());
        EXPECT_LT(orthogonalityRatio(Q), kResidualLimit);
        for (int j = 0; j < A.Cols(); ++j) {
            for (int i = j + 1; i < p; ++i) EXPECT_EQ(R(i, j), 0.0);
        }
    });
}

TEST_P(QRForms, PivotsNameTheColumnsOfTheMatrixAndMakeUpP)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const QR qr(A, GetParam());
        const std::vector<std::int32_t> pivots = qr.GetPivots();
        ASSERT_TRUE(isPermutation(pivots, A.Cols()));
        Matrix expected(A.Cols(), A.Cols());
        for (int j = 0; j < A.Cols(); ++j) expected(pivots[static_cast<std::size_t>(j)], j) = 1.0;
        EXPECT_TRUE(identical(qr.P(), expected));
    });
}

TEST(QR, PlainFormIsTheFormWithPivotingSwitchedOff)
{
    const Threads one(1);
    forEachMatrix(squareOrTall, [](const Matrix& A) {
        const QR plain(A), off(A, false);
        const Matrix B = rightHandsFor(A, 2);
        EXPECT_TRUE(identical(plain.Q(), off.Q()));
        EXPECT_TRUE(identical(plain.R(), off.R()));
        EXPECT_TRUE(identical(plain.Solve(B), off.Solve(B)));
        EXPECT_TRUE(identical(plain.P(), identity(A.Cols())));
        EXPECT_TRUE(identical(off.P(), identity(A.Cols())));
        std::vector<std::int32_t> inOrder(static_cast<std::size_t>(A.Cols()));
        std::iota(inOrder.begin(), inOrder.end(), 0);
        EXPECT_EQ(plain.GetPivots(), inOrder);
        EXPECT_EQ(off.GetPivots(), inOrder);
    });
}

TEST(QR, PivotingMakesTheDiagonalOfRFall)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const Matrix R = QR(A, true).R();
        const double slack = kResidualLimit * A.Rows() * kEps * oneNorm(A); // the norms are rounded
        for (int i = 1; i < R.Rows(); ++i) {
            EXPECT_LE(std::abs(R(i, i)), std::abs(R(i - 1, i - 1)) + slack) << i;
        }
    });
}

TEST(QR, PivotingTakesTheLongestColumnFirst)
{
    const QR qr(Matrix{{1, 0, 0}, {0, 0, 3}, {0, 2, 0}}, true);
    EXPECT_EQ(qr.GetPivots(), (std::vector<std::int32_t>{2, 1, 0}));
    EXPECT_NEAR(std::abs(qr.R()(0, 0)), 3.0, 8 * kEps);
    EXPECT_NEAR(std::abs(qr.R()(1, 1)), 2.0, 8 * kEps);
    EXPECT_NEAR(std::abs(qr.R()(2, 2)), 1.0, 8 * kEps);
}

TEST(QR, TallMatrixGivesThinFactors)
{
    const QR qr(matrixWith({6, 3}, Spectrum::Random, kSeed));
    EXPECT_EQ(qr.Rows(), 6);
    EXPECT_EQ(qr.Cols(), 3);
    EXPECT_EQ(qr.Q().Rows(), 6);
    EXPECT_EQ(qr.Q().Cols(), 3);
    EXPECT_EQ(qr.R().Rows(), 3);
    EXPECT_EQ(qr.R().Cols(), 3);
    EXPECT_EQ(qr.P().Rows(), 3);
    EXPECT_EQ(qr.P().Cols(), 3);
}

TEST(QR, WideMatrixFactorizesAndItsSolveIsRefused)
{
    for (const bool pivoting : {false, true}) {
        const QR qr(matrixWith({3, 6}, Spectrum::Random, kSeed), pivoting);
        EXPECT_EQ(qr.Q().Rows(), 3);
        EXPECT_EQ(qr.Q().Cols(), 3);
        EXPECT_EQ(qr.R().Rows(), 3);
        EXPECT_EQ(qr.R().Cols(), 6);
        EXPECT_EQ(qr.P().Rows(), 6);
        EXPECT_EQ(qr.P().Cols(), 6);
        EXPECT_TRUE(isPermutation(qr.GetPivots(), 6));
        expectFailure<SizeMismatchException>([&] { qr.Solve(Matrix(3, 1)); }, kUnderdetermined);
    }
}

TEST(QR, NoShapeAndNoRankIsRefusedByTheConstructor)
{
    for (const Shape& shape : allShapes()) {
        for (const bool pivoting : {false, true}) {
            const QR zero(Matrix(shape.rows, shape.cols), pivoting);
            EXPECT_EQ(oneNorm(zero.R()), 0.0);
            EXPECT_LT(orthogonalityRatio(zero.Q()), kResidualLimit);
        }
    }
}

TEST(QR, InputIsNeverWrittenAndMayGo)
{
    for (const bool pivoting : {false, true}) {
        Matrix A = matrixWith({7, 5}, Spectrum::Random, kSeed);
        const Matrix before(A);
        const QR qr(A, pivoting);
        EXPECT_TRUE(identical(A, before));
        A.Dispose();
        EXPECT_LT(differenceRatio(naiveProduct(before, qr.P()), naiveProduct(qr.Q(), qr.R())),
                  kResidualLimit);
    }
}

// ---- least squares

TEST_P(QRForms, OneRightHandColumnGivesTheLeastSquaresSolution)
{
    forEachMatrix(squareOrTall, [](const Matrix& A) {
        const Matrix b = rightHandsFor(A, 1), x = QR(A, GetParam()).Solve(b);
        ASSERT_EQ(x.Rows(), A.Cols());
        ASSERT_EQ(x.Cols(), 1);
        EXPECT_LT(normalEquationRatio(A, x, b), kResidualLimit);
    });
}

TEST_P(QRForms, SquareMatrixSolvesEveryRightHandColumn)
{
    forEachMatrix(square, [](const Matrix& A) {
        const QR qr(A, GetParam());
        for (const int nrhs : {2, 3, 70}) {
            const Matrix B = rightHandsFor(A, nrhs);
            EXPECT_LT(solveRatio(A, qr.Solve(B), B), kResidualLimit);
        }
    });
}

TEST_P(QRForms, ConsistentTallSystemGivesItsSolution)
{
    const Matrix A = matrixWith({40, 3}, Spectrum::Flat, kSeed), x{{1}, {-2}, {3}};
    EXPECT_LT(differenceRatio(x, QR(A, GetParam()).Solve(naiveProduct(A, x))), kResidualLimit);
}

// The columns of the block stand at a stride of m, and the triangular solve walks it at a stride of n: it
// divides the cell at place k of the first n*nrhs by diagonal element k mod n, and leaves the others.
TEST(QR, SolveWalksTheRightHandColumnsAtTwoStrides)
{
    for (const Shape shape :
         {Shape{1, 1}, Shape{3, 2}, Shape{5, 3}, Shape{40, 3}, Shape{65, 65}, Shape{129, 70}}) {
        const Matrix A = powersOfTwo(shape);
        for (const int nrhs : {1, 2, 3, 5, 70}) {
            const int m = shape.rows, n = shape.cols;
            Matrix B(m, nrhs), expected(n, nrhs);
            for (int k = 0; k < m * nrhs; ++k) B(k % m, k / m) = k + 1;
            for (int j = 0; j < nrhs; ++j) {
                for (int i = 0; i < n; ++i) {
                    const int place = i + m * j;
                    expected(i, j) = place < n * nrhs ? B(i, j) / A(place % n, place % n) : B(i, j);
                }
            }
            EXPECT_TRUE(identical(QR(A).Solve(B), expected))
                << shape << ", " << nrhs << " right-hand columns";
        }
    }
}

//     | 0 4 |              | 1 4 |
// A = | 2 0 | with columns | 2 5 | on the right: R = diag(4, 2), and the second column of A comes first.
//     | 0 0 |              | 3 6 |
// The block 1 2 3 4 5 6 becomes 1/4 2/2 3/4 4/2 5 6; the columns of Y are its cells 0, 1 and 3, 4.
TEST(QR, SolveWithPivotingPutsTheRowsBackBehindTheTwoStrides)
{
    const QR qr(Matrix{{0, 4}, {2, 0}, {0, 0}}, true);
    EXPECT_TRUE(identical(qr.Solve(Matrix{{1, 4}, {2, 5}, {3, 6}}), Matrix{{1, 5}, {0.25, 2}}));
}

TEST_P(QRForms, OnlyTheFirstColumnOfATallSystemIsSettled)
{
    for (const Shape shape : {Shape{5, 3}, Shape{40, 3}, Shape{65, 64}, Shape{129, 70}}) {
        const Matrix A = matrixWith(shape, Spectrum::Random, kSeed), B = rightHandsFor(A, 3);
        const Matrix X = QR(A, GetParam()).Solve(B);
        EXPECT_LT(normalEquationRatio(A, columnOf(X, 0), columnOf(B, 0)), kResidualLimit);
        for (const int j : {1, 2}) {
            EXPECT_GT(normalEquationRatio(A, columnOf(X, j), columnOf(B, j)), 1e6) << shape;
        }
    }
}

TEST(QR, ZeroColumnGivesNonFiniteCellsAndNoFailure)
{
    for (const int zeroColumn : {0, 1, 2}) {
        Matrix A = matrixWith({6, 3}, Spectrum::Random, kSeed);
        for (int i = 0; i < 6; ++i) A(i, zeroColumn) = 0.0;
        const Matrix X = QR(A).Solve(rightHandsFor(A, 1));
        EXPECT_FALSE(allFinite(X)) << zeroColumn;
    }
    EXPECT_FALSE(allFinite(QR(Matrix(3, 3)).Solve(Matrix(3, 1, 1.0))));
}

TEST(QR, SolveWritesNeitherTheRightHandsNorTheFactors)
{
    const Threads one(1);
    const Matrix A = matrixWith({65, 64}, Spectrum::Geometric, kSeed), B = rightHandsFor(A, 3);
    const Matrix before(B);
    const QR qr(A, true);
    const Matrix Q = qr.Q(), R = qr.R(), X = qr.Solve(B);
    EXPECT_TRUE(identical(B, before));
    EXPECT_TRUE(identical(qr.Q(), Q));
    EXPECT_TRUE(identical(qr.R(), R));
    EXPECT_TRUE(identical(qr.Solve(B), X));
}

TEST(QR, SolutionDoesNotDependOnTheOrderOfTheEquations)
{
    const Matrix A = matrixWith({40, 3}, Spectrum::Flat, kSeed), b = rightHandsFor(A, 1);
    Matrix reversedA(A), reversedB(b);
    for (int i = 0; i < 40; ++i) {
        for (int j = 0; j < 3; ++j) reversedA(i, j) = A(39 - i, j);
        reversedB(i, 0) = b(39 - i, 0);
    }
    EXPECT_LT(differenceRatio(QR(A).Solve(b), QR(reversedA).Solve(reversedB)), kResidualLimit);
}

TEST(QR, SolveChecksTheRowsThenTheShape)
{
    const QR wide(Matrix(3, 6)), tall(Matrix(6, 3));
    expectFailure<SizeMismatchException>([&] { wide.Solve(Matrix(6, 1)); }, kRightHands);
    expectFailure<SizeMismatchException>([&] { wide.Solve(Matrix(3, 1)); }, kUnderdetermined);
    expectFailure<SizeMismatchException>([&] { tall.Solve(Matrix(3, 1)); }, kRightHands);
    expectFailure<SizeMismatchException>([&] { tall.Solve(Matrix(7, 1)); }, kRightHands);
}

// ---- runs

TEST_P(QRForms, SecondRunOnOneThreadGivesTheSameBits)
{
    const Threads one(1);
    const Matrix A = matrixWith({129, 70}, Spectrum::Geometric, kSeed), B = rightHandsFor(A, 3);
    const QR first(A, GetParam()), second(A, GetParam());
    EXPECT_TRUE(identical(first.Q(), second.Q()));
    EXPECT_TRUE(identical(first.R(), second.R()));
    EXPECT_EQ(first.GetPivots(), second.GetPivots());
    EXPECT_TRUE(identical(first.Solve(B), second.Solve(B)));
}

TEST(QR, OneThreadAndManyAgreeToRounding)
{
    const Matrix A = matrixWith({400, 300}, Spectrum::Flat, kSeed), b = rightHandsFor(A, 1);
    Matrix alone, together;
    {
        const Threads one(1);
        alone = QR(A).Solve(b);
    }
    {
        const Threads four(4);
        together = QR(A).Solve(b);
    }
    EXPECT_LT(differenceRatio(alone, together), kResidualLimit);
}

// ---- memory and life

TEST_P(QRForms, RefusedMemoryLeavesNothingBehind)
{
    const Matrix A = matrixWith({7, 5}, Spectrum::Random, kSeed), B = rightHandsFor(A, 2);
    const Matrix beforeA(A), beforeB(B);
    const QR qr(A, GetParam());
    const auto untouched = [&] { return identical(A, beforeA) && identical(B, beforeB); };
    EXPECT_EQ(failEachAllocation([&] { QR fresh(A, GetParam()); }, untouched), 4); // a, work, tau, jpvt
    EXPECT_GE(failEachAllocation([&] { qr.R(); }, untouched), 1);
    EXPECT_GE(failEachAllocation([&] { qr.Q(); }, untouched), 2);
    EXPECT_GE(failEachAllocation([&] { qr.P(); }, untouched), 1);
    EXPECT_GE(failEachAllocation([&] { qr.Solve(B); }, untouched), 3); // block, work, result
    EXPECT_LT(differenceRatio(naiveProduct(A, qr.P()), naiveProduct(qr.Q(), qr.R())), kResidualLimit);
}

TEST_P(QRForms, HoldsFactorsReflectorsAndPivotsAndGivesThemBack)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        const Matrix tall(10, 6, 1.0), wide(6, 10, 1.0);
        const std::int64_t own = TrellConfiguration::TotalMemory();
        const QR first(tall, GetParam());
        EXPECT_EQ(TrellConfiguration::TotalMemory(), own + 10 * 6 * 8 + 6 * 8 + 6 * 4);
        const QR second(wide, GetParam());
        EXPECT_EQ(TrellConfiguration::TotalMemory(), own + 2 * (10 * 6 * 8 + 6 * 8) + (6 + 10) * 4);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(QR, DisposeReleasesAtOnceAndMayBeRepeated)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    QR qr(Matrix(5, 3));
    qr.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    qr.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ(qr.Rows(), 5);
    EXPECT_EQ(qr.Cols(), 3);
}

TEST(QR, MoveHandsTheFactorsOver)
{
    static_assert(!std::is_copy_constructible_v<QR>);
    static_assert(!std::is_copy_assignable_v<QR>);
    static_assert(std::is_nothrow_move_constructible_v<QR>);
    static_assert(std::is_nothrow_move_assignable_v<QR>);
    const Matrix A{{4, 3}, {6, 3}};
    const std::int64_t before = TrellConfiguration::TotalMemory();
    QR source(A);
    QR moved(std::move(source));
    QR target(Matrix(50, 40));
    target = std::move(moved);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before + 32 + 16 + 16);
    EXPECT_EQ(target.Cols(), 2);
    EXPECT_LT(differenceRatio(A, naiveProduct(target.Q(), target.R())), kResidualLimit);
    source.Dispose();
    moved.Dispose();
    EXPECT_LT(differenceRatio(A, naiveProduct(target.Q(), target.R())), kResidualLimit);
}

TEST(QR, UseAfterReleaseIsRefusedWhenHardened)
{
    const Matrix A{{4, 3}, {6, 3}};
    QR disposed(A), source(A), target(A);
    disposed.Dispose();
    target = std::move(source);
    for (const QR* qr : {&disposed, &source}) {
        expectRefusedWhenHardened([&] { qr->R(); });
        expectRefusedWhenHardened([&] { qr->Q(); });
        expectRefusedWhenHardened([&] { qr->P(); });
        expectRefusedWhenHardened([&] { qr->GetPivots(); });
        expectRefusedWhenHardened([&] { qr->Solve(A); });
    }
    Matrix gone(2, 2);
    gone.Dispose();
    expectRefusedWhenHardened([&] { QR qr(gone); });
    expectRefusedWhenHardened([&] { QR qr(gone, true); });
    expectRefusedWhenHardened([&] { target.Solve(gone); });
}

} // namespace
} // namespace Velmar::Lintrix::testing
