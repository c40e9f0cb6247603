#pragma once
/// @file
/// Powers of two and their exponents, of normal numbers by their bits alone.

#include <bit>
#include <cmath>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// 2^e; 0 or infinite where no double is near.
inline double powerOfTwo(int exponent) noexcept
{
    constexpr int kLeast = -1022, kMost = 1023, kMantissaBits = 52;
    if (exponent < kLeast || exponent > kMost) return std::ldexp(1.0, exponent);
    return std::bit_cast<double>(static_cast<std::uint64_t>(exponent + kMost) << kMantissaBits);
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

} // namespace Velmar::Lintrix::detail
