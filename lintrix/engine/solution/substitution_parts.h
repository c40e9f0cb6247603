#pragma once
/// @file
/// Which supernodes threads may substitute in side by side.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/export.h>

#include <cstddef>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Lists of ranges of supernodes, each ascending. No entry joins two of the parts; the last list holds what
/// stands above them and is shared.
struct SubstitutionParts {
    std::span<const int> starts; ///< of the lists: one more than there are, or nothing where nothing is split
    std::span<const PositionRange> ranges;

    int count() const noexcept { return starts.empty() ? 0 : static_cast<int>(starts.size()) - 2; }
    std::span<const PositionRange> list(int part) const noexcept
    {
        return ranges.subspan(static_cast<std::size_t>(starts[part]),
                              static_cast<std::size_t>(starts[part + 1] - starts[part]));
    }
    std::span<const PositionRange> shared() const noexcept { return list(count()); }
};

/// Whether each of the ranges begins right behind the one before and none is empty: only then is a solve
/// split at all.
LINTRIX_TESTABLE bool areConsecutive(std::span<const PositionRange> subgraphs) noexcept;

/// Deals whole subtrees of the elimination tree out to `parts` parts: two that do not hold each other are
/// joined by no entry (Liu, "The role of elimination trees in sparse factorization", SIAM J. Matrix Anal.
/// Appl. 11 (1990)), and those of a dissection lie within its subgraphs. Of a few ways to cut the tree it
/// takes the one with the least entries in the fullest part and above all parts together. The outcome depends
/// on the structure and the number of parts alone.
///
/// `starts` has parts + 2 places, `ranges` as many as there are supernodes. It is worth while where more than
/// a tenth of the entries is gained, and enough of them to pay for calling the threads.
/// @return  outOfMemory(RealWork)
LINTRIX_TESTABLE Failure dealOutParts(const FactorStructure& structure, int parts, std::span<int> starts,
                                      std::span<PositionRange> ranges, bool& worthWhile);

/// The blocks that this takes for its own length.
LINTRIX_TESTABLE BlockSum partDealingBlocks(int supernodes, int parts) noexcept;

} // namespace Velmar::Lintrix::detail::engine
