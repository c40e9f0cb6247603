#include <lintrix/engine/analysis/analysis_steps.h>

namespace Velmar::Lintrix::detail::engine {

Graph Analysis::graph() const
{
    const std::int64_t entries = control()[Word::StructureNonZeros];
    return {handle.array<int>(Slot::AnalysisWork, Array::AdjacencyStarts, std::int64_t{n()} + 1),
            handle.array<int>(Slot::AnalysisWork, Array::AdjacencyNeighbours, entries)};
}

Ordering Analysis::ordering()
{
    return {.positionOf = handle.array<int>(Slot::IntegerWork, Array::WorkPositionOf, n()),
            .vertexAt = handle.array<int>(Slot::IntegerWork, Array::WorkVertexAt, n())};
}

std::span<PositionRange> Analysis::subgraphs()
{
    return handle.array<PositionRange>(Slot::IntegerWork, Array::WorkSubgraphs, control()[Word::Subgraphs]);
}

std::span<const int> Analysis::columnOfRow() const
{
    const bool rowsMove = classOf(call.mtype) == MatrixClass::Unsymmetric && handle.holds(Slot::Matching);
    if (!rowsMove) return {};
    return {handle.block<int>(Slot::Matching), static_cast<std::size_t>(n())};
}

} // namespace Velmar::Lintrix::detail::engine
