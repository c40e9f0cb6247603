#pragma once
/// @file
/// Sums of products as if in twice the working precision.
///
///     a + b = s + t,  s = fl(a + b)      twoSum: Knuth, TAOCP 2, section 4.2.2, theorem B
///     a * b = p + e,  p = fl(a * b)      twoProduct: one more multiply-add
///
/// exactly, where nothing overflows and no product is below the range of a double. A sum that adds up its own
/// rounding errors beside it is, of n terms, as good as one in twice the precision that is rounded at the
/// end: |error| <= eps*|sum| + (n*eps)^2 * sum of |terms|, eps = 2^-53. Ogita, Rump, Oishi, "Accurate sum and
/// dot product", SIAM J. Sci. Comput. 26 (2005), algorithm 5.3.
///
/// A compiler that contracts a*b + c to one rounding finds nothing to contract here: sums are of variables
/// that no multiplication made, for the products themselves come from std::fma.
///
/// std::fma is one instruction in a function that is compiled for processors with it, else a call; the bits
/// are the same. All is inlined, so that the caller's function decides.

#include <cmath>
#include <complex>

namespace Velmar::Lintrix::detail {

/// value + error.
struct WithError {
    double value, error;
};

[[gnu::always_inline]] inline WithError twoSum(double a, double b) noexcept
{
    const double sum = a + b;
    const double ofB = sum - a;
    return {sum, (a - (sum - ofB)) + (b - ofB)};
}

[[gnu::always_inline]] inline WithError twoProduct(double a, double b) noexcept
{
    const double product = std::fma(a, b, 0.0);
    return {product, std::fma(a, b, -product)};
}

/// start + sum of products.
template <class Cell>
class TwofoldSum;

template <>
class TwofoldSum<double> {
public:
    explicit TwofoldSum(double start = 0.0) noexcept : high_(start) {}

    [[gnu::always_inline]] void addProduct(double a, double b) noexcept
    {
        const WithError product = twoProduct(a, b), sum = twoSum(high_, product.value);
        high_ = sum.value;
        low_ += sum.error + product.error;
    }
    /// Rounded. Once the sum has left the range of a double its errors mean nothing, and it is what the plain
    /// sum is: infinite, or NaN.
    double value() const noexcept { return std::isfinite(low_) ? high_ + low_ : high_; }

private:
    double high_, low_ = 0.0;
};

template <>
class TwofoldSum<std::complex<double>> {
public:
    explicit TwofoldSum(const std::complex<double>& start = 0.0) noexcept
        : real_(start.real()), imaginary_(start.imag())
    {
    }

    [[gnu::always_inline]] void addProduct(const std::complex<double>& a,
                                           const std::complex<double>& b) noexcept
    {
        real_.addProduct(a.real(), b.real());
        real_.addProduct(-a.imag(), b.imag());
        imaginary_.addProduct(a.real(), b.imag());
        imaginary_.addProduct(a.imag(), b.real());
    }
    std::complex<double> value() const noexcept { return {real_.value(), imaginary_.value()}; }

private:
    TwofoldSum<double> real_, imaginary_;
};

} // namespace Velmar::Lintrix::detail
