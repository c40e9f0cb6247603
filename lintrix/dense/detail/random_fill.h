#pragma once
/// @file
/// The random fill of the dense classes, by cell type.

#include <lintrix/foundation/random.h>
#include <lintrix/foundation/rounding.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Each of `count` cells, of a complex one the real part and then the other, := u*(upperBound - lowerBound) +
/// lowerBound rounded to `decimals` digits. The range may be negative: the values then run downward from
/// `lowerBound`.
/// @throws ArgumentOutOfRangeException  on the first value: decimals outside 0 to 15
template <class Cell>
void fillRandom(Cell* cells, std::int32_t count, double lowerBound, double upperBound, std::int32_t decimals)
{
    static_assert(sizeof(Cell) % sizeof(double) == 0);
    auto* const values = reinterpret_cast<double*>(cells);
    const std::int64_t n = count * static_cast<std::int64_t>(sizeof(Cell) / sizeof(double));
    const double range = upperBound - lowerBound;
    Random& random = RandomServer::GetRandom();
    for (std::int64_t i = 0; i < n; ++i) {
        values[i] = Round(random.NextDouble() * range + lowerBound, decimals);
    }
}

} // namespace Velmar::Lintrix::detail
