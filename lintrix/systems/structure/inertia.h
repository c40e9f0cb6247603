#pragma once
/// @file
/// How many eigenvalues of a symmetric or Hermitian matrix are positive and how many negative, and of how
/// many that is certain in spite of rounding.

#include <lintrix/services/export.h>
#include <lintrix/systems/verdict.h>

#include <complex>
#include <cstdint>
#include <functional>
#include <span>

namespace Velmar::Lintrix::detail {

/// Numbers of eigenvalues by their sign.
struct Inertia {
    std::int32_t positive = 0, negative = 0, zero = 0;

    std::int32_t order() const noexcept { return positive + negative + zero; }
    friend bool operator==(const Inertia&, const Inertia&) = default;
};

/// Of the D of a factorization, which by Sylvester's law of inertia is that of L*D*L^H: blocks of one and of
/// two, `below[i]` the element (i + 1, i), which is 0 where i and i + 1 are not of one block. It has as many
/// elements as the diagonal, or one less. A block that is not finite counts as zero.
///
/// A block of two has eigenvalues of both signs where a*c < |b|^2, which is decided without rounding but that
/// of the modulus of a complex b.
template <class Cell>
LINTRIX_TESTABLE Inertia inertiaOf(std::span<const double> diagonal, std::span<const Cell> below);

/// A bound on ||E||_2 of a factorization P*(A + E)*P' = L*D*L^H with blocks of one and two: p*u*(||A|| +
/// || |L|*|D|*|L^H| ||) with p = terms + 20, and four times that of complex cells; besides, the largest
/// change of a pivot that was replaced (N. J. Higham, Accuracy and Stability of Numerical Algorithms, 2nd
/// ed., theorem 11.3, where p is some linear polynomial: here a term for each of a sum, and 20 for the
/// inverse of a block).
/// @param terms   longest sum in the elimination: the order, or the longest row of L
/// @param norm    ||A||, and
/// @param growth  || |L|*|D|*|L^H| ||, each the largest row sum or any norm that is not below the spectral
/// one
///                of the absolute values; with complete or rook pivoting a moderate multiple of the norm
template <class Cell>
LINTRIX_TESTABLE double factorizationError(std::int32_t terms, double norm, double growth,
                                           double replaced = 0.0);

/// The inertia of A - s*I + E, and a bound on ||E||_2, in which the rounding of a_ii - s has its part. A
/// factorization that came to nothing has an infinite bound.
struct ShiftedInertia {
    Inertia inertia;
    double error = 0.0;
};

/// From two factorizations, of A - s*I and A + s*I with an s not below their errors. Eigenvalues, in their
/// order, move by no more than ||E|| (H. Weyl 1912): those that come out above s are above s - ||E|| >= 0,
/// and those below -s are negative likewise. Between are no more than lie within s + ||E|| of zero, which is
/// `bound`. So nothing rests on an estimate but the errors that `inertiaOf` tells.
///
/// @param error      of a factorization at shift 0, or a guess: s begins with twice as much, and grows with
///                   the errors told a few times
/// @param inertiaOf  may raise what its work raises
/// @return  all uncertain, `bound` infinite: no s was above its errors, or the two contradict each other
LINTRIX_TESTABLE CertainInertia certainInertia(std::int32_t order, double error,
                                               const std::function<ShiftedInertia(double shift)>& inertiaOf);

/// From one factorization at shift 0 and estimates of the smallest |eigenvalues| of A or of A + E, ascending,
/// as from 1/||A^-1|| or `findNearNull`: by Weyl a sign is certain where |eigenvalue| > ||E||. It is as
/// certain as the estimates, which lie too high where a direction was missed. c of them up to the error take
/// c from each side, since nobody knows on which they are; where all given ones are (and there are more),
/// nothing is certain.
LINTRIX_TESTABLE CertainInertia certainInertia(const ShiftedInertia& atZero,
                                               std::span<const double> smallest);

} // namespace Velmar::Lintrix::detail
