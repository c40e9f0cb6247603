#pragma once
/// @file
/// Equality and hash of blocks.

#include <algorithm>
#include <bit>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Plain floating comparison, pair by pair: 0.0 equals -0.0, and NaN equals nothing, itself included.
inline bool equalCells(const double* x, const double* y, std::int64_t count)
{
    return std::equal(x, x + count, y);
}

/// The exclusive or of all cells' halves, so that order does not matter and equal pairs cancel. Adding zero
/// makes -0.0 and 0.0 the same bits, as they are equal.
inline std::int32_t hashOfCells(const double* cells, std::int64_t count)
{
    std::uint64_t bits = 0;
    for (std::int64_t i = 0; i < count; ++i) bits ^= std::bit_cast<std::uint64_t>(cells[i] + 0.0);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits ^ (bits >> 32)));
}

} // namespace Velmar::Lintrix::detail
