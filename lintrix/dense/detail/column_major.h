#pragma once
/// @file
/// Column-major block algorithms, by cell type.

#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/detail/transpose_squares.h>
#include <lintrix/foundation/transposition.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace Velmar::Lintrix::detail {

/// A rows x cols block to be read; its row count is its leading dimension.
template <class Cell>
struct BlockView {
    const Cell* cells;
    std::int64_t rows, cols;

    const Cell* column(std::int64_t col) const { return cells + rows * col; }
    const Cell& operator()(std::int64_t row, std::int64_t col) const { return column(col)[row]; }
    /// min(rows, cols) cells; the block need not be square.
    Line<const Cell> diagonal() const
    {
        return {cells, static_cast<std::int32_t>(std::min(rows, cols)), rows + 1};
    }
};

/// Copies the leading rows x cols part of `source` (leading dimension lds) to `target` (leading dimension
/// ldt).
template <class Cell>
void copyPart(const Cell* source, std::int32_t lds, Cell* target, std::int32_t ldt, std::int32_t rows,
              std::int32_t cols)
{
    for (std::int64_t c = 0; c < cols; ++c) {
        std::memcpy(target + ldt * c, source + lds * c, static_cast<std::size_t>(rows) * sizeof(Cell));
    }
}

/// Cell (r, c) of the leading rows x cols part of `block` := cellAt(r, c), column after column; its leading
/// dimension is ld. Where the product of its sizes wrapped, the block is shorter than they tell: what stands
/// past its end is not there to be written.
template <class Cell, class CellAt>
void fillLeading(Block<Cell>& block, std::int64_t ld, std::int64_t rows, std::int64_t cols, CellAt cellAt)
{
    const std::int64_t held = block.cells();
    for (std::int64_t c = 0; c < cols; ++c) {
        Cell* const column = block.get() + ld * c;
        const std::int64_t kept = std::clamp<std::int64_t>(held - ld * c, 0, rows);
        for (std::int64_t r = 0; r < kept; ++r) column[r] = cellAt(r, c);
    }
}

/// A new block of `count` cells for rows x cols: elements of `old` keep their (row, column), the rest is
/// zero.
template <class Cell>
Block<Cell> resized(const BlockView<Cell>& old, std::int64_t rows, std::int64_t cols, std::int64_t count)
{
    auto fresh = Block<Cell>::zeroed(count);
    fillLeading(fresh, rows, std::min(rows, old.rows), std::min(cols, old.cols), old);
    return fresh;
}

/// B := A' for the rows x cols block A, cell by cell, bit by bit.
template <class Cell>
void transposeCells(const Cell* A, Cell* B, std::int32_t rows, std::int32_t cols)
{
    if constexpr (std::is_same_v<Cell, double>) {
        vmr_transo(A, B, rows, cols);
    } else {
        const auto m = static_cast<std::uint64_t>(rows), n = static_cast<std::uint64_t>(cols);
        transposeComplexSquares().chosen()(m, n, A, m, B, n);
    }
}

/// Whether `passes` holds for each pair of cells (i, j), (j, i) of a square block, i > j.
template <class Cell, class Passes>
bool eachPairPasses(const BlockView<Cell>& A, Passes passes)
{
    for (std::int64_t j = 0; j < A.cols; ++j) {
        for (std::int64_t i = j + 1; i < A.rows; ++i) {
            if (!passes(A(i, j), A(j, i))) return false;
        }
    }
    return true;
}

/// `values`, which are not empty, row after row into the rows x cols block, `count` of them at most.
template <class Cell>
void readRowMajor(std::span<const Cell> values, Block<Cell>& block, std::int64_t rows, std::int64_t cols,
                  std::size_t count)
{
    const std::size_t wanted = std::min(values.size(), count);
    const std::int64_t held = block.cells(); // as in fillLeading
    std::size_t used = 0;
    for (std::int64_t r = 0; r < rows; ++r) {
        for (std::int64_t c = 0; c < cols; ++c) {
            const Cell& value = values[used++];
            if (r + rows * c < held) block[r + rows * c] = value;
            if (used >= wanted) return;
        }
    }
}

} // namespace Velmar::Lintrix::detail
