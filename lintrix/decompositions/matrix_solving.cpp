// The operations of Matrix that a factorization drives: inverse, determinant, systems, division.

#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/dense/matrix.h>

namespace Velmar::Lintrix {

Matrix Matrix::Inverse() const
{
    const LU lu(*this);
    if (lu.IsSingular()) throw SingularMatrixException(); // before the shape is looked at
    return lu.Inverse();
}

double Matrix::Determinant() const
{
    return LU(*this).Determinant();
}

Matrix Matrix::Solve(const Matrix& rightHands) const
{
    SolveRoad road{};
    return Solve(rightHands, road);
}

Matrix Matrix::Solve(const Matrix& rightHands, SolveRoad& road) const
{
    if (rightHands.mRows != mRows) {
        throw SizeMismatchException("Right hand sides matrix not sized correctly.");
    }
    road = SolveRoad::LQ;
    if (mRows == mCols) {
        const LU lu(*this);
        road = lu.IsSingular() ? SolveRoad::SingularLQ : SolveRoad::LU;
        if (road == SolveRoad::LU) return lu.Solve(rightHands);
    } else if (mRows > mCols) {
        road = SolveRoad::QR;
        return QR(*this).Solve(rightHands);
    }
    return LQ(*this).Solve(rightHands); // wide, or square and exactly singular
}

Matrix Matrix::LDivide(const Matrix& A, const Matrix& B)
{
    if (A.mRows != B.mRows) throw SizeMismatchException("Matrices do not have the same number of rows.");
    return A.Solve(B);
}

// X*B = A is B'*X' = A'.
Matrix operator/(const Matrix& A, const Matrix& B)
{
    if (A.mCols != B.mCols) {
        throw SizeMismatchException("Matrices do not have ths same number of columns.");
    }
    return B.Transpose().Solve(A.Transpose()).Transpose();
}

} // namespace Velmar::Lintrix
