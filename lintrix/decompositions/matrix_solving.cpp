// The operations of Matrix and CMatrix that a factorization drives: inverse, determinant, systems, division.

#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>

namespace Velmar::Lintrix {

namespace {

/// A*X = rightHands by the factorization that the shape of A asks for; `road` tells which.
template <class LUFactors, class QRFactors, class LQFactors, class M>
M solution(const M& A, const M& rightHands, SolveRoad& road)
{
    if (rightHands.Rows() != A.Rows()) {
        throw SizeMismatchException("Right hand sides matrix not sized correctly.");
    }
    road = SolveRoad::LQ;
    if (A.Rows() == A.Cols()) {
        const LUFactors lu(A);
        road = lu.IsSingular() ? SolveRoad::SingularLQ : SolveRoad::LU;
        if (road == SolveRoad::LU) return lu.Solve(rightHands);
    } else if (A.Rows() > A.Cols()) {
        road = SolveRoad::QR;
        return QRFactors(A).Solve(rightHands);
    }
    return LQFactors(A).Solve(rightHands); // wide, or square and exactly singular
}

template <class M>
M leftQuotient(const M& A, const M& B)
{
    if (A.Rows() != B.Rows()) throw SizeMismatchException("Matrices do not have the same number of rows.");
    return A.Solve(B);
}

// X*B = A is B'*X' = A', with the plain transposes of complex matrices, too.
template <class M>
M rightQuotient(const M& A, const M& B)
{
    if (A.Cols() != B.Cols()) {
        throw SizeMismatchException("Matrices do not have ths same number of columns.");
    }
    return B.Transpose().Solve(A.Transpose()).Transpose();
}

} // namespace

Matrix Matrix::Inverse() const
{
    const LU lu(*this);
    if (lu.IsSingular()) throw SingularMatrixException(); // before the shape is looked at
    return lu.Inverse();
}

// A singular matrix fails in the words of CLU::Inverse, a rectangular one always as not square.
CMatrix CMatrix::Inverse() const
{
    return CLU(*this).Inverse();
}

double Matrix::Determinant() const
{
    return LU(*this).Determinant();
}

Complex CMatrix::Determinant() const
{
    return CLU(*this).Determinant();
}

Matrix Matrix::Solve(const Matrix& rightHands) const
{
    SolveRoad road{};
    return Solve(rightHands, road);
}

Matrix Matrix::Solve(const Matrix& rightHands, SolveRoad& road) const
{
    return solution<LU, QR, LQ>(*this, rightHands, road);
}

CMatrix CMatrix::Solve(const CMatrix& rightHands) const
{
    SolveRoad road{};
    return Solve(rightHands, road);
}

CMatrix CMatrix::Solve(const CMatrix& rightHands, SolveRoad& road) const
{
    return solution<CLU, CQR, CLQ>(*this, rightHands, road);
}

Matrix Matrix::LDivide(const Matrix& A, const Matrix& B)
{
    return leftQuotient(A, B);
}

CMatrix CMatrix::LDivide(const CMatrix& A, const CMatrix& B)
{
    return leftQuotient(A, B);
}

Matrix operator/(const Matrix& A, const Matrix& B)
{
    return rightQuotient(A, B);
}

CMatrix operator/(const CMatrix& A, const CMatrix& B)
{
    return rightQuotient(A, B);
}

} // namespace Velmar::Lintrix
