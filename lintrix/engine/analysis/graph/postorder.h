#pragma once
/// @file
/// Renumbering of the elimination order so that a column stands next to its only child.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// The positions that postordering gives the nodes of one range of a tree in which parents follow children.
/// `size` and `free` are work space; all spans are as long as the tree.
void numberRange(const PositionRange& range, std::span<const int> parent, std::span<int> size,
                 std::span<int> free, std::span<int> newPosition);

/// Reorders the positions within each range so that the tree's nodes follow their children, each subtree of
/// the range in one piece: the fill stays the same, and the columns of a supernode become neighbours. Ranges
/// cover all positions, ascending, and keep theirs: what is independent stays so. `ordering` and `parent` are
/// rewritten, and so is what is known of the columns: their entries in the factor, `counts`, unless empty.
///
/// This is a true postorder. A queue that a node enters with its last child would put parents behind their
/// children as well, but deal the columns of different subtrees out in turn, and a supernode, which is a path
/// of the tree, could fall apart. No recursion: a first pass counts the nodes below each, a second hands out
/// positions, parents before their children.
LINTRIX_TESTABLE Failure postorder(std::span<const PositionRange> ranges, std::span<int> parent,
                                   Ordering ordering, std::span<int> counts = {});

} // namespace Velmar::Lintrix::detail::engine
