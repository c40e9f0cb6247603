// Where the complex decompositions differ from their real twins, each difference on both sides:
//
//   | what                                     | real                          | complex |
//   |------------------------------------------|-------------------------------|---------------------------------|
//   | Solve of QR and LQ                       | applies the transposed Q      | leaves Q out | | Solve and
//   Inverse of a failed Cholesky   | SingularMatrixException       | no result                       | |
//   Inverse of Cholesky above the diagonal   | mirrors what is below it      | mirrors imaginary parts alone
//   | | Inverse of a singular matrix             | the default text              | that of the LU
//   decomposition    | | Inverse of a rectangular matrix          | singular first                | not
//   square, always              | | Rank, PseudoInverse of a failed SVD      | what the routine left | 0, no
//   result                    | | Rank, PseudoInverse of such a matrix     | OperationFailedException      |
//   0, no result                    | | eigenvalues of a spectrum                | of a symmetric matrix | of
//   a Hermitian one, real, too   |

#include <lintrix/decompositions/cholesky.h>
#include <lintrix/decompositions/eigen.h>
#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/decompositions/svd.h>

#include "tests/decompositions/cases.h"

#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace std::complex_literals;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr const char* kSingular = "This operation requires a non-singular matrix.";
constexpr const char* kInverseSingular = "Matrix is singular and it can not be inverted.";
constexpr const char* kInverseNotSquare = "Matrix inverse can be calculated only for a square matrix.";

// X with R*X = the leading rows of B, R upper triangular.
CMatrix backSubstituted(const CMatrix& R, const CMatrix& B)
{
    CMatrix X(R.Cols(), B.Cols());
    for (int k = 0; k < B.Cols(); ++k) {
        for (int i = R.Cols() - 1; i >= 0; --i) {
            Complex sum = B(i, k);
            for (int j = i + 1; j < R.Cols(); ++j) sum -= R(i, j) * X(j, k);
            X(i, k) = sum / R(i, i);
        }
    }
    return X;
}

// X with L*X = B, L lower triangular.
CMatrix forwardSubstituted(const CMatrix& L, const CMatrix& B)
{
    CMatrix X(L.Cols(), B.Cols());
    for (int k = 0; k < B.Cols(); ++k) {
        for (int i = 0; i < L.Rows(); ++i) {
            Complex sum = B(i, k);
            for (int j = 0; j < i; ++j) sum -= L(i, j) * X(j, k);
            X(i, k) = sum / L(i, i);
        }
    }
    return X;
}

void expectClose(const CMatrix& X, const CMatrix& Y)
{
    ASSERT_EQ(X.Rows(), Y.Rows());
    ASSERT_EQ(X.Cols(), Y.Cols());
    EXPECT_LT(oneNorm(X - Y), 1e-11 * oneNorm(Y));
}

// ---- systems without Q

TEST(TwinsOfQR, RealOneSolvesTheSystem)
{
    const Matrix A = matrixWith({5, 5}, Spectrum::Random, kSeed), B = rightHandsFor(A, 2);
    EXPECT_LT(solveRatio(A, QR(A).Solve(B), B), kResidualLimit);
}

TEST(TwinsOfQR, ComplexOneSolvesWithRAlone)
{
    for (const int n : {1, 2, 5, 70}) {
        const CMatrix A = matrixWith<CMatrix>({n, n}, Spectrum::Flat, kSeed) * Complex(2.0);
        const CMatrix B = rightHandsFor(A, 3);
        const CQR qr(A);
        expectClose(qr.Solve(B), backSubstituted(qr.R(), B));
        EXPECT_GT(solveRatio(A, qr.Solve(B), B), 1e6); // no solution, as Q is not the identity
    }
}

TEST(TwinsOfQR, ComplexOneTakesTheLeadingRowsOfATallSystemAndPutsThePivotsBack)
{
    const CMatrix A = matrixWith<CMatrix>({6, 3}, Spectrum::Random, kSeed), b = rightHandsFor(A, 1);
    const CQR qr(A, true);
    expectClose(qr.Solve(b), naiveProduct(qr.P(), backSubstituted(qr.R(), b)));
    expectClose(A.Solve(b), backSubstituted(CQR(A).R(), b));
}

// Column k of the right-hand sides stands at a stride of m = 3, and is solved and read at a stride of n = 2:
// the solve of column 1 begins at cell 2, the last one of column 0.
TEST(TwinsOfQR, ComplexOneWalksTheColumnsAtTwoStridesLikeTheRealOne)
{
    const CMatrix A{{2.0, 0.0}, {0.0, 4.0}, {0.0, 0.0}}, B{{2.0, 8i}, {4.0, 16.0}, {6i, 32.0}};
    const CMatrix X = CQR(A).Solve(B), R = CQR(A).R();
    EXPECT_EQ(X(0, 0), 2.0 / R(0, 0));
    EXPECT_EQ(X(1, 0), 4.0 / R(1, 1));
    EXPECT_EQ(X(0, 1), 8i / R(1, 1)); // cell 3, solved as the second of column 1
    EXPECT_EQ(X(1, 1), 16.0);         // cell 4, never solved
}

TEST(TwinsOfLQ, RealOneSolvesTheSystem)
{
    const Matrix A = matrixWith({3, 5}, Spectrum::Random, kSeed), b = rightHandsFor(A, 1);
    EXPECT_LT(solveRatio(A, LQ(A).Solve(b), b), kResidualLimit);
}

TEST(TwinsOfLQ, ComplexOneSolvesWithLAlone)
{
    for (const int n : {1, 2, 5, 70}) {
        const CMatrix A = matrixWith<CMatrix>({n, n}, Spectrum::Flat, kSeed) * Complex(2.0);
        const CMatrix B = rightHandsFor(A, 2);
        const CLQ lq(A);
        expectClose(lq.Solve(B), forwardSubstituted(lq.L(), B));
        EXPECT_GT(solveRatio(A, lq.Solve(B), B), 1e6);
    }
}

TEST(TwinsOfLQ, ComplexOneLeavesZerosBehindTheCellsOfAWideSystem)
{
    const CMatrix A = matrixWith<CMatrix>({2, 5}, Spectrum::Random, kSeed), B = rightHandsFor(A, 2);
    const CMatrix Y = forwardSubstituted(CLQ(A).L(), B), X = CLQ(A).Solve(B);
    ASSERT_EQ(X.Rows(), 5);
    ASSERT_EQ(X.Cols(), 2);
    for (int cell = 0; cell < 10; ++cell) { // read flat
        const Complex expected = cell < 4 ? Y(cell % 2, cell / 2) : 0.0;
        EXPECT_NEAR(std::abs(X(cell % 5, cell / 5) - expected), 0.0, 1e-12) << cell;
    }
}

TEST(TwinsOfQRAndLQ, NeitherComplexOneSaysAWord)
{
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const CMatrix A = matrixWith<CMatrix>({4, 4}, Spectrum::Random, kSeed), B = rightHandsFor(A, 2);
    CQR(A).Solve(B);
    CLQ(A).Solve(B);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(TwinsOfSolve, SingularSquareSystemsGoToLQ)
{
    SolveRoad road{};
    const Matrix A{{1, 2}, {2, 4}}, b{{1}, {1}};
    A.Solve(b, road);
    EXPECT_EQ(road, SolveRoad::SingularLQ);
    const CMatrix C{{1i, 2i}, {2i, 4i}}, d{{1.0}, {1.0}};
    C.Solve(d, road);
    EXPECT_EQ(road, SolveRoad::SingularLQ);
}

TEST(TwinsOfDivision, ComplexOneTransposesWithoutConjugation)
{
    const CMatrix A{{1i, 2.0}}, B{{1.0 + 1i, 0.0}, {3i, 2.0}}; // X*B = A
    expectClose(naiveProduct(A / B, B), A);
    expectClose(CMatrix::LDivide(B, naiveTranspose(A)), CLU(B).Solve(naiveTranspose(A)));
}

// ---- Cholesky

TEST(TwinsOfCholesky, RealOneRaisesAfterAFailure)
{
    const Cholesky failed(Matrix{{1, 2}, {2, 1}});
    EXPECT_FALSE(failed.Succeeded());
    expectFailure<SingularMatrixException>([&] { failed.Solve(Matrix(3, 1)); }, kSingular);
    expectFailure<SingularMatrixException>([&] { failed.Inverse(); }, kSingular);
}

TEST(TwinsOfCholesky, ComplexOneHasNoResultAfterAFailure)
{
    const CCholesky failed(CMatrix{{1.0, -2i}, {2i, 1.0}}), whole(identity<CMatrix>(2));
    EXPECT_FALSE(failed.Succeeded());
    EXPECT_EQ(failed.L(), std::nullopt);
    EXPECT_EQ(failed.Solve(CMatrix(2, 1)), std::nullopt);
    EXPECT_EQ(failed.Solve(CMatrix(3, 1)), std::nullopt); // the size is not looked at
    EXPECT_EQ(failed.Inverse(), std::nullopt);
    expectFailure<SizeMismatchException>([&] { whole.Solve(CMatrix(3, 1)); }, "Matrix sizes do not match.");
}

TEST(TwinsOfCholesky, RealInverseIsSymmetric)
{
    const Matrix inverse = Cholesky(symmetricWith({3, 2, 1}, kSeed)).Inverse();
    EXPECT_TRUE(identical(inverse, naiveTranspose(inverse)));
}

TEST(TwinsOfCholesky, ComplexInverseKeepsTheRealPartsOfTheMatrixAboveTheDiagonal)
{
    for (const int n : {1, 2, 3, 65}) {
        std::vector<double> eigenvalues(static_cast<std::size_t>(n), 2.0);
        eigenvalues[0] = 1.0;
        const CMatrix A = symmetricWith<CMatrix>(eigenvalues, kSeed);
        const CMatrix inverse = CCholesky(A).Inverse().value(), expected = CLU(A).Inverse();
        for (int j = 0; j < n; ++j) {
            for (int i = j; i < n; ++i) EXPECT_NEAR(std::abs(inverse(i, j) - expected(i, j)), 0.0, 1e-13 * n);
            for (int i = 0; i < j; ++i) {
                EXPECT_EQ(inverse(i, j).real(), A(i, j).real());
                EXPECT_EQ(inverse(i, j).imag(), -inverse(j, i).imag());
            }
        }
    }
}

// ---- inverses of matrices

TEST(TwinsOfInverse, SingularMatricesFailInTheirOwnWords)
{
    expectFailure<SingularMatrixException>([] { Matrix(2, 2).Inverse(); }, kSingular);
    expectFailure<SingularMatrixException>([] { CMatrix(2, 2).Inverse(); }, kInverseSingular);
}

TEST(TwinsOfInverse, RectangularMatricesWithAZeroPivotFailInTheirOwnWay)
{
    expectFailure<SingularMatrixException>([] { Matrix(2, 3).Inverse(); }, kSingular);
    expectFailure<NotSquareMatrixException>([] { CMatrix(2, 3).Inverse(); }, kInverseNotSquare);
    expectFailure<NotSquareMatrixException>(
        [] {
            Matrix{{1, 0, 0}, {0, 1, 0}}.Inverse();
        },
        kInverseNotSquare);
}

// ---- decompositions that failed; a matrix that is not finite is one of them

TEST(TwinsOfSVD, RealOneShowsWhatThereIsAfterAFailure)
{
    const SVD failed(Matrix{{kNaN, 1}, {1, 1}});
    EXPECT_FALSE(failed.Succeeded());
    EXPECT_EQ(failed.Rank(-1.0), 0);
    EXPECT_TRUE(failed.PseudoInverse(1.0).has_value());
}

TEST(TwinsOfSVD, ComplexOneHasRankZeroAndNoInverseAfterAFailure)
{
    const CSVD failed(CMatrix{{Complex(0.0, kNaN), 1.0}, {1.0, 1.0}});
    EXPECT_FALSE(failed.Succeeded());
    EXPECT_EQ(failed.Rank(), 0);
    EXPECT_EQ(failed.Rank(0.0), 0);
    EXPECT_EQ(failed.PseudoInverse(), std::nullopt);
    EXPECT_EQ(failed.PseudoInverse(1.0), std::nullopt);
}

TEST(TwinsOfMatrixRank, RealOnesRaiseAfterAFailure)
{
    const Matrix A{{kNaN, 1}, {1, 1}};
    expectFailure<OperationFailedException>([&] { A.Rank(); }, "Operation has failed to complete.");
    expectFailure<OperationFailedException>([&] { A.PseudoInverse(); }, "Operation has failed to complete.");
}

TEST(TwinsOfMatrixRank, ComplexOnesAnswerZeroAndNothing)
{
    const CMatrix A{{kNaN, 1.0}, {1.0, 1.0}};
    EXPECT_EQ(A.Rank(), 0);
    EXPECT_EQ(A.PseudoInverse(), std::nullopt);
    EXPECT_EQ(A.PseudoInverse(0.5), std::nullopt);
}

// ---- eigenvalues: no difference in what a failure shows

TEST(TwinsOfEigen, BothSucceedWhateverHappens)
{
    const Eigen real(Matrix{{kNaN, 1}, {1, 1}}, true, true);
    const CEigen complex(CMatrix{{Complex(1.0, kNaN), 1.0}, {1.0, 1.0}}, true, true);
    EXPECT_TRUE(real.Succeeded());
    EXPECT_TRUE(complex.Succeeded());
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(std::isnan(real.Eigenvalue(i).real()));
        EXPECT_TRUE(std::isnan(complex.Eigenvalue(i).real()));
        EXPECT_TRUE(std::isnan((*real.Eigenvector(i))(0).real()));
        EXPECT_TRUE(std::isnan((*complex.LeftEigenvector(i))(0).real()));
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
