#pragma once
/// @file
/// The size checks of the sparse classes.

#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/foundation/rounding.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Rows first, then columns, each from 1 to MaxSize. @throws InvalidSizeException
inline void requireSparseSizes(std::int64_t rows, std::int64_t cols)
{
    const std::int64_t largest = TrellConfiguration::MaxSize();
    if (rows < 1 || rows > largest) throw InvalidSizeException("Invalid number of rows.");
    if (cols < 1 || cols > largest) throw InvalidSizeException("Invalid number of columns.");
}

/// The last row pointer is one more than the elements, and has to be a 32-bit number.
/// @throws NotSupportedException
inline void requireElementCount(std::int64_t elements)
{
    if (elements >= INT32_MAX) {
        throw NotSupportedException("A sparse matrix holds at most 2147483646 elements.");
    }
}

/// growFactor*capacity, rounded. The capacity is narrowed to single precision first, which from 2^24 on may
/// be another number; the capacities that callers read back depend on it, so it stays.
inline std::int32_t grownCapacity(float growFactor, std::int32_t capacity)
{
    return truncatedToInt32(Round(double{growFactor} * double{static_cast<float>(capacity)}, 0));
}

} // namespace Velmar::Lintrix::detail
