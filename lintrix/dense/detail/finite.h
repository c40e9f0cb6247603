#pragma once
/// @file
/// Whether the cells that a routine will read are finite.
///
/// The iterations behind singular values and eigenvalues need not end on a NaN or an infinity, or end with a
/// result that looks like one; nothing that is not finite is handed to them.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>

namespace Velmar::Lintrix::detail {

/// The state of a decomposition whose matrix is not finite: no routine has run, its results are zero. It is
/// told like an iteration that did not converge.
inline constexpr std::int32_t kNotFinite = 1;

inline bool isInfinite(double x) noexcept
{
    return std::isinf(x);
}
inline bool isInfinite(const std::complex<double>& z) noexcept
{
    return std::isinf(z.real()) || std::isinf(z.imag());
}

inline bool isNaN(double x) noexcept
{
    return std::isnan(x);
}
inline bool isNaN(const std::complex<double>& z) noexcept
{
    return std::isnan(z.real()) || std::isnan(z.imag());
}

template <class Cell>
bool anyInfinite(const Cell* cells, std::int64_t count)
{
    return std::any_of(cells, cells + count, [](const Cell& cell) { return isInfinite(cell); });
}

template <class Cell>
bool anyNaN(const Cell* cells, std::int64_t count)
{
    return std::any_of(cells, cells + count, [](const Cell& cell) { return isNaN(cell); });
}

/// In pieces without a way out of them, which the compiler turns into vector instructions.
inline bool allFinite(const double* x, std::int64_t count)
{
    constexpr std::int64_t kPiece = 128;
    constexpr double kLargest = std::numeric_limits<double>::max();
    for (std::int64_t first = 0; first < count; first += kPiece) {
        const std::int64_t end = std::min(first + kPiece, count);
        std::int64_t others = 0;
        for (std::int64_t i = first; i < end; ++i) others |= std::abs(x[i]) <= kLargest ? 0 : 1;
        if (others != 0) return false;
    }
    return true;
}
inline bool allFinite(const std::complex<double>* z, std::int64_t count)
{
    return allFinite(reinterpret_cast<const double*>(z), 2 * count); // the parts
}

/// The diagonal of the n x n `a` and what stands below it.
template <class Cell>
bool lowerFinite(const Cell* a, std::int32_t n)
{
    for (std::int64_t j = 0; j < n; ++j) {
        if (!allFinite(a + j + n * j, n - j)) return false;
    }
    return true;
}

/// The diagonal of the n x n `a` alone.
template <class Cell>
bool diagonalFinite(const Cell* a, std::int32_t n)
{
    for (std::int64_t i = 0; i < n; ++i) {
        if (!allFinite(a + i + n * i, 1)) return false;
    }
    return true;
}

} // namespace Velmar::Lintrix::detail
