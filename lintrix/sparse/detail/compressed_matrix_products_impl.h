#pragma once
/// @file
/// Products of CompressedMatrix with dense operands. The kernels read its arrays in place.

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/compressed_matrix.h>
#include <lintrix/sparse/detail/operand.h>
#include <lintrix/sparse/detail/sparse_twin.h>
#include <lintrix/sparse/detail/structure.h>
#include <lintrix/sparse/kernels/cell.h>

#include <algorithm>
#include <functional>
#include <span>

namespace Velmar::Lintrix::detail {

/// General or symmetric, upper triangle, non-unit diagonal, one-based with column-major dense operands.
template <class Cell>
const char* descriptorOf(const SparseOf<Cell>& A)
{
    return SparseTwin<Cell>::isSymmetric(A) ? "SUNF" : "GUNF";
}

/// The mark may be set on any matrix. A stored triangle addresses x and y by its rows and, mirrored, by its
/// columns: both must stay within the shorter side.
template <class Cell>
void requireTriangleWithinOperands(const SparseOf<Cell>& A)
{
    if (!SparseTwin<Cell>::isSymmetric(A) || A.Rows() == A.Cols()) return;
    if (A.Rows() > A.Cols() || !areColumns(A.ColumnIndices(), A.Rows())) throw NotSquareMatrixException();
}

/// The caller's duty: the target of a kernel is none of its operands.
inline void requireDistinct(const void* target, const void* operand)
{
    if constexpr (kHardened) {
        if (target == operand)
            throw InvalidOperationException("The target of the product is one of its operands.");
    }
}

template <class Cell>
void multiplyVector(Cell alpha, char letter, const SparseOf<Cell>& A, const Cell* x, Cell beta, Cell* y)
{
    const std::int32_t* const ia = SparseAccess::rowPointers(A);
    SparseTwin<Cell>::csrmv(&letter, A.Rows(), A.Cols(), alpha, descriptorOf<Cell>(A),
                            SparseAccess::values(A), SparseAccess::columns(A), ia, ia + 1, x, beta, y);
}

/// Up to `count` cells from `first` on: as many of them as the block has.
template <class Cell>
std::span<Cell> window(std::span<Cell> block, std::int64_t first, std::int32_t count)
{
    const auto size = static_cast<std::int64_t>(block.size());
    const std::int64_t begin = std::min(first, size), end = std::min(first + count, size);
    return block.subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
}

/// C := alpha*A'*B + beta*C of a rectangular A, general, with the columns of B A.Cols() and those of C
/// A.Rows() apart, which is not how they lie. Of a wide A the columns of C overlap, and those of B lead past
/// the end of its block; of a tall A those of C do. Every address inside the blocks gets what the kernel
/// would give it; behind them zeros are read, and nothing is written.
template <class Cell>
void multiplyAcrossColumns(Cell alpha, char letter, const SparseOf<Cell>& A, std::span<const Cell> B,
                           Cell beta, std::span<Cell> C, std::int32_t columns)
{
    const std::int32_t rows = A.Rows(), cols = A.Cols();
    const Block<Cell> x(rows), y(cols); // before C is touched
    for (std::int64_t j = 0; j < columns; ++j) {
        for (Cell& cell : window(C, j * rows, cols)) cell = beta == Cell(0.0) ? Cell(0.0) : times(beta, cell);
    }
    for (std::int64_t j = 0; j < columns; ++j) {
        const std::span<const Cell> source = window(B, j * cols, rows);
        const std::span<Cell> target = window(C, j * rows, cols);
        std::fill(std::copy(source.begin(), source.end(), x.get()), x.get() + rows, Cell(0.0));
        multiplyVector<Cell>(alpha, letter, A, x.get(), Cell(0.0), y.get());
        std::transform(target.begin(), target.end(), y.get(), target.begin(), std::plus<>());
    }
}

// ---- in place

template <class Cell>
void CompressedMatrix<Cell>::Multiply(Cell alpha, TransposeMode transA, const Self& A, const V& x, Cell beta,
                                      V& y)
{
    const Operand opA = operandOf(transA, A);
    if (x.Length() != opA.cols) throw SizeMismatchException();
    if (y.Length() != opA.rows) throw SizeMismatchException();
    requireTriangleWithinOperands<Cell>(A);
    requireDistinct(AccessTo<Cell>::cells(y), AccessTo<Cell>::cells(x));
    multiplyVector<Cell>(alpha, opA.letter, A, AccessTo<Cell>::cells(x), beta, AccessTo<Cell>::cells(y));
}

template <class Cell>
void CompressedMatrix<Cell>::Multiply(Cell alpha, TransposeMode transA, const Self& A, const M& B, Cell beta,
                                      M& C)
{
    const Operand opA = operandOf(transA, A);
    if (B.Rows() != opA.cols) throw InvalidSizeException();
    if (C.Rows() != opA.rows) throw InvalidSizeException();
    if (C.Cols() != B.Cols()) throw InvalidSizeException();
    requireTriangleWithinOperands<Cell>(A);
    requireDistinct(AccessTo<Cell>::cells(C), AccessTo<Cell>::cells(B));

    const Cell* const b = AccessTo<Cell>::cells(B);
    Cell* const c = AccessTo<Cell>::cells(C);
    if (opA.letter != 'N' && A.mRows != A.mCols) {
        if constexpr (kHardened)
            throw InvalidOperationException(
                "A transposed product with a dense matrix needs a square matrix.");
        const std::span<const Cell> source(b, static_cast<std::size_t>(AccessTo<Cell>::count(B)));
        const std::span<Cell> target(c, static_cast<std::size_t>(AccessTo<Cell>::count(C)));
        multiplyAcrossColumns<Cell>(alpha, opA.letter, A, source, beta, target, B.Cols());
        return;
    }
    const std::int32_t* const ia = A.rowPointers();
    SparseTwin<Cell>::csrmm(&opA.letter, A.mRows, B.Cols(), A.mCols, alpha, descriptorOf<Cell>(A), A.a.get(),
                            A.ja.get(), ia, ia + 1, b, A.mCols, beta, c, A.mRows);
}

// ---- new results

template <class Cell>
MatrixOf<Cell> CompressedMatrix<Cell>::Multiply(const Self& A, const M& B)
{
    requireForeignSizes(A.Rows(), B.Cols());
    M C = AccessTo<Cell>::uninitialised(A.Rows(), B.Cols()); // beta = 0: the kernel does not read it
    Multiply(Cell(1.0), TransposeMode::NotTransposed, A, B, Cell(0.0), C);
    return C;
}

template <class Cell>
VectorOf<Cell> CompressedMatrix<Cell>::Multiply(const Self& A, const V& x)
{
    V y(A.mRows);
    Multiply(Cell(1.0), TransposeMode::NotTransposed, A, x, Cell(0.0), y);
    return y;
}

template <class Cell>
VectorOf<Cell> CompressedMatrix<Cell>::Multiply(const V& x, const Self& A)
{
    V y(A.mCols);
    Multiply(Cell(1.0), TransposeMode::Transposed, A, x, Cell(0.0), y);
    return y;
}

} // namespace Velmar::Lintrix::detail
