// The products of Matrix that CMatrix answers otherwise.

#include <lintrix/dense/matrix.h>

#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/vector.h>

namespace Velmar::Lintrix {

Vector Matrix::Multiply(const Matrix& A, const Vector& x)
{
    return A * x;
}

Vector operator*(const Vector& x, const Matrix& A)
{
    return Matrix::Multiply(x, A);
}

Matrix Matrix::Multiply(double alpha, const Matrix& A, const Matrix& B, double beta, const Matrix& C)
{
    Matrix R(C);
    R.resizeTo(A.Rows(), B.Cols(), [](auto rows, auto cols) { return detail::resultCells(rows, cols); });
    Multiply(alpha, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, B, beta, R);
    return R;
}

} // namespace Velmar::Lintrix
