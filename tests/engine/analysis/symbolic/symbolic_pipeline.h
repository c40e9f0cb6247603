#pragma once
/// @file
/// The symbolic steps run one after another on a graph, as the engine runs them.

#include <lintrix/engine/analysis/graph/earlier_neighbours.h>
#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/analysis/graph/permuted_graph.h>
#include <lintrix/engine/analysis/graph/postorder.h>
#include <lintrix/engine/analysis/symbolic/column_counts.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/analysis/symbolic/supernodes.h>

#include "tests/engine/analysis/symbolic/symbolic_reference.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace Velmar::Lintrix::testing {

using namespace detail::engine;

struct Pipeline {
    Pipeline(const Graph& graph, OwnedOrdering start, int panelWidth, bool unsymmetric = false,
             std::vector<PositionRange> given = {})
        : ordering(std::move(start)), ranges(std::move(given))
    {
        const auto n = static_cast<std::size_t>(graph.vertices());
        if (ranges.empty()) ranges.push_back({0, graph.vertices() - 1});
        parent.resize(n);
        count.resize(n);
        supernodeOf.resize(n);
        starts.resize(n + 1);
        EXPECT_FALSE(eliminationTree(graph, ordering.view(), parent));
        EXPECT_FALSE(postorder(ranges, parent, ordering.view()));
        permuted.starts.resize(n + 1);
        permuted.neighbours.resize(graph.neighbours.size());
        permutedGraph(graph, ordering.view(), permuted.starts, permuted.neighbours);
        EXPECT_FALSE(columnCounts(permuted.view(), parent, 1, count));
        partition = partitionIntoSupernodes(parent, count, panelWidth, starts, supernodeOf);
        starts.resize(static_cast<std::size_t>(partition.supernodes) + 1);
        rowStarts.resize(starts.size());
        EXPECT_FALSE(rowListStarts(starts, count, INT64_MAX, rowStarts));
        rows.resize(static_cast<std::size_t>(rowStarts.back()));
        earlier.starts.resize(n + 1);
        earlier.neighbours.resize(earlierNeighbourCells(graph));
        earlierNeighbours(graph, ordering.positionOf, earlier.starts, earlier.neighbours);
        descendantStarts.resize(starts.size());
        EXPECT_FALSE(fillRowLists(earlier.view(), ordering.view(), parent, structure(), rows,
                                  descendantStarts, updates));
        lowerStarts.resize(starts.size());
        if (unsymmetric) upperStarts.resize(starts.size());
        sizes = panelStarts(structure(), lowerStarts, upperStarts);
    }

    FactorStructure structure() const { return {starts, supernodeOf, rowStarts, rows}; }

    OwnedOrdering ordering;
    std::vector<PositionRange> ranges;
    OwnedGraph permuted, earlier;
    std::vector<int> parent, count, supernodeOf, starts, rows;
    std::vector<std::int64_t> rowStarts, descendantStarts, lowerStarts, upperStarts;
    Partition partition;
    UpdateSizes updates;
    FactorSizes sizes;
};

} // namespace Velmar::Lintrix::testing
