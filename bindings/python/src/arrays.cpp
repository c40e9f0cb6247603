#include "arrays.h"

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::python {

namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();

template <class Cell>
using AssemblerFor = std::conditional_t<std::is_same_v<Cell, double>, SparseAssembler, CSparseAssembler>;

/// Whatever the order of the array, rows of a tile share its lines of cache.
template <class Cell>
void copyTile(const DenseView<Cell>& view, std::int64_t row, std::int64_t col, std::int64_t tile, Cell* cells)
{
    const std::int64_t rowEnd = std::min(row + tile, view.rows), colEnd = std::min(col + tile, view.cols);
    for (std::int64_t j = col; j < colEnd; ++j) {
        const char* source = view.data + j * view.colStep + row * view.rowStep;
        Cell* target = cells + j * view.rows + row;
        for (std::int64_t i = row; i < rowEnd; ++i, ++target, source += view.rowStep)
            std::memcpy(target, source, sizeof(Cell));
    }
}

/// Row pointers rise from 0 to the number of entries, and columns ascend within each row.
/// @throws ArgumentException  they describe no matrix
template <class Cell, class Index>
bool isCanonical(const RowsView<Cell, Index>& view)
{
    if (view.starts[0] != 0 || static_cast<std::int64_t>(view.starts[view.rows]) != view.entries)
        throw ArgumentException("The row pointers do not fit the entries of the matrix.", "A");
    for (std::int64_t row = 0; row < view.rows; ++row)
        if (view.starts[row] > view.starts[row + 1])
            throw ArgumentException("The row pointers of the matrix fall.", "A");
    bool ascends = true;
    for (std::int64_t row = 0; row < view.rows; ++row) {
        std::int64_t before = -1;
        for (Index k = view.starts[row]; k < view.starts[row + 1]; ++k) {
            const std::int64_t column = view.columns[k];
            if (column < 0 || column >= view.cols)
                throw ArgumentException("A column index is outside the matrix.", "A");
            ascends = ascends && column > before;
            before = column;
        }
    }
    return ascends;
}

template <class Cell, class Index>
SparseFor<Cell> sorted(const RowsView<Cell, Index>& view)
{
    AssemblerFor<Cell> entries(static_cast<std::int32_t>(view.rows), static_cast<std::int32_t>(view.cols));
    entries.Reserve(static_cast<std::size_t>(view.entries));
    for (std::int64_t row = 0; row < view.rows; ++row)
        for (Index k = view.starts[row]; k < view.starts[row + 1]; ++k)
            entries.Add(static_cast<std::int32_t>(row), static_cast<std::int32_t>(view.columns[k]),
                        view.values[k]);
    return entries.Assemble();
}

/// Indices of 32 bits go to the class as they are, wider ones through an array of their own.
std::span<const std::int32_t> narrowed(const std::int32_t* indices, std::int64_t count,
                                       std::vector<std::int32_t>&)
{
    return {indices, static_cast<std::size_t>(count)};
}
std::span<const std::int32_t> narrowed(const std::int64_t* indices, std::int64_t count,
                                       std::vector<std::int32_t>& room)
{
    room.resize(static_cast<std::size_t>(count));
    std::transform(indices, indices + count, room.begin(),
                   [](std::int64_t index) { return static_cast<std::int32_t>(index); });
    return room;
}

} // namespace

template <class Cell>
MatrixFor<Cell> matrixOf(const DenseView<Cell>& view)
{
    constexpr std::int64_t kTile = 32;
    if (view.rows < 1 || view.cols < 1 || view.rows > kMost / view.cols) throw InvalidSizeException();
    MatrixFor<Cell> matrix(static_cast<std::int32_t>(view.rows), static_cast<std::int32_t>(view.cols));
    auto* const cells = reinterpret_cast<Cell*>(matrix.DataPtr());
    for (std::int64_t col = 0; col < view.cols; col += kTile)
        for (std::int64_t row = 0; row < view.rows; row += kTile) copyTile(view, row, col, kTile, cells);
    return matrix;
}

template <class Cell, class Index>
SparseFor<Cell> sparseOf(const RowsView<Cell, Index>& view)
{
    if (view.rows < 1 || view.cols < 1 || view.rows > kMost || view.cols > kMost)
        throw InvalidSizeException();
    if (view.entries >= kMost)
        throw NotSupportedException("A sparse matrix holds at most 2147483646 elements.");
    if (!isCanonical(view) || view.entries == 0) return sorted(view);
    std::vector<std::int32_t> startsRoom, columnsRoom;
    const auto starts = narrowed(view.starts, view.rows + 1, startsRoom);
    const auto columns = narrowed(view.columns, view.entries, columnsRoom);
    SparseFor<Cell> matrix(std::span(view.values, static_cast<std::size_t>(view.entries)), starts, columns);
    matrix.Cols(static_cast<std::int32_t>(view.cols)); // empty ones at the end are not told by entries
    return matrix;
}

template Matrix matrixOf(const DenseView<double>&);
template CMatrix matrixOf(const DenseView<std::complex<double>>&);
template SparseMatrix sparseOf(const RowsView<double, std::int32_t>&);
template SparseMatrix sparseOf(const RowsView<double, std::int64_t>&);
template CSparseMatrix sparseOf(const RowsView<std::complex<double>, std::int32_t>&);
template CSparseMatrix sparseOf(const RowsView<std::complex<double>, std::int64_t>&);

} // namespace Velmar::Lintrix::python
