#pragma once
/// @file
/// The three arrays of a sparse object, for any cell: how they are made new, copied and restored.

#include <lintrix/foundation/block.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Velmar::Lintrix::detail {

/// Values, row pointers and columns; the index arrays one-based. Slots behind the elements are spare: value
/// 0, column -1, and nothing reads them as elements.
template <class Cell>
struct RowArrays {
    Block<Cell> a;
    Block<std::int32_t> ia, ja;
};

/// Rows without elements, or with the diagonal alone, value 0. @pre with `wholeDiagonal` slots >= rows
template <class Cell>
RowArrays<Cell> newRows(std::int32_t rows, std::int32_t slots, bool wholeDiagonal)
{
    Block<std::int32_t> ia(std::int64_t{rows} + 1), ja(slots);
    auto a = Block<Cell>::zeroed(slots);
    std::fill_n(ja.get(), slots, -1);
    std::fill_n(ia.get(), std::int64_t{rows} + 1, 1);
    for (std::int32_t i = 0; wholeDiagonal && i < rows; ++i) { // one element a row
        ja[i] = i + 1;
        ia[i + 1] = i + 2;
    }
    return {std::move(a), std::move(ia), std::move(ja)};
}

/// The first `count` cells of `source`, then `filler` up to `slots` cells.
template <class Cell>
Block<Cell> copiedAndFilled(const Cell* source, std::int32_t count, std::int32_t slots, Cell filler)
{
    Block<Cell> fresh(slots);
    std::fill(std::copy_n(source, count, fresh.get()), fresh.get() + slots, filler);
    return fresh;
}

/// A copy of `rows` rows with room for `slots` elements, which are at least those of the source.
template <class Cell>
RowArrays<Cell> copiedRows(const Cell* a, const std::int32_t* ia, const std::int32_t* ja, std::int32_t rows,
                           std::int32_t slots)
{
    const std::int32_t elements = ia[rows] - ia[0];
    auto starts = Block<std::int32_t>::copyOf(ia, std::int64_t{rows} + 1);
    auto columns = copiedAndFilled(ja, elements, slots, -1);
    return {copiedAndFilled(a, elements, slots, Cell{}), std::move(starts), std::move(columns)};
}

} // namespace Velmar::Lintrix::detail
