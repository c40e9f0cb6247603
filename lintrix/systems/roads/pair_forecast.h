#pragma once
/// @file
/// What it takes to eliminate a symmetric matrix by pairs, told by its pattern.

#include <lintrix/services/export.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// The order in which the direct solver eliminates by pairs, where the matching is i -> columnOf[i]: what is
/// matched with itself, then the cycles two by two in the order in which they are met, and what odd cycles
/// leave over last. Only for a matching that leaves no row out.
LINTRIX_TESTABLE std::vector<std::int32_t> pairOrder(const std::vector<std::int32_t>& columnOf);

/// Entries of L, diagonal included, by this order; when they are more than `limit`, some number above it.
///
/// Row k of L is what is passed on the ways from its entries up the elimination tree (J. W. H. Liu, "The role
/// of elimination trees in sparse factorization", SIAM J. Matrix Anal. Appl. 11 (1990)). Cost: a step an
/// entry, so the limit bounds it.
LINTRIX_TESTABLE std::int64_t factorEntries(const SparsePattern& pattern,
                                            const std::vector<std::int32_t>& vertexAt, std::int64_t limit);

/// The same by pairs: an estimate, since the solver's matching goes by the values. @pre full structural rank
LINTRIX_TESTABLE std::int64_t pairEntries(const SparsePattern& pattern, std::int64_t limit);

} // namespace Velmar::Lintrix::detail::roads
