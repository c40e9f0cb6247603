// Sums, scalar multiples, sparse products and transposition of SparseMatrix.
//
// Sums and products take two passes of a kernel: the first sizes the rows of the result, the second fills
// arrays that were allocated once, to fit. Nothing is densified.

#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/services/blas.h>
#include <lintrix/sparse/detail/operand.h>
#include <lintrix/sparse/detail/result_rows.h>
#include <lintrix/sparse/detail/transposed_rows.h>
#include <lintrix/sparse/kernels.h>

#include <typeinfo>
#include <utility>

namespace Velmar::Lintrix {

namespace {

// The limit that the kernels take with the one-pass form alone: here it may wrap.
std::int32_t wrapped(std::int64_t value)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

// A refused byte form may leave no columns and the elements of old: what goes by column would write them past
// its arrays.
void requireColumns(const SparseMatrix& A)
{
    if (A.Cols() < 1 && A.NumElements() > 0)
        throw InvalidOperationException("The matrix has elements, but no longer columns.");
}

// Runs one pass of a kernel, which writes 0 to `info` when it is done. It may lack scratch, or 32-bit numbers
// for the elements of the result, and says so; of a parameter that it refuses it says nothing there, and its
// outputs are as they were.
template <class Pass>
void runPass(Pass pass, int request)
{
    std::int32_t info = INT32_MIN;
    pass(request, info);
    if (info != 0) throw OperationFailedException();
}

} // namespace

// ---- sums and scalar multiples

SparseMatrix SparseMatrix::Add(const SparseMatrix& A, double beta, TransposeMode transB,
                               const SparseMatrix& B)
{
    if (typeid(A) != typeid(B)) throw ArgumentException("Matrices are not of the same type");
    const detail::Operand opB = detail::operandOf(transB, B);
    if (opB.rows != A.mRows || opB.cols != A.mCols) throw SizeMismatchException();
    requireColumns(A);
    requireColumns(B);

    const std::int32_t most = wrapped(std::int64_t{A.NumElements()} + B.NumElements());
    detail::ResultRows<double> C(A.mRows);
    const auto pass = [&](int request, std::int32_t& info) {
        mkl_dcsradd(&opB.letter, request, 0, A.mRows, A.mCols, A.a.get(), A.ja.get(), A.ia.get(), beta,
                    B.a.get(), B.ja.get(), B.ia.get(), C.a.get(), C.ja.get(), C.ia.get(), most, info);
    };
    runPass(pass, 1);
    C.allot();
    runPass(pass, 2);
    C.markSpareSlot();
    return {A.mRows, A.mCols, std::move(C.a), std::move(C.ia), std::move(C.ja)};
}

SparseMatrix SparseMatrix::Add(const SparseMatrix& A, const SparseMatrix& B)
{
    return Add(A, 1.0, TransposeMode::NotTransposed, B);
}

SparseMatrix SparseMatrix::Subtract(const SparseMatrix& A, const SparseMatrix& B)
{
    return Add(A, -1.0, TransposeMode::NotTransposed, B);
}

SparseMatrix SparseMatrix::Multiply(const SparseMatrix& A, double scalar)
{
    SparseMatrix scaled(A);
    detail::blas::scal(scaled.NumElements(), scalar, scaled.a.get(), 1);
    return scaled;
}

// ---- sparse products

SparseMatrix SparseMatrix::Multiply(TransposeMode transA, const SparseMatrix& A, const SparseMatrix& B)
{
    if (A._symmetric || B._symmetric) throw NotSupportedException("Symmetrix matrices are not supported.");
    const detail::Operand opA = detail::operandOf(transA, A);
    if (B.mRows != opA.cols) throw InvalidSizeException();
    requireColumns(A);
    requireColumns(B);

    const std::int32_t most = wrapped(std::int64_t{B.mCols} * A.mRows);
    const std::int32_t *ia = A.rowPointers(), *ib = B.rowPointers();
    detail::ResultRows<double> C(opA.rows);
    const auto pass = [&](int request, std::int32_t& info) {
        mkl_dcsrmultcsr(&opA.letter, request, 0, A.mRows, A.mCols, B.mCols, A.a.get(), A.ja.get(), ia,
                        B.a.get(), B.ja.get(), ib, C.a.get(), C.ja.get(), C.ia.get(), most, info);
    };
    runPass(pass, 1);
    C.allot();
    runPass(pass, 2); // transposed: drops what cancels, and writes the row pointers anew
    C.markSpareSlot();
    return {opA.rows, B.mCols, std::move(C.a), std::move(C.ia), std::move(C.ja)};
}

SparseMatrix SparseMatrix::Multiply(const SparseMatrix& A, const SparseMatrix& B)
{
    return Multiply(TransposeMode::NotTransposed, A, B);
}

// ---- transposition

SparseMatrix SparseMatrix::Transpose() const
{
    requireColumns(*this);
    if (mCols < 0) throw OperationFailedException(); // no matrix has that many rows
    auto transposed = detail::transposedRows(mRows, mCols, a.get(), rowPointers(), ja.get());
    return {mCols, mRows, std::move(transposed.a), std::move(transposed.ia), std::move(transposed.ja)};
}

} // namespace Velmar::Lintrix
