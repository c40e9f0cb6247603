#pragma once
/// @file
/// A graph whose vertices and edges stand for several of a finer one.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// A graph as `Graph` tells it, its lists in no order, with a weight for each vertex and each end of an edge.
/// One block holds it all.
class WeightedGraph {
public:
    /// Room for so many vertices and list entries, `entries` of them at most.
    /// @return  whether there was memory
    LINTRIX_TESTABLE bool allocate(int vertices, int entries);

    int vertices() const noexcept { return vertices_; }
    /// List entries, two an edge.
    int entries() const noexcept { return starts_[vertices_]; }
    int weight() const noexcept { return weight_; } ///< of all vertices
    void setWeight(int weight) noexcept { weight_ = weight; }

    /// Entries of the list of v are first(v) .. first(v + 1) - 1.
    int first(int v) const noexcept { return starts_[v]; }
    int degree(int v) const noexcept { return starts_[v + 1] - starts_[v]; }
    int neighbour(int entry) const noexcept { return neighbours_[entry]; }
    int edgeWeight(int entry) const noexcept { return edgeWeights_[entry]; }
    int weightOf(int v) const noexcept { return weights_[v]; }
    std::span<const int> of(int v) const noexcept
    {
        return {neighbours_ + starts_[v], static_cast<std::size_t>(degree(v))};
    }

    /// Written in their order: the first entry of a list, then the list.
    void setFirst(int v, int entry) noexcept { starts_[v] = entry; }
    void setEntry(int entry, int neighbour, int edgeWeight) noexcept
    {
        neighbours_[entry] = neighbour;
        edgeWeights_[entry] = edgeWeight;
    }
    void addToEdge(int entry, int edgeWeight) noexcept { edgeWeights_[entry] += edgeWeight; }
    void setWeightOf(int v, int weight) noexcept { weights_[v] = weight; }

private:
    TeamScratch<int> block_;
    int *starts_ = nullptr, *neighbours_ = nullptr, *edgeWeights_ = nullptr, *weights_ = nullptr;
    int vertices_ = 0, weight_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
