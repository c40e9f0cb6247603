#pragma once
/// @file
/// The parts of an elimination order that can be worked at independently, and the separators between them.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <algorithm>
#include <cstddef>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// The end of a range that has no positions, whatever its first, so that it is told from a range of one.
inline constexpr int kEmptyEnd = -1;

/// Numbers, two a range, that the list has room for with a part target of q: 2q - 1 ranges and more.
constexpr int subgraphNumbers(int target) noexcept
{
    return std::max(4 * target + 4, 1024);
}

/// Ranges of positions, pairs (first, last). The first `independent` ones are the parts: no entry
/// of the matrix joins two of them. The separators follow, those of the finest cut first and the root last,
/// so that each stands behind all that it separates. The ranges count from 0; a caller who counts from 1 sees
/// both ends one higher, but for the -1 of an empty one.
struct SubgraphList {
    std::span<PositionRange> room; ///< subgraphNumbers(q) / 2 ranges
    int count = 0;                 ///< ranges in use, "#independent subgraphs"
    int independent = 0;

    std::span<const PositionRange> ranges() const noexcept
    {
        return room.first(static_cast<std::size_t>(count));
    }
    /// The parts to make when `wanted` are asked for: at least 1, at most one for every two vertices, and no
    /// more than fit with their separators.
    int partsFor(int wanted, int vertices) const noexcept
    {
        const int mostThatFit = static_cast<int>((room.size() + 1) / 2);
        return std::max(1, std::min({wanted, vertices / 2, mostThatFit}));
    }
    /// Whether no range is empty and each begins behind the one before. Parallel work by subgraphs and
    /// separators needs it: its flag is dropped where the list is not well formed.
    LINTRIX_TESTABLE bool wellFormed() const noexcept;
};

/// One part with all n positions: an order that was not cut.
LINTRIX_TESTABLE void wholeRange(int n, SubgraphList& list);

/// The list of an order that came in one piece, from the caller, the matched pairs or minimum degree: (1, n -
/// 1) and (n, n), counted from 1. With `repeatLast` the second stands twice and the list is not well formed,
/// which keeps the steps behind it from working by its ranges.
LINTRIX_TESTABLE void closedRanges(int n, bool repeatLast, SubgraphList& list);

/// Makes ranges out of tags: rangeOf[k] in 0 .. count - 1 is the range that position k falls in. The
/// positions are renumbered range after range, in each in the order that they had; `list.room` must hold
/// `count` ranges.
/// @return  outOfMemory(Transient), with nothing changed
LINTRIX_TESTABLE Failure gatherRanges(std::span<const int> rangeOf, int count, int independent,
                                      Ordering ordering, SubgraphList& list);

} // namespace Velmar::Lintrix::detail::engine
