#pragma once
/// @file
/// Element access, capacity and resizing of CompressedMatrix.

#include <lintrix/dense/matrix.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/compressed_matrix.h>
#include <lintrix/sparse/detail/compressed_rows.h>
#include <lintrix/sparse/detail/mirror.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/detail/sparse_twin.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmar::Lintrix::detail {

inline void requireResizable(std::int32_t value)
{
    if constexpr (kHardened) {
        if (value < 1 || value > TrellConfiguration::MaxSize()) {
            throw InvalidOperationException("A matrix has from 1 to 2147483647 rows and columns.");
        }
    }
}

// ---- elements

template <class Cell>
auto CompressedMatrix<Cell>::slotOf(std::int32_t row, std::int32_t col) const -> Slot
{
    const bool mirrored = _oneTriangle && row > col;
    if (mirrored) std::swap(row, col); // first: a failure names the mirrored index
    if (row < 0 || row >= mRows) raiseRowIndex();
    if (col < 0 || col >= mCols) raiseColumnIndex();
    const std::int32_t* starts = rowPointers() + row;
    const std::int32_t end = starts[1] - 1;
    const std::int32_t q = firstNotBelow(ja.get(), starts[0] - 1, end, col + 1);
    return {row, col, q, mirrored, q < end && ja[q] == col + 1};
}

template <class Cell>
Cell CompressedMatrix<Cell>::Item(std::int32_t row, std::int32_t col) const
{
    const Slot slot = slotOf(row, col);
    const Cell value = slot.stored ? a[slot.index] : Cell(0.0);
    return slot.mirrored ? mirrored(value) : value;
}

template <class Cell>
void CompressedMatrix<Cell>::Item(std::int32_t row, std::int32_t col, Cell value)
{
    const Slot slot = slotOf(row, col);
    if (!slot.stored) {
        insert_elem(slot.index);
        ja[slot.index] = slot.col + 1;
        std::for_each(ia.get() + slot.row + 1, ia.get() + mRows + 1, [](std::int32_t& start) { ++start; });
        closeRowPointers();
    }
    a[slot.index] = slot.mirrored ? mirrored(value) : value;
}

// The capacity is told before the arrays have it, also if they then cannot grow. So what they hold is read
// off the blocks: after such a failure the next insertion makes good for it.
template <class Cell>
void CompressedMatrix<Cell>::insert_elem(std::int32_t pos)
{
    const std::int32_t elements = NumElements();
    requireElementCount(std::int64_t{elements} + 1);
    const bool full = mCells <= elements;
    if (full) mCells = SparseTwin<Cell>::grown(_growFactor, mCells);
    if (full || std::min(a.cells(), ja.cells()) <= elements) resizeSlots(mCells);
    moveSlots(a.get(), ja.get(), pos, pos + 1, elements - pos); // cannot fail
}

template <class Cell>
void CompressedMatrix<Cell>::delete_elem(std::int32_t pos)
{
    moveSlots(a.get(), ja.get(), pos + 1, pos, NumElements() - pos - 1);
}

template <class Cell>
void CompressedMatrix<Cell>::RemoveZeros(double tolerance, bool excludeDiagonals)
{
    const double t = std::abs(tolerance);
    const auto small = [=](std::int32_t row, std::int32_t column, const Cell& value) {
        return (std::abs(value) < t) &
               !(excludeDiagonals & (column == row + 1)); // no branch, so that any pattern is as quick
    };
    removeElements(mRows, a.get(), rowPointers(), ja.get(), small);
    closeRowPointers();
}

// ---- capacity

template <class Cell>
void CompressedMatrix<Cell>::resizeSlots(std::int32_t slots)
{
    a.resize(slots);
    ja.resize(slots);
}

template <class Cell>
void CompressedMatrix<Cell>::Capacity(std::int32_t value)
{
    value = std::max(NumElements(), value);
    if (value == mCells) return;
    closeRowPointers();
    resizeSlots(value);
    mCells = value;
}

// ---- sizes

// value + 1 row pointers, also for a negative count: none for -1, and fewer the allocator refuses.
template <class Cell>
void CompressedMatrix<Cell>::resizeRows(std::int32_t value)
{
    rowPointers();
    ia.resize(std::int64_t{value} + 1);
    if (value > mRows) std::fill(ia.get() + mRows + 1, ia.get() + value + 1, ia[mRows]);
    mRows = value;
    closeRowPointers();
}

// The same elements go as by `delete_elem` one after the other, in one pass. Growing keeps them all; but what
// stands there without columns, left over from a refused byte form, must not come back behind the last one.
template <class Cell>
void CompressedMatrix<Cell>::resizeCols(std::int32_t value) noexcept
{
    if (value < mCols || mCols < 1) {
        removeElements(mRows, a.get(), ia.get(), ja.get(),
                       [value](std::int32_t, std::int32_t column, const Cell&) { return column > value; });
        closeRowPointers();
    }
    mCols = value;
}

// Of one triangle both change. The row pointers come first: taking memory for them may fail.
template <class Cell>
void CompressedMatrix<Cell>::Rows(std::int32_t value)
{
    if (value == mRows) return;
    requireResizable(value);
    resizeRows(value);
    if (_oneTriangle && mCols != value) resizeCols(value);
}

template <class Cell>
void CompressedMatrix<Cell>::Cols(std::int32_t value)
{
    if (value == mCols) return;
    requireResizable(value);
    rowPointers();
    if (_oneTriangle && mRows != value) resizeRows(value);
    resizeCols(value);
}

} // namespace Velmar::Lintrix::detail
