#pragma once
/// @file
/// The flat byte form of the dense classes: one or two 32-bit sizes, then the block, all in the machine's
/// byte order.

#include <lintrix/foundation/failures.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The form is counted in 32 bits, which its readers rely on: cells beside a header of `sizes` 32-bit
/// numbers.
template <class Cell>
constexpr std::int64_t mostCellsInByteForm(std::size_t sizes)
{
    const auto room = static_cast<std::size_t>(INT32_MAX) - sizes * sizeof(std::int32_t);
    return static_cast<std::int64_t>(room / sizeof(Cell));
}

/// The sizes, then `count` cells. @throws NotSupportedException  more cells than a 32-bit byte count tells
template <class Cell>
std::vector<std::byte> toBytes(std::span<const std::int32_t> sizes, const Cell* cells, std::int32_t count)
{
    if (count > mostCellsInByteForm<Cell>(sizes.size())) {
        throw NotSupportedException("The byte form holds at most 2147483647 bytes.");
    }
    const auto header = std::as_bytes(sizes);
    const auto block = std::as_bytes(std::span(cells, static_cast<std::size_t>(count)));
    std::vector<std::byte> data(header.begin(), header.end());
    data.reserve(header.size() + block.size());
    data.insert(data.end(), block.begin(), block.end());
    return data;
}

/// Size number `index` of the header. @throws IndexOutOfRangeException  the array ends before it
inline std::int32_t sizeInBytes(std::span<const std::byte> data, std::size_t index)
{
    std::int32_t size = 0;
    if (data.size() < (index + 1) * sizeof(size)) throw IndexOutOfRangeException();
    std::memcpy(&size, data.data() + index * sizeof(size), sizeof(size));
    return size;
}

/// Bytes, or values of an archive, into a block of `count` cells; a surplus is ignored. What a short
/// source has is copied before it fails, and callers find it there. @throws IndexOutOfRangeException  the
/// source is short
template <class Cell, class Unit>
void copyToBlock(std::span<const Unit> source, Cell* cells, std::int64_t count)
{
    const auto wanted = static_cast<std::size_t>(count) * sizeof(Cell);
    const auto bytes = std::min(wanted, source.size_bytes());
    if (bytes > 0) std::memcpy(static_cast<void*>(cells), source.data(), bytes);
    if (bytes < wanted) throw IndexOutOfRangeException();
}

} // namespace Velmar::Lintrix::detail
