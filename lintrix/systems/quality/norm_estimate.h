#pragma once
/// @file
/// The 1-norm of a matrix that is known by its products alone, such as the inverse that a factor applies.
///
/// ||M||_1 = max ||M*x||_1 over ||x||_1 = 1 is the maximum of a convex function, which is taken at a unit
/// vector. From x the subgradient z = M^H*sign(M*x) tells which unit vector to try next: the one of the
/// largest |z_j|. A block of t vectors climbs at once, and where signs repeat, random ones take their place:
/// Higham, Tisseur, "A block algorithm for matrix 1-norm estimation, with an application to 1-norm
/// pseudospectra", SIAM J. Matrix Anal. Appl. 21 (2000), algorithm 2.4. Of real cells sign is +1 or -1, of
/// complex ones z/|z|, for which repetition is not looked for.
///
/// The estimate is the size of a column of M or of a mean of columns, so it is no larger than the norm, but
/// for the rounding of the products. It is exact if all elements of M are of one sign, or those of each row,
/// and for the smallest M, whose columns are all tried; else nearly always, and seldom below a third.

#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

struct NormEstimation {
    std::int32_t columns = 2;    ///< t, cut to the columns of M
    std::int32_t iterations = 5; ///< at most, of two products with a block each
    std::uint64_t seed = 20001;  ///< the same seed gives the same estimate
};

/// An estimate of ||M||_1 from below. 0 of an empty map; NaN where a product has a NaN, infinite where one is
/// infinite.
template <class Cell>
LINTRIX_TESTABLE double estimateOneNorm(const LinearMap<Cell>& M, const NormEstimation& how = {});

/// Of two norms, see below.
double conditionOf(double oneNorm, double normOfInverse, std::int32_t order) noexcept;

/// ||A||_1 * est ||inverse(A)||_1, from the norm of A and a factor's solves. An empty A has the condition
/// number 1; A = 0, and a product that overflows, an infinite one; where the solves give NaN, it is NaN.
template <class Cell>
LINTRIX_TESTABLE double conditionEstimate(double oneNorm, const LinearMap<Cell>& inverse,
                                          const NormEstimation& how = {});

} // namespace Velmar::Lintrix::detail
