#pragma once
/// @file
/// The order of the columns within a supernode, which costs no fill and decides how fast updates are.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Reorders the columns of each supernode so that the rows which its descendants have there stand next to
/// each other: an update is then subtracted in long stretches instead of element by element. The columns of a
/// supernode (of all its panels, where it was cut) have the same structure, so that it holds the factor of
/// the new order, too; where that would fill less, zeros are stored. Columns stay within their range of
/// `subgraphs`, which cover all positions, ascending.
///
/// Partition refinement, the largest sets first: each set of rows splits the classes that it meets, its own
/// columns next to those of the neighbouring class. Jacquelin, Ng, Peyton, "Fast and effective reordering of
/// columns within supernodes using partition refinement", SIAM CSC (2018). `rows`, the row lists of
/// `structure`, and `ordering` are rewritten, alike for any number of threads. Cost: linear in the row lists
/// but for their sorting.
/// @return  outOfMemory(Transient), with nothing changed
LINTRIX_TESTABLE Failure refineColumnOrder(const FactorStructure& structure,
                                           std::span<const PositionRange> subgraphs, int threads,
                                           std::span<int> rows, Ordering ordering);

/// Whether a few factorizations repay that: each saves some of the time of the operations, a twentieth at
/// most, and the order takes its own by the row lists, up to a third of an analysis. Networks and planes do
/// not repay it, large bodies do.
LINTRIX_TESTABLE bool repaysRefinement(const FactorStructure& structure);

} // namespace Velmar::Lintrix::detail::engine
