#pragma once
// Sparse matrices of the library, by cell, and what the command makes of them.

#include <tools/support/input_error.h>

#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::tools {

using ComplexNumber = std::complex<double>;

template <class Cell>
inline constexpr bool kIsComplex = !std::is_same_v<Cell, double>;

/// The library's sparse matrix of these cells. A complex one has both triangles, since products take one of
/// them for a general matrix; of a real one the triangle may stand for both.
template <class Cell>
using SparseRows = std::conditional_t<kIsComplex<Cell>, CSparseMatrix, SparseMatrix>;

inline double conjugate(double value)
{
    return value;
}
inline ComplexNumber conjugate(ComplexNumber value)
{
    return std::conj(value);
}

/// Whether the upper triangle is all that is stored of the full matrix.
inline bool isTriangle(const SparseMatrix& matrix)
{
    return matrix.Symmetric();
}
inline bool isTriangle(const CSparseMatrix&)
{
    return false;
}

/// Visits the stored entries row by row: visit(row, col, value), from 0.
template <class Matrix, class Visit>
void forEachEntry(const Matrix& matrix, Visit visit)
{
    const auto starts = matrix.RowPointers(), columns = matrix.ColumnIndices();
    const auto values = matrix.Values();
    for (std::int32_t row = 0; row < matrix.Rows(); ++row) {
        const auto end = static_cast<std::size_t>(starts[static_cast<std::size_t>(row) + 1] - 1);
        for (auto k = static_cast<std::size_t>(starts[static_cast<std::size_t>(row)] - 1); k < end; ++k) {
            visit(row, columns[k] - 1, values[k]);
        }
    }
}

/// The arrays of compressed rows that count from 0, with whatever cells.
template <class Cell>
struct RowLists {
    std::vector<std::int32_t> starts, columns{};
    std::vector<Cell> values{};
};

/// Rows of what `visit` tells, twice, to a function (row, col, value): once for their lengths and once for
/// their contents, which keep the order in which they are told.
template <class Cell, class Visit>
RowLists<Cell> listRows(std::int32_t rows, Visit visit)
{
    RowLists<Cell> lists{std::vector<std::int32_t>(static_cast<std::size_t>(rows) + 1)};
    visit([&lists](std::int32_t row, std::int32_t, Cell) { ++lists.starts[static_cast<std::size_t>(row)]; });
    std::int64_t next = 0; // each length becomes the place of the row's first entry
    for (std::int32_t& length : lists.starts) next += std::exchange(length, static_cast<std::int32_t>(next));
    if (next >= INT32_MAX) throw InputError("the matrix has too many entries");
    lists.columns.resize(static_cast<std::size_t>(next));
    lists.values.resize(lists.columns.size());
    std::vector<std::int32_t> cursor = lists.starts;
    visit([&](std::int32_t row, std::int32_t col, Cell value) {
        const auto slot = static_cast<std::size_t>(cursor[static_cast<std::size_t>(row)]++);
        lists.columns[slot] = col;
        lists.values[slot] = value;
    });
    return lists;
}

/// The upper triangle, with a zero at each place of the diagonal that has no entry; a real one is marked
/// symmetric. @pre square
template <class Cell>
SparseRows<Cell> upperTriangleOf(const SparseRows<Cell>& matrix);

/// All entries, with a zero at each place of the diagonal that has none. @pre square, both triangles stored
template <class Cell>
SparseRows<Cell> withDiagonal(const SparseRows<Cell>& matrix);

/// All elements of a symmetric matrix.
SparseMatrix bothTrianglesOf(const SparseMatrix& triangle);

} // namespace Velmar::Lintrix::tools
