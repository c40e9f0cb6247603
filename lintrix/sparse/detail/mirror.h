#pragma once
/// @file
/// What stands below the diagonal of a matrix that stores its upper triangle.

#include <complex>

namespace Velmar::Lintrix::detail {

/// The element across the diagonal from `value`: symmetric.
inline double mirrored(double value) noexcept
{
    return value;
}
/// Hermitian.
inline std::complex<double> mirrored(const std::complex<double>& value) noexcept
{
    return std::conj(value);
}

} // namespace Velmar::Lintrix::detail
