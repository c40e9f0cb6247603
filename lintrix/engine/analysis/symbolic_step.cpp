#include <lintrix/engine/analysis/analysis_steps.h>

#include <lintrix/engine/analysis/graph/earlier_neighbours.h>
#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/analysis/graph/permuted_graph.h>
#include <lintrix/engine/analysis/graph/postorder.h>
#include <lintrix/engine/analysis/symbolic/column_counts.h>
#include <lintrix/engine/analysis/symbolic/column_refinement.h>
#include <lintrix/engine/analysis/symbolic/derived_structure.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/analysis/symbolic/schedule.h>
#include <lintrix/engine/analysis/symbolic/supernodes.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// The arrays of pt[5] and pt[6].
struct Work {
    std::span<int> earlierStarts, earlierNeighbours, parent, counts; // pt[5]
    std::span<int> starts, supernodeOf;                              // pt[6]
    std::span<std::int64_t> rowStarts;
};

Failure allocate(Analysis& run, const Graph& graph, Work& work)
{
    const std::int64_t n = run.n(), cells = static_cast<std::int64_t>(earlierNeighbourCells(graph));
    BlockLayout tree(run.control());
    tree.add<int>(Array::EarlierStarts, n + 1)
        .add<int>(Array::EarlierNeighbours, cells)
        .add<int>(Array::Parent, n)
        .add<int>(Array::ColumnCounts, n);
    if (const Failure failure = tree.allocate(run.handle, Slot::SymbolicWork, BlockCode::SymbolicWork))
        return failure;
    BlockLayout supernodes(run.control());
    supernodes.add<int>(Array::WorkStarts, n + 1)
        .add<int>(Array::WorkSupernodeOf, n)
        .add<std::int64_t>(Array::WorkRowStarts, n + 1);
    if (const Failure failure =
            supernodes.allocate(run.handle, Slot::SymbolicStructure, BlockCode::SymbolicStructure))
        return failure;
    work = {run.handle.array<int>(Slot::SymbolicWork, Array::EarlierStarts, n + 1),
            run.handle.array<int>(Slot::SymbolicWork, Array::EarlierNeighbours, cells),
            run.handle.array<int>(Slot::SymbolicWork, Array::Parent, n),
            run.handle.array<int>(Slot::SymbolicWork, Array::ColumnCounts, n),
            run.handle.array<int>(Slot::SymbolicStructure, Array::WorkStarts, n + 1),
            run.handle.array<int>(Slot::SymbolicStructure, Array::WorkSupernodeOf, n),
            run.handle.array<std::int64_t>(Slot::SymbolicStructure, Array::WorkRowStarts, n + 1)};
    return {};
}

/// Where the ordering has not told them.
Failure countColumns(Analysis& run, const Graph& graph, const Work& work)
{
    const auto starts = Scratch<int>::uninitialised(std::int64_t{run.n()} + 1);
    const auto neighbours = Scratch<int>::uninitialised(static_cast<std::int64_t>(graph.neighbours.size()));
    if (!starts || !neighbours) return outOfMemory(BlockCode::Transient, missingBytes(starts, neighbours));
    const Graph permuted = permutedGraph(graph, run.ordering(), starts.span(), neighbours.span());
    if (!WorkScope::goesOn()) return stopped();
    return columnCounts(permuted, work.parent, run.threads(), work.counts);
}

/// The tree, and the order in which it is walked through from then on.
Failure plantTree(Analysis& run, const Graph& earlier, const Work& work)
{
    if (const Failure failure = eliminationTree(earlier, run.ordering(), work.parent)) return failure;
    const bool isCounted = run.counts.get() != nullptr;
    if (isCounted) std::ranges::copy(run.counts.span(), work.counts.begin());
    return postorder(run.subgraphs(), work.parent, run.ordering(),
                     isCounted ? work.counts : std::span<int>());
}

/// Partitions the postordered columns and gives each supernode room for its row list.
Failure findSupernodes(Analysis& run, const Graph& graph, Work& work)
{
    if (run.counts.get() == nullptr) {
        if (const Failure failure = countColumns(run, graph, work)) return failure;
    }
    const Partition partition = partitionIntoSupernodes(
        work.parent, work.counts, run.control()[Word::PanelWidth], work.starts, work.supernodeOf);
    run.control()[Word::Supernodes] = partition.supernodes;
    run.control()[Word::LargestSupernode] = partition.longestRun;
    const auto boundaries = static_cast<std::size_t>(partition.supernodes) + 1;
    work.starts = work.starts.first(boundaries);
    work.rowStarts = work.rowStarts.first(boundaries);
    constexpr std::int64_t mostIndices = std::numeric_limits<int>::max();
    return rowListStarts(work.starts, work.counts, mostIndices, work.rowStarts);
}

/// The permanent block, with what is known by now.
Failure fillPermanent(Analysis& run, const Graph& earlier, const Work& work, UpdateSizes& updates)
{
    run.control().set(WideWord::FactorRowIndices, work.rowStarts.back());
    PermanentStructure permanent(run.handle);
    if (const Failure failure = permanent.allocate()) return failure;
    std::ranges::copy(run.ordering().vertexAt, permanent.ordering().vertexAt.begin());
    std::ranges::copy(run.ordering().positionOf, permanent.ordering().positionOf.begin());
    std::ranges::copy(run.subgraphs(), permanent.subgraphs().begin());
    std::ranges::copy(work.starts, permanent.supernodeStarts().begin());
    std::ranges::copy(work.supernodeOf, permanent.supernodeOf().begin());
    std::ranges::copy(work.rowStarts, permanent.rowStarts().begin());
    if (const Failure failure = fillRowLists(earlier, run.ordering(), work.parent, permanent.structure(),
                                             permanent.rows(), permanent.descendantStarts(), updates))
        return failure;
    const FactorStructure structure = permanent.structure();
    if (!repaysRefinement(structure)) return {};
    const Failure failure = refineColumnOrder(structure, permanent.subgraphs(), run.threads(),
                                              permanent.rows(), permanent.ordering());
    // Columns have gone to other panels of the supernode that they were cut from.
    if (!failure) updates = measureUpdates(structure, permanent.descendantStarts());
    return failure;
}

} // namespace

Failure factorizeSymbolically(Analysis& run)
{
    const TimedStep timed(run.timers, Timer::SymbolicFactorization);
    const Graph graph = run.graph();
    Work work;
    if (const Failure failure = allocate(run, graph, work)) return failure;
    const Graph earlier =
        earlierNeighbours(graph, run.ordering().positionOf, work.earlierStarts, work.earlierNeighbours);
    if (!WorkScope::goesOn()) return stopped();
    if (const Failure failure = plantTree(run, earlier, work)) return failure;
    if (!WorkScope::goesOn()) return stopped();
    if (const Failure failure = findSupernodes(run, graph, work)) return failure;
    UpdateSizes updates;
    if (const Failure failure = fillPermanent(run, earlier, work, updates)) return failure;
    if (!WorkScope::goesOn()) return stopped();
    placePanels(run.handle, updates);
    PermanentStructure permanent(run.handle);
    const FactorStructure structure = permanent.structure();
    supernodesOfSubgraphs(structure, permanent.subgraphs(), permanent.subgraphSupernodes());
    // The block has these numbers by now: their place is free for work.
    run.control()[Word::TreeHeight] = treeHeight(structure, work.supernodeOf);
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
