#pragma once
/// @file
/// What is decided by the sizes of the elements before a symmetric elimination: scales, and the order.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// Exponents e such that in the elements of sizes |a_ij|*2^(e_i + e_j) the largest of each row is near 1 (D.
/// Ruiz, "A scaling algorithm to equilibrate both rows and columns norms in matrices", RAL-TR-2001-034): each
/// pass takes half of the way. Where the rows are of sizes far apart, they begin from units in which all
/// elements tend to be of one size.
template <class Cell>
LINTRIX_TESTABLE std::vector<int> equilibrate(const SparseEntries<Cell>& A);

/// An order of elimination with little fill: vertexAt[position]. Where the scaled diagonal
/// is below `threshold` of its row, the vertex goes with the largest of its neighbours that is free, as one:
/// the two make a pivot where it alone makes none; none with a threshold of 0 (the constraints of I. S. Duff,
/// S. Pralet, "Strategies for scaling and pivoting for sparse symmetric indefinite problems", SIAM J. Matrix
/// Anal. Appl. 27 (2005)).
/// @throws std::bad_alloc
template <class Cell>
LINTRIX_TESTABLE std::vector<std::int32_t>
orderWithPartners(const SparseEntries<Cell>& A, const std::vector<int>& exponents, double threshold,
                  FillInReducingMethod method = FillInReducingMethod::MinimumDegree);

} // namespace Velmar::Lintrix::detail::multifrontal
