#pragma once
/// @file
/// Editing of compressed rows in place, for any cell. Row pointers and columns are one-based in memory, slots
/// are counted from 0: row i has the slots ia[i] - 1 up to but not including ia[i+1] - 1.

#include <cstdint>
#include <cstring>

namespace Velmar::Lintrix::detail {

/// First slot from `begin` on, before `end`, whose column is not less than `column` (one-based); `end` if
/// there is none. A plain scan: rows are short.
inline std::int32_t firstNotBelow(const std::int32_t* ja, std::int32_t begin, std::int32_t end,
                                  std::int32_t column)
{
    std::int32_t q = begin;
    while (q < end && ja[q] < column) ++q;
    return q;
}

/// Moves `count` slots from slot `from` to slot `to`; the two runs may overlap.
template <class Cell>
void moveSlots(Cell* a, std::int32_t* ja, std::int32_t from, std::int32_t to, std::int32_t count)
{
    const auto slots = static_cast<std::size_t>(count);
    std::memmove(static_cast<void*>(a + to), a + from, slots * sizeof(Cell));
    std::memmove(ja + to, ja + from, slots * sizeof(std::int32_t));
}

/// Removes the elements for which `removed(row, column, value)` holds (row from 0, column from 1), in one
/// pass. The others keep their order. Cost: one read and at most one write of each element.
template <class Cell, class Removed>
void removeElements(std::int32_t rows, Cell* a, std::int32_t* ia, std::int32_t* ja, Removed removed)
{
    std::int32_t kept = 0, next = ia[0] - 1;
    for (std::int32_t i = 0; i < rows; ++i) {
        const std::int32_t begin = next;
        next = ia[i + 1] - 1; // the old end, before it is lowered
        for (std::int32_t q = begin; q < next; ++q) {
            const bool keep = !removed(i, ja[q], a[q]);
            a[kept] = a[q]; // the slot is written over if the element goes
            ja[kept] = ja[q];
            kept += keep;
        }
        ia[i + 1] = kept + 1;
    }
}

} // namespace Velmar::Lintrix::detail
