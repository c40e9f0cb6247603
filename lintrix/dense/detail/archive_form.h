#pragma once
/// @file
/// Cells on their way into an archive and out of it, by cell type: an array of doubles, a complex cell being
/// two of them.

#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/block.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail {

template <class Cell>
std::vector<double> archivedCells(const Cell* cells, std::int32_t count)
{
    static_assert(sizeof(Cell) % sizeof(double) == 0);
    const auto* const first = reinterpret_cast<const double*>(cells);
    return {first, first + count * static_cast<std::ptrdiff_t>(sizeof(Cell) / sizeof(double))};
}

/// A new block of `count` cells from the array `key`; a surplus is ignored.
/// @throws SerializationException    there is no such array
/// @throws IndexOutOfRangeException  the array is short
template <class Cell>
Block<Cell> restoredCells(const SerializationInfo& info, std::string_view key, std::int32_t count)
{
    Block<Cell> fresh(count);
    copyToBlock(info.GetDoubleArray(key), fresh.get(), count);
    return fresh;
}

} // namespace Velmar::Lintrix::detail
