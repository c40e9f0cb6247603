#include <lintrix/systems/roads/sparse_rows.h>

namespace Velmar::Lintrix::detail::roads {

namespace {

/// A matrix of all that `visit` tells, in rows that ascend.
template <class Cell, class Visit>
SparseOf<Cell> matrixFrom(std::int32_t rows, std::int32_t cols, Visit visit)
{
    const RowLists<Cell> lists = listRows<Cell>(rows, visit);
    SparseOf<Cell> matrix(lists.values, lists.starts, lists.columns);
    matrix.Cols(cols); // empty ones at the end do not show in the arrays
    return matrix;
}

template <class Cell>
SparseOf<Cell> diagonalCompleted(const SparseOf<Cell>& matrix, bool upperOnly)
{
    return matrixFrom<Cell>(matrix.Rows(), matrix.Cols(), [&](auto take) {
        std::int32_t next = 0; // row whose diagonal is still to come
        const auto completeBefore = [&](std::int32_t row, std::int32_t col) {
            for (; next < row || (next == row && col > row); ++next) take(next, next, Cell());
        };
        ForEachEntry(matrix, [&](std::int32_t row, std::int32_t col, Cell value) {
            if (upperOnly && col < row) return;
            completeBefore(row, col);
            if (col == row) ++next;
            take(row, col, value);
        });
        completeBefore(matrix.Rows(), 0);
    });
}

} // namespace

template <>
SparseMatrix upperTriangleOf<double>(const SparseMatrix& matrix)
{
    SparseMatrix upper = diagonalCompleted<double>(matrix, true);
    upper.Symmetric(true);
    return upper;
}

template <>
CSparseMatrix upperTriangleOf<Complex>(const CSparseMatrix& matrix)
{
    return diagonalCompleted<Complex>(matrix, true);
}

template <class Cell>
SparseOf<Cell> withDiagonal(const SparseOf<Cell>& matrix)
{
    return diagonalCompleted<Cell>(matrix, false);
}

/// A column of the triangle is met in ascending rows, and row i of it after all columns i: each row of the
/// result fills from the left.
template <class Cell>
SparseOf<Cell> bothTrianglesOf(const SparseOf<Cell>& triangle)
{
    return matrixFrom<Cell>(triangle.Rows(), triangle.Cols(), [&](auto take) {
        ForEachEntry(triangle, [&](std::int32_t row, std::int32_t col, const Cell& value) {
            if (row > col) return; // what may be stored there does not count
            take(row, col, value);
            if (row != col) take(col, row, conjugate(value));
        });
    });
}

template <>
SparseMatrix wholeOf<double>(const SparseMatrix& matrix)
{
    return matrix;
}
template <>
CSparseMatrix wholeOf<Complex>(const CSparseMatrix& matrix)
{
    return matrix.Hermitian() ? bothTrianglesOf<Complex>(matrix) : matrix;
}

template SparseMatrix bothTrianglesOf<double>(const SparseMatrix&);
template CSparseMatrix bothTrianglesOf<Complex>(const CSparseMatrix&);
template SparseMatrix withDiagonal<double>(const SparseMatrix&);
template CSparseMatrix withDiagonal<Complex>(const CSparseMatrix&);

} // namespace Velmar::Lintrix::detail::roads
