#pragma once
/// @file
/// The arithmetic of a cell, real or complex, as the kernels need it.

#include <complex>
#include <type_traits>

namespace Velmar::Lintrix::detail {

inline double times(double left, double right) noexcept
{
    return left * right;
}

/// The four products. The operator of the standard library looks for infinities besides, in every call.
inline std::complex<double> times(const std::complex<double>& left,
                                  const std::complex<double>& right) noexcept
{
    return {left.real() * right.real() - left.imag() * right.imag(),
            left.real() * right.imag() + left.imag() * right.real()};
}

/// The value itself, or its conjugate where one is asked for and there is one.
template <bool Conjugate>
inline double conjugatedIf(double value) noexcept
{
    return value;
}

template <bool Conjugate>
inline std::complex<double> conjugatedIf(const std::complex<double>& value) noexcept
{
    return Conjugate ? std::conj(value) : value;
}

/// Calls `work` with std::true_type if the values are to be conjugated, which real ones never are.
template <class Cell, class Work>
void withConjugation(bool conjugate, Work work)
{
    if constexpr (std::is_same_v<Cell, std::complex<double>>) {
        if (conjugate) return work(std::true_type{});
    }
    work(std::false_type{});
}

/// Calls `work` with the function old -> beta*old. With beta 0 that function does not look at `old`, so that
/// a NaN does not survive; with beta 1 it is `old` itself.
template <class Cell, class Work>
void withScaling(const Cell& beta, Work work)
{
    if (beta == Cell{0.0}) {
        work([](const Cell&) { return Cell{0.0}; });
    } else if (beta == Cell{1.0}) {
        work([](const Cell& old) { return old; });
    } else {
        work([&beta](const Cell& old) { return times(beta, old); });
    }
}

} // namespace Velmar::Lintrix::detail
