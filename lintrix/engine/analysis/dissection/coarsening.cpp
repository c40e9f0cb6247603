#include <lintrix/engine/analysis/dissection/coarsening.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kNone = -1;

/// Vertices and their partners; `partners` is the workspace's marks.
class Pairs {
public:
    Pairs(const WeightedGraph& graph, int heaviest, std::span<int> partners)
        : graph_(graph), partners_(partners), heaviest_(heaviest)
    {
        std::ranges::fill(partners_, kNone);
    }

    bool isFree(int v) const { return partners_[static_cast<std::size_t>(v)] == kNone; }
    int partner(int v) const { return partners_[static_cast<std::size_t>(v)]; }
    int left() const { return left_; } ///< of those that were offered

    /// Joins v to the free neighbour behind the heaviest edge.
    void joinToNeighbour(int v)
    {
        int best = kNone, heaviestEdge = 0;
        for (int k = graph_.first(v); k < graph_.first(v + 1); ++k) {
            if (graph_.edgeWeight(k) > heaviestEdge && mayJoin(v, graph_.neighbour(k))) {
                heaviestEdge = graph_.edgeWeight(k);
                best = graph_.neighbour(k);
            }
        }
        if (best != kNone)
            join(v, best);
        else
            ++left_;
    }
    /// Joins v to the free vertex that waits at one of its neighbours, or has it wait there.
    void joinAcrossNeighbour(int v, std::span<int> waiting)
    {
        for (const int u : graph_.of(v)) {
            int& other = waiting[static_cast<std::size_t>(u)];
            if (other != kNone && other != v && isFree(other) && mayJoin(v, other)) {
                join(v, std::exchange(other, kNone));
                return;
            }
            other = v;
        }
    }
    void joinToLonely(int v, int& lonely)
    {
        if (lonely != kNone && mayJoin(v, lonely))
            join(v, std::exchange(lonely, kNone));
        else
            lonely = v;
    }

private:
    bool mayJoin(int v, int u) const
    {
        return isFree(u) && std::int64_t{graph_.weightOf(v)} + graph_.weightOf(u) <= heaviest_;
    }
    void join(int v, int u)
    {
        partners_[static_cast<std::size_t>(v)] = u;
        partners_[static_cast<std::size_t>(u)] = v;
    }

    const WeightedGraph& graph_;
    std::span<int> partners_;
    int heaviest_, left_ = 0;
};

// Chance within blocks: the order of a grid's lines must not show in the pairs, and memory is read block by
// block.
void mix(int vertices, Dice& dice, VertexList& order)
{
    constexpr int kBlock = 512;
    order.cutTo(0);
    for (int v = 0; v < vertices; ++v) order.append(v);
    for (int start = 0; start < vertices; start += kBlock) {
        for (int k = std::min(kBlock, vertices - start) - 1; k > 0; --k)
            std::swap(order[start + k], order[start + dice.below(k + 1)]);
    }
}

void joinLeftOver(const WeightedGraph& graph, const VertexList& order, std::span<int> waiting, Pairs& pairs)
{
    constexpr int kMostNeighbours = 8;
    std::ranges::fill(waiting, kNone);
    int lonely = kNone;
    for (const int v : order) {
        if (!pairs.isFree(v) || graph.degree(v) > kMostNeighbours) continue;
        if (graph.degree(v) == 0)
            pairs.joinToLonely(v, lonely);
        else
            pairs.joinAcrossNeighbour(v, waiting);
    }
}

} // namespace

int joinVertices(const WeightedGraph& graph, int heaviest, Workspace& work, std::span<int> coarseOf)
{
    const int n = graph.vertices();
    Pairs pairs(graph, heaviest, work.marks.span().first(static_cast<std::size_t>(n)));
    mix(n, work.dice, work.moves);
    for (const int v : work.moves) {
        if (pairs.isFree(v)) pairs.joinToNeighbour(v);
    }
    if (pairs.left() > n / 10) joinLeftOver(graph, work.moves, coarseOf, pairs);
    int vertices = 0;
    for (int v = 0; v < n; ++v) {
        const bool isFirst = pairs.isFree(v) || pairs.partner(v) > v;
        coarseOf[static_cast<std::size_t>(v)] =
            isFirst ? vertices++ : coarseOf[static_cast<std::size_t>(pairs.partner(v))];
    }
    return vertices;
}

bool coarsen(const WeightedGraph& graph, std::span<const int> coarseOf, int vertices, Workspace& work,
             WeightedGraph& coarser)
{
    if (!coarser.allocate(vertices, graph.entries())) return false;
    const int* partners = work.marks.get(); // as joinVertices left them
    VertexList& entryOf = work.moves;       // where the list at work names a vertex, if behind its start
    entryOf.cutTo(0);
    for (int c = 0; c < vertices; ++c) entryOf.append(kNone);
    int end = 0, c = 0;
    for (int v = 0; v < graph.vertices(); ++v) {
        if (partners[v] != kNone && partners[v] < v) continue;
        const int start = end;
        int weight = 0;
        const auto append = [&](int member) {
            weight += graph.weightOf(member);
            for (int k = graph.first(member); k < graph.first(member + 1); ++k) {
                const int u = coarseOf[static_cast<std::size_t>(graph.neighbour(k))];
                if (u == c) continue;
                if (entryOf[u] >= start) {
                    coarser.addToEdge(entryOf[u], graph.edgeWeight(k));
                } else {
                    coarser.setEntry(end, u, graph.edgeWeight(k));
                    entryOf[u] = end++;
                }
            }
        };
        append(v);
        if (partners[v] != kNone) append(partners[v]);
        coarser.setWeightOf(c, weight);
        coarser.setFirst(++c, end);
    }
    coarser.setWeight(graph.weight());
    return true;
}

} // namespace Velmar::Lintrix::detail::engine
