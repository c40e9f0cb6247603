#include <lintrix/engine/analysis/graph/elimination_tree.h>

#include <lintrix/engine/call/memory.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Walks from `k` to the root of its tree so far, which becomes a child of `row`; the path is cut short to
// `row` for those who come after.
void hangUnder(int row, int k, std::span<int> parent, std::span<int> ancestor)
{
    while (k != kRoot && k != row) {
        const int next = ancestor[k];
        ancestor[k] = row;
        if (next == kRoot) parent[k] = row;
        k = next;
    }
}

} // namespace

Failure eliminationTree(const Graph& graph, const Ordering& ordering, std::span<int> parent)
{
    const int n = graph.vertices();
    const auto ancestor = Scratch<int>::uninitialised(n);
    if (!ancestor) return outOfMemory(BlockCode::Transient, missingBytes(ancestor));
    for (int row = 0; row < n; ++row) {
        parent[row] = ancestor[row] = kRoot;
        for (const int u : graph.of(ordering.vertexAt[row])) {
            const int k = ordering.positionOf[u];
            if (k < row) hangUnder(row, k, parent, ancestor.span());
        }
    }
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
