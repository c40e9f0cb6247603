#pragma once
/// @file
/// A light separator of a graph, by coarser and coarser graphs.

#include <lintrix/engine/analysis/dissection/sides.h>
#include <lintrix/engine/analysis/dissection/workspace.h>
#include <lintrix/services/export.h>
#include <lintrix/services/work.h>

namespace Velmar::Lintrix::detail::engine {

/// Separates a graph that is small by several tries, and a larger one by a coarser one, whose separation is
/// taken over and improved (Hendrickson and Leland, "A multilevel algorithm for partitioning graphs", SC
/// (1995)). A large graph is searched several times from its fourth coarser graph on, and the best of these
/// is taken.
///
/// Where vertices have few neighbours, it is separators that are improved all the way; else halves, and a
/// separator at the end alone (see `Halves`).
class SeparatorSearch {
public:
    /// `work` fits the graphs to come; it lives longer, and so does the meter, which is asked whether to go
    /// on.
    SeparatorSearch(Workspace& work, const WorkMeter& meter) noexcept : work_(work), meter_(meter) {}

    /// Writes the sides of all vertices. Neither side is empty but where the graph has less than three
    /// vertices, or where each vertex is a neighbour of all others.
    /// Cost: O(entries * log(vertices)).
    /// @return  whether there was memory, and the work goes on
    LINTRIX_TESTABLE bool run(const WeightedGraph& graph, Sides& sides);

private:
    bool descend(const WeightedGraph& graph, int depth, int tries, Sides& sides, std::int64_t& quality);
    bool searchCoarser(const WeightedGraph& graph, int depth, int tries, Sides& sides, std::int64_t& quality,
                       bool& found);
    template <class Try>
    bool takeBest(const WeightedGraph& graph, int tries, Sides& sides, std::int64_t& quality,
                  const Try& once);
    std::int64_t improve(const WeightedGraph& graph, Sides& sides, int passes) const;

    Workspace& work_;
    const WorkMeter& meter_;
    bool byEdges_ = false;
    int coarsest_ = 0, heaviest_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
