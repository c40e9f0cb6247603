#pragma once
/// @file
/// Sums, scalar multiples, sparse products and transposition of CompressedMatrix.
///
/// Sums and products take two passes of a kernel: the first sizes the rows of the result, the second fills
/// arrays that were allocated once, to fit. Nothing is densified.

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
