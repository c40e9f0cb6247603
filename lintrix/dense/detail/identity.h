#pragma once
/// @file
/// Equality and hash of blocks.

#include <algorithm>
#include <bit>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Plain floating comparison, pair by pair: 0.0 equals -0.0, and NaN equals nothing, itself included.
template <class Cell>
bool equalCells(const Cell* x, const Cell* y, std::int64_t count)
{
    return std::equal(x, x + count, y);
}

/// The bits of a cell as the hash takes them: what equals 0.0 has those of 0.0, whatever its sign.
inline std::uint64_t hashedBits(double cell)
{
    return cell == 0.0 ? 0 : std::bit_cast<std::uint64_t>(cell);
}

/// The exclusive or of all cells' halves, so that order does not matter and equal pairs cancel.
template <class Cell>
std::int32_t hashOfCells(const Cell* cells, std::int64_t count)
{
    std::uint64_t bits = 0;
    for (std::int64_t i = 0; i < count; ++i) bits ^= hashedBits(cells[i]);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits ^ (bits >> 32)));
}

} // namespace Velmar::Lintrix::detail
