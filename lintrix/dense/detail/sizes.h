#pragma once
/// @file
/// The size check of the dense classes and their cell count.

#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/hardening.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// One dimension, from 1 to MaxSize. @throws InvalidSizeException
inline void requireSize(std::int32_t size)
{
    if (size < 1 || size > TrellConfiguration::MaxSize()) throw InvalidSizeException();
}

/// Rows first, then columns. @throws InvalidSizeException
inline void requireSizes(std::int32_t rows, std::int32_t cols)
{
    requireSize(rows);
    requireSize(cols);
}

/// rows*cols in wrapping 32-bit arithmetic.
constexpr std::int32_t wrappingProduct(std::int32_t rows, std::int32_t cols) noexcept
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(rows) * static_cast<std::uint32_t>(cols));
}

/// The cell count of a new matrix. By contract a wrapped product is not noticed; the hardened build refuses
/// it.
inline std::int32_t cellCount(std::int32_t rows, std::int32_t cols)
{
    if constexpr (kHardened) {
        if (std::int64_t{rows} * cols > INT32_MAX) {
            throw InvalidOperationException("The matrix would have more than 2147483647 cells.");
        }
    }
    return wrappingProduct(rows, cols);
}

} // namespace Velmar::Lintrix::detail
