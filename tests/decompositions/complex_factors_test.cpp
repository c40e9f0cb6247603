// CLU, CQR, CLQ and CCholesky: what they share with their real twins, on complex matrices.

#include <lintrix/decompositions/cholesky.h>
#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>

#include "tests/decompositions/cases.h"

#include <cmath>
#include <limits>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace std::complex_literals;

constexpr double kInf = std::numeric_limits<double>::infinity(),
                 kNaN = std::numeric_limits<double>::quiet_NaN();

constexpr const char* kNotSquare = "Matrix is not square.";
constexpr const char* kSingular = "This operation requires a non-singular matrix.";
constexpr const char* kSizes = "Matrix sizes do not match.";
constexpr const char* kDeterminantNotSquare = "Determinant can be calculated only for a square matrix.";
constexpr const char* kInverseNotSquare = "Matrix inverse can be calculated only for a square matrix.";
constexpr const char* kInverseSingular = "Matrix is singular and it can not be inverted.";
constexpr const char* kCholeskyNotSquare = "Cholesky decomposition is possible only for a square matrix.";
constexpr const char* kRightHands = "Right hands matrix size does not match.";
constexpr const char* kUnderdetermined = "Underdetermined system. Use LQ decomposition instead.";
constexpr const char* kOverdetermined = "Overdetermined system.";

// Hermitian positive definite: Q*D*Q^H with positive eigenvalues.
CMatrix positiveDefinite(int n, double smallest)
{
    std::vector<double> eigenvalues;
    for (int i = 0; i < n; ++i) eigenvalues.push_back(n == 1 ? 1.0 : std::pow(smallest, double(i) / (n - 1)));
    return symmetricWith<CMatrix>(eigenvalues, kSeed);
}

// Each with a pivot that is exactly zero: no quotient is rounded.
std::vector<CMatrix> singularMatrices()
{
    return {CMatrix(1, 1), CMatrix(4, 4), CMatrix{{1.0 + 1i, 2.0 + 2i}, {2.0 + 2i, 4.0 + 4i}},
            CMatrix{{1i, 0.0, 2.0}, {2i, 0.0, 6.0}, {4i, 0.0, 7.0}}};
}

// ---- LU

TEST(CLU, FactorsReproduceTheMatrixAndHaveTheirStructure)
{
    forEachMatrix<CMatrix>(anyShape, [](const CMatrix& A) {
        const CLU lu(A);
        const int np = std::min(A.Rows(), A.Cols());
        const CMatrix L = lu.L(), U = lu.U(), P = lu.P();
        ASSERT_EQ(L.Rows(), A.Rows());
        ASSERT_EQ(L.Cols(), np);
        ASSERT_EQ(U.Rows(), np);
        ASSERT_EQ(U.Cols(), A.Cols());
        EXPECT_LT(differenceRatio(A, naiveProduct(P, naiveProduct(L, U))), kResidualLimit);
        for (int j = 0; j < np; ++j) {
            EXPECT_EQ(L(j, j), 1.0);
            for (int i = 0; i < j; ++i) EXPECT_EQ(L(i, j), 0.0);
            for (int i = j + 1; i < np; ++i) EXPECT_EQ(U(i, j), 0.0);
        }
        const std::vector<std::int32_t> pivots = lu.GetPivots();
        ASSERT_TRUE(isPermutation(pivots, A.Rows()));
        for (int i = 0; i < A.Rows(); ++i) EXPECT_EQ(P(pivots[static_cast<std::size_t>(i)], i), 1.0);
    });
}

TEST(CLU, SolutionsSatisfyTheirSystems)
{
    forEachMatrix<CMatrix>(square, [](const CMatrix& A) {
        for (const int nrhs : {1, 3}) {
            const CMatrix B = rightHandsFor(A, nrhs);
            EXPECT_LT(solveRatio(A, CLU(A).Solve(B), B), kResidualLimit);
        }
    });
}

TEST(CLU, InverseTimesTheMatrixIsTheIdentity)
{
    forEachMatrix<CMatrix>(square, [](const CMatrix& A) {
        const CLU lu(A);
        const CMatrix inverse = lu.Inverse();
        EXPECT_LT(inverseRatio(A, inverse), kResidualLimit);
        EXPECT_TRUE(identical(inverse, lu.Inverse())); // the factors stay
    });
}

TEST(CLU, DeterminantIsTheProductOfThePivotsWithTheSignOfP)
{
    EXPECT_EQ(CLU(CMatrix{{0.0, 2i}, {3.0 + 1i, 5.0}}).Determinant(), -2i * (3.0 + 1i));
    EXPECT_EQ(CLU(CMatrix{{2i}}).Determinant(), 2i);
    EXPECT_EQ(CLU(CMatrix{{0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}, {1i, 0.0, 0.0}}).Determinant(), 1i);
    for (const CMatrix& A : singularMatrices()) EXPECT_EQ(CLU(A).Determinant(), 0.0);
}

// (inf, inf)*i: the product of the platform would find its way back to infinities.
TEST(CLU, DeterminantThatOverflowsIsWhatThePlainProductLeaves)
{
    const CMatrix A{{1e200 + 1e200i, 0.0, 0.0}, {0.0, 1e200, 0.0}, {0.0, 0.0, 1i}};
    const Complex determinant = CLU(A).Determinant();
    EXPECT_TRUE(std::isnan(determinant.real()) && std::isnan(determinant.imag())) << determinant;
}

TEST(CLU, ExactlySingularMatrixIsAState)
{
    for (const CMatrix& A : singularMatrices()) {
        const CLU lu(A);
        EXPECT_TRUE(lu.IsSingular());
        expectFailure<SingularMatrixException>([&] { lu.Solve(CMatrix(A.Rows() + 1, 1)); }, kSingular);
        expectFailure<SingularMatrixException>([&] { lu.Inverse(); }, kInverseSingular);
    }
    EXPECT_FALSE(CLU(CMatrix{{1i}}).IsSingular());
}

TEST(CLU, ChecksTheShapeThenTheStateThenTheRows)
{
    const CLU wide(CMatrix(3, 5)), regular(identity<CMatrix>(3));
    expectFailure<NotSquareMatrixException>([&] { wide.Solve(CMatrix(4, 1)); }, kNotSquare);
    expectFailure<NotSquareMatrixException>([&] { wide.Determinant(); }, kDeterminantNotSquare);
    expectFailure<NotSquareMatrixException>([&] { wide.Inverse(); }, kInverseNotSquare);
    expectFailure<SizeMismatchException>([&] { regular.Solve(CMatrix(4, 1)); }, kSizes);
}

// ---- QR and LQ

TEST(CQR, FactorsReproduceTheMatrixAndHaveTheirStructure)
{
    for (const bool pivoting : {false, true}) {
        forEachMatrix<CMatrix>(anyShape, [&](const CMatrix& A) {
            const CQR qr(A, pivoting);
            const int p = std::min(A.Rows(), A.Cols());
            const CMatrix Q = qr.Q(), R = qr.R(), P = qr.P();
            ASSERT_EQ(Q.Rows(), A.Rows());
            ASSERT_EQ(Q.Cols(), p);
            ASSERT_EQ(R.Rows(), p);
            ASSERT_EQ(R.Cols(), A.Cols());
            EXPECT_LT(orthogonalityRatio(Q), kResidualLimit);
            EXPECT_LT(differenceRatio(naiveProduct(A, P), naiveProduct(Q, R)), kResidualLimit);
            for (int j = 0; j < A.Cols(); ++j) {
                for (int i = j + 1; i < p; ++i) EXPECT_EQ(R(i, j), 0.0);
            }
            const std::vector<std::int32_t> pivots = qr.GetPivots();
            ASSERT_TRUE(isPermutation(pivots, A.Cols()));
            for (int j = 0; j < A.Cols(); ++j) {
                EXPECT_EQ(P(pivots[static_cast<std::size_t>(j)], j), 1.0);
                if (!pivoting) {
                    EXPECT_EQ(pivots[static_cast<std::size_t>(j)], j);
                }
            }
        });
    }
}

TEST(CQR, PivotingLetsTheDiagonalOfRFall)
{
    forEachMatrix<CMatrix>(squareOrTall, [](const CMatrix& A) {
        const CMatrix R = CQR(A, true).R();
        for (int i = 1; i < R.Rows(); ++i) {
            EXPECT_LE(std::abs(R(i, i)), std::abs(R(i - 1, i - 1)) * (1 + 1e-12) + 1e-300);
        }
    });
}

// The real work space of pivoting, 2*n numbers, is taken in both forms.
TEST(CQR, BothFormsTakeTheSameMemory)
{
    const CMatrix A(40, 30);
    const auto taken = [&](bool pivoting) {
        const AllocationMeter meter;
        const CQR qr(A, pivoting);
        return meter.bytes();
    };
    EXPECT_EQ(taken(false), taken(true));
}

TEST(CQR, SolveChecksTheRowsThenTheShape)
{
    const CQR wide(CMatrix(2, 3));
    expectFailure<SizeMismatchException>([&] { wide.Solve(CMatrix(3, 1)); }, kRightHands);
    expectFailure<SizeMismatchException>([&] { wide.Solve(CMatrix(2, 1)); }, kUnderdetermined);
}

TEST(CLQ, FactorsReproduceTheMatrixAndHaveTheirStructure)
{
    forEachMatrix<CMatrix>(anyShape, [](const CMatrix& A) {
        const CLQ lq(A);
        const int p = std::min(A.Rows(), A.Cols());
        const CMatrix L = lq.L(), Q = lq.Q();
        ASSERT_EQ(L.Rows(), A.Rows());
        ASSERT_EQ(L.Cols(), p);
        ASSERT_EQ(Q.Rows(), p);
        ASSERT_EQ(Q.Cols(), A.Cols());
        EXPECT_LT(orthogonalityRatio(naiveAdjoint(Q)), kResidualLimit);
        EXPECT_LT(differenceRatio(A, naiveProduct(L, Q)), kResidualLimit);
        for (int j = 0; j < p; ++j) {
            for (int i = 0; i < j; ++i) EXPECT_EQ(L(i, j), 0.0);
        }
    });
}

TEST(CLQ, SolveChecksTheRowsThenTheShape)
{
    const CLQ tall(CMatrix(3, 2));
    expectFailure<SizeMismatchException>([&] { tall.Solve(CMatrix(2, 1)); }, kSizes);
    expectFailure<SizeMismatchException>([&] { tall.Solve(CMatrix(3, 1)); }, kOverdetermined);
}

// ---- Cholesky

TEST(CCholesky, FactorReproducesTheMatrix)
{
    const Threads one(1);
    for (const int n : {1, 2, 3, 7, 64, 65, 130}) {
        for (const double smallest : {1.0, 1e-8}) {
            SCOPED_TRACE(::testing::Message() << n << ", " << smallest);
            const CMatrix A = positiveDefinite(n, smallest);
            const CCholesky cholesky(A);
            ASSERT_TRUE(cholesky.Succeeded());
            const CMatrix L = cholesky.L().value(), B = rightHandsFor(A, 3);
            EXPECT_LT(differenceRatio(A, naiveProduct(L, naiveAdjoint(L))), kResidualLimit);
            EXPECT_LT(solveRatio(A, cholesky.Solve(B).value(), B), kResidualLimit);
            for (int j = 0; j < n; ++j) {
                EXPECT_GT(L(j, j).real(), 0.0);
                EXPECT_EQ(L(j, j).imag(), 0.0);
                for (int i = 0; i < j; ++i) EXPECT_EQ(L(i, j), 0.0);
            }
        }
    }
}

TEST(CCholesky, ReadsTheLowerTriangleAlone)
{
    CMatrix A = positiveDefinite(7, 1e-3), spoiled(A);
    for (int j = 0; j < 7; ++j) {
        for (int i = 0; i < j; ++i) spoiled(i, j) = i == 0 ? Complex(kNaN, kInf) : Complex(1e300, -1e300);
    }
    EXPECT_TRUE(identical(CCholesky(A).L().value(), CCholesky(spoiled).L().value()));
}

TEST(CCholesky, RefusesWhatIsNotSquareBeforeAnythingIsAllocated)
{
    const CMatrix A(3, 2);
    const FailingAllocator none(0);
    expectFailure<NotSquareMatrixException>([&] { CCholesky{A}; }, kCholeskyNotSquare);
    EXPECT_FALSE(none.hasFailed());
}

// ---- graded and real-valued matrices

// Row i is scaled by 10^(140 - 280*i/(n-1)).
CMatrix graded(int rows, int cols)
{
    CMatrix A = matrixWith<CMatrix>({rows, cols}, Spectrum::Random, kSeed);
    for (int i = 0; i < rows; ++i) {
        const double scale = std::pow(10.0, rows == 1 ? 140.0 : 140.0 - 280.0 * i / (rows - 1));
        for (int j = 0; j < cols; ++j) A(i, j) *= scale;
    }
    return A;
}

TEST(ComplexFactors, OfGradedMatricesReproduceThem)
{
    for (const Shape& shape : {Shape{1, 1}, {2, 2}, {9, 9}, {65, 65}, {9, 5}, {5, 9}}) {
        SCOPED_TRACE(shape);
        const CMatrix A = graded(shape.rows, shape.cols);
        const CLU lu(A);
        const CQR qr(A, true);
        const CLQ lq(A);
        EXPECT_LT(differenceRatio(A, naiveProduct(lu.P(), naiveProduct(lu.L(), lu.U()))), kResidualLimit);
        EXPECT_LT(differenceRatio(naiveProduct(A, qr.P()), naiveProduct(qr.Q(), qr.R())), kResidualLimit);
        EXPECT_LT(differenceRatio(A, naiveProduct(lq.L(), lq.Q())), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(qr.Q()), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(naiveAdjoint(lq.Q())), kResidualLimit);
        if (!A.IsSquare()) continue;
        const CMatrix B = rightHandsFor(A, 2);
        EXPECT_LT(solveRatio(A, lu.Solve(B), B), kResidualLimit);
    }
}

TEST(ComplexFactors, OfRealMatricesAreThoseOfTheRealClasses)
{
    const Matrix A = matrixWith({7, 7}, Spectrum::Random, kSeed), S = symmetricWith({5, 4, 3, 2, 1}, kSeed);
    const auto expectSame = [](const CMatrix& ours, const Matrix& real) {
        EXPECT_LT(differenceRatio(real.ToCMatrix(), ours), kResidualLimit);
        for (int j = 0; j < ours.Cols(); ++j) {
            for (int i = 0; i < ours.Rows(); ++i) EXPECT_EQ(ours(i, j).imag(), 0.0);
        }
    };
    const CMatrix C = A.ToCMatrix();
    EXPECT_EQ(CLU(C).GetPivots(), LU(A).GetPivots());
    expectSame(CLU(C).L(), LU(A).L());
    expectSame(CLU(C).U(), LU(A).U());
    expectSame(CQR(C).R(), QR(A).R());
    expectSame(CLQ(C).L(), LQ(A).L());
    expectSame(CCholesky(S.ToCMatrix()).L().value(), Cholesky(S).L().value());
}

// ---- memory and life

template <class Factors, class Members>
void expectFailuresLeaveNothing(const CMatrix& A, Members members)
{
    EXPECT_GT(failEachAllocation([&] { members(Factors(A)); }, [] { return true; }), 0);
}

TEST(ComplexFactors, RefusedMemoryLeavesNothingBehind)
{
    const CMatrix A = positiveDefinite(5, 0.1), B(5, 2), wide(3, 5), tall(5, 3);
    expectFailuresLeaveNothing<CLU>(
        A, [&](const CLU& lu) { lu.L(), lu.U(), lu.P(), lu.Solve(B), lu.Inverse(), lu.Determinant(); });
    expectFailuresLeaveNothing<CQR>(tall, [&](const CQR& qr) { qr.Q(), qr.R(), qr.P(), qr.Solve(B); });
    expectFailuresLeaveNothing<CLQ>(wide, [&](const CLQ& lq) { lq.Q(), lq.L(), lq.Solve(CMatrix(3, 2)); });
    expectFailuresLeaveNothing<CCholesky>(
        A, [&](const CCholesky& cholesky) { cholesky.L(), cholesky.Solve(B), cholesky.Inverse(); });
}

template <class Factors>
void expectMovesAndReleases(const CMatrix& A)
{
    static_assert(!std::is_copy_constructible_v<Factors> && std::is_nothrow_move_constructible_v<Factors>);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    Factors first(A), second(std::move(first));
    EXPECT_GT(TrellConfiguration::TotalMemory(), before);
    second.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    second.Dispose();
    first = std::move(second);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(ComplexFactors, MoveAndGiveBackWhatTheyTook)
{
    const CMatrix A = positiveDefinite(5, 0.1);
    expectMovesAndReleases<CLU>(A);
    expectMovesAndReleases<CQR>(A);
    expectMovesAndReleases<CLQ>(A);
    expectMovesAndReleases<CCholesky>(A);
}

TEST(ComplexFactors, UseAfterReleaseIsRefusedWhenHardened)
{
    const CMatrix A = positiveDefinite(3, 0.1);
    CLU lu(A);
    CQR qr(A);
    CLQ lq(A);
    CCholesky cholesky(A);
    lu.Dispose(), qr.Dispose(), lq.Dispose(), cholesky.Dispose();
    expectRefusedWhenHardened([&] { lu.L(); });
    expectRefusedWhenHardened([&] { qr.R(); });
    expectRefusedWhenHardened([&] { lq.L(); });
    expectRefusedWhenHardened([&] { cholesky.L(); });
}

} // namespace
} // namespace Velmar::Lintrix::testing
