// LU with partial pivoting: factors, systems, determinant, inverse, and the singular state.

#include <lintrix/decompositions/lu.h>

#include "tests/decompositions/cases.h"

#include <array>
#include <cstdint>
#include <limits>
#include <numeric>
#include <thread>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kNotSquare = "Matrix is not square.";
constexpr const char* kSingular = "This operation requires a non-singular matrix.";
constexpr const char* kSizes = "Matrix sizes do not match.";
constexpr const char* kDeterminantNotSquare = "Determinant can be calculated only for a square matrix.";
constexpr const char* kInverseNotSquare = "Matrix inverse can be calculated only for a square matrix.";
constexpr const char* kInverseSingular = "Matrix is singular and it can not be inverted.";

Matrix reproduced(const LU& lu)
{
    return naiveProduct(lu.P(), naiveProduct(lu.L(), lu.U()));
}

// Square, and a pivot is exactly zero: all quotients are short binary fractions, so nothing is rounded.
std::vector<Matrix> singularMatrices()
{
    return {
        Matrix(1, 1),                            // zero 1 x 1
        Matrix(4, 4),                            // zero
        Matrix{{1, 2}, {2, 4}},                  // dependent rows
        Matrix{{1, 0, 2}, {2, 0, 6}, {4, 0, 7}}, // zero column inside
        Matrix{{0, 1, 2}, {0, 2, 6}, {0, 4, 7}}, // zero column at the front: the first pivot
        Matrix{{1, 2, 3}, {4, 5, 6}, {0, 0, 0}}, // zero row
        Matrix{{1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}}, // rank one
        Matrix{{0, 1, 0}, {0, 0, 1}, {0, 0, 0}},                        // nilpotent
    };
}

// Exact, by fraction-free elimination in integers (Bareiss 1968).
std::int64_t integerDeterminant(std::vector<std::vector<std::int64_t>> a)
{
    const std::size_t n = a.size();
    std::int64_t sign = 1, previous = 1;
    for (std::size_t k = 0; k + 1 < n; ++k) {
        std::size_t pivot = k;
        while (pivot < n && a[pivot][k] == 0) ++pivot;
        if (pivot == n) return 0;
        if (pivot != k) {
            std::swap(a[pivot], a[k]);
            sign = -sign;
        }
        for (std::size_t i = k + 1; i < n; ++i) {
            for (std::size_t j = k + 1; j < n; ++j) {
                a[i][j] = (a[i][j] * a[k][k] - a[i][k] * a[k][j]) / previous;
            }
        }
        previous = a[k][k];
    }
    return sign * a[n - 1][n - 1];
}

// ---- factors

TEST(LU, FactorsReproduceTheMatrix)
{
    forEachMatrix(anyShape,
                  [](const Matrix& A) { EXPECT_LT(differenceRatio(A, reproduced(LU(A))), kResidualLimit); });
}

TEST(LU, FactorsHaveTheirShapesAndTriangles)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const LU lu(A);
        const int np = std::min(A.Rows(), A.Cols());
        const Matrix L = lu.L(), U = lu.U();
        ASSERT_EQ(L.Rows(), A.Rows());
        ASSERT_EQ(L.Cols(), np);
        ASSERT_EQ(U.Rows(), np);
        ASSERT_EQ(U.Cols(), A.Cols());
        for (int j = 0; j < np; ++j) {
            EXPECT_EQ(L(j, j), 1.0);
            for (int i = 0; i < j; ++i) EXPECT_EQ(L(i, j), 0.0);
            for (int i = j + 1; i < A.Rows(); ++i) EXPECT_LE(std::abs(L(i, j)), 1.0); // partial pivoting
            for (int i = j + 1; i < np; ++i) EXPECT_EQ(U(i, j), 0.0);
        }
    });
}

TEST(LU, PivotsNameTheRowsOfTheMatrixAndMakeUpP)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const LU lu(A);
        const std::vector<std::int32_t> pivots = lu.GetPivots();
        ASSERT_TRUE(isPermutation(pivots, A.Rows()));
        Matrix expected(A.Rows(), A.Rows()), permuted(A.Rows(), A.Cols());
        for (int i = 0; i < A.Rows(); ++i) {
            const int source = pivots[static_cast<std::size_t>(i)];
            expected(source, i) = 1.0;
            for (int j = 0; j < A.Cols(); ++j) permuted(i, j) = A(source, j);
        }
        EXPECT_TRUE(identical(lu.P(), expected));
        EXPECT_LT(differenceRatio(permuted, naiveProduct(lu.L(), lu.U())), kResidualLimit);
    });
}

TEST(LU, WideMatrixFactorizesAndItsSquareOperationsAreRefused)
{
    const Matrix A = matrixWith({3, 5}, Spectrum::Random, kSeed);
    const LU lu(A);
    EXPECT_EQ(lu.Rows(), 3);
    EXPECT_EQ(lu.Cols(), 5);
    EXPECT_FALSE(lu.IsSingular());
    EXPECT_EQ(lu.P().Rows(), 3);
    EXPECT_EQ(lu.P().Cols(), 3);
    EXPECT_LT(differenceRatio(A, reproduced(lu)), kResidualLimit);
    expectFailure<NotSquareMatrixException>([&] { lu.Solve(Matrix(3, 1)); }, kNotSquare);
    expectFailure<NotSquareMatrixException>([&] { lu.Determinant(); }, kDeterminantNotSquare);
    expectFailure<NotSquareMatrixException>([&] { lu.Inverse(); }, kInverseNotSquare);
}

TEST(LU, TallMatrixHasAsManyPivotsAsRows)
{
    const Matrix A = matrixWith({5, 3}, Spectrum::Random, kSeed);
    const LU lu(A);
    EXPECT_EQ(lu.L().Rows(), 5);
    EXPECT_EQ(lu.L().Cols(), 3);
    EXPECT_EQ(lu.U().Rows(), 3);
    EXPECT_EQ(lu.U().Cols(), 3);
    EXPECT_EQ(lu.P().Rows(), 5);
    EXPECT_EQ(lu.P().Cols(), 5);
    EXPECT_TRUE(isPermutation(lu.GetPivots(), 5));
    EXPECT_LT(differenceRatio(A, reproduced(lu)), kResidualLimit);
    expectFailure<NotSquareMatrixException>([&] { lu.Solve(Matrix(5, 1)); }, kNotSquare);
    expectFailure<NotSquareMatrixException>([&] { lu.Determinant(); }, kDeterminantNotSquare);
    expectFailure<NotSquareMatrixException>([&] { lu.Inverse(); }, kInverseNotSquare);
}

// Pivots 7 and 18/7:
//
//     | 1 2 |   | 0 0 1 |   | 1       |   | 7  8   |
// A = | 7 8 | = | 1 0 0 | * | 3/7 1   | * | 0 18/7 |
//     | 3 6 |   | 0 1 0 |   | 1/7 1/3 |
TEST(LU, SmallExampleByHand)
{
    const LU lu(Matrix{{1, 2}, {7, 8}, {3, 6}});
    EXPECT_TRUE(identical(lu.P(), Matrix{{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}));
    EXPECT_EQ(lu.GetPivots(), (std::vector<std::int32_t>{1, 2, 0}));
    EXPECT_EQ(lu.U()(0, 0), 7.0);
    EXPECT_EQ(lu.U()(0, 1), 8.0);
    EXPECT_NEAR(lu.U()(1, 1), 18.0 / 7.0, 4 * kEps);
    EXPECT_NEAR(lu.L()(1, 0), 3.0 / 7.0, 4 * kEps);
    EXPECT_NEAR(lu.L()(2, 0), 1.0 / 7.0, 4 * kEps);
    EXPECT_NEAR(lu.L()(2, 1), 1.0 / 3.0, 4 * kEps);
}

TEST(LU, EachFactorIsANewMatrix)
{
    const LU lu(Matrix{{4, 3}, {6, 3}});
    Matrix L = lu.L(), U = lu.U(), P = lu.P();
    L.Clear();
    U.Clear();
    P.Clear();
    EXPECT_LT(differenceRatio(Matrix{{4, 3}, {6, 3}}, reproduced(lu)), kResidualLimit);
}

TEST(LU, InputIsNeverWrittenAndMayGo)
{
    Matrix A = matrixWith({7, 7}, Spectrum::Random, kSeed);
    const Matrix before(A);
    const LU lu(A);
    EXPECT_TRUE(identical(A, before));
    A.Dispose();
    EXPECT_LT(differenceRatio(before, reproduced(lu)), kResidualLimit);
}

// ---- systems

TEST(LU, SolutionsSatisfyTheirSystems)
{
    forEachMatrix(square, [](const Matrix& A) {
        const LU lu(A);
        for (const int nrhs : {1, 3, 70}) {
            const Matrix B = rightHandsFor(A, nrhs), X = lu.Solve(B);
            ASSERT_EQ(X.Rows(), A.Cols());
            ASSERT_EQ(X.Cols(), nrhs);
            EXPECT_LT(solveRatio(A, X, B), kResidualLimit);
        }
    });
}

TEST(LU, SolveWritesNeitherTheRightHandsNorTheFactors)
{
    const Matrix A = matrixWith({65, 65}, Spectrum::Geometric, kSeed), B = rightHandsFor(A, 3);
    const Matrix before(B);
    const Threads one(1);
    const LU lu(A);
    const Matrix L = lu.L(), U = lu.U(), X = lu.Solve(B);
    EXPECT_TRUE(identical(B, before));
    EXPECT_TRUE(identical(lu.L(), L));
    EXPECT_TRUE(identical(lu.U(), U));
    EXPECT_TRUE(identical(lu.Solve(B), X));
}

TEST(LU, SolutionDoesNotDependOnTheOrderOfTheEquations)
{
    const Matrix A = matrixWith({65, 65}, Spectrum::Flat, kSeed), B = rightHandsFor(A, 3);
    Matrix reversedA(A), reversedB(B);
    for (int i = 0; i < 65; ++i) {
        for (int j = 0; j < 65; ++j) reversedA(i, j) = A(64 - i, j);
        for (int j = 0; j < 3; ++j) reversedB(i, j) = B(64 - i, j);
    }
    EXPECT_LT(differenceRatio(LU(A).Solve(B), LU(reversedA).Solve(reversedB)), kResidualLimit);
}

TEST(LU, SolveChecksTheShapeThenTheStateThenTheRows)
{
    const Matrix wrongRows(7, 1);
    const LU rectangularSingular(Matrix(2, 3)), squareSingular(Matrix(3, 3)), regular(identity(3));
    ASSERT_TRUE(rectangularSingular.IsSingular());
    expectFailure<NotSquareMatrixException>([&] { rectangularSingular.Solve(wrongRows); }, kNotSquare);
    expectFailure<SingularMatrixException>([&] { squareSingular.Solve(wrongRows); }, kSingular);
    expectFailure<SizeMismatchException>([&] { regular.Solve(wrongRows); }, kSizes);
    expectFailure<SizeMismatchException>([&] { regular.Solve(Matrix(2, 3)); }, kSizes);
}

// ---- inverse

TEST(LU, InverseTimesTheMatrixIsTheIdentity)
{
    forEachMatrix(square, [](const Matrix& A) {
        const Matrix inverse = LU(A).Inverse();
        ASSERT_EQ(inverse.Rows(), A.Rows());
        ASSERT_EQ(inverse.Cols(), A.Rows());
        EXPECT_LT(inverseRatio(A, inverse), kResidualLimit);
    });
}

TEST(LU, InverseMayBeAskedForAgain)
{
    const Threads one(1);
    const Matrix A = matrixWith({65, 65}, Spectrum::Geometric, kSeed);
    const LU lu(A);
    const Matrix first = lu.Inverse();
    EXPECT_TRUE(identical(lu.Inverse(), first));
    EXPECT_LT(differenceRatio(A, reproduced(lu)), kResidualLimit);
}

TEST(LU, InverseChecksTheShapeThenTheState)
{
    expectFailure<NotSquareMatrixException>([] { LU(Matrix(2, 3)).Inverse(); }, kInverseNotSquare);
    expectFailure<SingularMatrixException>([] { LU(Matrix(2, 2)).Inverse(); }, kInverseSingular);
}

// ---- determinant

TEST(LU, DeterminantsOfIntegerMatricesAreExactToRounding)
{
    std::mt19937_64 generator(kSeed);
    for (int n = 1; n <= 6; ++n) {
        for (int sample = 0; sample < 50; ++sample) {
            std::vector<std::vector<std::int64_t>> cells(static_cast<std::size_t>(n));
            Matrix A(n, n);
            double hadamard = 1.0; // bound on the determinant: the product of the row norms
            for (int i = 0; i < n; ++i) {
                double squares = 0.0;
                for (int j = 0; j < n; ++j) {
                    const auto cell = static_cast<std::int64_t>(generator() % 19) - 9;
                    cells[static_cast<std::size_t>(i)].push_back(cell);
                    A(i, j) = static_cast<double>(cell);
                    squares += A(i, j) * A(i, j);
                }
                hadamard *= std::sqrt(squares);
            }
            const auto exact = static_cast<double>(integerDeterminant(cells));
            EXPECT_LE(std::abs(LU(A).Determinant() - exact), kResidualLimit * n * kEps * hadamard) << exact;
        }
    }
}

TEST(LU, DeterminantOfAPermutationIsItsSign)
{
    std::array<int, 5> rows{0, 1, 2, 3, 4};
    do {
        Matrix P(5, 5);
        int inversions = 0;
        for (int i = 0; i < 5; ++i) {
            P(rows[static_cast<std::size_t>(i)], i) = 1.0;
            for (int k = 0; k < i; ++k) {
                inversions += rows[static_cast<std::size_t>(k)] > rows[static_cast<std::size_t>(i)];
            }
        }
        ASSERT_EQ(LU(P).Determinant(), inversions % 2 == 0 ? 1.0 : -1.0);
    } while (std::next_permutation(rows.begin(), rows.end()));
}

TEST(LU, DeterminantIsThePlainProductFromTheFirstPivotOn)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(LU(Matrix{{1e200, 0}, {0, 1e200}}).Determinant(), kInfinity); // well conditioned
    EXPECT_EQ(LU(Matrix{{0, 1e200}, {1e200, 0}}).Determinant(), -kInfinity);
    EXPECT_EQ(LU(Matrix{{1e-200, 0}, {0, 1e-200}}).Determinant(), 0.0);
    // The order shows where the product leaves the range on the way, though the determinant is 1.
    const Matrix up{{1e200, 0, 0, 0}, {0, 1e200, 0, 0}, {0, 0, 1e-200, 0}, {0, 0, 0, 1e-200}};
    EXPECT_EQ(LU(up).Determinant(), kInfinity);
    const Matrix down{{1e-200, 0, 0, 0}, {0, 1e-200, 0, 0}, {0, 0, 1e200, 0}, {0, 0, 0, 1e200}};
    EXPECT_EQ(LU(down).Determinant(), 0.0);
    const Matrix inTurn{{1e200, 0, 0, 0}, {0, 1e-200, 0, 0}, {0, 0, 1e200, 0}, {0, 0, 0, 1e-200}};
    EXPECT_NEAR(LU(inTurn).Determinant(), 1.0, 8 * kEps);
}

TEST(LU, DeterminantOfASingularMatrixIsZeroOfEitherSign)
{
    for (const Matrix& A : singularMatrices()) EXPECT_EQ(LU(A).Determinant(), 0.0);
    EXPECT_FALSE(std::signbit(LU(Matrix{{1, 0}, {0, 0}}).Determinant()));
    EXPECT_TRUE(std::signbit(LU(Matrix{{0, 0}, {1, 0}}).Determinant())); // one exchange: -0
}

TEST(LU, DeterminantChecksTheShapeAlone)
{
    expectFailure<NotSquareMatrixException>([] { LU(Matrix(2, 3)).Determinant(); }, kDeterminantNotSquare);
    expectFailure<NotSquareMatrixException>([] { LU(Matrix(3, 2)).Determinant(); }, kDeterminantNotSquare);
    EXPECT_EQ(LU(Matrix(3, 3)).Determinant(), 0.0);
}

// ---- the singular state

TEST(LU, ExactlySingularMatrixIsAStateWithReadableFactors)
{
    for (const Matrix& A : singularMatrices()) {
        const LU lu(A);
        EXPECT_TRUE(lu.IsSingular());
        EXPECT_TRUE(identical(reproduced(lu), A)); // small integers: exact
        expectFailure<SingularMatrixException>([&] { lu.Solve(rightHandsFor(A, 1)); }, kSingular);
        expectFailure<SingularMatrixException>([&] { lu.Inverse(); }, kInverseSingular);
        EXPECT_TRUE(identical(reproduced(lu), A)); // the failures took nothing away
    }
}

TEST(LU, RectangularMatrixHasTheStateToo)
{
    EXPECT_TRUE(LU(Matrix(3, 5)).IsSingular());
    EXPECT_TRUE(LU(Matrix(5, 3)).IsSingular());
    EXPECT_FALSE(LU(Matrix(3, 5, 1.0)).IsSingular());
}

TEST(LU, NearlySingularMatrixIsNotInTheState)
{
    EXPECT_FALSE(LU(Matrix{{1, 1}, {1, 1 + 2 * kEps}}).IsSingular());
    EXPECT_FALSE(LU(matrixWith({65, 65}, Spectrum::OneTiny, kSeed)).IsSingular());
}

// ---- runs

TEST(LU, SecondRunOnOneThreadGivesTheSameBits)
{
    const Threads one(1);
    const Matrix A = matrixWith({130, 130}, Spectrum::Geometric, kSeed), B = rightHandsFor(A, 5);
    const LU first(A), second(A);
    EXPECT_TRUE(identical(first.L(), second.L()));
    EXPECT_TRUE(identical(first.U(), second.U()));
    EXPECT_EQ(first.GetPivots(), second.GetPivots());
    EXPECT_TRUE(identical(first.Solve(B), second.Solve(B)));
    EXPECT_TRUE(identical(first.Inverse(), second.Inverse()));
}

TEST(LU, OneThreadAndManyAgreeToRounding)
{
    const Matrix A = matrixWith({400, 400}, Spectrum::Flat, kSeed), B = rightHandsFor(A, 5);
    Matrix alone, together;
    {
        const Threads one(1);
        alone = LU(A).Solve(B);
    }
    {
        const Threads four(4);
        together = LU(A).Solve(B);
    }
    EXPECT_LT(differenceRatio(alone, together), kResidualLimit);
}

TEST(LU, FinishedObjectIsReadFromSeveralThreads)
{
    const Matrix A = matrixWith({65, 65}, Spectrum::Flat, kSeed), B = rightHandsFor(A, 3);
    const LU lu(A);
    std::vector<int> agreed(4);
    std::vector<std::thread> threads;
    for (int& count : agreed) {
        threads.emplace_back([&] {
            for (int k = 0; k < 5; ++k) {
                count += solveRatio(A, lu.Solve(B), B) < kResidualLimit &&
                         inverseRatio(A, lu.Inverse()) < kResidualLimit &&
                         differenceRatio(A, reproduced(lu)) < kResidualLimit;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(agreed, std::vector<int>(4, 5));
}

// ---- memory and life

TEST(LU, RefusedMemoryLeavesNothingBehind)
{
    const Matrix A = matrixWith({7, 7}, Spectrum::Random, kSeed), B = rightHandsFor(A, 2);
    const Matrix beforeA(A), beforeB(B);
    const LU lu(A);
    const auto untouched = [&] { return identical(A, beforeA) && identical(B, beforeB); };
    EXPECT_EQ(failEachAllocation([&] { LU fresh(A); }, untouched), 2); // factors and pivots, no more
    EXPECT_GE(failEachAllocation([&] { lu.L(); }, untouched), 1);
    EXPECT_GE(failEachAllocation([&] { lu.U(); }, untouched), 1);
    EXPECT_GE(failEachAllocation([&] { lu.P(); }, untouched), 1);
    EXPECT_GE(failEachAllocation([&] { lu.Solve(B); }, untouched), 1);
    EXPECT_GE(failEachAllocation([&] { lu.Inverse(); }, untouched), 2); // work space and copy
    EXPECT_LT(differenceRatio(A, reproduced(lu)), kResidualLimit);
}

TEST(LU, HoldsFactorsAndPivotsAndGivesThemBack)
{
    const Matrix A(10, 6, 1.0);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        const LU lu(A);
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before + 10 * 6 * 8 + 6 * 4);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(LU, DisposeReleasesAtOnceAndMayBeRepeated)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    LU lu(Matrix(3, 3));
    lu.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    lu.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ(lu.Rows(), 3);
    EXPECT_EQ(lu.Cols(), 3);
    EXPECT_TRUE(lu.IsSingular());
}

TEST(LU, MoveHandsTheFactorsOver)
{
    static_assert(!std::is_copy_constructible_v<LU>);
    static_assert(!std::is_copy_assignable_v<LU>);
    static_assert(std::is_nothrow_move_constructible_v<LU>);
    static_assert(std::is_nothrow_move_assignable_v<LU>);
    const Matrix A{{4, 3}, {6, 3}};
    const std::int64_t before = TrellConfiguration::TotalMemory();
    LU source(A);
    LU moved(std::move(source));
    LU target(Matrix(50, 50));
    target = std::move(moved);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before + 32 + 16);
    EXPECT_FALSE(target.IsSingular());
    EXPECT_LT(differenceRatio(A, reproduced(target)), kResidualLimit);
    source.Dispose();
    moved.Dispose();
    EXPECT_LT(differenceRatio(A, reproduced(target)), kResidualLimit);
}

TEST(LU, UseAfterReleaseIsRefusedWhenHardened)
{
    const Matrix A{{4, 3}, {6, 3}};
    LU disposed(A), source(A), target(A);
    disposed.Dispose();
    target = std::move(source);
    for (const LU* lu : {&disposed, &source}) {
        expectRefusedWhenHardened([&] { lu->L(); });
        expectRefusedWhenHardened([&] { lu->U(); });
        expectRefusedWhenHardened([&] { lu->P(); });
        expectRefusedWhenHardened([&] { lu->GetPivots(); });
        expectRefusedWhenHardened([&] { lu->Solve(A); });
        expectRefusedWhenHardened([&] { lu->Determinant(); });
        expectRefusedWhenHardened([&] { lu->Inverse(); });
    }
    Matrix gone(2, 2);
    gone.Dispose();
    expectRefusedWhenHardened([&] { LU lu(gone); });
    expectRefusedWhenHardened([&] { target.Solve(gone); });
}

} // namespace
} // namespace Velmar::Lintrix::testing
