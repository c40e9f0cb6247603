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

/// |x|, in double precision also for float: squares do not leave its range on the way.
template <class T>
inline double modulus(T x) noexcept
{
    if constexpr (kIsComplex<T>) {
        return std::hypot(static_cast<double>(x.real()), static_cast<double>(x.imag()));
    } else {
        return std::abs(static_cast<double>(x));
    }
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
