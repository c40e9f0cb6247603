// The products of CMatrix that Matrix answers otherwise.

#include <lintrix/complex/cmatrix.h>

#include <lintrix/complex/cvector.h>

namespace Velmar::Lintrix {

CMatrix operator*(const CMatrix& A, const Matrix& B)
{
    return A * B.ToCMatrix();
}

// The named forms and the operators differ in the length of their result: each pair has one that takes every
// shape, and one whose length fits square matrices alone.

CVector CMatrix::Multiply(const CMatrix& A, const CVector& x)
{
    CVector y(A.mCols);
    Multiply(1.0, TransposeMode::NotTransposed, A, x, 0.0, y);
    return y;
}

CVector operator*(const CVector& x, const CMatrix& A)
{
    CVector y(A.Rows());
    CMatrix::Multiply(1.0, TransposeMode::Transposed, A, x, 0.0, y);
    return y;
}

// The copy is not resized first; Matrix differs here.
CMatrix CMatrix::Multiply(Complex alpha, const CMatrix& A, const CMatrix& B, Complex beta, const CMatrix& C)
{
    CMatrix R(C);
    Multiply(alpha, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, B, beta, R);
    return R;
}

} // namespace Velmar::Lintrix
