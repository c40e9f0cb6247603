#pragma once
/// @file
/// The size check of the dense classes and their cell count.

#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/hardening.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// One dimension, from 1 to MaxSize. @throws InvalidSizeException
inline void requireSize(std::int32_t size)
{
    if (size < 1 || size > TrellConfiguration::MaxSize()) throw InvalidSizeException();
}

/// The length of a vector from an array. An empty array is accepted here and nowhere else: callers hand on
/// what they have collected. @throws InvalidSizeException
inline std::int32_t arrayLength(std::size_t length)
{
    if (length > static_cast<std::size_t>(TrellConfiguration::MaxSize())) throw InvalidSizeException();
    return static_cast<std::int32_t>(length);
}

/// Rows first, then columns. @throws InvalidSizeException
inline void requireSizes(std::int32_t rows, std::int32_t cols)
{
    requireSize(rows);
    requireSize(cols);
}

/// Sizes that come with bytes or an archive from elsewhere. Here alone this library is stricter than its
/// constructors: a product past 2^31 - 1, which wraps there, is refused, since bytes are not a caller who
/// could know. @throws InvalidSizeException
inline void requireForeignSizes(std::int32_t rows, std::int32_t cols)
{
    requireSizes(rows, cols);
    if (std::int64_t{rows} * cols > INT32_MAX) throw InvalidSizeException();
}

/// Two matrices, rows first. @throws SizeMismatchException
template <class Dense>
void requireSameShape(const Dense& A, const Dense& B)
{
    if (A.Rows() != B.Rows() || A.Cols() != B.Cols()) throw SizeMismatchException();
}

/// Two vectors. @throws SizeMismatchException
template <class Dense>
void requireSameLength(const Dense& x, const Dense& y)
{
    if (x.Length() != y.Length()) throw SizeMismatchException("Vectors are not of the same size.");
}

/// rows*cols in wrapping 32-bit arithmetic.
constexpr std::int32_t wrappingProduct(std::int32_t rows, std::int32_t cols) noexcept
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(rows) * static_cast<std::uint32_t>(cols));
}

/// The cell count of a matrix whose sizes the caller gives. Callers rely on it that a product which wraps is
/// taken as it is, so the normal build does not look; the hardened build refuses it.
inline std::int32_t cellCount(std::int32_t rows, std::int32_t cols)
{
    if constexpr (kHardened) {
        if (std::int64_t{rows} * cols > INT32_MAX) {
            throw InvalidOperationException("The matrix would have more than 2147483647 cells.");
        }
    }
    return wrappingProduct(rows, cols);
}

/// The cell count of an operation's result, whose sizes may be sums: the product, or, where it or a size
/// passes 2^31 - 1, a negative number. The allocator refuses that (NotEnoughMemoryException), so that no
/// result is written past the end of a block whose size wrapped.
constexpr std::int32_t resultCells(std::int64_t rows, std::int64_t cols) noexcept
{
    const bool fits = rows <= INT32_MAX && cols <= INT32_MAX && rows * cols <= INT32_MAX;
    return fits ? static_cast<std::int32_t>(rows * cols) : -1;
}

/// The leading dimension of a column-major block. A block without rows has none to tell, and the routines
/// refuse 0.
constexpr std::int32_t leadingDimension(std::int32_t rows) noexcept
{
    return std::max(1, rows);
}

} // namespace Velmar::Lintrix::detail
