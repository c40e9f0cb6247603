#pragma once
/// @file
/// Rows and columns of column-major blocks deleted, inserted, moved, cut out and joined, by cell type.
///
/// Data is moved and nothing computed: columns and their pieces go as block copies. Each function answers
/// with a new block and leaves its operand alone.

#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/block.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

namespace Velmar::Lintrix::detail {

/// 0 to end - 1. Callers compare texts: deleting and inserting say the default one, not that of the row or
/// the column. @throws IndexOutOfBoundsException
inline void requireEditIndex(std::int32_t index, std::int64_t end)
{
    if (index < 0 || index >= end) throw IndexOutOfBoundsException();
}

/// Uninitialised, of rows x cols, which may be sums. @throws NotEnoughMemoryException  also of a size past
/// all blocks
template <class Cell>
Block<Cell> resultBlock(std::int64_t rows, std::int64_t cols)
{
    return Block<Cell>(resultCells(rows, cols));
}

/// The tail of a column below the deleted row and the head of the next above it lie next to each other in
/// both blocks, so that each such pair moves as one piece.
template <class Cell>
Block<Cell> withoutRow(const BlockView<Cell>& A, std::int64_t row)
{
    const std::int64_t left = A.rows - 1, last = A.cols - 1;
    auto fresh = resultBlock<Cell>(left, A.cols);
    if (A.cols == 0) return fresh;
    Cell* const target = fresh.get();
    std::copy_n(A.cells, row, target);
    for (std::int64_t j = 0; j < last; ++j) {
        std::copy_n(A.column(j) + row + 1, left, target + row + j * left);
    }
    std::copy_n(A.column(last) + row + 1, left - row, target + row + last * left);
    return fresh;
}

template <class Cell>
Block<Cell> withoutColumn(const BlockView<Cell>& A, std::int64_t col)
{
    auto fresh = resultBlock<Cell>(A.rows, A.cols - 1);
    std::copy(A.column(col + 1), A.column(A.cols), std::copy(A.cells, A.column(col), fresh.get()));
    return fresh;
}

/// A zero row before old row `row`; A.rows appends it.
template <class Cell>
Block<Cell> withRow(const BlockView<Cell>& A, std::int64_t row)
{
    auto fresh = resultBlock<Cell>(A.rows + 1, A.cols);
    for (std::int64_t j = 0; j < A.cols; ++j) {
        Cell* const gap = std::copy_n(A.column(j), row, fresh.get() + (A.rows + 1) * j);
        *gap = Cell();
        std::copy(A.column(j) + row, A.column(j + 1), gap + 1);
    }
    return fresh;
}

/// A zero column before old column `col`; A.cols appends it.
template <class Cell>
Block<Cell> withColumn(const BlockView<Cell>& A, std::int64_t col)
{
    auto fresh = resultBlock<Cell>(A.rows, A.cols + 1);
    Cell* const gap = std::copy(A.cells, A.column(col), fresh.get());
    std::copy(A.column(col), A.column(A.cols), std::fill_n(gap, A.rows, Cell()));
    return fresh;
}

/// Row i becomes row places[i]. Column by column, so that both sides stay in cache.
template <class Cell>
Block<Cell> withRowsMoved(const BlockView<Cell>& A, std::span<const std::int32_t> places)
{
    auto fresh = resultBlock<Cell>(A.rows, A.cols);
    for (std::int64_t j = 0; j < A.cols; ++j) {
        Cell* const target = fresh.get() + A.rows * j;
        for (std::int64_t i = 0; i < A.rows; ++i) target[places[static_cast<std::size_t>(i)]] = A(i, j);
    }
    return fresh;
}

/// Column j becomes column places[j].
template <class Cell>
Block<Cell> withColumnsMoved(const BlockView<Cell>& A, std::span<const std::int32_t> places)
{
    auto fresh = resultBlock<Cell>(A.rows, A.cols);
    for (std::int64_t j = 0; j < A.cols; ++j) {
        std::copy_n(A.column(j), A.rows, fresh.get() + A.rows * places[static_cast<std::size_t>(j)]);
    }
    return fresh;
}

/// From `first` to `last`, both inclusive, in steps of 1 or -1.
struct Stretch {
    Stretch(std::int32_t start, std::int32_t end)
        : first(start), step(end < start ? -1 : 1), count(std::abs(end - start) + 1)
    {
    }
    std::int64_t operator[](std::int64_t i) const { return first + i * step; }

    std::int64_t first, step;
    std::int32_t count;
};

template <class Cell>
Block<Cell> partOf(const BlockView<Cell>& A, const Stretch& rows, const Stretch& cols)
{
    auto fresh = resultBlock<Cell>(rows.count, cols.count);
    fillLeading(fresh, rows.count, rows.count, cols.count,
                [&](std::int64_t i, std::int64_t j) { return A(rows[i], cols[j]); });
    return fresh;
}

/// A with B beside it or below it, in a rows x cols block; zero where the smaller one ends. `place` is where
/// B begins.
template <class Cell>
Block<Cell> joined(const BlockView<Cell>& A, const BlockView<Cell>& B, std::int64_t rows, std::int64_t cols,
                   std::int64_t place)
{
    auto fresh = resultBlock<Cell>(rows, cols);
    fresh.clear(rows * cols);
    for (std::int64_t j = 0; j < A.cols; ++j) std::copy_n(A.column(j), A.rows, fresh.get() + rows * j);
    for (std::int64_t j = 0; j < B.cols; ++j)
        std::copy_n(B.column(j), B.rows, fresh.get() + place + rows * j);
    return fresh;
}

template <class Cell>
Block<Cell> joinedAcross(const BlockView<Cell>& A, const BlockView<Cell>& B)
{
    const std::int64_t rows = std::max(A.rows, B.rows);
    return joined(A, B, rows, A.cols + B.cols, rows * A.cols);
}

template <class Cell>
Block<Cell> joinedDown(const BlockView<Cell>& A, const BlockView<Cell>& B)
{
    return joined(A, B, A.rows + B.rows, std::max(A.cols, B.cols), A.rows);
}

} // namespace Velmar::Lintrix::detail
