// Cholesky: the factor, systems, the inverse, and the state of a matrix that is not positive definite.

#include <lintrix/decompositions/cholesky.h>

#include "tests/decompositions/cases.h"

#include <limits>
#include <optional>
#include <thread>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kNotSquare = "Cholesky decomposition is possible only for a square matrix.";
constexpr const char* kSingular = "This operation requires a non-singular matrix.";
constexpr const char* kSizes = "Matrix sizes do not match.";

// Positive definite with the spectrum; Random and Graded by B*B', of which Graded is scaled by 10^-(i mod 12)
// from both sides.
Matrix positiveDefinite(int n, Spectrum spectrum)
{
    if (spectrum == Spectrum::Random || spectrum == Spectrum::Graded) {
        const Matrix B = matrixWith({n, 2 * n}, spectrum, kSeed);
        return naiveProduct(B, naiveTranspose(B));
    }
    std::vector<double> eigenvalues;
    for (int i = 0; i < n; ++i) eigenvalues.push_back(singularValue(spectrum, i, n));
    return symmetricWith(eigenvalues, kSeed);
}

template <class Check>
void forEachPositiveDefinite(Check check)
{
    const Threads one(1);
    for (const Shape& shape : squareShapes()) {
        for (const Spectrum spectrum : allSpectra()) {
            SCOPED_TRACE(::testing::Message() << shape << ", " << spectrum);
            check(positiveDefinite(shape.rows, spectrum));
        }
    }
}

Matrix reproduced(const Cholesky& cholesky)
{
    const Matrix L = cholesky.L().value();
    return naiveProduct(L, naiveTranspose(L));
}

// The strict upper triangle replaced by `value`.
Matrix withUpper(const Matrix& A, double value)
{
    Matrix B(A);
    for (int j = 0; j < A.Cols(); ++j) {
        for (int i = 0; i < j; ++i) B(i, j) = value;
    }
    return B;
}

// Not positive definite, and found so at the first, a middle or the last step.
std::vector<Matrix> indefiniteMatrices()
{
    return {
        Matrix(1, 1),
        Matrix(3, 3),
        Matrix{{-1, 0}, {0, 1}},
        Matrix{{1, 2}, {2, 1}},
        Matrix{{1, 1}, {1, 1}}, // semidefinite: the last pivot is exactly zero
        Matrix{{4, 0, 0}, {0, -1, 0}, {0, 0, 4}},
        identity(65) * -1.0,
        symmetricWith(std::vector<double>(130, -2.0), kSeed),
    };
}

// ---- the factor

TEST(CholeskyTest, FactorReproducesTheMatrix)
{
    forEachPositiveDefinite([](const Matrix& A) {
        const Cholesky cholesky(A);
        ASSERT_TRUE(cholesky.Succeeded());
        EXPECT_EQ(cholesky.Size(), A.Rows());
        EXPECT_LT(differenceRatio(A, reproduced(cholesky)), kResidualLimit);
    });
}

TEST(CholeskyTest, FactorIsLowerTriangularWithAPositiveDiagonal)
{
    forEachPositiveDefinite([](const Matrix& A) {
        const Matrix L = Cholesky(A).L().value();
        ASSERT_EQ(L.Rows(), A.Rows());
        ASSERT_EQ(L.Cols(), A.Rows());
        for (int j = 0; j < L.Cols(); ++j) {
            for (int i = 0; i < j; ++i) EXPECT_EQ(L(i, j), 0.0);
            EXPECT_GT(L(j, j), 0.0);
        }
    });
}

TEST(CholeskyTest, FactorOfASmallMatrixByHand)
{
    const Matrix A{{4, 2, 6}, {2, 10, 12}, {6, 12, 22}}; // L*L' in integers
    EXPECT_TRUE(identical(Cholesky(A).L().value(), Matrix{{2, 0, 0}, {1, 3, 0}, {3, 3, 2}}));
    EXPECT_TRUE(identical(Cholesky(Matrix{{9}}).L().value(), Matrix{{3}}));
}

TEST(CholeskyTest, UpperTriangleIsNeverRead)
{
    forEachPositiveDefinite([](const Matrix& A) {
        const Matrix garbage = withUpper(A, std::numeric_limits<double>::quiet_NaN());
        const Cholesky plain(A), blind(garbage);
        ASSERT_TRUE(blind.Succeeded());
        EXPECT_TRUE(identical(plain.L().value(), blind.L().value()));
        EXPECT_TRUE(identical(plain.Inverse(), blind.Inverse()));
        EXPECT_TRUE(identical(plain.Solve(A), blind.Solve(A)));
    });
}

TEST(CholeskyTest, InputIsNotWritten)
{
    const Matrix A = positiveDefinite(65, Spectrum::Random), before(A);
    const Cholesky cholesky(A);
    EXPECT_TRUE(identical(A, before));
}

TEST(CholeskyTest, NonSquareInputIsRefusedBeforeAnythingIsAllocated)
{
    for (const Shape& shape : {Shape{1, 2}, Shape{2, 1}, Shape{5, 3}, Shape{3, 5}}) {
        SCOPED_TRACE(shape);
        const Matrix A(shape.rows, shape.cols);
        const FailingAllocator allocator(0);
        expectFailure<NotSquareMatrixException>([&] { const Cholesky cholesky(A); }, kNotSquare);
        EXPECT_FALSE(allocator.hasFailed());
    }
}

// ---- systems

TEST(CholeskyTest, SolutionsFulfilTheSystem)
{
    forEachPositiveDefinite([](const Matrix& A) {
        const Cholesky cholesky(A);
        for (const int nrhs : {1, 3, 70}) {
            const Matrix B = rightHandsFor(A, nrhs), before(B);
            const Matrix X = cholesky.Solve(B);
            ASSERT_EQ(X.Rows(), A.Rows());
            ASSERT_EQ(X.Cols(), nrhs);
            EXPECT_LT(solveRatio(A, X, B), kResidualLimit);
            EXPECT_TRUE(identical(B, before));
        }
    });
}

TEST(CholeskyTest, RightHandsWithOtherRowsAreRefused)
{
    const Cholesky cholesky(identity(3));
    for (const int rows : {1, 2, 4}) {
        expectFailure<SizeMismatchException>([&] { cholesky.Solve(Matrix(rows, 3)); }, kSizes);
    }
}

// ---- the inverse

TEST(CholeskyTest, InverseTimesTheMatrixIsTheIdentity)
{
    forEachPositiveDefinite([](const Matrix& A) {
        const Matrix X = Cholesky(A).Inverse();
        EXPECT_LT(inverseRatio(A, X), kResidualLimit);
    });
}

TEST(CholeskyTest, InverseIsSymmetricToTheBitAndCanBeRepeated)
{
    forEachPositiveDefinite([](const Matrix& A) {
        const Cholesky cholesky(A);
        const Matrix X = cholesky.Inverse();
        EXPECT_TRUE(identical(X, naiveTranspose(X)));
        EXPECT_TRUE(identical(cholesky.Inverse(), X));
        EXPECT_LT(differenceRatio(A, reproduced(cholesky)), kResidualLimit); // the factor stays
    });
}

TEST(CholeskyTest, InverseOfASmallMatrixByHand)
{
    EXPECT_TRUE(identical(Cholesky(Matrix{{4, 0}, {0, 16}}).Inverse(), Matrix{{0.25, 0}, {0, 0.0625}}));
}

// ---- not positive definite

TEST(CholeskyTest, MatrixThatIsNotPositiveDefiniteIsAStateNotAFailure)
{
    for (const Matrix& A : indefiniteMatrices()) {
        SCOPED_TRACE(A.Rows());
        const Cholesky cholesky(A);
        EXPECT_FALSE(cholesky.Succeeded());
        EXPECT_EQ(cholesky.L(), std::nullopt);
        EXPECT_EQ(cholesky.Size(), A.Rows());
        expectFailure<SingularMatrixException>([&] { cholesky.Solve(Matrix(A.Rows(), 1)); }, kSingular);
        expectFailure<SingularMatrixException>([&] { cholesky.Inverse(); }, kSingular);
    }
}

TEST(CholeskyTest, StateIsTestedBeforeTheSizeOfTheRightHands)
{
    for (const Matrix& A : indefiniteMatrices()) {
        const Cholesky cholesky(A);
        expectFailure<SingularMatrixException>([&] { cholesky.Solve(Matrix(A.Rows() + 1, 1)); }, kSingular);
    }
}

TEST(CholeskyTest, FailedMembersAllocateNothing)
{
    const Cholesky cholesky(Matrix{{1, 2}, {2, 1}});
    const Matrix B(2, 1);
    const FailingAllocator allocator(0);
    EXPECT_EQ(cholesky.L(), std::nullopt);
    expectFailure<SingularMatrixException>([&] { cholesky.Solve(B); }, kSingular);
    expectFailure<SingularMatrixException>([&] { cholesky.Inverse(); }, kSingular);
    EXPECT_FALSE(allocator.hasFailed());
}

// ---- life

TEST(CholeskyTest, EveryRefusedBlockIsAFailureThatLeaksNothing)
{
    const Matrix A = positiveDefinite(7, Spectrum::Random), before(A);
    const auto untouched = [&] { return identical(A, before); };
    EXPECT_EQ(failEachAllocation([&] { Cholesky cholesky(A); }, untouched), 1);
    const Cholesky cholesky(A);
    EXPECT_EQ(failEachAllocation([&] { cholesky.L(); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { cholesky.Solve(A); }, untouched), 1);
    EXPECT_GE(failEachAllocation([&] { cholesky.Inverse(); }, untouched), 1);
    EXPECT_LT(differenceRatio(A, reproduced(cholesky)), kResidualLimit);
}

TEST(CholeskyTest, DisposeReleasesAtOnceAndMayBeRepeated)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    Cholesky cholesky(identity(4));
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before + 16 * std::int64_t{sizeof(double)});
    cholesky.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    cholesky.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ(cholesky.Size(), 4);
    EXPECT_TRUE(cholesky.Succeeded());
    expectRefusedWhenHardened([&] { cholesky.L(); });
    expectRefusedWhenHardened([&] { cholesky.Solve(Matrix(4, 1)); });
    expectRefusedWhenHardened([&] { cholesky.Inverse(); });
}

TEST(CholeskyTest, MovesAndDoesNotCopy)
{
    static_assert(std::is_nothrow_move_constructible_v<Cholesky>);
    static_assert(std::is_nothrow_move_assignable_v<Cholesky>);
    static_assert(!std::is_copy_constructible_v<Cholesky> && !std::is_copy_assignable_v<Cholesky>);
    static_assert(!std::is_convertible_v<Matrix, Cholesky>);
    const Matrix A = positiveDefinite(7, Spectrum::Random);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        Cholesky first(A);
        Cholesky second(std::move(first));
        EXPECT_LT(differenceRatio(A, reproduced(second)), kResidualLimit);
        Cholesky third(Matrix(2, 2));
        third = std::move(second);
        EXPECT_EQ(third.Size(), 7);
        EXPECT_TRUE(third.Succeeded());
        EXPECT_LT(differenceRatio(A, reproduced(third)), kResidualLimit);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(CholeskyTest, ThreadsMayReadOneObjectTogether)
{
    const Matrix A = positiveDefinite(30, Spectrum::Random);
    const Cholesky cholesky(A);
    const Matrix L = cholesky.L().value();
    std::vector<int> agreed(4);
    std::vector<std::thread> threads;
    for (int& count : agreed) {
        threads.emplace_back([&] {
            for (int k = 0; k < 20; ++k) {
                count += identical(cholesky.L().value(), L) &&
                         inverseRatio(A, cholesky.Inverse()) < kResidualLimit &&
                         solveRatio(A, cholesky.Solve(L), L) < kResidualLimit;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(agreed, std::vector<int>(4, 20));
}

} // namespace
} // namespace Velmar::Lintrix::testing
