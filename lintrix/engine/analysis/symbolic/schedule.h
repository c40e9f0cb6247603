#pragma once
/// @file
/// Which supernodes may be worked at side by side.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// The supernodes of each subgraph: `supernodes[p]` are those whose last column lies in `subgraphs[p]`. (A
/// run of columns may begin in the last part and end in the first separator; it belongs to the separator,
/// which other parts update.) A subgraph that has none gets the empty range {first, first - 1}.
LINTRIX_TESTABLE void supernodesOfSubgraphs(const FactorStructure& structure,
                                            std::span<const PositionRange> subgraphs,
                                            std::span<PositionRange> supernodes);

/// How many supernodes of independent subgraph p update separator s, at updates[p * separators + s], where
/// the separators are the subgraphs from `independent` on.
LINTRIX_TESTABLE Failure countUpdates(const FactorStructure& structure,
                                      std::span<const PositionRange> supernodes, int independent,
                                      std::span<int> updates);

/// From those counts, the separators that each independent subgraph updates, list after list: `starts` has
/// independent + 1 offsets, `targets` room for all counts that are not 0. @return  the targets in all
LINTRIX_TESTABLE int listTargets(std::span<const int> updates, int independent, int separators,
                                 std::span<int> starts, std::span<int> targets);

/// Supernodes in one piece of the dynamic schedule: enough pieces to keep the threads evenly busy, and not so
/// many that taking them costs.
LINTRIX_TESTABLE int chunkOfSupernodes(int supernodes, int threads) noexcept;

} // namespace Velmar::Lintrix::detail::engine
