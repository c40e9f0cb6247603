#pragma once
/// @file
/// The graph of a matrix, with unknowns of one node taken together, and how it spreads.

#include <lintrix/services/export.h>
#include <lintrix/systems/system_matrix.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// How many nodes there are: unknowns of one node have the same neighbours and stand side by side, as the
/// three displacements at a point do. Cost: one pass.
LINTRIX_TESTABLE std::int32_t nodesOf(const EngineMatrix& matrix);

/// Nodes and unknowns count from 0.
class LINTRIX_TESTABLE NodeGraph {
public:
    /// Cost: two passes over the rows of one unknown a node.
    explicit NodeGraph(const EngineMatrix& matrix);

    std::int32_t nodes() const noexcept { return static_cast<std::int32_t>(starts_.size()) - 1; }

    /// How many nodes are 0, 1, 2, ... steps away from `root`, level by level until there are more than
    /// `limit`; that level is left out. Nothing when fewer can be reached.
    std::vector<std::int32_t> levelsFrom(std::int32_t root, std::int32_t limit) const;

    /// The exponent d of r^d, the number of nodes within r steps of one: about 2 in a plane, 3 in a body,
    /// above that in networks where everything is near. The median over some nodes, of d up to the radius
    /// that takes in an eighth of the graph: there its boundary is felt little. Infinite where that radius is
    /// below 2, and 0 where an eighth cannot be reached. Cost: a few searches through an eighth of the graph.
    double growth() const;

private:
    template <class Visit>
    void forEachEdge(const EngineMatrix& matrix, Visit visit) const;

    std::vector<std::int32_t> nodeOf_{}, firstOf_{}; ///< of an unknown; the first unknown of a node
    std::vector<std::int64_t> starts_{};             ///< of the neighbours of a node
    std::vector<std::int32_t> neighbours_{};         ///< one may be there twice
};

} // namespace Velmar::Lintrix::detail::roads
