#pragma once
/// @file
/// The random fill of the dense classes.

#include <lintrix/foundation/random.h>
#include <lintrix/foundation/rounding.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// values[i] := u*(upperBound - lowerBound) + lowerBound rounded to `decimals` digits, i from 0 on. The
/// range may be negative: the values then run downward from `lowerBound`. Complex cells go in as their parts.
/// @throws ArgumentOutOfRangeException  on the first value: decimals outside 0 to 15
inline void fillRandom(double* values, std::int64_t n, double lowerBound, double upperBound,
                       std::int32_t decimals)
{
    const double range = upperBound - lowerBound;
    Random& random = RandomServer::GetRandom();
    for (std::int64_t i = 0; i < n; ++i) {
        values[i] = Round(random.NextDouble() * range + lowerBound, decimals);
    }
}

} // namespace Velmar::Lintrix::detail
