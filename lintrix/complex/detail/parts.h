#pragma once
/// @file
/// Complex cells as their parts: real and imaginary ones in turn.

#include <lintrix/dense/detail/line.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/function_objects.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

inline double* partsOf(Complex* cells) noexcept
{
    return reinterpret_cast<double*>(cells);
}
inline const double* partsOf(const Complex* cells) noexcept
{
    return reinterpret_cast<const double*>(cells);
}

/// The real parts in a new block.
inline Block<double> realParts(const Complex* cells, std::int32_t count)
{
    return copied(Line<const double>{partsOf(cells), count, 2});
}

/// The imaginary parts in a new block.
inline Block<double> imaginaryParts(const Complex* cells, std::int32_t count)
{
    return copied(Line<const double>{partsOf(cells) + 1, count, 2});
}

} // namespace Velmar::Lintrix::detail
