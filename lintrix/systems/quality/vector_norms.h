#pragma once
/// @file
/// Norms of vectors that tell the truth of every vector: a NaN among the elements makes each of them NaN, an
/// infinity infinite, and squares leave the range of a double unharmed.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>

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

/// Folds |x_i| by fold(so far, |x_i|) in four parts that do not wait for each other, and these by join.
template <class Cell, class Fold, class Join>
double foldModuli(const Cell* x, std::int32_t count, const Fold& fold, const Join& join) noexcept
{
    double parts[4] = {};
    std::int32_t i = 0;
    for (; i + 4 <= count; i += 4)
        for (int k = 0; k < 4; ++k) parts[k] = fold(parts[k], modulus(x[i + k]));
    for (; i < count; ++i) parts[0] = fold(parts[0], modulus(x[i]));
    return join(join(parts[0], parts[1]), join(parts[2], parts[3]));
}

/// max |x_i|. Whether one is NaN is asked once, at the end: the sum of all is one then.
template <class Cell>
double largestModulus(const Cell* x, std::int32_t count) noexcept
{
    double largest[4] = {}, sums[4] = {};
    const auto take = [&](int k, double size) {
        largest[k] = size > largest[k] ? size : largest[k];
        sums[k] += size;
    };
    std::int32_t i = 0;
    for (; i + 4 <= count; i += 4)
        for (int k = 0; k < 4; ++k) take(k, modulus(x[i + k]));
    for (; i < count; ++i) take(0, modulus(x[i]));
    const double sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    if (std::isnan(sum)) return sum;
    return std::max(std::max(largest[0], largest[1]), std::max(largest[2], largest[3]));
}

/// sum |x_i|
template <class Cell>
double sumOfModuli(const Cell* x, std::int32_t count) noexcept
{
    return foldModuli(x, count, std::plus<>(), std::plus<>());
}

/// sqrt(sum |x_i|^2). Where a sum of doubles has left the range in which squares are exact to rounding, the
/// exponents of long double hold every square of a double.
template <class Cell>
double euclideanNorm(const Cell* x, std::int32_t count) noexcept
{
    const double squares = foldModuli(
        x, count, [](double sum, double size) { return sum + size * size; }, std::plus<>());
    if (squares > 0x1p-900 && squares < 0x1p+1000) return std::sqrt(squares);
    long double sum = 0.0L;
    for (std::int32_t i = 0; i < count; ++i) {
        const auto real = static_cast<long double>(std::real(x[i]));
        const auto imaginary = static_cast<long double>(std::imag(x[i]));
        sum += real * real + imaginary * imaginary;
    }
    return static_cast<double>(std::sqrt(sum));
}

} // namespace Velmar::Lintrix::detail
