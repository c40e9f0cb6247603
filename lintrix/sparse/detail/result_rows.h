#pragma once
/// @file
/// Compressed rows on their way from a kernel into an object.

#include <lintrix/foundation/block.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// The three arrays of a result. A first pass writes the row pointers, `allot` makes the others to fit, a
/// second pass fills them.
///
/// The object that adopts the arrays tells a capacity of one more than is stored, which callers have come to
/// read off results; the spare slot makes that true.
template <class Cell>
struct ResultRows {
    explicit ResultRows(std::int32_t rowCount) : rows(rowCount), ia(std::int64_t{rowCount} + 1) {}

    /// One-based, the last pointer is the number of elements and one more: the spare slot.
    void allot()
    {
        a = Block<Cell>(ia[rows]);
        ja = Block<std::int32_t>(ia[rows]);
    }
    /// The spare slot as in a new matrix: no value, no column.
    void markSpareSlot() noexcept
    {
        const std::int32_t spare = ia[rows] - 1;
        a[spare] = Cell{};
        ja[spare] = -1;
    }

    std::int32_t rows;
    Block<std::int32_t> ia;
    Block<Cell> a;
    Block<std::int32_t> ja;
};

} // namespace Velmar::Lintrix::detail
