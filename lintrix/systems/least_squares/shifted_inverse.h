#pragma once
/// @file
/// What the normal equations and the augmented system have in common.

#include <lintrix/systems/least_squares/symmetric_factor.h>
#include <lintrix/systems/least_squares/tall_matrix.h>

namespace Velmar::Lintrix::detail {

/// W = D*(D*M^H*M*D + shift*I)^-1*D with the D of the matrix, by a factor. Where all scales are the same s,
/// that is (M^H*M + (shift/s^2)*I)^-1, which keeps the range of M^H; any W takes M^H*M to nearly the
/// identity on the part of the space whose singular values are well above sqrt(shift).
template <class Cell>
class ShiftedInverse {
public:
    virtual ~ShiftedInverse() = default;

    virtual const FactorForecast& forecast() const = 0;
    /// shift = `relative` times a bound of ||D*M^H*M*D||. @return whether a factor stands
    virtual bool factorize(double relative) = 0;
    /// y = W*g, both of length q
    virtual bool apply(const Cell* g, Cell* y) = 0;
    /// The bound, once factorized; ||M*D|| is at most its root.
    virtual double bound() const = 0;
    /// How many singular values of M*D lie below `relative`^(1/2) * bound()^(1/2); -1 where it cannot be
    /// told. Takes the factor's place.
    virtual std::int32_t countBelow(double relative) = 0;
};

} // namespace Velmar::Lintrix::detail
