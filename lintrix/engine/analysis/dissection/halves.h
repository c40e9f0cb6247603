#pragma once
/// @file
/// Two halves of a graph with few edges between them.

#include <lintrix/engine/analysis/dissection/sides.h>
#include <lintrix/engine/analysis/dissection/workspace.h>
#include <lintrix/services/work.h>

namespace Velmar::Lintrix::detail::engine {

/// Takes the halves of a graph and changes them; nothing is between. Where vertices have many neighbours, the
/// edges between two halves of a coarse graph tell how large their common surface is; the separator of a
/// coarse graph, as thick as its vertices, does not.
///
/// near[1][v] is the weight of the edges of v that cross; near[0][v] is what it gains to move v to the other
/// side, that weight less that of its edges that do not cross.
class Halves {
public:
    Halves(const WeightedGraph& graph, Sides& sides, Workspace& work) noexcept
        : graph_(graph), sides_(sides), work_(work)
    {
    }

    /// First halves: breadth first from one vertex, or what crosses least first.
    void grow(bool breadthFirst);
    /// Moves of Fiduccia and Mattheyses, as `Separator::refine` makes them. Of equal halves the later ones
    /// are taken as long as they are nearly even: a step in a plane goes away only by wandering to the
    /// plane's end, which gains nothing until it is there. No pass is begun where the work has to end.
    /// @return  the weight of the edges that cross
    std::int64_t refine(int passes, int heaviest, const WorkMeter& meter);
    /// The ends of the crossing edges come between, those of the side where they weigh less.
    void separate();

private:
    bool isAtCut(int v) const { return work_.near[1][v] > 0; }
    std::int64_t weighEdges();
    void moveTo(int side, int v, bool queued);
    void growBreadthFirst();
    void growByGain();
    int unseen() const;
    std::int64_t pass(int heaviest);

    const WeightedGraph& graph_;
    Sides& sides_;
    Workspace& work_;
};

} // namespace Velmar::Lintrix::detail::engine
