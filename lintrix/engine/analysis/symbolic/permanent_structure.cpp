#include <lintrix/engine/analysis/symbolic/permanent_structure.h>

namespace Velmar::Lintrix::detail::engine {

BlockLayout PermanentStructure::layout(std::int64_t targets) const
{
    const ControlBlock& control = handle_.control();
    BlockLayout layout(handle_.control());
    layout.add<int>(Array::VertexAt, control[Word::Order])
        .add<int>(Array::PositionOf, control[Word::Order])
        .add<PositionRange>(Array::SubgraphRanges, control[Word::Subgraphs])
        .add<PositionRange>(Array::SubgraphSupernodes, control[Word::Subgraphs])
        .add<int>(Array::SupernodeStarts, supernodes() + 1)
        .add<int>(Array::SupernodeOf, control[Word::Order])
        .add<std::int64_t>(Array::RowStarts, supernodes() + 1)
        .add<int>(Array::Rows, control[WideWord::FactorRowIndices])
        .add<std::int64_t>(Array::LowerStarts, supernodes() + 1)
        .add<std::int64_t>(Array::UpperStarts, upperPanels())
        .add<int>(Array::MapFirstEntry, supernodes() + 1)
        .add<int>(Array::MapSource, control[Word::MappedEntries])
        .add<int>(Array::MapPlace, control[Word::MappedEntries])
        .add<int>(Array::TargetStarts, targetLists())
        .add<int>(Array::Targets, targets); // last: its length is known last
    return layout;
}

Failure PermanentStructure::allocate(std::int64_t targets) const
{
    return layout(targets).allocate(handle_, Slot::FactorStructure, BlockCode::FactorStructure);
}

void PermanentStructure::shrinkToTargets() const
{
    Handle(handle_).shrink(Slot::FactorStructure, layout(word(Word::UpdateTargets)).bytes());
}

Ordering PermanentStructure::ordering() const
{
    const std::int64_t n = word(Word::Order);
    return {.positionOf = array<int>(Array::PositionOf, n), .vertexAt = array<int>(Array::VertexAt, n)};
}

std::span<PositionRange> PermanentStructure::subgraphs() const
{
    return array<PositionRange>(Array::SubgraphRanges, word(Word::Subgraphs));
}

std::span<PositionRange> PermanentStructure::subgraphSupernodes() const
{
    return array<PositionRange>(Array::SubgraphSupernodes, word(Word::Subgraphs));
}

std::span<int> PermanentStructure::supernodeStarts() const
{
    return array<int>(Array::SupernodeStarts, supernodes() + 1);
}

std::span<int> PermanentStructure::supernodeOf() const
{
    return array<int>(Array::SupernodeOf, word(Word::Order));
}

std::span<std::int64_t> PermanentStructure::rowStarts() const
{
    return array<std::int64_t>(Array::RowStarts, supernodes() + 1);
}

std::span<int> PermanentStructure::rows() const
{
    return array<int>(Array::Rows, handle_.control()[WideWord::FactorRowIndices]);
}

FactorStructure PermanentStructure::structure() const
{
    return {supernodeStarts(), supernodeOf(), rowStarts(), rows()};
}

std::span<std::int64_t> PermanentStructure::lowerStarts() const
{
    return array<std::int64_t>(Array::LowerStarts, supernodes() + 1);
}

std::span<std::int64_t> PermanentStructure::upperStarts() const
{
    return array<std::int64_t>(Array::UpperStarts, upperPanels());
}

EntryMaps PermanentStructure::maps() const
{
    const std::int64_t entries = word(Word::MappedEntries);
    return {.firstEntry = array<int>(Array::MapFirstEntry, supernodes() + 1),
            .source = array<int>(Array::MapSource, entries),
            .place = array<int>(Array::MapPlace, entries)};
}

std::span<int> PermanentStructure::targetStarts() const
{
    return array<int>(Array::TargetStarts, targetLists());
}

std::span<int> PermanentStructure::targets() const
{
    return array<int>(Array::Targets, word(Word::UpdateTargets));
}

} // namespace Velmar::Lintrix::detail::engine
