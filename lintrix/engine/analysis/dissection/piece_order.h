#pragma once
/// @file
/// The order within a piece that is not separated any further.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/memory.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Minimum degree of small pieces of a graph, which counts their neighbours outside in: those come later, and
/// their rows belong to the degrees. Pellegrini, Roman and Amestoy, "Hybridizing nested dissection and halo
/// approximate minimum degree for efficient sparse matrix ordering", Concurrency 12 (2000).
class PieceOrder {
public:
    /// `graph` lives longer. @return  whether there was memory
    bool prepare(const Graph& graph);

    /// Orders the vertices `names`, given ascending; `order` has as many places.
    /// @return  whether there was memory
    bool run(std::span<const int> names, std::span<int> order);

private:
    bool gather(std::span<const int> names);
    void writeLists(std::span<const int> names);

    Graph graph_{};
    TeamScratch<int> placeOf_; ///< in the piece with its halo, kOutside elsewhere
    TeamScratch<int> starts_, neighbours_, order_, vertices_;
    TeamScratch<std::uint8_t> stages_;
    int room_ = 0, entries_ = 0, count_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
