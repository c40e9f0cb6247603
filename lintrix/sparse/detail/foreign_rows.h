#pragma once
/// @file
/// Compressed rows out of bytes or an archive: nothing in them is believed before it is checked.

#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/foundation/block.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/detail/structure.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail {

/// A block of the first `count` cells of `source`, which goes on behind them. Memory comes first: a count
/// that it cannot hold is told as that, whatever the source holds.
/// @throws NotEnoughMemoryException; IndexOutOfRangeException  the source is short
template <class Cell, class Unit>
Block<Cell> takeBlock(std::span<const Unit>& source, std::int64_t count)
{
    Block<Cell> fresh(count);
    copyToBlock(source, fresh.get(), count);
    source = source.subspan(static_cast<std::size_t>(count) * sizeof(Cell) / sizeof(Unit));
    return fresh;
}

/// How many elements rows + 1 row pointers tell. @throws IndexOutOfRangeException  they are none
inline std::int32_t elementsTold(const Block<std::int32_t>& ia, std::int32_t rows)
{
    if (!areRowPointers({ia.get(), static_cast<std::size_t>(rows) + 1})) throw IndexOutOfRangeException();
    return ia[rows] - 1;
}

/// That the columns are columns of a matrix this wide; in the hardened build also that they ascend within
/// each row. @throws IndexOutOfRangeException; InvalidOperationException
inline void requireForeignColumns(const Block<std::int32_t>& ia, const Block<std::int32_t>& ja,
                                  std::int32_t rows, std::int32_t cols)
{
    const std::span<const std::int32_t> starts(ia.get(), static_cast<std::size_t>(rows) + 1),
        columns(ja.get(), static_cast<std::size_t>(starts.back() - 1));
    if (!areColumns(columns, cols)) throw IndexOutOfRangeException();
    if constexpr (kHardened) requireCompressedRows(starts, columns, cols);
}

} // namespace Velmar::Lintrix::detail
