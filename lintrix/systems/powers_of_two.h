#pragma once
/// @file
/// Powers of two, their exponents, and products with them: of normal numbers by their bits alone.

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Whether 2^e is a normal number.
constexpr bool isPowerNormal(int exponent) noexcept
{
    return exponent >= -1022 && exponent <= 1023;
}

/// 2^e; 0 or infinite where no double is near.
inline double powerOfTwo(int exponent) noexcept
{
    constexpr int kBias = 1023, kMantissaBits = 52;
    if (!isPowerNormal(exponent)) return std::ldexp(1.0, exponent);
    return std::bit_cast<double>(static_cast<std::uint64_t>(exponent + kBias) << kMantissaBits);
}

/// e with 2^(e-1) <= size < 2^e; 0 of 0. @pre  size is finite and not negative
inline int exponentOf(double size) noexcept
{
    constexpr int kMantissaBits = 52, kOfOne = 1022;
    const auto exponent = static_cast<int>(std::bit_cast<std::uint64_t>(size) >> kMantissaBits);
    if (exponent > 0) return exponent - kOfOne;
    int ofSubnormal = 0;
    std::frexp(size, &ofSubnormal);
    return ofSubnormal;
}

/// x*2^e, exactly but for over- and underflow: a plain product where the power is a normal number.
inline double timesPowerOfTwo(double x, int exponent) noexcept
{
    return isPowerNormal(exponent) ? x * powerOfTwo(exponent) : std::ldexp(x, exponent);
}
inline std::complex<double> timesPowerOfTwo(const std::complex<double>& x, int exponent) noexcept
{
    return {timesPowerOfTwo(x.real(), exponent), timesPowerOfTwo(x.imag(), exponent)};
}
/// The same of all cells.
template <class Cells>
void multiplyByPowerOfTwo(Cells cells, int exponent) noexcept
{
    if (!isPowerNormal(exponent)) {
        for (auto& cell : cells) cell = timesPowerOfTwo(cell, exponent);
        return;
    }
    const double power = powerOfTwo(exponent);
    for (auto& cell : cells) cell *= power;
}

} // namespace Velmar::Lintrix::detail
