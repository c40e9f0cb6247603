#pragma once
/// @file
/// Vertices that separate the others, moved until they weigh little.

#include <lintrix/engine/analysis/dissection/sides.h>
#include <lintrix/engine/analysis/dissection/workspace.h>
#include <lintrix/services/work.h>

namespace Velmar::Lintrix::detail::engine {

/// Takes the separation of a graph and changes it. A vertex of the separator may move to a side; its
/// neighbours on the other side then come between. So the separator loses the weight of the vertex and gains
/// theirs: what it gains to move v to a side is the weight of v less near[other side], the weight of its
/// neighbours there.
///
/// `graph`, `sides` and `work` live longer; `work` fits the graph.
class Separator {
public:
    Separator(const WeightedGraph& graph, Sides& sides, Workspace& work) noexcept
        : graph_(graph), sides_(sides), work_(work)
    {
    }

    /// A first separation: a side grows from one vertex, those first that came between first, until it has
    /// half of the weight. Where a part of the graph is used up it goes on from another.
    void grow();

    /// Moves the best vertices first, also where that gains nothing, and goes back to the lightest separator
    /// that was met; so often as that helps, `passes` times at most. No side grows beyond `heaviest`. Liu, "A
    /// graph partitioning algorithm by node separators", ACM TOMS 15 (1989), with the moves of Fiduccia and
    /// Mattheyses, "A linear-time heuristic for improving network partitions", DAC (1982); Hendrickson and
    /// Rothberg, "Improving the run time and quality of nested dissection ordering", SIAM J. Sci. Comput. 20
    /// (1998). No pass is begun where the work has to end.
    void refine(int passes, int heaviest, const WorkMeter& meter);

private:
    void collect();
    void weighNeighbours(int v);
    void pull(int v, int to, bool queued);
    void moveTo(int side, int v, bool queued);
    bool pass(int heaviest);
    void goBackTo(int moves);
    void renewBoundary();
    std::int64_t gainOf(int v, int side) const { return graph_.weightOf(v) - work_.near[1 - side][v]; }

    const WeightedGraph& graph_;
    Sides& sides_;
    Workspace& work_;
};

} // namespace Velmar::Lintrix::detail::engine
