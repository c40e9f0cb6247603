#pragma once
/// @file
/// Compressed rows out of bytes or an archive: nothing in them is believed before it is checked.

#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/detail/row_arrays.h>
#include <lintrix/sparse/detail/structure.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

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

// ---- byte form: two sizes, row pointers, values, columns

template <class Cell>
std::vector<std::byte> rowsToBytes(std::int32_t rows, std::int32_t cols, std::span<const std::int32_t> ia,
                                   std::span<const Cell> a, std::span<const std::int32_t> ja)
{
    const std::array sizes{rows, cols};
    const std::span<const std::byte> parts[] = {std::as_bytes(std::span(sizes)), std::as_bytes(ia),
                                                std::as_bytes(a), std::as_bytes(ja)};
    std::vector<std::byte> data;
    data.reserve(parts[0].size() + parts[1].size() + parts[2].size() + parts[3].size());
    for (const auto part : parts) data.insert(data.end(), part.begin(), part.end());
    return data;
}

template <class Cell>
struct ForeignRows : RowArrays<Cell> {
    std::int32_t elements;
};

/// What a byte form holds behind its sizes, which have been read off it and found right.
template <class Cell>
ForeignRows<Cell> rowsFromBytes(std::span<const std::byte> data, std::int32_t rows, std::int32_t cols)
{
    auto rest = data.subspan(2 * sizeof(std::int32_t));
    auto starts = takeBlock<std::int32_t>(rest, std::int64_t{rows} + 1);
    const std::int32_t elements = elementsTold(starts, rows);
    auto values = takeBlock<Cell>(rest, elements);
    auto columns = takeBlock<std::int32_t>(rest, elements);
    requireForeignColumns(starts, columns, rows, cols);
    return {{std::move(values), std::move(starts), std::move(columns)}, elements};
}

} // namespace Velmar::Lintrix::detail
