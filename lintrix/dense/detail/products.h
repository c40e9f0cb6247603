#pragma once
/// @file
/// The general products in place on a target, by cell type: checks, then one call of the kernel.

#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/hardening.h>

#include <cstdint>
#include <type_traits>

namespace Velmar::Lintrix::detail {

/// op(X) as the kernels take it: the letter, and the sizes of op(X).
struct Operand {
    char letter;
    std::int64_t rows, cols;
};

template <class Cell>
Operand operandOf(TransposeMode mode, const BlockView<Cell>& X)
{
    switch (mode) {
    case TransposeMode::NotTransposed:
        break;
    case TransposeMode::Transposed:
        return {'T', X.cols, X.rows};
    case TransposeMode::ConjugateTransposed:
        return {'C', X.cols, X.rows};
    default: // the caller's fault, which only the hardened build looks at: reads as NotTransposed
        if constexpr (kHardened)
            throw InvalidOperationException("The transposition mode is none of its three members.");
    }
    return {'N', X.rows, X.cols};
}

/// The letter of a product with a vector. Every mode but `NotTransposed` transposes; of real cells a
/// conjugate transpose is a transpose, and is asked for as one.
template <class Cell>
char vectorProductLetter(TransposeMode mode) noexcept
{
    if (mode == TransposeMode::NotTransposed) return 'N';
    return mode == TransposeMode::ConjugateTransposed && !std::is_same_v<Cell, double> ? 'C' : 'T';
}

/// The caller's duty: the target of a kernel is none of its operands.
template <class Cell>
void requireDistinct(const Cell* target, const Cell* operand)
{
    if constexpr (kHardened) {
        if (target == operand)
            throw InvalidOperationException("The target of the product is one of its operands.");
    }
}

template <class Cell>
std::int32_t leadingDimension(const BlockView<Cell>& X)
{
    return leadingDimension(static_cast<std::int32_t>(X.rows));
}

/// C := alpha*op(A)*op(B) + beta*C, with `target` the cells of C. With beta = 0 they are not read.
/// @throws SizeMismatchException  inner sizes; then the shape of C: "Incorrect size for matrix C."
template <class Cell>
void multiply(const Cell& alpha, TransposeMode transA, const BlockView<Cell>& A, TransposeMode transB,
              const BlockView<Cell>& B, const Cell& beta, const BlockView<Cell>& C, Cell* target)
{
    const Operand opA = operandOf(transA, A), opB = operandOf(transB, B);
    if (opB.rows != opA.cols) throw SizeMismatchException();
    if (C.rows != opA.rows || C.cols != opB.cols) throw SizeMismatchException("Incorrect size for matrix C.");
    requireDistinct(C.cells, A.cells);
    requireDistinct(C.cells, B.cells);
    const auto m = static_cast<std::int32_t>(C.rows), n = static_cast<std::int32_t>(C.cols),
               k = static_cast<std::int32_t>(opA.cols);
    blas::gemm(opA.letter, opB.letter, m, n, k, alpha, A.cells, leadingDimension(A), B.cells,
               leadingDimension(B), beta, target, leadingDimension(C));
}

/// y := alpha*op(A)*x + beta*y, where `letter` tells op and every one but 'N' transposes.
/// @throws SizeMismatchException  length of x, then of y
template <class Cell>
void multiply(const Cell& alpha, char letter, const BlockView<Cell>& A, const Line<const Cell>& x,
              const Cell& beta, const Line<Cell>& y)
{
    const bool plain = letter == 'N';
    if (x.n != (plain ? A.cols : A.rows) || y.n != (plain ? A.rows : A.cols)) throw SizeMismatchException();
    requireDistinct<Cell>(y.cells, x.cells);
    blas::gemv(letter, static_cast<std::int32_t>(A.rows), static_cast<std::int32_t>(A.cols), alpha, A.cells,
               leadingDimension(A), x.cells, x.step(), beta, y.cells, y.step());
}

} // namespace Velmar::Lintrix::detail
