// NaN and infinities in the matrix, in every place: each decomposition comes to an end, says nothing on the
// standard streams, and every cell of its answers has been written.

#include <lintrix/decompositions/cholesky.h>
#include <lintrix/decompositions/eigen.h>
#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/decompositions/sym_eigen.h>
#include <lintrix/dense/vector.h>

#include "tests/decompositions/cases.h"

#include <tests/support/poisoned_allocator.h>

#include <limits>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kFailed = "Operation has failed to complete.";
constexpr const char* kSingular = "This operation requires a non-singular matrix.";
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Whatever stands on the standard streams when it goes is a failure of the test.
class ExpectedSilence {
public:
    ExpectedSilence()
    {
        ::testing::internal::CaptureStdout();
        ::testing::internal::CaptureStderr();
    }
    ~ExpectedSilence()
    {
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    }
    ExpectedSilence(const ExpectedSilence&) = delete;
    ExpectedSilence& operator=(const ExpectedSilence&) = delete;
};

template <class M = Matrix>
M filled(const Shape& shape, double value)
{
    M A(shape.rows, shape.cols);
    for (int j = 0; j < shape.cols; ++j) {
        for (int i = 0; i < shape.rows; ++i) A(i, j) = value;
    }
    return A;
}

// All rows of a small matrix; of a large one the ends, the middle and both sides of the block size of 64.
std::vector<int> placesAlong(int side)
{
    if (side > 8) return {0, 63, 64, side / 2, side - 1};
    std::vector<int> places;
    for (int i = 0; i < side; ++i) places.push_back(i);
    return places;
}

// Each number that is not finite, for a complex cell in either part.
void forEachBadCell(const Matrix&, auto use)
{
    for (const double value : {kNaN, kInfinity, -kInfinity}) use(value);
}
void forEachBadCell(const CMatrix&, auto use)
{
    for (const double value : {kNaN, kInfinity, -kInfinity}) {
        use(Complex(value, 0.5));
        use(Complex(0.5, value));
    }
}

// Runs `check(A)` for matrices of random numbers and of ones with a single cell that is not finite, at each
// place (row, column) that `wanted` keeps.
template <class M = Matrix, class Wanted, class Check>
void forEachSpoiled(const Shape& shape, Wanted wanted, Check check)
{
    for (const M& whole : {matrixWith<M>(shape, Spectrum::Random, kSeed), filled<M>(shape, 1.0)}) {
        for (const int i : placesAlong(shape.rows)) {
            for (const int j : placesAlong(shape.cols)) {
                if (!wanted(i, j)) continue;
                forEachBadCell(whole, [&](const auto& value) {
                    SCOPED_TRACE(::testing::Message() << shape << ", " << value << " at " << i << ", " << j);
                    M A(whole);
                    A(i, j) = value;
                    check(A);
                });
            }
        }
    }
}

bool anywhere(int, int)
{
    return true;
}
bool inLowerTriangle(int i, int j)
{
    return i >= j;
}

std::vector<Shape> squares()
{
    return {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}, {8, 8}, {65, 65}, {130, 130}};
}
std::vector<Shape> squaresAndRectangles()
{
    std::vector<Shape> shapes{{65, 130}, {130, 65}, {130, 7}, {7, 130}};
    for (const Shape& shape : squares()) shapes.push_back(shape);
    for (int m = 1; m <= 8; ++m) {
        for (int n = 1; n <= 8; ++n) {
            if (m != n) shapes.push_back({m, n});
        }
    }
    return shapes;
}

// `answers(A)` is a list of matrices. Two runs over blocks that held different bytes must agree.
template <class M, class Answers>
void expectNoCellUnwritten(const M& A, Answers answers)
{
    std::vector<M> first, second;
    {
        const PoisonedAllocator poison(0x3f); // about 4.8e-4
        first = answers(A);
    }
    {
        const PoisonedAllocator poison(0xc5); // about -2.7e27
        second = answers(A);
    }
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t k = 0; k < first.size(); ++k) EXPECT_TRUE(identical(first[k], second[k])) << k;
}

template <class M>
void expectZero(const M& A)
{
    EXPECT_TRUE(identical(A, M(A.Rows(), A.Cols())));
}

// ---- a failed state

TEST(NonFinite, SVDHasFailedAndItsFactorsAreZero)
{
    const Threads one(1);
    const ExpectedSilence silence;
    for (const Shape& shape : squaresAndRectangles()) {
        forEachSpoiled(shape, anywhere, [](const Matrix& A) {
            const PoisonedAllocator poison(0x3f);
            const SVD svd(A), values(A, true);
            ASSERT_FALSE(svd.Succeeded());
            ASSERT_FALSE(values.Succeeded());
            expectZero(svd.S());
            expectZero(svd.U().value());
            expectZero(svd.VH().value());
            expectZero(svd.V().value());
            expectZero(values.S());
            EXPECT_EQ(values.SingularValue(0), 0.0);
            EXPECT_EQ(svd.Rank(), 0);
            EXPECT_EQ(svd.Rank(0.0), 0);
            expectZero(svd.PseudoInverse(1.0).value());
            EXPECT_EQ(values.PseudoInverse(), std::nullopt);
        });
    }
}

TEST(NonFinite, RankAndPseudoInverseAreRefused)
{
    const ExpectedSilence silence;
    for (const Shape& shape : {Shape{1, 1}, Shape{3, 3}, Shape{5, 3}, Shape{3, 5}}) {
        forEachSpoiled(shape, anywhere, [](const Matrix& A) {
            expectFailure<OperationFailedException>([&] { A.Rank(); }, kFailed);
            expectFailure<OperationFailedException>([&] { A.PseudoInverse(); }, kFailed);
            expectFailure<OperationFailedException>([&] { A.PseudoInverse(1.0); }, kFailed);
        });
    }
}

TEST(NonFinite, SymEigenHasFailedAndItsEigenpairsAreZero)
{
    const Threads one(1);
    const ExpectedSilence silence;
    for (const Shape& shape : squares()) {
        forEachSpoiled(shape, inLowerTriangle, [](const Matrix& A) {
            const PoisonedAllocator poison(0x3f);
            const SymEigen eigen(A), values(A, false);
            ASSERT_FALSE(eigen.Succeeded());
            ASSERT_FALSE(values.Succeeded());
            expectZero(eigen.D());
            expectZero(eigen.Eigenvectors().value());
            expectZero(values.D());
            EXPECT_EQ(values.Eigenvectors(), std::nullopt);
        });
    }
}

TEST(NonFinite, CholeskyHasFailedAndAnswersAsAFailedOne)
{
    const Threads one(1);
    const ExpectedSilence silence;
    for (const Shape& shape : squares()) {
        forEachSpoiled(shape, inLowerTriangle, [](const Matrix& A) {
            const Cholesky cholesky(A + identity(A.Rows()) * 1000.0); // positive definite but for the cell
            ASSERT_FALSE(cholesky.Succeeded());
            EXPECT_EQ(cholesky.Size(), A.Rows());
            EXPECT_EQ(cholesky.L(), std::nullopt);
            expectFailure<SingularMatrixException>([&] { cholesky.Solve(Matrix(A.Rows() + 1, 1)); },
                                                   kSingular);
            expectFailure<SingularMatrixException>([&] { cholesky.Inverse(); }, kSingular);
        });
    }
}

TEST(NonFinite, StrictUpperTriangleIsNotReadWhereTheLowerOneIsMeant)
{
    for (const double value : {kNaN, kInfinity, -kInfinity}) {
        const Matrix A{{4, value, value}, {0, 9, value}, {0, 0, 16}};
        EXPECT_TRUE(Cholesky(A).Succeeded());
        EXPECT_TRUE(SymEigen(A).Succeeded());
        EXPECT_TRUE(identical(SymEigen(A).Eigenvalues(), Vector{16, 9, 4}));
    }
}

// ---- no state: what is not finite runs through the factors

TEST(NonFinite, LUKeepsAPermutationAndWritesEveryCell)
{
    const Threads one(1);
    const ExpectedSilence silence;
    for (const Shape& shape : squaresAndRectangles()) {
        forEachSpoiled(shape, anywhere, [](const Matrix& A) {
            ASSERT_TRUE(isPermutation(LU(A).GetPivots(), A.Rows()));
            expectNoCellUnwritten(A, [](const Matrix& B) {
                const LU lu(B);
                std::vector<Matrix> answers{lu.L(), lu.U(), lu.P()};
                if (!B.IsSquare() || lu.IsSingular()) return answers;
                answers.push_back(Matrix(1, 1, lu.Determinant()));
                answers.push_back(lu.Inverse());
                answers.push_back(lu.Solve(filled({B.Rows(), 2}, 1.0)));
                return answers;
            });
        });
    }
}

TEST(NonFinite, QRKeepsAPermutationAndWritesEveryCell)
{
    const Threads one(1);
    const ExpectedSilence silence;
    for (const Shape& shape : squaresAndRectangles()) {
        forEachSpoiled(shape, anywhere, [](const Matrix& A) {
            for (const bool pivoting : {false, true}) {
                ASSERT_TRUE(isPermutation(QR(A, pivoting).GetPivots(), A.Cols()));
                expectNoCellUnwritten(A, [&](const Matrix& B) {
                    const QR qr(B, pivoting);
                    std::vector<Matrix> answers{qr.Q(), qr.R(), qr.P()};
                    if (B.Rows() >= B.Cols()) answers.push_back(qr.Solve(filled({B.Rows(), 2}, 1.0)));
                    return answers;
                });
            }
        });
    }
}

TEST(NonFinite, LQWritesEveryCell)
{
    const Threads one(1);
    const ExpectedSilence silence;
    for (const Shape& shape : squaresAndRectangles()) {
        forEachSpoiled(shape, anywhere, [](const Matrix& A) {
            expectNoCellUnwritten(A, [](const Matrix& B) {
                const LQ lq(B);
                std::vector<Matrix> answers{lq.Q(), lq.L()};
                if (B.Rows() <= B.Cols()) answers.push_back(lq.Solve(filled({B.Rows(), 2}, 1.0)));
                return answers;
            });
        });
    }
}

TEST(NonFinite, FactorsOfANaNAreNotFinite)
{
    const Matrix A{{1, 2, 3}, {4, kNaN, 6}, {7, 8, 10}};
    const LU lu(A);
    EXPECT_FALSE(lu.IsSingular()); // no pivot is zero
    EXPECT_FALSE(allFinite(lu.U()));
    EXPECT_FALSE(allFinite(QR(A).R()));
    EXPECT_FALSE(allFinite(LQ(A).L()));
    EXPECT_FALSE(allFinite(A.Solve(filled({3, 1}, 1.0))));
}

// ---- complex cells, of which either part may not be finite

std::vector<Shape> fewShapes()
{
    return {{1, 1}, {2, 2}, {3, 3}, {5, 5}, {3, 5}, {5, 3}, {1, 4}, {4, 1}, {65, 65}};
}

TEST(ComplexNonFinite, FailedStatesAreThoseOfTheRealClasses)
{
    const Threads one(1);
    const ExpectedSilence silence;
    for (const Shape& shape : fewShapes()) {
        forEachSpoiled<CMatrix>(shape, anywhere, [](const CMatrix& A) {
            const PoisonedAllocator poison(0x3f);
            const CSVD svd(A), values(A, true);
            ASSERT_FALSE(svd.Succeeded());
            ASSERT_FALSE(values.Succeeded());
            expectZero(svd.S());
            expectZero(svd.U().value());
            expectZero(svd.V().value());
            EXPECT_EQ(svd.Rank(), 0);
            EXPECT_EQ(svd.PseudoInverse(), std::nullopt);
        });
        if (shape.rows != shape.cols) continue;
        forEachSpoiled<CMatrix>(shape, inLowerTriangle, [](const CMatrix& A) {
            const PoisonedAllocator poison(0x3f);
            const CSymEigen eigen(A);
            ASSERT_FALSE(eigen.Succeeded());
            expectZero(eigen.D());
            expectZero(eigen.Eigenvectors().value());
            ASSERT_FALSE(CCholesky(A).Succeeded());
            EXPECT_EQ(CCholesky(A).L(), std::nullopt);
        });
    }
}

TEST(ComplexNonFinite, EigenvaluesAreNaN)
{
    const Threads one(1);
    const ExpectedSilence silence;
    for (const int n : {1, 2, 3, 65}) {
        forEachSpoiled<CMatrix>({n, n}, anywhere, [](const CMatrix& A) {
            const CEigen eigen(A, true, true);
            ASSERT_TRUE(eigen.Succeeded());
            for (int i = 0; i < A.Rows(); ++i) {
                ASSERT_TRUE(std::isnan(eigen.Eigenvalue(i).real()));
                ASSERT_TRUE(std::isnan((*eigen.Eigenvector(i))(0).real()));
                ASSERT_TRUE(std::isnan((*eigen.LeftEigenvector(i))(0).real()));
            }
        });
    }
}

TEST(ComplexNonFinite, FactorsComeToAnEndAndEveryCellIsWritten)
{
    const Threads one(1);
    const ExpectedSilence silence;
    for (const Shape& shape : fewShapes()) {
        forEachSpoiled<CMatrix>(shape, anywhere, [](const CMatrix& A) {
            ASSERT_TRUE(isPermutation(CLU(A).GetPivots(), A.Rows()));
            ASSERT_TRUE(isPermutation(CQR(A, true).GetPivots(), A.Cols()));
            expectNoCellUnwritten(A, [](const CMatrix& B) {
                const CLU lu(B);
                const CQR qr(B), pivoting(B, true);
                const CLQ lq(B);
                std::vector<CMatrix> answers{lu.L(), lu.U(), qr.Q(), qr.R(), pivoting.Q(), lq.L(), lq.Q()};
                const CMatrix b = filled<CMatrix>({B.Rows(), 2}, 1.0);
                if (B.Rows() >= B.Cols()) answers.push_back(qr.Solve(b));
                if (B.Rows() <= B.Cols()) answers.push_back(lq.Solve(b));
                if (!B.IsSquare() || lu.IsSingular()) return answers;
                answers.push_back(lu.Inverse());
                answers.push_back(lu.Solve(b));
                return answers;
            });
        });
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
