#pragma once
/// @file
/// Norms of vectors that tell the truth of every vector: a NaN among the elements makes each of them NaN, an
/// infinity infinite, and squares leave the range of a double unharmed.

#include <cmath>
#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::detail {

inline double modulus(double value) noexcept
{
    return std::abs(value);
}

/// By hypot where the squares are out of range. Infinite where a part is infinite and the other no number.
inline double modulus(const std::complex<double>& value) noexcept
{
    const double square = value.real() * value.real() + value.imag() * value.imag();
    if (square > 0x1p-900 && square < 0x1p+1000) return std::sqrt(square);
    return std::hypot(value.real(), value.imag());
}

/// The larger one, and NaN if either is.
inline double largerOrNaN(double left, double right) noexcept
{
    return std::isnan(left) || right <= left ? left : right;
}

/// max |x_i|
template <class Cell>
double largestModulus(const Cell* x, std::int32_t count) noexcept
{
    double largest = 0.0;
    for (std::int32_t i = 0; i < count; ++i) largest = largerOrNaN(largest, modulus(x[i]));
    return largest;
}

/// sum |x_i|
template <class Cell>
double sumOfModuli(const Cell* x, std::int32_t count) noexcept
{
    double sum = 0.0;
    for (std::int32_t i = 0; i < count; ++i) sum += modulus(x[i]);
    return sum;
}

/// sqrt(sum |x_i|^2). The exponents of long double hold every square of a double.
template <class Cell>
double euclideanNorm(const Cell* x, std::int32_t count) noexcept
{
    long double sum = 0.0L;
    for (std::int32_t i = 0; i < count; ++i) {
        const auto real = static_cast<long double>(std::real(x[i]));
        const auto imaginary = static_cast<long double>(std::imag(x[i]));
        sum += real * real + imaginary * imaginary;
    }
    return static_cast<double>(std::sqrt(sum));
}

} // namespace Velmar::Lintrix::detail
