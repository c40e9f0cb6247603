#include <lintrix/engine/analysis/analysis_steps.h>

#include <lintrix/engine/analysis/dissection/dissection.h>
#include <lintrix/engine/analysis/graph/adjacency.h>
#include <lintrix/engine/analysis/matching/preordering.h>
#include <lintrix/engine/analysis/ordering/constrained_minimum_degree.h>
#include <lintrix/engine/analysis/ordering/given_ordering.h>
#include <lintrix/engine/analysis/ordering/minimum_degree.h>
#include <lintrix/engine/analysis/ordering/nested_dissection.h>
#include <lintrix/engine/analysis/ordering/subgraphs.h>
#include <lintrix/engine/threaded_dissection.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

OrderingChoice choiceOf(const Analysis& run)
{
    return static_cast<OrderingChoice>(run.call.iparm[Parameter::Ordering]);
}

std::span<int> callersPermutation(const Analysis& run)
{
    return {run.call.perm, static_cast<std::size_t>(run.n())};
}

/// Without an array there is nothing to read or to write.
Failure checkPermutationUse(const Analysis& run)
{
    const int use = run.call.iparm[Parameter::PermutationUse];
    const bool missing = (use == 1 || use == 2) && run.call.perm == nullptr;
    return missing ? Failure{Error::Reordering, kInconsistentPermutation} : Failure{};
}

bool dissects(const Analysis& run)
{
    return choiceOf(run) == OrderingChoice::NestedDissection ||
           choiceOf(run) == OrderingChoice::NestedDissectionByThreads;
}

Failure orderByMinimumDegree(Analysis& run, Ordering ordering, SubgraphList& list)
{
    closedRanges(run.n(), true, list);
    auto counts = Scratch<int>::uninitialised(run.n());
    if (!counts) return outOfMemory(BlockCode::Transient, missingBytes(counts));
    const Failure failure = minimumDegree(run.graph(), run.control()[Word::MinimumDegreeDelta], ordering,
                                          kLargestMark, counts.span());
    if (!failure && counts.span().back() != 0) run.counts = std::move(counts);
    return failure;
}

Failure orderByConstrainedMinimumDegree(const Analysis& run, Ordering ordering, SubgraphList& list)
{
    return constrainedMinimumDegree(run.graph(), run.control()[Word::MinimumDegreeDelta],
                                    run.control()[Word::PartTarget], ordering, list);
}

Failure orderByDissection(const Analysis& run, Ordering ordering, SubgraphList& list)
{
    if (!ThreadedDissectionScope::IsInForce()) return nestedDissection(run.graph(), 1, ordering, list);
    wholeRange(run.n(), list);
    return dissect(run.graph(), run.threads(), ordering);
}

/// The pairs stand in the matching's block: each side by side in the order.
Failure orderByPairs(Analysis& run, Ordering ordering, SubgraphList& list)
{
    const int n = run.n();
    const auto size = static_cast<std::size_t>(PivotPairs::blockSize(n));
    const PivotPairs pairs({run.handle.block<int>(Slot::Matching), size}, n);
    std::ranges::copy(pairs.vertexAt(), ordering.vertexAt.begin());
    for (int k = 0; k < n; ++k) ordering.positionOf[ordering.vertexAt[k]] = k;
    closedRanges(n, !dissects(run), list);
    return {};
}

Failure allocate(Analysis& run, SubgraphList& list)
{
    const std::int64_t n = run.n(), ranges = subgraphNumbers(run.control()[Word::PartTarget]) / 2;
    BlockLayout layout(run.control());
    layout.add<int>(Array::WorkVertexAt, n)
        .add<int>(Array::WorkPositionOf, n)
        .add<PositionRange>(Array::WorkSubgraphs, ranges);
    if (const Failure failure = layout.allocate(run.handle, Slot::IntegerWork, BlockCode::IntegerWork))
        return failure;
    list.room = run.handle.array<PositionRange>(Slot::IntegerWork, Array::WorkSubgraphs, ranges);
    return {};
}

/// The caller's order, the pairs' or a computed one, in this order of decisions.
Failure chooseOrder(Analysis& run, SubgraphList& list)
{
    const Parameters iparm = run.call.iparm;
    const Ordering ordering = run.ordering();
    if (iparm[Parameter::PermutationUse] == 1) {
        closedRanges(run.n(), false, list);
        return takeOrdering(callersPermutation(run), ordering);
    }
    if (preorderingFor(run.call.mtype, iparm[Parameter::Matching]) == Preordering::SymmetricPairs)
        return orderByPairs(run, ordering, list);
    switch (choiceOf(run)) {
    case OrderingChoice::NestedDissection:
        return orderByDissection(run, ordering, list);
    case OrderingChoice::NestedDissectionByThreads:
        return nestedDissection(run.graph(), run.threads(), ordering, list);
    case OrderingChoice::ConstrainedMinimumDegree:
        return orderByConstrainedMinimumDegree(run, ordering, list);
    case OrderingChoice::MinimumDegree:
        break;
    }
    return orderByMinimumDegree(run, ordering, list);
}

/// Whether the ranges cover all positions, one after another: what the later steps may take apart.
bool coversAll(const SubgraphList& list, int n)
{
    int next = 0;
    for (const PositionRange& range : list.ranges()) {
        if (range.first != next || range.last < range.first) return false;
        next = range.last + 1;
    }
    return next == n;
}

/// Two-level work needs ranges that stand on their own; without it the order is one piece.
void settleSubgraphs(Analysis& run, SubgraphList& list)
{
    ControlBlock& control = run.control();
    control[Word::ListedSubgraphs] = list.count;
    const bool apart = list.wellFormed() && coversAll(list, run.n());
    if (!apart) wholeRange(run.n(), list);
    if (list.count < 2) control[Word::TwoLevel] = 0;
    control[Word::Subgraphs] = list.count;
    control[Word::IndependentSubgraphs] = list.independent;
}

} // namespace

Failure buildAdjacency(Analysis& run)
{
    const TimedStep timed(run.timers, Timer::FullAdjacency);
    SymmetrizedPattern pattern;
    if (const Failure failure = pattern.count({run.ia, run.ja}, run.columnOfRow())) return failure;
    if (!WorkScope::goesOn()) return stopped();
    run.control()[Word::StructureNonZeros] = static_cast<int>(pattern.entries());
    BlockLayout layout(run.control());
    layout.add<int>(Array::AdjacencyStarts, std::int64_t{run.n()} + 1)
        .add<int>(Array::AdjacencyNeighbours, pattern.entries());
    if (const Failure failure = layout.allocate(run.handle, Slot::AnalysisWork, BlockCode::AnalysisWork))
        return failure;
    pattern.write(
        run.handle.array<int>(Slot::AnalysisWork, Array::AdjacencyStarts, std::int64_t{run.n()} + 1),
        run.handle.array<int>(Slot::AnalysisWork, Array::AdjacencyNeighbours, pattern.entries()));
    return {};
}

Failure orderEquations(Analysis& run)
{
    const TimedStep timed(run.timers, Timer::Reorder);
    SubgraphList list;
    if (const Failure failure = checkPermutationUse(run)) return failure;
    if (const Failure failure = allocate(run, list)) return failure;
    if (const Failure failure = chooseOrder(run, list)) return failure;
    if (run.call.iparm[Parameter::PermutationUse] == 2) copyOrdering(run.ordering(), callersPermutation(run));
    settleSubgraphs(run, list);
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
