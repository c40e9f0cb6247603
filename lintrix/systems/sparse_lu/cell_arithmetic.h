#pragma once
/// @file
/// Products and sizes of cells, without the detours by which complex numbers meet infinities.

#include <cmath>
#include <complex>

namespace Velmar::Lintrix::detail::sparse_lu {

inline double product(double a, double b) noexcept
{
    return a * b;
}
inline std::complex<double> product(const std::complex<double>& a, const std::complex<double>& b) noexcept
{
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/// |x|, of a complex number |Re x| + |Im x|: within sqrt(2) of it, and without a root.
inline double sizeOf(double x) noexcept
{
    return std::abs(x);
}
inline double sizeOf(const std::complex<double>& x) noexcept
{
    return std::abs(x.real()) + std::abs(x.imag());
}

/// Real operations of one product and one sum.
inline constexpr double operationsOf(double) noexcept
{
    return 2.0;
}
inline double operationsOf(const std::complex<double>&) noexcept
{
    return 8.0;
}

/// 1 / x, by the square of its size where that is in the middle of the range of a double.
inline std::complex<double> inverseOf(const std::complex<double>& x) noexcept
{
    const double square = x.real() * x.real() + x.imag() * x.imag();
    const bool isInRange = square > 0x1p-900 && square < 0x1p900;
    return isInRange ? std::complex<double>(x.real() / square, -x.imag() / square) : 1.0 / x;
}

/// Many numbers divided by one: of real numbers a division each, of complex ones one for all.
template <class Cell>
class Divisor {
public:
    explicit Divisor(const Cell& divisor) noexcept : inverse_(inverseOf(divisor)) {}
    Cell of(const Cell& x) const noexcept { return product(x, inverse_); }

private:
    Cell inverse_;
};

template <>
class Divisor<double> {
public:
    explicit Divisor(double pivot) noexcept : pivot_(pivot) {}
    double of(double x) const noexcept { return x / pivot_; }
    double pivot() const noexcept { return pivot_; }

private:
    double pivot_;
};

} // namespace Velmar::Lintrix::detail::sparse_lu
