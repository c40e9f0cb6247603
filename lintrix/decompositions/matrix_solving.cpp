// The operations of Matrix and CMatrix that a factorization drives: inverse, determinant, systems, division.

#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>

namespace Velmar::Lintrix {

namespace detail {

namespace {

/// The factorizations that solve systems, by cell type.
template <class Cell>
struct Solvers;
template <>
struct Solvers<double> {
    using ByLU = LU;
    using ByQR = QR;
    using ByLQ = LQ;
};
template <>
struct Solvers<Complex> {
    using ByLU = CLU;
    using ByQR = CQR;
    using ByLQ = CLQ;
};

} // namespace

template <class Cell>
Cell DenseMatrix<Cell>::Determinant() const
{
    return typename Solvers<Cell>::ByLU(self()).Determinant();
}

template <class Cell>
auto DenseMatrix<Cell>::Solve(const M& rightHands) const -> M
{
    SolveRoad road{};
    return Solve(rightHands, road);
}

// By the factorization that the shape asks for; `road` tells which.
template <class Cell>
auto DenseMatrix<Cell>::Solve(const M& rightHands, SolveRoad& road) const -> M
{
    if (rightHands.Rows() != mRows) {
        throw SizeMismatchException("Right hand sides matrix not sized correctly.");
    }
    road = SolveRoad::LQ;
    if (mRows == mCols) {
        const typename Solvers<Cell>::ByLU lu(self());
        road = lu.IsSingular() ? SolveRoad::SingularLQ : SolveRoad::LU;
        if (road == SolveRoad::LU) return lu.Solve(rightHands);
    } else if (mRows > mCols) {
        road = SolveRoad::QR;
        return typename Solvers<Cell>::ByQR(self()).Solve(rightHands);
    }
    return typename Solvers<Cell>::ByLQ(self()).Solve(rightHands); // wide, or square and exactly singular
}

template <class Cell>
auto DenseMatrix<Cell>::LDivide(const M& A, const M& B) -> M
{
    if (A.Rows() != B.Rows()) throw SizeMismatchException("Matrices do not have the same number of rows.");
    return A.Solve(B);
}

// X*B = A is B'*X' = A', with the plain transposes of complex matrices, too.
template <class Cell>
auto DenseMatrix<Cell>::Divide(const M& A, const M& B) -> M
{
    if (A.Cols() != B.Cols()) {
        throw SizeMismatchException("Matrices do not have ths same number of columns.");
    }
    return B.Transpose().Solve(A.Transpose()).Transpose();
}

// These members alone: the rooms before this one have instantiated the others.
template double DenseMatrix<double>::Determinant() const;
template Matrix DenseMatrix<double>::Solve(const Matrix&) const;
template Matrix DenseMatrix<double>::Solve(const Matrix&, SolveRoad&) const;
template Matrix DenseMatrix<double>::LDivide(const Matrix&, const Matrix&);
template Matrix DenseMatrix<double>::Divide(const Matrix&, const Matrix&);
template Complex DenseMatrix<Complex>::Determinant() const;
template CMatrix DenseMatrix<Complex>::Solve(const CMatrix&) const;
template CMatrix DenseMatrix<Complex>::Solve(const CMatrix&, SolveRoad&) const;
template CMatrix DenseMatrix<Complex>::LDivide(const CMatrix&, const CMatrix&);
template CMatrix DenseMatrix<Complex>::Divide(const CMatrix&, const CMatrix&);

} // namespace detail

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

} // namespace Velmar::Lintrix
