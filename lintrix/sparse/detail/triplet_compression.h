#pragma once
/// @file
/// From triplets in any order to compressed rows, by two stable counting sorts.
///
/// The first sort brings the entries into column order. Walking them then meets, within each row, its columns
/// in ascending order and entries at one place one after another, in the order of entry: so the second sort
/// folds duplicates while it writes, and nothing is moved afterwards. Before it, the same walk counts the
/// places of each row, so that the result is allocated once and exactly.

#include <lintrix/sparse/detail/row_arrays.h>
#include <lintrix/sparse/detail/sizes.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Entries in column order: column c has the slots [start[c], start[c + 1]). Indices count from 0; 64-bit
/// positions, because duplicates may be many more than a matrix can hold elements.
template <class Cell>
struct ColumnOrder {
    std::vector<std::int64_t> start;
    std::unique_ptr<std::int32_t[]> row;
    std::unique_ptr<Cell[]> value;
};

/// First sort. `Pieces` is a range of ranges of triplets (row, col, value).
template <class Cell, class Pieces>
ColumnOrder<Cell> columnOrder(const Pieces& pieces, std::int32_t cols)
{
    std::vector<std::int64_t> next(static_cast<std::size_t>(cols) + 1);
    for (const auto& piece : pieces) {
        for (const auto& entry : piece) ++next[static_cast<std::size_t>(entry.col) + 1];
    }
    for (std::size_t c = 1; c < next.size(); ++c) next[c] += next[c - 1];

    const auto entries = static_cast<std::size_t>(next.back());
    ColumnOrder<Cell> sorted{next, std::make_unique_for_overwrite<std::int32_t[]>(entries),
                             std::make_unique_for_overwrite<Cell[]>(entries)};
    for (const auto& piece : pieces) {
        for (const auto& entry : piece) {
            const auto k = static_cast<std::size_t>(next[static_cast<std::size_t>(entry.col)]++);
            sorted.row[k] = entry.row;
            sorted.value[k] = entry.value;
        }
    }
    return sorted;
}

/// What the walk through the columns knows of a row.
struct RowCursor {
    std::int32_t col = -1; ///< the last column in which the row had an element
    std::int32_t next = 0; ///< elements so far; in the second walk, slot of the next one
};

/// Second sort.
template <class Cell>
class RowSort {
public:
    /// With `wholeDiagonal` an element (c, c), value 0, is made where no entry is. That is its place in the
    /// order of row c only if no entry of the row is left of it: in an upper triangle.
    RowSort(const ColumnOrder<Cell>& sorted, std::int32_t rows, bool wholeDiagonal)
        : sorted_(sorted), wholeDiagonal_(wholeDiagonal), cursor_(static_cast<std::size_t>(rows))
    {
    }

    /// With one spare slot behind the elements.
    RowArrays<Cell> run(bool addDuplicates)
    {
        countElements();
        RowArrays<Cell> out = allocate();
        if (addDuplicates) {
            fill(out, [](Cell& stored, const Cell& value) { stored += value; });
        } else {
            fill(out, [](Cell& stored, const Cell& value) { stored = value; });
        }
        return out;
    }

private:
    /// visit(cursor of the row, column, slot of the entry), in column order.
    template <class Visit, class Diagonal>
    void walk(Visit visit, Diagonal makeDiagonal)
    {
        for (std::size_t c = 0; c + 1 < sorted_.start.size(); ++c) {
            const auto col = static_cast<std::int32_t>(c);
            const auto end = static_cast<std::size_t>(sorted_.start[c + 1]);
            for (auto k = static_cast<std::size_t>(sorted_.start[c]); k < end; ++k) {
                visit(cursor_[static_cast<std::size_t>(sorted_.row[k])], col, k);
            }
            if (wholeDiagonal_ && cursor_[c].col != col) makeDiagonal(cursor_[c], col);
        }
    }

    void countElements()
    {
        const auto count = [](RowCursor& row, std::int32_t col) {
            row.next += row.col != col ? 1 : 0;
            row.col = col;
        };
        walk([count](RowCursor& row, std::int32_t col, std::size_t) { count(row, col); }, count);
    }

    /// Turns the counts into row pointers, and the cursors to the start of their rows.
    RowArrays<Cell> allocate()
    {
        std::int64_t elements = 0;
        for (const RowCursor& row : cursor_) elements += row.next;
        requireElementCount(elements);

        RowArrays<Cell> out{Block<Cell>(elements + 1), Block<std::int32_t>(ssize() + 1),
                            Block<std::int32_t>(elements + 1)};
        std::int32_t start = 0;
        for (std::size_t r = 0; r < cursor_.size(); ++r) {
            out.ia[static_cast<std::int64_t>(r)] = start + 1;
            start += cursor_[r].next;
            cursor_[r] = {-1, start - cursor_[r].next};
        }
        out.ia[ssize()] = start + 1;
        out.a[elements] = Cell();
        out.ja[elements] = -1;
        return out;
    }

    template <class Fold>
    void fill(RowArrays<Cell>& out, Fold fold)
    {
        const auto put = [&out](RowCursor& row, std::int32_t col, const Cell& value) {
            out.ja[row.next] = col + 1;
            out.a[row.next] = value;
            row = {col, row.next + 1};
        };
        walk(
            [&](RowCursor& row, std::int32_t col, std::size_t k) {
                if (row.col == col) {
                    fold(out.a[row.next - 1], sorted_.value[k]);
                } else {
                    put(row, col, sorted_.value[k]);
                }
            },
            [&](RowCursor& row, std::int32_t col) { put(row, col, Cell()); });
    }

    std::int64_t ssize() const noexcept { return static_cast<std::int64_t>(cursor_.size()); }

    const ColumnOrder<Cell>& sorted_;
    bool wholeDiagonal_;
    std::vector<RowCursor> cursor_;
};

} // namespace Velmar::Lintrix::detail
