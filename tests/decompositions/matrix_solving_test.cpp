// The operations of Matrix that a factorization drives: inverse, determinant, systems, division.

#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>

#include "tests/decompositions/cases.h"

#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kSingular = "This operation requires a non-singular matrix.";
constexpr const char* kDeterminantNotSquare = "Determinant can be calculated only for a square matrix.";
constexpr const char* kInverseNotSquare = "Matrix inverse can be calculated only for a square matrix.";
constexpr const char* kRightHands = "Right hand sides matrix not sized correctly.";
constexpr const char* kRows = "Matrices do not have the same number of rows.";
constexpr const char* kColumns = "Matrices do not have ths same number of columns.";

const Matrix kSingularMatrix{{1, 2}, {2, 4}};

// ---- inverse and determinant

TEST(MatrixInverse, TimesTheMatrixIsTheIdentity)
{
    forEachMatrix(square, [](const Matrix& A) {
        const Matrix inverse = A.Inverse();
        EXPECT_LT(solveRatio(naiveTranspose(A), naiveTranspose(inverse), identity(A.Rows())), kResidualLimit);
        EXPECT_TRUE(identical(inverse, LU(A).Inverse()));
    });
}

TEST(MatrixInverse, SingularMatrixRaisesTheDefaultText)
{
    expectFailure<SingularMatrixException>([] { kSingularMatrix.Inverse(); }, kSingular);
    expectFailure<SingularMatrixException>([] { Matrix(1, 1).Inverse(); }, kSingular);
}

TEST(MatrixInverse, ZeroPivotOfARectangularMatrixComesBeforeItsShape)
{
    expectFailure<SingularMatrixException>([] { Matrix(2, 3).Inverse(); }, kSingular);
    expectFailure<SingularMatrixException>([] { Matrix(3, 2).Inverse(); }, kSingular);
    expectFailure<SingularMatrixException>([] { Matrix{{1, 2, 3}, {2, 4, 6}}.Inverse(); }, kSingular);
    expectFailure<NotSquareMatrixException>([] { Matrix(2, 3, 1.0).Inverse(); }, kInverseNotSquare);
    expectFailure<NotSquareMatrixException>([] { Matrix(3, 2, 1.0).Inverse(); }, kInverseNotSquare);
}

TEST(MatrixDeterminant, IsThatOfTheFactorization)
{
    EXPECT_EQ((Matrix{{2}}).Determinant(), 2.0);
    EXPECT_EQ((Matrix{{1, 2}, {4, 4}}).Determinant(), -4.0);
    EXPECT_EQ(kSingularMatrix.Determinant(), 0.0);
    EXPECT_EQ((Matrix{{1e200, 0}, {0, 1e200}}).Determinant(), std::numeric_limits<double>::infinity());
    EXPECT_EQ((Matrix{{1e-200, 0}, {0, 1e-200}}).Determinant(), 0.0);
}

TEST(MatrixDeterminant, IsRefusedForARectangularMatrix)
{
    expectFailure<NotSquareMatrixException>([] { Matrix(2, 3).Determinant(); }, kDeterminantNotSquare);
    expectFailure<NotSquareMatrixException>([] { Matrix(3, 2, 1.0).Determinant(); }, kDeterminantNotSquare);
}

// ---- systems

TEST(MatrixSolve, TakesTheRoadOfTheShapeAndTellsIt)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const Matrix B = rightHandsFor(A, 3);
        const SolveRoad expected = A.Rows() == A.Cols()  ? SolveRoad::LU
                                   : A.Rows() > A.Cols() ? SolveRoad::QR
                                                         : SolveRoad::LQ;
        SolveRoad road{};
        const Matrix X = A.Solve(B, road);
        EXPECT_EQ(road, expected);
        EXPECT_TRUE(identical(X, A.Solve(B)));
        EXPECT_TRUE(identical(X, expected == SolveRoad::LU   ? LU(A).Solve(B)
                                 : expected == SolveRoad::QR ? QR(A).Solve(B)
                                                             : LQ(A).Solve(B)));
    });
}

TEST(MatrixSolve, AnswersSquareTallAndWideSystems)
{
    forEachMatrix(anyShape, [](const Matrix& A) {
        const Matrix b = rightHandsFor(A, 1), x = A.Solve(b);
        ASSERT_EQ(x.Rows(), A.Cols());
        ASSERT_EQ(x.Cols(), 1);
        EXPECT_LT(normalEquationRatio(A, x, b), kResidualLimit);
        if (A.Rows() > A.Cols()) return;
        EXPECT_LT(solveRatio(A, x, b), kResidualLimit);
    });
}

TEST(MatrixSolve, ExactlySingularSquareSystemGoesToLQAndRaisesNothing)
{
    const Threads one(1);
    for (const Matrix& A : {kSingularMatrix, Matrix(1, 1), Matrix(4, 4), Matrix{{0, 1}, {0, 2}}}) {
        const Matrix B = rightHandsFor(A, 2);
        SolveRoad road{};
        EXPECT_TRUE(identical(A.Solve(B, road), LQ(A).Solve(B)));
        EXPECT_EQ(road, SolveRoad::SingularLQ);
        EXPECT_TRUE(identical(A.Solve(B), LQ(A).Solve(B)));
    }
    EXPECT_FALSE(allFinite(Matrix(4, 4).Solve(Matrix(4, 1, 1.0))));
}

// The reciprocals of the pivots are beyond the largest number; a power of two brings the system up exactly.
TEST(MatrixSolve, TinySystemsAreSolvedOnceTheyAreMultipliedByAPowerOfTwo)
{
    const double tiny = 0x1p-1030, up = 0x1p1000;
    const Matrix square = Matrix{{2, 1}, {1, 1}} * tiny, tall = Matrix{{2, 1}, {1, 1}, {0, 1}} * tiny;
    const Matrix b = Matrix{{3}, {2}} * tiny, tallB = Matrix{{3}, {2}, {1}} * tiny, x{{1}, {1}};
    EXPECT_LT(differenceRatio(x, (square * up).Solve(b * up)), kResidualLimit);
    EXPECT_LT(differenceRatio(x, (tall * up).Solve(tallB * up)), kResidualLimit);
    EXPECT_LT(differenceRatio(x, LQ(square * up).Solve(b * up)), kResidualLimit);
    EXPECT_TRUE(identical(LU(square * up).L(), Matrix{{1, 0}, {0.5, 1}}));
}

TEST(MatrixSolve, WrongNumberOfRowsIsRefusedFirst)
{
    for (const Shape shape : {Shape{3, 3}, Shape{5, 3}, Shape{3, 5}}) {
        for (const int rows : {1, 4, 6}) {
            const Matrix A(shape.rows, shape.cols), B(rows, 2); // singular besides
            SolveRoad road{};
            expectFailure<SizeMismatchException>([&] { A.Solve(B); }, kRightHands);
            expectFailure<SizeMismatchException>([&] { A.Solve(B, road); }, kRightHands);
        }
    }
}

TEST(MatrixSolve, NothingIsWrittenButTheResult)
{
    for (const Shape& shape : allShapes()) {
        const Matrix A = matrixWith(shape, Spectrum::Random, kSeed), B = rightHandsFor(A, 2);
        const Matrix beforeA(A), beforeB(B);
        A.Solve(B);
        EXPECT_TRUE(identical(A, beforeA)) << shape;
        EXPECT_TRUE(identical(B, beforeB)) << shape;
    }
}

// ---- division

TEST(MatrixDivision, LeftDivisionSolvesFromTheLeft)
{
    for (const Shape& shape : allShapes()) {
        const Threads one(1);
        const Matrix A = matrixWith(shape, Spectrum::Geometric, kSeed), B = rightHandsFor(A, 1);
        const Matrix X = Matrix::LDivide(A, B);
        EXPECT_LT(normalEquationRatio(A, X, B), kResidualLimit) << shape;
        EXPECT_TRUE(identical(X, A.Solve(B))) << shape;
    }
}

TEST(MatrixDivision, LeftDivisionComparesTheRows)
{
    const Matrix A(3, 3), B(2, 3);
    expectFailure<SizeMismatchException>([&] { Matrix::LDivide(A, B); }, kRows);
    expectFailure<SizeMismatchException>([&] { Matrix::LDivide(B, A); }, kRows);
}

TEST(MatrixDivision, RightDivisionSolvesFromTheRight)
{
    forEachMatrix(square, [](const Matrix& B) {
        const Matrix A = naiveTranspose(rightHandsFor(B, 5));
        const Matrix X = A / B;
        ASSERT_EQ(X.Rows(), 5);
        ASSERT_EQ(X.Cols(), B.Rows());
        EXPECT_LT(solveRatio(naiveTranspose(B), naiveTranspose(X), naiveTranspose(A)), kResidualLimit);
        EXPECT_TRUE(identical(Matrix::Divide(A, B), X));
    });
}

TEST(MatrixDivision, RightDivisionIsTheSolutionOfTheTransposedSystem)
{
    const Threads one(1);
    for (const Shape& shape : allShapes()) {
        const Matrix B = matrixWith(shape, Spectrum::Random, kSeed), Bt = naiveTranspose(B);
        const Matrix At = rightHandsFor(Bt, 3);
        EXPECT_TRUE(identical(naiveTranspose(At) / B, naiveTranspose(Bt.Solve(At)))) << shape;
    }
}

TEST(MatrixDivision, RightDivisionComparesTheColumns)
{
    const Matrix A(3, 3), B(3, 2);
    expectFailure<SizeMismatchException>([&] { A / B; }, kColumns);
    expectFailure<SizeMismatchException>([&] { B / A; }, kColumns);
    expectFailure<SizeMismatchException>([&] { Matrix::Divide(A, B); }, kColumns);
}

TEST(MatrixDivision, ExactlySingularDivisorRaisesNothing)
{
    EXPECT_FALSE(allFinite(Matrix(1, 2, 1.0) / Matrix(2, 2)));
    EXPECT_FALSE(allFinite(Matrix::LDivide(Matrix(2, 2), Matrix(2, 1, 1.0))));
}

TEST(MatrixDivision, ScalarOverMatrixInvertsNothing)
{
    const Matrix A{{4, 0}, {-8, 0.5}}, quotient = 2.0 / A;
    EXPECT_EQ(quotient(0, 0), 0.5);
    EXPECT_EQ(quotient(0, 1), std::numeric_limits<double>::infinity());
    EXPECT_EQ(quotient(1, 0), -0.25);
    EXPECT_EQ(quotient(1, 1), 4.0);
    EXPECT_TRUE(identical(Matrix::Divide(2.0, A), quotient));
}

// ---- memory and life

// Every operation on a matrix of every road. All of them must give back what they took, however they end.
template <class Visit>
void forEachOperation(Visit visit)
{
    const Matrix regular = matrixWith({5, 5}, Spectrum::Random, kSeed);
    const Matrix tall = matrixWith({7, 5}, Spectrum::Random, kSeed), wide = naiveTranspose(tall);
    const Matrix B(5, 2, 1.0), tallB(7, 2, 1.0);
    visit("inverse", [&] { regular.Inverse(); });
    visit("determinant", [&] { regular.Determinant(); });
    visit("square system", [&] { regular.Solve(B); });
    visit("singular system", [&] { kSingularMatrix.Solve(kSingularMatrix); });
    visit("tall system", [&] { tall.Solve(tallB); });
    visit("wide system", [&] { wide.Solve(B); });
    visit("left division", [&] { Matrix::LDivide(regular, B); });
    visit("right division", [&] { wide / wide; });
}

TEST(MatrixSolving, RefusedMemoryLeavesNothingBehind)
{
    forEachOperation([](const char* name, auto operation) {
        SCOPED_TRACE(name);
        EXPECT_GE(failEachAllocation(operation, [] { return true; }), 2);
    });
}

TEST(MatrixSolving, OperationsGiveBackWhatTheyTook)
{
    forEachOperation([](const char* name, auto operation) {
        const std::int64_t before = TrellConfiguration::TotalMemory();
        operation();
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before) << name;
    });
}

TEST(MatrixSolving, FailuresGiveBackWhatWasTaken)
{
    const Matrix rectangular(2, 3, 1.0);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    EXPECT_THROW(kSingularMatrix.Inverse(), SingularMatrixException);
    EXPECT_THROW(rectangular.Inverse(), NotSquareMatrixException);
    EXPECT_THROW(rectangular.Determinant(), NotSquareMatrixException);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(MatrixSolving, UseAfterReleaseIsRefusedWhenHardened)
{
    const Matrix A = identity(2);
    Matrix gone(2, 2);
    gone.Dispose();
    expectRefusedWhenHardened([&] { gone.Inverse(); });
    expectRefusedWhenHardened([&] { gone.Determinant(); });
    expectRefusedWhenHardened([&] { gone.Solve(A); });
    expectRefusedWhenHardened([&] { A.Solve(gone); });
    expectRefusedWhenHardened([&] { Matrix::LDivide(gone, A); });
    expectRefusedWhenHardened([&] { A / gone; });
    expectRefusedWhenHardened([&] { gone / A; });
}

} // namespace
} // namespace Velmar::Lintrix::testing
