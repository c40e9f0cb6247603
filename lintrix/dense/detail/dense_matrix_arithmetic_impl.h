#pragma once
/// @file
/// Sums, element-wise operations and products of `DenseMatrix`. For the two files that instantiate the class.
///
/// Routing is fixed per operation, for a 1 x 1 matrix as for a large one: plain loops for sums and
/// element-wise operations, a copy and `scal` for scalars, `gemm` and `gemv` for products.

#include <lintrix/dense/detail/dense_matrix_impl.h>
#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/dense/detail/products.h>
#include <lintrix/services/blas.h>

#include <functional>
#include <string_view>

namespace Velmar::Lintrix::detail {

// ---- sums and element-wise operations

template <class Cell>
auto DenseMatrix<Cell>::Add(const M& A, const M& B) -> M
{
    requireSameShape(A, B);
    return {mapped(A.cells(), B.cells(), A.mCells, std::plus<>()), A.mRows, A.mCols};
}

template <class Cell>
auto DenseMatrix<Cell>::Subtract(const M& A, const M& B) -> M
{
    requireSameShape(A, B);
    return {mapped(A.cells(), B.cells(), A.mCells, std::minus<>()), A.mRows, A.mCols};
}

template <class Cell>
auto DenseMatrix<Cell>::HadamardProduct(const M& A, const M& B) -> M
{
    requireSameShape(A, B);
    return {mapped(A.cells(), B.cells(), A.mCells, ProductOf<Cell>()), A.mRows, A.mCols};
}

template <class Cell>
auto DenseMatrix<Cell>::Negate(const M& matrix) -> M
{
    return {mapped(matrix.cells(), matrix.mCells, std::negate<>()), matrix.mRows, matrix.mCols};
}

template <class Cell>
auto DenseMatrix<Cell>::Divide(Cell alpha, const M& A) -> M
{
    const auto quotient = [alpha](const Cell& x) { return QuotientOf<Cell>()(alpha, x); };
    return {mapped(A.cells(), A.mCells, quotient), A.mRows, A.mCols};
}

template <class Cell>
auto DenseMatrix<Cell>::Multiply(const M& A, Cell alpha) -> M
{
    M scaled(A);
    blas::scal(scaled.mCells, alpha, scaled.cells(), 1);
    return scaled;
}

template <class Cell>
auto DenseMatrix<Cell>::Divide(const M& A, Cell alpha) -> M
{
    if (alpha == 0.0) throw ArgumentException("Division by zero error");
    return A * (1.0 / alpha); // not the quotient: the last bit may differ
}

/// Rows first, and both sizes told. @throws SizeMismatchException
template <class Dense>
void requireShapesFor(std::string_view operation, const Dense& A, const Dense& B)
{
    if (A.Rows() == B.Rows() && A.Cols() == B.Cols()) return;
    raiseShapes(operation, A.Rows(), A.Cols(), B.Rows(), B.Cols());
}

template <class Cell>
auto DenseMatrix<Cell>::operator+=(const M& B) -> M&
{
    requireShapesFor("plus", self(), B);
    combineInto(cells(), B.cells(), mCells, std::plus<>());
    return static_cast<M&>(*this);
}

template <class Cell>
auto DenseMatrix<Cell>::operator-=(const M& B) -> M&
{
    requireShapesFor("minus", self(), B);
    combineInto(cells(), B.cells(), mCells, std::minus<>());
    return static_cast<M&>(*this);
}

template <class Cell>
auto DenseMatrix<Cell>::operator*=(Cell alpha) -> M&
{
    blas::scal(mCells, alpha, cells(), 1);
    return static_cast<M&>(*this);
}

template <class Cell>
auto DenseMatrix<Cell>::operator/=(Cell alpha) -> M&
{
    if (alpha == 0.0) throw ArgumentException("Division by zero error");
    return *this *= 1.0 / alpha; // as the division of a copy
}

template <class Cell>
auto DenseMatrix<Cell>::operator*=(const M& B) -> M&
{
    if (mCols != B.mRows) raiseShapes("times", mRows, mCols, B.mRows, B.mCols);
    M product = Multiply(self(), B);
    swap(product);
    return static_cast<M&>(*this);
}

template <class Cell>
template <class Function>
auto DenseMatrix<Cell>::applied(Function function) const -> M
{
    M result(self());
    replaceEach(result.cells(), result.mCells, function);
    return result;
}

template <class Cell>
auto DenseMatrix<Cell>::ApplyFunction(const FunctionObject<Cell(Cell)>& function) const -> M
{
    return applied([&](const Cell& x, std::int32_t) { return function(x); });
}

template <class Cell>
auto DenseMatrix<Cell>::ApplyFunction(const FunctionObject<Cell(Cell, Cell)>& function, Cell value2) const
    -> M
{
    return applied([&](const Cell& x, std::int32_t) { return function(x, value2); });
}

template <class Cell>
auto DenseMatrix<Cell>::ApplyFunction(const FunctionObject<Cell(Cell, std::int32_t)>& function,
                                      std::int32_t value) const -> M
{
    return applied([&](const Cell& x, std::int32_t) { return function(x, value); });
}

// (column, row): callers' functions written for that order must keep working.
template <class Cell>
auto DenseMatrix<Cell>::ApplyFunction(
    const FunctionObject<Cell(Cell, std::int32_t, std::int32_t)>& function) const -> M
{
    const std::int32_t rows = mRows; // the copy's, whatever the function makes of this object
    return applied([&](const Cell& x, std::int32_t k) { return function(x, k / rows, k % rows); });
}

template <class Cell>
auto DenseMatrix<Cell>::ApplyFunction(
    const FunctionObject<Cell(Cell, Cell, std::int32_t, std::int32_t)>& function, Cell value2) const -> M
{
    const std::int32_t rows = mRows;
    return applied([&](const Cell& x, std::int32_t k) { return function(x, value2, k / rows, k % rows); });
}

// ---- products

template <class Cell>
auto DenseMatrix<Cell>::Multiply(const M& A, const M& B) -> M
{
    M C(Uninitialised{}, A.mRows, B.mCols); // beta = 0: gemm does not read it
    Multiply(1.0, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, B, 0.0, C);
    return C;
}

template <class Cell>
auto DenseMatrix<Cell>::times(const V& x) const -> V
{
    V y(mRows);
    Multiply(1.0, TransposeMode::NotTransposed, self(), x, 0.0, y);
    return y;
}

template <class Cell>
auto DenseMatrix<Cell>::Times(const V& x) const -> M
{
    return times(x); // as one column
}

template <class Cell>
auto DenseMatrix<Cell>::Multiply(const V& x, const M& A) -> V
{
    V y(A.mCols);
    Multiply(1.0, TransposeMode::Transposed, A, x, 0.0, y);
    return y;
}

template <class Cell>
void DenseMatrix<Cell>::Multiply(Cell alpha, TransposeMode transA, const M& A, TransposeMode transB,
                                 const M& B, Cell beta, M& C)
{
    multiply(alpha, transA, A.view(), transB, B.view(), beta, C.view(), C.cells());
}

template <class Cell>
void DenseMatrix<Cell>::Multiply(Cell alpha, TransposeMode transA, const M& A, const V& x, Cell beta, V& y)
{
    multiply(alpha, vectorProductLetter<Cell>(transA), A.view(), x.line(), beta, y.line());
}

template <class Cell>
auto DenseMatrix<Cell>::Transpose() const -> M
{
    M transposed(Uninitialised{}, mCols, mRows);
    transposeCells(cells(), transposed.cells(), mRows, mCols);
    return transposed;
}

} // namespace Velmar::Lintrix::detail
