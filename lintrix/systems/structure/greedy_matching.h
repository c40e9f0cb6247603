#pragma once
/// @file
/// A matching that is nearly as large as can be, in a few passes.

#include <lintrix/systems/structure/bipartite_matching.h>

namespace Velmar::Lintrix::detail {

/// A row with a single column left may take it, and a column a single row: no larger matching is lost by it.
/// Only where nothing is alone any more, the next row takes its own column of the diagonal or, if that is
/// gone, one that the fewest other rows wait for (R. M. Karp and M. Sipser, "Maximum matchings in sparse
/// random graphs", 22nd FOCS (1981)). A full diagonal is taken as it is. Cost: O(rows + cols + entries).
BipartiteMatching greedyMatching(const SparsePattern& pattern);

} // namespace Velmar::Lintrix::detail
