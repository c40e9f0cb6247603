#pragma once
/// @file
/// Whether one list of values is a multiple of another, without rounding.
///
/// A double is an integer times a power of two. Such numbers can be counted modulo the prime p = 2^61 - 1, in
/// which 2 has an inverse, with all their sums and products: a homomorphism into the field of p elements.
/// Since p leaves 3 when divided by 4, -1 has no root there, and pairs of residues are a field, too, in which
/// complex values are counted. So a quotient that is the same in exact arithmetic is the same there.

#include <lintrix/services/export.h>

#include <complex>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail {

/// (sum of w(j)*x_j)/x_first modulo p, w(j) a fixed random number for each index j: the same for x and c*x,
/// whatever c; of lists that are no multiples of each other only by an accident of one in 2^61.
/// @pre the values are finite, there is one, and the first is not zero. Cost: O(values).
template <class Cell>
LINTRIX_TESTABLE std::uint64_t proportionKey(std::span<const std::int32_t> indices,
                                             std::span<const Cell> values);

/// Whether x = c*y for a number c, which need not be one that a computer holds: x_k*y_0 = y_k*x_0 for all k
/// in exact arithmetic, without overflow or underflow.
/// @pre the values are finite, as many in x as in y, and neither begins with a zero
template <class Cell>
LINTRIX_TESTABLE bool areProportional(std::span<const Cell> x, std::span<const Cell> y);

} // namespace Velmar::Lintrix::detail
