// Products of SparseMatrix with dense operands. The kernels read its arrays in place.

#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/detail/operand.h>
#include <lintrix/sparse/detail/structure.h>
#include <lintrix/sparse/kernels.h>

#include <algorithm>
#include <functional>
#include <span>

namespace Velmar::Lintrix {

using detail::DenseAccess;
using detail::Operand;
using detail::operandOf;
using detail::SparseAccess;

namespace {

// General or symmetric, upper triangle, non-unit diagonal, one-based with column-major dense operands.
const char* descriptorOf(const SparseMatrix& A)
{
    return A.Symmetric() ? "SUNF" : "GUNF";
}

// The flag may be set on any matrix. A stored triangle addresses x and y by its rows and, mirrored, by its
// columns: both must stay within the shorter side.
void requireTriangleWithinOperands(const SparseMatrix& A)
{
    if (!A.Symmetric() || A.Rows() == A.Cols()) return;
    if (A.Rows() > A.Cols() || !detail::areColumns(A.ColumnIndices(), A.Rows()))
        throw NotSquareMatrixException();
}

// The caller's duty: the target of a kernel is none of its operands.
void requireDistinct(const double* target, const double* operand)
{
    if constexpr (detail::kHardened) {
        if (target == operand)
            throw InvalidOperationException("The target of the product is one of its operands.");
    }
}

void multiplyVector(double alpha, char letter, const SparseMatrix& A, const double* x, double beta, double* y)
{
    const std::int32_t* const ia = SparseAccess::rowPointers(A);
    mkl_dcsrmv(&letter, A.Rows(), A.Cols(), alpha, descriptorOf(A), SparseAccess::values(A),
               SparseAccess::columns(A), ia, ia + 1, x, beta, y);
}

// Up to `count` cells from `first` on: as many of them as the block has.
template <class Cell>
std::span<Cell> window(std::span<Cell> block, std::int64_t first, std::int32_t count)
{
    const auto size = static_cast<std::int64_t>(block.size());
    const std::int64_t begin = std::min(first, size), end = std::min(first + count, size);
    return block.subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
}

// C := alpha*A'*B + beta*C of a rectangular A, general, with the columns of B A.Cols() and those of C
// A.Rows() apart, which is not how they lie. Of a wide A the columns of C overlap, and those of B lead past
// the end of its block; of a tall A those of C do. Every address inside the blocks gets what the kernel would
// give it; behind them zeros are read, and nothing is written.
void multiplyAcrossColumns(double alpha, char letter, const SparseMatrix& A, std::span<const double> B,
                           double beta, std::span<double> C, std::int32_t columns)
{
    const std::int32_t rows = A.Rows(), cols = A.Cols();
    const detail::Block<double> x(rows), y(cols); // before C is touched
    for (std::int64_t j = 0; j < columns; ++j) {
        for (double& cell : window(C, j * rows, cols)) cell = beta == 0.0 ? 0.0 : beta * cell;
    }
    for (std::int64_t j = 0; j < columns; ++j) {
        const std::span<const double> source = window(B, j * cols, rows);
        const std::span<double> target = window(C, j * rows, cols);
        std::fill(std::copy(source.begin(), source.end(), x.get()), x.get() + rows, 0.0);
        multiplyVector(alpha, letter, A, x.get(), 0.0, y.get());
        std::transform(target.begin(), target.end(), y.get(), target.begin(), std::plus<>());
    }
}

} // namespace

// ---- in place

void SparseMatrix::Multiply(double alpha, TransposeMode transA, const SparseMatrix& A, const Vector& x,
                            double beta, Vector& y)
{
    const Operand opA = operandOf(transA, A);
    if (x.Length() != opA.cols) throw SizeMismatchException();
    if (y.Length() != opA.rows) throw SizeMismatchException();
    requireTriangleWithinOperands(A);
    requireDistinct(DenseAccess::cells(y), DenseAccess::cells(x));
    multiplyVector(alpha, opA.letter, A, DenseAccess::cells(x), beta, DenseAccess::cells(y));
}

void SparseMatrix::Multiply(double alpha, TransposeMode transA, const SparseMatrix& A, const Matrix& B,
                            double beta, Matrix& C)
{
    const Operand opA = operandOf(transA, A);
    if (B.Rows() != opA.cols) throw InvalidSizeException();
    if (C.Rows() != opA.rows) throw InvalidSizeException();
    if (C.Cols() != B.Cols()) throw InvalidSizeException();
    requireTriangleWithinOperands(A);
    requireDistinct(DenseAccess::cells(C), DenseAccess::cells(B));

    const double* const b = DenseAccess::cells(B);
    double* const c = DenseAccess::cells(C);
    if (opA.letter != 'N' && A.mRows != A.mCols) {
        if constexpr (detail::kHardened)
            throw InvalidOperationException(
                "A transposed product with a dense matrix needs a square matrix.");
        const std::span source(b, static_cast<std::size_t>(DenseAccess::count(B)));
        const std::span target(c, static_cast<std::size_t>(DenseAccess::count(C)));
        multiplyAcrossColumns(alpha, opA.letter, A, source, beta, target, B.Cols());
        return;
    }
    const std::int32_t* const ia = A.rowPointers();
    mkl_dcsrmm(&opA.letter, A.mRows, B.Cols(), A.mCols, alpha, descriptorOf(A), A.a.get(), A.ja.get(), ia,
               ia + 1, b, A.mCols, beta, c, A.mRows);
}

// ---- new results

Matrix operator*(const SparseMatrix& A, const Matrix& B)
{
    detail::requireForeignSizes(A.Rows(), B.Cols());
    Matrix C = DenseAccess::uninitialised(A.Rows(), B.Cols()); // beta = 0: the kernel does not read it
    SparseMatrix::Multiply(1.0, TransposeMode::NotTransposed, A, B, 0.0, C);
    return C;
}

Matrix SparseMatrix::Multiply(const SparseMatrix& A, const Matrix& B)
{
    if (A.mCols != B.Rows()) throw InvalidSizeException("Invalid number of rows for matrix B");
    return A * B;
}

Vector SparseMatrix::Multiply(const SparseMatrix& A, const Vector& x)
{
    Vector y(A.mRows);
    Multiply(1.0, TransposeMode::NotTransposed, A, x, 0.0, y);
    return y;
}

Vector SparseMatrix::Multiply(const Vector& x, const SparseMatrix& A)
{
    Vector y(A.mCols);
    Multiply(1.0, TransposeMode::Transposed, A, x, 0.0, y);
    return y;
}

} // namespace Velmar::Lintrix
