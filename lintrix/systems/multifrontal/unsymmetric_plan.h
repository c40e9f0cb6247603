#pragma once
/// @file
/// What is decided before an unsymmetric elimination: scales, the pairs of rows and columns, and the tree.

#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/front_tree.h>
#include <lintrix/systems/structure/bipartite_matching.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

struct UnsymmetricPlan {
    std::vector<int> rowExponents{}, columnExponents{}; ///< of the scales
    BipartiteMatching matching{};                       ///< its own rows are columns of A, and row by row
    FrontTree tree{}; ///< of columns, each with its row; none unless all have one
};

/// Scales that bring the largest element of each row and of each column near 1; a matching of large elements;
/// and an order of little fill for B + B', B being A with its rows at their columns.
/// @throws std::bad_alloc, NotEnoughMemoryException
template <class Cell>
LINTRIX_TESTABLE UnsymmetricPlan unsymmetricPlanOf(const SparseEntries<Cell>& A);

} // namespace Velmar::Lintrix::detail::multifrontal
