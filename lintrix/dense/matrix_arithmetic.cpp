// Sums, element-wise operations and products of Matrix.
//
// Routing is fixed per operation, for a 1 x 1 matrix as for a large one: plain loops for sums and
// element-wise operations, a copy and dscal for scalars, dgemm and dgemv for products.

#include <lintrix/dense/matrix.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/dense/detail/products.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/vector.h>
#include <lintrix/foundation/transposition.h>
#include <lintrix/services/blas.h>

#include <functional>
#include <utility>

namespace Velmar::Lintrix {

using detail::requireSameShape;

// ---- sums and element-wise operations

Matrix operator+(const Matrix& A, const Matrix& B)
{
    requireSameShape(A, B);
    return {detail::mapped(A.cells(), B.cells(), A.mCells, std::plus<>()), A.mRows, A.mCols};
}

Matrix operator-(const Matrix& A, const Matrix& B)
{
    requireSameShape(A, B);
    return {detail::mapped(A.cells(), B.cells(), A.mCells, std::minus<>()), A.mRows, A.mCols};
}

Matrix Matrix::HadamardProduct(const Matrix& A, const Matrix& B)
{
    requireSameShape(A, B);
    return {detail::mapped(A.cells(), B.cells(), A.mCells, std::multiplies<>()), A.mRows, A.mCols};
}

Matrix operator-(const Matrix& A)
{
    return {detail::mapped(A.cells(), A.mCells, std::negate<>()), A.mRows, A.mCols};
}

Matrix operator/(double alpha, const Matrix& A)
{
    return {detail::mapped(A.cells(), A.mCells, [alpha](double x) { return alpha / x; }), A.mRows, A.mCols};
}

Matrix operator*(const Matrix& A, double alpha)
{
    Matrix scaled(A);
    detail::blas::scal(scaled.mCells, alpha, scaled.cells(), 1);
    return scaled;
}

Matrix operator/(const Matrix& A, double alpha)
{
    if (alpha == 0.0) throw ArgumentException("Division by zero error");
    return A * (1.0 / alpha); // not the quotient: the last bit may differ
}

template <class Function>
Matrix Matrix::applied(Function function) const
{
    Matrix result(*this);
    detail::replaceEach(result.cells(), result.mCells, function);
    return result;
}

Matrix Matrix::ApplyFunction(const DoubleFunction1Dbl& function) const
{
    return applied([&](double x, std::int32_t) { return function(x); });
}

Matrix Matrix::ApplyFunction(const DoubleFunction2Dbl& function, double value2) const
{
    return applied([&](double x, std::int32_t) { return function(x, value2); });
}

Matrix Matrix::ApplyFunction(const DoubleFunction1Dbl1Int& function, std::int32_t value) const
{
    return applied([&](double x, std::int32_t) { return function(x, value); });
}

// (column, row): callers' functions written for that order must keep working.
Matrix Matrix::ApplyFunction(const DoubleFunction1Dbl2Int& function) const
{
    const std::int32_t rows = mRows; // the copy's, whatever the function makes of this object
    return applied([&](double x, std::int32_t k) { return function(x, k / rows, k % rows); });
}

Matrix Matrix::ApplyFunction(const DoubleFunction2Dbl2Int& function, double value2) const
{
    const std::int32_t rows = mRows;
    return applied([&](double x, std::int32_t k) { return function(x, value2, k / rows, k % rows); });
}

// ---- products

Matrix operator*(const Matrix& A, const Matrix& B)
{
    Matrix C(Matrix::Uninitialised{}, A.mRows, B.mCols); // beta = 0: dgemm does not read it
    Matrix::Multiply(1.0, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, B, 0.0, C);
    return C;
}

Vector operator*(const Matrix& A, const Vector& x)
{
    Vector y(A.mRows);
    Matrix::Multiply(1.0, TransposeMode::NotTransposed, A, x, 0.0, y);
    return y;
}

Vector operator*(const Vector& x, const Matrix& A)
{
    Vector y(A.mCols);
    Matrix::Multiply(1.0, TransposeMode::Transposed, A, x, 0.0, y);
    return y;
}

Vector Matrix::Multiply(const Matrix& A, const Vector& x)
{
    return A * x;
}

Vector Matrix::Multiply(const Vector& x, const Matrix& A)
{
    return x * A;
}

Matrix Matrix::Times(const Vector& x) const
{
    return (*this * x).ToMatrix();
}

void Matrix::Multiply(double alpha, TransposeMode transA, const Matrix& A, TransposeMode transB,
                      const Matrix& B, double beta, Matrix& C)
{
    detail::multiply(alpha, transA, A.view(), transB, B.view(), beta, C.view(), C.cells());
}

void Matrix::Multiply(double alpha, TransposeMode transA, const Matrix& A, const Vector& x, double beta,
                      Vector& y)
{
    const char letter = transA == TransposeMode::NotTransposed ? 'N' : 'T';
    detail::multiply(alpha, letter, A.view(), {x.cells(), x.mCells, 1}, beta, {y.cells(), y.mCells, 1});
}

Matrix Matrix::Multiply(double alpha, const Matrix& A, const Matrix& B, double beta, const Matrix& C)
{
    Matrix R(C);
    R.resizeTo(A.mRows, B.mCols, [](auto rows, auto cols) { return detail::resultCells(rows, cols); });
    Multiply(alpha, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, B, beta, R);
    return R;
}

Matrix Matrix::Transpose() const
{
    Matrix transposed(Uninitialised{}, mCols, mRows);
    detail::vmr_transo(cells(), transposed.cells(), mRows, mCols);
    return transposed;
}

} // namespace Velmar::Lintrix
