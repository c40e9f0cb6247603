#pragma once
/// @file
/// Cells times powers of two.

#include <cmath>
#include <complex>

namespace Velmar::Lintrix::detail::multifrontal {

inline double scaled(double x, int exponent) noexcept
{
    return std::ldexp(x, exponent);
}
inline std::complex<double> scaled(const std::complex<double>& x, int exponent) noexcept
{
    return {std::ldexp(x.real(), exponent), std::ldexp(x.imag(), exponent)};
}

} // namespace Velmar::Lintrix::detail::multifrontal
