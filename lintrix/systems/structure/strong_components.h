#pragma once
/// @file
/// Strongly connected components: the diagonal blocks of a matrix with a full matching.

#include <lintrix/systems/structure/bipartite_matching.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail {

/// A column of no component.
inline constexpr std::int32_t kOutside = -1;

/// Of the graph in which column j leads to the columns of row matching.rowOf[j]: each column with component 0
/// in `componentOf` gets the number of its strongly connected component, from 0, in an order in which none
/// leads to one of a higher number. What is kOutside stays so and is not looked at. @return their count
///
/// One number a column is enough for the search: the visit at which the earliest column still open was met
/// that it leads to (R. E. Tarjan, "Depth-first search and linear graph algorithms", SIAM J. Comput. 1
/// (1972); D. J. Pearce, "A space-efficient algorithm for finding strongly connected components", Inf.
/// Process. Lett. 116 (2016)). Cost: O(cols + entries). The way back is kept in a list: nothing is recursive.
std::int32_t numberStrongComponents(const SparsePattern& pattern, const BipartiteMatching& matching,
                                    std::span<std::int32_t> componentOf);

} // namespace Velmar::Lintrix::detail
