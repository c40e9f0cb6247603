#pragma once
/// @file
/// How the supernodes are dealt out to threads.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Cuts the supernodes into runs, each worked through in order by one thread: first whole subtrees, then the
/// supernodes above them one by one, or as many as are worked at together. A run needs nothing but runs
/// before it, so threads that take them in order never wait in a circle.
///
/// A subtree is kept whole up to an even share of an eighth of each thread's work: that leaves little to wait
/// for at the end, and few enough supernodes above. With one thread there is one run. `work` and `runs` have
/// room for as many as there are supernodes. @return  how many runs there are
LINTRIX_TESTABLE int dealOutSubtrees(const FactorStructure& structure, int threads, std::span<double> work,
                                     std::span<PositionRange> runs);

/// The same where independent subgraphs are known: each is a run, the supernodes of the separators come as
/// those above subtrees. `supernodes` has the supernodes of each subgraph, the first `independent` of which
/// are independent.
LINTRIX_TESTABLE int dealOutSubgraphs(const FactorStructure& structure,
                                      std::span<const PositionRange> supernodes, int independent,
                                      std::span<PositionRange> runs);

/// An estimate of the operations that the columns of J cost, updates among them.
LINTRIX_TESTABLE double workOf(const FactorStructure& structure, int J) noexcept;

} // namespace Velmar::Lintrix::detail::engine
