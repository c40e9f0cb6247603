#pragma once
/// @file
/// What real and complex numbers are asked alike.

#include <cmath>
#include <complex>

namespace Velmar::Lintrix::detail {

inline bool isFinite(double x) noexcept
{
    return std::isfinite(x);
}
inline bool isFinite(const std::complex<double>& x) noexcept
{
    return std::isfinite(x.real()) && std::isfinite(x.imag());
}

/// Real multiplications of one of a cell.
template <class Cell>
inline constexpr double kMultiplications = sizeof(Cell) == sizeof(double) ? 1.0 : 4.0;

inline double conjugate(double x) noexcept
{
    return x;
}
inline std::complex<double> conjugate(const std::complex<double>& x) noexcept
{
    return std::conj(x);
}

} // namespace Velmar::Lintrix::detail
