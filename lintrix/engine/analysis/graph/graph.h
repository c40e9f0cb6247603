#pragma once
/// @file
/// The graph that the orderings and the symbolic factorization see.

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// An undirected graph without loops: each edge stands in the lists of both its ends, each list ascending and
/// free of duplicates. Vertices and positions count from 0.
struct Graph {
    std::span<const int> starts;     ///< vertices() + 1 offsets into `neighbours`, the first 0
    std::span<const int> neighbours; ///<

    int vertices() const noexcept { return static_cast<int>(starts.size()) - 1; }
    int degree(int v) const noexcept { return starts[v + 1] - starts[v]; }
    std::span<const int> of(int v) const noexcept
    {
        return neighbours.subspan(static_cast<std::size_t>(starts[v]), static_cast<std::size_t>(degree(v)));
    }
};

/// A symmetric permutation in both directions: position `positionOf[v]` of the elimination order holds vertex
/// v, so `vertexAt[positionOf[v]] == v`.
struct Ordering {
    std::span<int> positionOf;
    std::span<int> vertexAt;
};

/// Positions `first` to `last`, both included: an independent part, or a separator.
struct PositionRange {
    int first, last;
};

} // namespace Velmar::Lintrix::detail::engine
