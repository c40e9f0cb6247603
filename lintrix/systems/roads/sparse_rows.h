#pragma once
/// @file
/// The rows of a sparse matrix, one entry after another, and other matrices made of them.

#include <lintrix/foundation/failures.h>
#include <lintrix/foundation/function_objects.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/entries.h>
#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/systems/cells.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// Whether the upper triangle is all that is stored of the full matrix.
inline bool isTriangle(const SparseMatrix& matrix)
{
    return matrix.Symmetric();
}
inline bool isTriangle(const CSparseMatrix&)
{
    return false;
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
    if (next >= INT32_MAX) throw OperationFailedException("The matrix has too many entries.");
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
SparseOf<Cell> upperTriangleOf(const SparseOf<Cell>& matrix);

/// All entries, with a zero at each place of the diagonal that has none. @pre square, both triangles stored
template <class Cell>
SparseOf<Cell> withDiagonal(const SparseOf<Cell>& matrix);

/// All elements of a symmetric matrix, or of a hermitian one.
template <class Cell>
SparseOf<Cell> bothTrianglesOf(const SparseOf<Cell>& triangle);

/// Whether what is stored stands for both triangles.
inline bool isOneTriangle(const SparseMatrix& matrix)
{
    return matrix.Symmetric();
}
inline bool isOneTriangle(const CSparseMatrix& matrix)
{
    return matrix.Hermitian();
}

/// A copy with the meaning of `matrix`: a complex one has both triangles, whose copies lose the mark.
template <class Cell>
SparseOf<Cell> wholeOf(const SparseOf<Cell>& matrix);

} // namespace Velmar::Lintrix::detail::roads
