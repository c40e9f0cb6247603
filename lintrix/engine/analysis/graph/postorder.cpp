#include <lintrix/engine/analysis/graph/postorder.h>

#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/call/memory.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

// `size` receives the nodes of each subtree within the range; `free` the first position that is still free
// below each node, and the range's own begins at `range.first`.
void numberRange(const PositionRange& range, std::span<const int> parent, std::span<int> size,
                 std::span<int> free, std::span<int> newPosition)
{
    const auto inside = [&](int node) { return node != kRoot && node <= range.last; };
    for (int j = range.first; j <= range.last; ++j) size[j] = 1;
    for (int j = range.first; j <= range.last; ++j) {
        if (inside(parent[j])) size[parent[j]] += size[j];
    }
    // Parents come after their children, so going down meets them first; the last child stands next to its
    // parent. Each subtree takes the highest free places of its parent's.
    int freeAtTop = range.last;
    for (int j = range.last; j >= range.first; --j) {
        int& last = inside(parent[j]) ? free[parent[j]] : freeAtTop;
        newPosition[j] = last;
        free[j] = last - 1;
        last -= size[j];
    }
}

Failure postorder(std::span<const PositionRange> ranges, std::span<int> parent, Ordering ordering,
                  std::span<int> counts)
{
    const auto n = static_cast<int>(parent.size());
    const auto work = Scratch<int>::uninitialised(3 * std::int64_t{n});
    if (!work) return outOfMemory(BlockCode::Transient, missingBytes(work));
    const auto size = work.span().first(parent.size()),
               free = work.span().subspan(parent.size(), parent.size()),
               newPosition = work.span().last(parent.size());
    for (const PositionRange& range : ranges) numberRange(range, parent, size, free, newPosition);

    const auto newParent = size, newVertex = free;
    for (int j = 0; j < n; ++j) {
        newParent[newPosition[j]] = parent[j] == kRoot ? kRoot : newPosition[parent[j]];
        newVertex[newPosition[j]] = ordering.vertexAt[j];
    }
    for (int j = 0; j < n; ++j) {
        parent[j] = newParent[j];
        ordering.vertexAt[j] = newVertex[j];
        ordering.positionOf[newVertex[j]] = j;
    }
    if (counts.empty()) return {};
    const auto newCount = size;
    for (int j = 0; j < n; ++j) newCount[newPosition[j]] = counts[j];
    std::ranges::copy(newCount, counts.begin());
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
