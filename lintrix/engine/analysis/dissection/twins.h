#pragma once
/// @file
/// A graph in which vertices with the same neighbours stand together.

#include <lintrix/engine/analysis/dissection/weighted_graph.h>
#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/memory.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Vertices with equal closed neighbourhoods, the unknowns of a node for the most part, are twins: what
/// separates one separates all. One stands for all of them. Dense vertices (`isDense`) are left out.
/// Ashcraft, "Compressed graphs and the minimum degree algorithm", SIAM J. Sci. Comput. 16 (1995).
class TwinGraph {
public:
    /// Cost: O(vertices + entries), as long as hashes differ. @return  whether there was memory
    bool make(const Graph& graph);

    /// Of those that stand for others, its lists ascending; `graph` itself where nearly all stand for
    /// themselves.
    Graph graph() const noexcept { return graph_; }
    int weightOf(int vertex) const noexcept
    {
        return members_.get() ? firsts_[vertex + 1] - firsts_[vertex] : 1;
    }
    int weight() const noexcept { return weight_; } ///< vertices but for the dense ones

    /// Writes `vertexAt` by the order of those that stand for others; twins in a row, dense ones last by
    /// ascending degree.
    void expand(std::span<const int> order, std::span<int> vertexAt) const;

private:
    bool groupTwins(const Graph& graph, std::span<int> classOf);
    bool writeClasses(const Graph& graph, std::span<const int> classOf);
    void leaveOutDense(const Graph& graph);

    Graph graph_{};
    Scratch<int> starts_, neighbours_;
    Scratch<int> members_,
        firsts_; ///< of each class; the dense ones behind all. None: each stands for itself
    int classes_ = 0, weight_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
