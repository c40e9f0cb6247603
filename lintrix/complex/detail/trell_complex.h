#pragma once
/// @file
/// The arithmetic that the complex classes do by themselves.
///
/// Blocks and public members hold `Complex`, which is laid out alike; a cell becomes a `_TRELL_Complex` where
/// its product or quotient is taken. The platform's own product looks for lost infinities and its quotient
/// scales in its own way: their results differ from these, and stored ones are compared with these.

#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/foundation/function_objects.h>
#include <lintrix/services/lapack.h>

#include <cmath>
#include <cstddef>
#include <type_traits>

namespace Velmar::Lintrix {

/// A pair of doubles. There is no binary + or -, and no ==: the classes add in place, and test by !=.
struct _TRELL_Complex {
    static const _TRELL_Complex One, Zero;

    constexpr _TRELL_Complex() noexcept = default;
    constexpr _TRELL_Complex(double val) noexcept : re(val) {}
    constexpr _TRELL_Complex(const Complex& value) noexcept : re(value.real()), im(value.imag()) {}
    constexpr _TRELL_Complex(double real, double imaginary) noexcept : re(real), im(imaginary) {}
    constexpr _TRELL_Complex& operator=(const Complex& other) noexcept
    {
        return *this = _TRELL_Complex(other);
    }

    constexpr Complex ToComplex() const noexcept { return {re, im}; }
    constexpr operator Complex() const noexcept { return ToComplex(); }

    constexpr _TRELL_Complex& operator+=(const _TRELL_Complex& other) noexcept
    {
        re += other.re;
        im += other.im;
        return *this;
    }
    constexpr _TRELL_Complex& operator-=(const _TRELL_Complex& other) noexcept
    {
        re -= other.re;
        im -= other.im;
        return *this;
    }
    /// The plain formula: no scaling, and infinities are not looked for.
    constexpr _TRELL_Complex operator*(const _TRELL_Complex& other) const noexcept
    {
        return {re * other.re - im * other.im, im * other.re + re * other.im};
    }
    constexpr _TRELL_Complex& operator*=(const _TRELL_Complex& other) noexcept
    {
        return *this = *this * other;
    }
    constexpr _TRELL_Complex operator-() const noexcept { return {-re, -im}; }
    /// By `ladiv`, also for a zero divisor.
    _TRELL_Complex operator/(const _TRELL_Complex& other) const noexcept
    {
        _TRELL_Complex quotient;
        detail::lapack::ladiv(re, im, other.re, other.im, quotient.re, quotient.im);
        return quotient;
    }
    _TRELL_Complex& operator/=(const _TRELL_Complex& other) noexcept { return *this = *this / other; }
    /// A NaN in either part makes a value unequal, also to itself.
    constexpr bool operator!=(const _TRELL_Complex& other) const noexcept
    {
        return re != other.re || im != other.im;
    }

    /// The root in the right half plane; that of a negative number lies on the positive imaginary axis. No
    /// square is formed of the larger part, so that nothing overflows or vanishes on the way.
    static _TRELL_Complex Sqrt(const _TRELL_Complex& a) noexcept
    {
        if (a.re == 0.0 && a.im == 0.0) return {};
        const double w = halfRootOfModulus(std::abs(a.re), std::abs(a.im)), other = a.im / (2.0 * w);
        if (a.re >= 0.0) return {w, other};
        return a.im >= 0.0 ? _TRELL_Complex(other, w) : _TRELL_Complex(-other, -w);
    }
    static _TRELL_Complex Reciprocal(const _TRELL_Complex& a) noexcept { return One / a; }

    double re = 0.0, im = 0.0;

private:
    /// The root of (x + |z|)/2, z = x + iy. A NaN makes the test fail.
    static double halfRootOfModulus(double x, double y) noexcept
    {
        if (x >= y) {
            const double r = y / x;
            return std::sqrt(0.5 * (1.0 + std::sqrt(1.0 + r * r))) * std::sqrt(x);
        }
        const double r = x / y;
        return std::sqrt(0.5 * (r + std::sqrt(1.0 + r * r))) * std::sqrt(y);
    }
};

inline constexpr _TRELL_Complex _TRELL_Complex::One{1.0}, _TRELL_Complex::Zero{};

// A block of either goes to the kernels as it stands.
static_assert(sizeof(_TRELL_Complex) == sizeof(Complex) && alignof(_TRELL_Complex) == alignof(double));
static_assert(offsetof(_TRELL_Complex, re) == 0 && offsetof(_TRELL_Complex, im) == sizeof(double));
static_assert(std::is_standard_layout_v<_TRELL_Complex> && std::is_trivially_copyable_v<_TRELL_Complex>);

namespace detail {

/// The product and the quotient of two cells, as function objects.
struct CellProduct {
    Complex operator()(const Complex& x, const Complex& y) const noexcept { return _TRELL_Complex(x) * y; }
};
struct CellQuotient {
    Complex operator()(const Complex& x, const Complex& y) const noexcept { return _TRELL_Complex(x) / y; }
};
template <>
struct CellArithmetic<Complex> {
    using Product = CellProduct;
    using Quotient = CellQuotient;
};

} // namespace detail
} // namespace Velmar::Lintrix
