#pragma once
/// @file
/// Sums, scalar multiples, sparse products and transposition of CompressedMatrix.
///
/// Sums and products take two passes of a kernel: the first sizes the rows of the result, the second fills
/// arrays that were allocated once, to fit. Nothing is densified.

#include <lintrix/complex/detail/trell_complex.h>
#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/dense/views.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/blas.h>
#include <lintrix/sparse/compressed_matrix.h>
#include <lintrix/sparse/detail/operand.h>
#include <lintrix/sparse/detail/result_rows.h>
#include <lintrix/sparse/detail/sparse_twin.h>
#include <lintrix/sparse/detail/transposed_rows.h>

#include <typeinfo>

namespace Velmar::Lintrix::detail {

/// The limit that the kernels take with the one-pass form alone: here it may wrap.
inline std::int32_t wrapped(std::int64_t value)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

/// A refused byte form may leave no columns and the elements of old: what goes by column would write them
/// past its arrays.
template <class Cell>
void requireColumns(const CompressedMatrix<Cell>& A)
{
    if (A.Cols() < 1 && A.NumElements() > 0)
        throw InvalidOperationException("The matrix has elements, but no longer columns.");
}

// ---- sums and scalar multiples

template <class Cell>
SparseOf<Cell> CompressedMatrix<Cell>::Add(const Self& A, Cell beta, TransposeMode transB, const Self& B)
{
    if (typeid(A) != typeid(B)) throw ArgumentException("Matrices are not of the same type");
    const Operand opB = operandOf(transB, B);
    if (opB.rows != A.mRows || opB.cols != A.mCols) throw SizeMismatchException();
    requireColumns<Cell>(A);
    requireColumns<Cell>(B);

    const std::int32_t most = wrapped(std::int64_t{A.NumElements()} + B.NumElements());
    const auto pass = [&](int request, ResultRows<Cell>& C, std::int32_t& info) {
        SparseTwin<Cell>::csradd(&opB.letter, request, 0, A.mRows, A.mCols, A.a.get(), A.ja.get(), A.ia.get(),
                                 beta, B.a.get(), B.ja.get(), B.ia.get(), C.a.get(), C.ja.get(), C.ia.get(),
                                 most, info);
    };
    return {A.mRows, A.mCols, runTwoPasses<Cell>(A.mRows, pass)};
}

template <class Cell>
SparseOf<Cell> CompressedMatrix<Cell>::Add(const Self& A, const Self& B)
{
    return Add(A, Cell(1.0), TransposeMode::NotTransposed, B);
}

template <class Cell>
SparseOf<Cell> CompressedMatrix<Cell>::Subtract(const Self& A, const Self& B)
{
    return Add(A, -Cell(1.0), TransposeMode::NotTransposed, B);
}

template <class Cell>
SparseOf<Cell> CompressedMatrix<Cell>::Multiply(const Self& A, Cell scalar)
{
    Self scaled(A);
    blas::scal(scaled.NumElements(), scalar, scaled.a.get(), 1);
    return scaled;
}

// ---- in place

/// The sums and products below are made whole before they take this matrix's place.
template <class Cell>
auto CompressedMatrix<Cell>::replaceBy(Self&& fresh, bool oneTriangle) noexcept -> Self&
{
    fresh._growFactor = _growFactor;
    fresh._oneTriangle = oneTriangle;
    swap(fresh);
    return static_cast<Self&>(*this);
}

template <class Cell>
auto CompressedMatrix<Cell>::add(std::string_view operation, Cell beta, const Self& B) -> Self&
{
    if (mRows != B.mRows || mCols != B.mCols) raiseShapes(operation, mRows, mCols, B.mRows, B.mCols);
    if (_oneTriangle != B._oneTriangle)
        throw ArgumentException("One matrix stores one triangle, the other both.", "B");
    return replaceBy(Add(self(), beta, TransposeMode::NotTransposed, B), _oneTriangle);
}

template <class Cell>
auto CompressedMatrix<Cell>::operator+=(const Self& B) -> Self&
{
    return add("plus", Cell(1.0), B);
}

template <class Cell>
auto CompressedMatrix<Cell>::operator-=(const Self& B) -> Self&
{
    return add("minus", -Cell(1.0), B);
}

template <class Cell>
void CompressedMatrix<Cell>::requireRealFactor(Cell alpha) const
{
    if (_oneTriangle && std::imag(alpha) != 0.0)
        throw ArgumentException("A Hermitian matrix times a number that is not real is not Hermitian.",
                                "alpha");
}

template <class Cell>
auto CompressedMatrix<Cell>::operator*=(Cell alpha) -> Self&
{
    requireRealFactor(alpha);
    blas::scal(NumElements(), alpha, a.get(), 1);
    return static_cast<Self&>(*this);
}

template <class Cell>
auto CompressedMatrix<Cell>::operator/=(Cell alpha) -> Self&
{
    if (alpha == 0.0) throw ArgumentException("Division by zero error");
    requireRealFactor(alpha);
    for (Cell& value : Values()) value = QuotientOf<Cell>()(value, alpha);
    return static_cast<Self&>(*this);
}

template <class Cell>
auto CompressedMatrix<Cell>::operator*=(const Self& B) -> Self&
{
    if (mCols != B.mRows) raiseShapes("times", mRows, mCols, B.mRows, B.mCols);
    return replaceBy(Multiply(self(), B), false);
}

// ---- sparse products

template <class Cell>
SparseOf<Cell> CompressedMatrix<Cell>::Multiply(TransposeMode transA, const Self& A, const Self& B)
{
    if (SparseTwin<Cell>::isSymmetric(A) || SparseTwin<Cell>::isSymmetric(B))
        throw NotSupportedException("Symmetrix matrices are not supported.");
    const Operand opA = operandOf(transA, A);
    if (B.mRows != opA.cols) throw InvalidSizeException();
    requireColumns<Cell>(A);
    requireColumns<Cell>(B);

    const std::int32_t most = wrapped(std::int64_t{B.mCols} * A.mRows);
    const std::int32_t *ia = A.rowPointers(), *ib = B.rowPointers();
    const auto pass = [&](int request, ResultRows<Cell>& C, std::int32_t& info) {
        SparseTwin<Cell>::csrmultcsr(&opA.letter, request, 0, A.mRows, A.mCols, B.mCols, A.a.get(),
                                     A.ja.get(), ia, B.a.get(), B.ja.get(), ib, C.a.get(), C.ja.get(),
                                     C.ia.get(), most, info);
    };
    return {opA.rows, B.mCols, runTwoPasses<Cell>(opA.rows, pass)};
}

// ---- transposition

template <class Cell>
SparseOf<Cell> CompressedMatrix<Cell>::Transpose() const
{
    requireColumns<Cell>(*this);
    if (mCols < 0) throw OperationFailedException(); // no matrix has that many rows
    return {mCols, mRows, transposedRows(mRows, mCols, a.get(), rowPointers(), ja.get())};
}

} // namespace Velmar::Lintrix::detail
