#pragma once
/// @file
/// The four element types of the engine under one set of names.

#include <cmath>
#include <complex>
#include <type_traits>

namespace Velmar::Lintrix::detail::engine {

template <class T>
struct ScalarTraits {
    using Real = T;
    static constexpr bool kComplex = false;
};
template <class R>
struct ScalarTraits<std::complex<R>> {
    using Real = R;
    static constexpr bool kComplex = true;
};

template <class T>
using RealOf = typename ScalarTraits<T>::Real;
template <class T>
inline constexpr bool kIsComplex = ScalarTraits<T>::kComplex;

template <class T>
inline T conjugate(T value, bool really = true) noexcept
{
    if constexpr (kIsComplex<T>) {
        return really ? T(value.real(), -value.imag()) : value;
    } else {
        return value;
    }
}

template <class T>
inline RealOf<T> realPart(T value) noexcept
{
    if constexpr (kIsComplex<T>) {
        return value.real();
    } else {
        return value;
    }
}

/// Whether a sum of two squares has neither overflowed nor lost digits to underflow; false for NaN.
inline bool isSafeSquare(double squares) noexcept
{
    return squares > 1e-280 && squares < 1e+280;
}

/// |x|, in double precision also for float: squares do not leave its range on the way.
template <class T>
inline double modulus(T x) noexcept
{
    if constexpr (kIsComplex<T>) {
        const double re = x.real(), im = x.imag(), squares = re * re + im * im;
        return isSafeSquare(squares) ? std::sqrt(squares) : std::hypot(re, im);
    } else {
        return std::abs(static_cast<double>(x));
    }
}

/// 1/x. Of a complex number by its squares, which takes a third of the time of a quotient that minds every
/// size; a number of another size is brought near 1 by a power of two, so that x times one has the same bits
/// times its inverse.
template <class T>
inline T inverseOf(T x) noexcept
{
    if constexpr (kIsComplex<T>) {
        using R = RealOf<T>;
        const double re = x.real(), im = x.imag(), squares = re * re + im * im;
        if (isSafeSquare(squares)) return {static_cast<R>(re / squares), static_cast<R>(-im / squares)};
        const double size = std::fmax(std::abs(re), std::abs(im));
        if (size > 0 && std::isfinite(re) && std::isfinite(im)) {
            const int shift = -std::ilogb(size);
            const std::complex<double> near =
                inverseOf(std::complex(std::scalbn(re, shift), std::scalbn(im, shift)));
            return {static_cast<R>(std::scalbn(near.real(), shift)),
                    static_cast<R>(std::scalbn(near.imag(), shift))};
        }
    }
    return T(1) / x;
}

/// |x| of a real number, |Re x| + |Im x| of a complex one: what candidates for a pivot are compared by, as in
/// BLAS. Sums and thresholds take the modulus.
template <class T>
inline RealOf<T> magnitude(T value) noexcept
{
    if constexpr (kIsComplex<T>) {
        return std::abs(value.real()) + std::abs(value.imag());
    } else {
        return std::abs(value);
    }
}

/// value*first*second, in double precision on the way, where no factor is out of range.
template <class T>
inline T scaledBy(T value, double first, double second) noexcept
{
    using R = RealOf<T>;
    if constexpr (kIsComplex<T>) {
        return {static_cast<R>(static_cast<double>(value.real()) * first * second),
                static_cast<R>(static_cast<double>(value.imag()) * first * second)};
    } else {
        return static_cast<R>(static_cast<double>(value) * first * second);
    }
}

/// x*y by the school rule, without the library's care for infinities.
template <class T>
inline T product(T x, T y) noexcept
{
    if constexpr (kIsComplex<T>) {
        return {x.real() * y.real() - x.imag() * y.imag(), x.real() * y.imag() + x.imag() * y.real()};
    } else {
        return x * y;
    }
}

} // namespace Velmar::Lintrix::detail::engine
