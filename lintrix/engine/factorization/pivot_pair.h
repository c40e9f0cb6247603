#pragma once
/// @file
/// A pivot of two columns, as a matrix to divide by.

#include <lintrix/engine/call/scalar.h>

#include <cstddef>

namespace Velmar::Lintrix::detail::engine {

/// The inverse of D = (d0 upper; lower d1), for entries of any size: with p = d0/lower and q = d1/upper,
///
///     inv(D) = 1/(p*q - 1) * (q/lower  -1/lower; -1/upper  p/upper),
///
/// which squares nothing. By the choice of the pivot |p*q| is below 0.42, or 0.83 of complex numbers: the
/// determinant, lower*upper*(p*q - 1), keeps away from zero.
template <class T>
class PivotPair {
public:
    PivotPair(T d0, T lower, T upper, T d1)
        : overLower_(inverseOf(lower)), overUpper_(inverseOf(upper)), p_(product(d0, overLower_)),
          q_(product(d1, overUpper_)), s_(inverseOf(product(p_, q_) - T(1)))
    {
    }

    /// (x y) := (x y)*inv(D)
    void divideRow(T& x, T& y) const
    {
        const T a = product(x, overLower_), b = product(y, overUpper_);
        x = product(product(a, q_) - b, s_);
        y = product(product(b, p_) - a, s_);
    }

    /// (x; y) := inv(D)*(x; y)
    void divideColumn(T& x, T& y) const
    {
        const T a = product(x, q_) - y, b = product(y, p_) - x;
        x = product(product(a, s_), overLower_);
        y = product(product(b, s_), overUpper_);
    }

    /// Where lower*upper is a positive number, |lower|^2: of real and of Hermitian pairs.
    bool hasNegativeDeterminant() const { return realPart(product(p_, q_)) < 1; }

private:
    T overLower_, overUpper_, p_, q_, s_;
};

/// The pair at columns j and j + 1 of a factored block, whose off-diagonal stands above the diagonal.
template <class T>
PivotPair<T> pivotPairAt(const T* block, std::ptrdiff_t ld, int j, bool hermitian)
{
    const T* const second = block + ld * (j + 1);
    return PivotPair<T>(block[j + ld * j], second[j], conjugate(second[j], hermitian), second[j + 1]);
}

} // namespace Velmar::Lintrix::detail::engine
