// Element access, capacity and resizing of SparseMatrix.

#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/sparse/detail/compressed_rows.h>
#include <lintrix/sparse/detail/sizes.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmar::Lintrix {

namespace {

void requireResizable(std::int32_t value)
{
    if constexpr (detail::kHardened) {
        if (value < 1 || value > TrellConfiguration::MaxSize()) {
            throw InvalidOperationException("A matrix has from 1 to 2147483647 rows and columns.");
        }
    }
}

} // namespace

// ---- elements

SparseMatrix::Slot SparseMatrix::slotOf(std::int32_t row, std::int32_t col) const
{
    if (_symmetric && row > col) std::swap(row, col); // first: a failure names the mirrored index
    if (row < 0 || row >= mRows) detail::raiseRowIndex();
    if (col < 0 || col >= mCols) detail::raiseColumnIndex();
    const std::int32_t* starts = rowPointers() + row;
    const std::int32_t end = starts[1] - 1;
    const std::int32_t q = detail::firstNotBelow(ja.get(), starts[0] - 1, end, col + 1);
    return {row, col, q, q < end && ja[q] == col + 1};
}

double SparseMatrix::Item(std::int32_t row, std::int32_t col) const
{
    const Slot slot = slotOf(row, col);
    return slot.stored ? a[slot.index] : 0.0;
}

void SparseMatrix::Item(std::int32_t row, std::int32_t col, double value)
{
    const Slot slot = slotOf(row, col);
    if (!slot.stored) {
        insert_elem(slot.index);
        ja[slot.index] = slot.col + 1;
        std::for_each(ia.get() + slot.row + 1, ia.get() + mRows + 1, [](std::int32_t& start) { ++start; });
        closeRowPointers();
    }
    a[slot.index] = value;
}

// The capacity is told before the arrays have it, also if they then cannot grow. So what they hold is read
// off the blocks: after such a failure the next insertion makes good for it.
void SparseMatrix::insert_elem(std::int32_t pos)
{
    const std::int32_t elements = NumElements();
    detail::requireElementCount(std::int64_t{elements} + 1);
    const bool full = mCells <= elements;
    if (full) mCells = std::max(detail::grownCapacity(_growFactor, mCells), mCells + 1);
    if (full || std::min(a.cells(), ja.cells()) <= elements) resizeSlots(mCells);
    detail::moveSlots(a.get(), ja.get(), pos, pos + 1, elements - pos); // cannot fail
}

void SparseMatrix::delete_elem(std::int32_t pos)
{
    detail::moveSlots(a.get(), ja.get(), pos + 1, pos, NumElements() - pos - 1);
}

void SparseMatrix::RemoveZeros(double tolerance, bool excludeDiagonals)
{
    const double t = std::abs(tolerance);
    const auto small = [=](std::int32_t row, std::int32_t column, double value) {
        return (std::abs(value) < t) &
               !(excludeDiagonals & (column == row + 1)); // no branch, so that any pattern is as quick
    };
    detail::removeElements(mRows, a.get(), rowPointers(), ja.get(), small);
    closeRowPointers();
}

// ---- capacity

void SparseMatrix::resizeSlots(std::int32_t slots)
{
    a.resize(slots);
    ja.resize(slots);
}

void SparseMatrix::Capacity(std::int32_t value)
{
    value = std::max(NumElements(), value);
    if (value == mCells) return;
    closeRowPointers();
    resizeSlots(value);
    mCells = value;
}

// ---- sizes

// value + 1 row pointers, also for a negative count: none for -1, and fewer the allocator refuses.
void SparseMatrix::resizeRows(std::int32_t value)
{
    rowPointers();
    ia.resize(std::int64_t{value} + 1);
    if (value > mRows) std::fill(ia.get() + mRows + 1, ia.get() + value + 1, ia[mRows]);
    mRows = value;
    closeRowPointers();
}

// The same elements go as by `delete_elem` one after the other, in one pass. Growing keeps them all; but what
// stands there without columns, left over from a refused byte form, must not come back behind the last one.
void SparseMatrix::resizeCols(std::int32_t value) noexcept
{
    if (value < mCols || mCols < 1) {
        detail::removeElements(mRows, a.get(), ia.get(), ja.get(),
                               [value](std::int32_t, std::int32_t column, double) { return column > value; });
        closeRowPointers();
    }
    mCols = value;
}

// In symmetric storage both change. The row pointers come first: taking memory for them may fail.
void SparseMatrix::Rows(std::int32_t value)
{
    if (value == mRows) return;
    requireResizable(value);
    resizeRows(value);
    if (_symmetric && mCols != value) resizeCols(value);
}

void SparseMatrix::Cols(std::int32_t value)
{
    if (value == mCols) return;
    requireResizable(value);
    rowPointers();
    if (_symmetric && mRows != value) resizeRows(value);
    resizeCols(value);
}

} // namespace Velmar::Lintrix
