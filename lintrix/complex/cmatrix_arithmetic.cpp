// Sums, element-wise operations and products of CMatrix.
//
// Routing is fixed per operation, for a 1 x 1 matrix as for a large one: plain loops for sums and
// element-wise operations, a copy and zscal for scalars, zgemm and zgemv for products.

#include <lintrix/complex/cmatrix.h>

#include <lintrix/complex/cvector.h>
#include <lintrix/complex/detail/trell_complex.h>
#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/dense/detail/products.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/detail/transpose_tiles.h>
#include <lintrix/services/blas.h>

#include <functional>

namespace Velmar::Lintrix {

using detail::mapped, detail::requireSameShape;

// ---- sums and element-wise operations

CMatrix operator+(const CMatrix& A, const CMatrix& B)
{
    requireSameShape(A, B);
    return {mapped(A.cells(), B.cells(), A.mCells, std::plus<>()), A.mRows, A.mCols};
}

CMatrix operator-(const CMatrix& A, const CMatrix& B)
{
    requireSameShape(A, B);
    return {mapped(A.cells(), B.cells(), A.mCells, std::minus<>()), A.mRows, A.mCols};
}

CMatrix CMatrix::HadamardProduct(const CMatrix& A, const CMatrix& B)
{
    requireSameShape(A, B);
    return {mapped(A.cells(), B.cells(), A.mCells, detail::CellProduct()), A.mRows, A.mCols};
}

CMatrix operator-(const CMatrix& A)
{
    return {mapped(A.cells(), A.mCells, std::negate<>()), A.mRows, A.mCols};
}

CMatrix operator/(Complex alpha, const CMatrix& A)
{
    return {
        mapped(A.cells(), A.mCells, [alpha](const Complex& x) { return detail::CellQuotient()(alpha, x); }),
        A.mRows, A.mCols};
}

CMatrix operator*(const CMatrix& A, Complex alpha)
{
    CMatrix scaled(A);
    detail::blas::scal(scaled.mCells, alpha, scaled.cells(), 1);
    return scaled;
}

CMatrix operator/(const CMatrix& A, Complex alpha)
{
    if (alpha == 0.0) throw ArgumentException("Division by zero error");
    return A * (1.0 / alpha); // not the quotient: the last bit may differ
}

template <class Function>
CMatrix CMatrix::applied(Function function) const
{
    CMatrix result(*this);
    detail::replaceEach(result.cells(), result.mCells, function);
    return result;
}

CMatrix CMatrix::ApplyFunction(const ComplexFunction1Cmp& function) const
{
    return applied([&](const Complex& x, std::int32_t) { return function(x); });
}

CMatrix CMatrix::ApplyFunction(const ComplexFunction2Cmp& function, Complex value2) const
{
    return applied([&](const Complex& x, std::int32_t) { return function(x, value2); });
}

CMatrix CMatrix::ApplyFunction(const ComplexFunction1Cmp1Int& function, std::int32_t value) const
{
    return applied([&](const Complex& x, std::int32_t) { return function(x, value); });
}

// (column, row): callers' functions written for that order must keep working.
CMatrix CMatrix::ApplyFunction(const ComplexFunction1Cmp2Int& function) const
{
    const std::int32_t rows = mRows; // the copy's, whatever the function makes of this object
    return applied([&](const Complex& x, std::int32_t k) { return function(x, k / rows, k % rows); });
}

CMatrix CMatrix::ApplyFunction(const ComplexFunction2Cmp2Int& function, Complex value2) const
{
    const std::int32_t rows = mRows;
    return applied([&](const Complex& x, std::int32_t k) { return function(x, value2, k / rows, k % rows); });
}

// ---- products

CMatrix operator*(const CMatrix& A, const CMatrix& B)
{
    CMatrix C(CMatrix::Uninitialised{}, A.mRows, B.mCols); // beta = 0: zgemm does not read it
    CMatrix::Multiply(1.0, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, B, 0.0, C);
    return C;
}

CMatrix operator*(const CMatrix& A, const Matrix& B)
{
    return A * B.ToCMatrix();
}

// The named forms and the operators differ in the length of their result: each pair has one that takes every
// shape, and one whose length fits square matrices alone.

CVector operator*(const CMatrix& A, const CVector& x)
{
    CVector y(A.mRows);
    CMatrix::Multiply(1.0, TransposeMode::NotTransposed, A, x, 0.0, y);
    return y;
}

CVector CMatrix::Multiply(const CMatrix& A, const CVector& x)
{
    CVector y(A.mCols);
    Multiply(1.0, TransposeMode::NotTransposed, A, x, 0.0, y);
    return y;
}

CVector CMatrix::Multiply(const CVector& x, const CMatrix& A)
{
    CVector y(A.mCols);
    Multiply(1.0, TransposeMode::Transposed, A, x, 0.0, y);
    return y;
}

CVector operator*(const CVector& x, const CMatrix& A)
{
    CVector y(A.mRows);
    CMatrix::Multiply(1.0, TransposeMode::Transposed, A, x, 0.0, y);
    return y;
}

CMatrix CMatrix::Times(const CVector& x) const
{
    return (*this * x).ToCMatrix();
}

void CMatrix::Multiply(Complex alpha, TransposeMode transA, const CMatrix& A, TransposeMode transB,
                       const CMatrix& B, Complex beta, CMatrix& C)
{
    detail::multiply(alpha, transA, A.view(), transB, B.view(), beta, C.view(), C.cells());
}

void CMatrix::Multiply(Complex alpha, TransposeMode transA, const CMatrix& A, const CVector& x, Complex beta,
                       CVector& y)
{
    const char letter = transA == TransposeMode::NotTransposed         ? 'N'
                        : transA == TransposeMode::ConjugateTransposed ? 'C'
                                                                       : 'T';
    detail::multiply(alpha, letter, A.view(), x.line(), beta, y.line());
}

// The copy is not resized first; Matrix differs here.
CMatrix CMatrix::Multiply(Complex alpha, const CMatrix& A, const CMatrix& B, Complex beta, const CMatrix& C)
{
    CMatrix R(C);
    Multiply(alpha, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, B, beta, R);
    return R;
}

CMatrix CMatrix::Transpose() const
{
    CMatrix transposed(Uninitialised{}, mCols, mRows);
    detail::transposeBlock(cells(), transposed.cells(), mRows, mCols);
    return transposed;
}

CMatrix CMatrix::Conjugate() const
{
    return {mapped(cells(), mCells, [](const Complex& x) { return std::conj(x); }), mRows, mCols};
}

CMatrix CMatrix::Adjoint() const
{
    CMatrix adjoint(Uninitialised{}, mCols, mRows);
    detail::transposeBlock(cells(), adjoint.cells(), mRows, mCols,
                           [](const Complex& x) { return std::conj(x); });
    return adjoint;
}

} // namespace Velmar::Lintrix
