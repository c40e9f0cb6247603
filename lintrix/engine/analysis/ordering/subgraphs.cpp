#include <lintrix/engine/analysis/ordering/subgraphs.h>

#include <lintrix/engine/call/memory.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

PositionRange rangeFrom(int first, int length)
{
    return {first, length > 0 ? first + length - 1 : kEmptyEnd};
}

} // namespace

bool SubgraphList::wellFormed() const noexcept
{
    int behind = -1; // the last position of the range before
    for (const PositionRange& range : ranges()) {
        if (range.first <= behind || range.last < range.first) return false;
        behind = range.last;
    }
    return count > 0;
}

void wholeRange(int n, SubgraphList& list)
{
    list.room[0] = rangeFrom(0, n);
    list.count = list.independent = 1;
}

void closedRanges(int n, bool repeatLast, SubgraphList& list)
{
    list.room[0] = rangeFrom(0, n - 1);
    list.room[1] = list.room[2] = rangeFrom(n - 1, 1);
    list.count = repeatLast ? 3 : 2;
    list.independent = 1;
}

Failure gatherRanges(std::span<const int> rangeOf, int count, int independent, Ordering ordering,
                     SubgraphList& list)
{
    const auto n = static_cast<int>(rangeOf.size());
    const auto next = Scratch<int>::zeroed(std::int64_t{count} + 1);
    if (!next) return outOfMemory(BlockCode::Transient, missingBytes(next));
    for (const int range : rangeOf) ++next[range + 1];
    for (int range = 0; range < count; ++range) {
        list.room[range] = rangeFrom(next[range], next[range + 1]);
        next[range + 1] += next[range];
    }
    list.count = count;
    list.independent = independent;

    // vertexAt still tells the old order while positionOf receives the new one.
    for (int k = 0; k < n; ++k) ordering.positionOf[ordering.vertexAt[k]] = next[rangeOf[k]]++;
    for (int v = 0; v < n; ++v) ordering.vertexAt[ordering.positionOf[v]] = v;
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
