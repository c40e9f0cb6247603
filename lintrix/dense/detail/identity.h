#pragma once
/// @file
/// Equality and hash of blocks.

#include <lintrix/dense/detail/column_major.h>
#include <lintrix/foundation/array2d.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/hardening.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Plain floating comparison, pair by pair: 0.0 equals -0.0, and NaN equals nothing, itself included.
template <class Cell>
bool equalCells(const Cell* x, const Cell* y, std::int64_t count)
{
    return std::equal(x, x + count, y);
}

/// Neither the pair nor its parts differ by more than `tolerance`, which is used as given; a NaN difference
/// passes.
inline bool isClose(double x, double y, double tolerance)
{
    return !(std::abs(y - x) > tolerance);
}
inline bool isClose(const std::complex<double>& x, const std::complex<double>& y, double tolerance)
{
    return isClose(x.real(), y.real(), tolerance) && isClose(x.imag(), y.imag(), tolerance);
}

/// Whether the first `count` cells of both are close by |tolerance|. That the second block, of `others`
/// cells, has as many is the caller's duty; the hardened build looks at it.
template <class Cell>
bool closeCells(const Cell* x, const Cell* y, std::int32_t count, std::int32_t others, double tolerance)
{
    if constexpr (kHardened) {
        if (others < count) throw InvalidOperationException("The other matrix has fewer cells.");
    }
    return std::equal(x, x + count, y,
                      [t = std::abs(tolerance)](const Cell& p, const Cell& q) { return isClose(p, q, t); });
}

/// As with the block of that array, whatever its lower bounds.
template <class Cell>
bool equalsArray(const BlockView<Cell>& A, const Array2D<Cell>& array)
{
    if (A.rows != array.Rows() || A.cols != array.Cols()) return false;
    for (std::int32_t r = 0; r < array.Rows(); ++r) {
        for (std::int32_t c = 0; c < array.Cols(); ++c) {
            if (A(r, c) != array.Row(r)[c]) return false;
        }
    }
    return true;
}

/// The bits of a cell as the hash takes them: what equals 0.0 has those of 0.0, whatever its sign. Of a
/// complex cell, the exclusive or of those of its parts.
inline std::uint64_t hashedBits(double cell)
{
    return cell == 0.0 ? 0 : std::bit_cast<std::uint64_t>(cell);
}
inline std::uint64_t hashedBits(const std::complex<double>& cell)
{
    return hashedBits(cell.imag()) ^ hashedBits(cell.real());
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
