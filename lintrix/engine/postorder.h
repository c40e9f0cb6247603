#pragma once
/// @file
/// Renumbering of the elimination order so that a column stands next to its only child.

#include <lintrix/engine/failure.h>
#include <lintrix/engine/graph.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Reorders the positions within each range so that the tree's nodes follow their children, each subtree of
/// the range in one piece: the fill stays the same, and the columns of a supernode become neighbours. Ranges
/// cover all positions, ascending, and keep theirs: what is independent stays so. `ordering` and `parent` are
/// rewritten. A subtree that reaches over several ranges is then not in one piece: postorderPositions tells
/// where its nodes would be.
///
/// No recursion: a first pass counts the nodes below each, a second hands out positions, parents before their
/// children.
LINTRIX_TESTABLE Failure postorder(std::span<const PositionRange> ranges, std::span<int> parent,
                                   Ordering ordering);

/// Where each node of the whole tree stands when nodes follow their children and each subtree is in one
/// piece, whatever ranges the order keeps: `position`, n. An order that is one already gives 0, ..., n - 1.
/// `work` has room for 2 n.
LINTRIX_TESTABLE void postorderPositions(std::span<const int> parent, std::span<int> position,
                                         std::span<int> work);

} // namespace Velmar::Lintrix::detail::engine
