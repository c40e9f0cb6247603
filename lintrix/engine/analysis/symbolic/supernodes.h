#pragma once
/// @file
/// Runs of columns of the factor with the same structure below them.

#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// What the partition into supernodes tells of itself.
struct Partition {
    int supernodes = 0;
    int longestRun = 0; ///< columns of the longest run, before runs were cut to the panel width
};

/// Fundamental supernodes up to the panel width: column j + 1 joins the supernode of j if it is j's parent,
/// has one entry less, and the supernode has fewer than `panelWidth` columns. Nothing is amalgamated.
///
/// `starts` has room for n + 1: the first column of each supernode, then n. `supernodeOf[j]` is that of
/// column j.
LINTRIX_TESTABLE Partition partitionIntoSupernodes(std::span<const int> parent, std::span<const int> count,
                                                   int panelWidth, std::span<int> starts,
                                                   std::span<int> supernodeOf);

} // namespace Velmar::Lintrix::detail::engine
