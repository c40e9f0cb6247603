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

namespace Velmar::Lintrix::detail {

/// The state of a decomposition whose matrix is not finite: no routine has run, its results are zero. It is
/// told like an iteration that did not converge.
inline constexpr std::int32_t kNotFinite = 1;

inline bool isFinite(double x) noexcept
{
    return std::isfinite(x);
}
inline bool isFinite(const std::complex<double>& z) noexcept
{
    return std::isfinite(z.real()) && std::isfinite(z.imag());
}

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

template <class Cell>
bool allFinite(const Cell* cells, std::int64_t count)
{
    return std::all_of(cells, cells + count, [](const Cell& cell) { return isFinite(cell); });
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

} // namespace Velmar::Lintrix::detail
