#pragma once
/// @file
/// Cuts an elimination tree into parts of about the same size and the separators between them.

#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Tags each node with its range, rangeOf[j] in 0 .. 2*parts - 2: ranges 0 .. parts - 1 are the parts, no two
/// joined by an entry of the matrix; the others separate them, the root last. `parent[j]` is the parent of
/// node j, above j, kRoot for none.
///
/// Two subtrees that do not hold each other are joined by no entry (Liu, "The role of elimination trees in
/// sparse factorization", SIAM J. Matrix Anal. Appl. 11 (1990)), and in a nested dissection the chains at the
/// top of the tree are the separators. So a cut takes nodes off the top, always that of the largest tree,
/// until the trees left can be packed into two sides that each exceed their share by a fifth at most, the
/// balance that METIS aims at; the nodes taken off are the separator, and each side is cut on. One node at
/// least is taken off, also where the trees stand apart: a list with an empty separator is not well formed.
/// The cuts form a heap with `parts` leaves, cut c above cuts 2c + 1 and 2c + 2; a side's share is its number
/// of leaves, so that any number of parts is as good as a power of two. Range 2*parts - 2 - c belongs to
/// place c of the heap.
///
/// A tree that does not branch, or with too few nodes, leaves ranges empty.
/// Cost: O(nodes * log nodes) at most, next to O(nodes) for a dissection. Workspace: 4 nodes + 4 parts.
/// @return  outOfMemory(Transient)
LINTRIX_TESTABLE Failure cutTree(std::span<const int> parent, int parts, std::span<int> rangeOf);

} // namespace Velmar::Lintrix::detail::engine
