#include <tools/input/compressed_rows.h>

namespace Velmar::Lintrix::tools {

CompressedRows<double> rowsOf(const SparseMatrix& matrix)
{
    const auto starts = matrix.RowPointers(), columns = matrix.ColumnIndices();
    const auto values = matrix.Values();
    return {matrix.Symmetric() ? Below::Mirrored : Below::Stored,
            matrix.Cols(),
            {starts.begin(), starts.end()},
            {columns.begin(), columns.end()},
            {values.begin(), values.end()}};
}

template <class Cell>
CompressedRows<Cell> withDiagonal(const CompressedRows<Cell>& matrix, bool upperOnly)
{
    return rowsFrom<Cell>(matrix.rows(), matrix.cols, [&](auto take) {
        std::int32_t next = 0; // row whose diagonal is still to come
        const auto completeBefore = [&](std::int32_t row, std::int32_t col) {
            for (; next < row || (next == row && col > row); ++next) take(next, next, Cell());
        };
        forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, Cell value) {
            if (upperOnly && col < row) return;
            completeBefore(row, col);
            if (col == row) ++next;
            take(row, col, value);
        });
        completeBefore(matrix.rows(), 0);
    });
}

/// A column of the triangle is met in ascending rows, and row i of it after all columns i: each row of the
/// result fills from the left.
template <class Cell>
CompressedRows<Cell> bothTrianglesOf(const CompressedRows<Cell>& triangle)
{
    return rowsFrom<Cell>(triangle.rows(), triangle.cols, [&](auto take) {
        forEachEntry(triangle, [&](std::int32_t row, std::int32_t col, Cell value) {
            take(row, col, value);
            if (row != col) take(col, row, triangle.across(value));
        });
    });
}

/// A row of a triangle is the column across the diagonal as well.
template <class Cell>
void addProduct(double factor, const CompressedRows<Cell>& A, std::span<const Cell> x, std::span<Cell> y)
{
    const bool triangle = A.isTriangle();
    for (std::size_t i = 0; i + 1 < A.ia.size(); ++i) {
        const Cell scaled = triangle ? factor * x[i] : Cell();
        Cell sum{};
        const auto end = static_cast<std::size_t>(A.ia[i + 1] - 1);
        for (auto k = static_cast<std::size_t>(A.ia[i] - 1); k < end; ++k) {
            const auto j = static_cast<std::size_t>(A.ja[k] - 1);
            sum += A.a[k] * x[j];
            if (triangle && j != i) y[j] += A.across(A.a[k]) * scaled;
        }
        y[i] += factor * sum;
    }
}

template CompressedRows<double> withDiagonal(const CompressedRows<double>&, bool);
template CompressedRows<ComplexNumber> withDiagonal(const CompressedRows<ComplexNumber>&, bool);
template CompressedRows<double> bothTrianglesOf(const CompressedRows<double>&);
template CompressedRows<ComplexNumber> bothTrianglesOf(const CompressedRows<ComplexNumber>&);

template void addProduct(double, const CompressedRows<double>&, std::span<const double>, std::span<double>);
template void addProduct(double, const CompressedRows<ComplexNumber>&, std::span<const ComplexNumber>,
                         std::span<ComplexNumber>);

} // namespace Velmar::Lintrix::tools
