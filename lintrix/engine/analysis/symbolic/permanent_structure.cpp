#include <lintrix/engine/analysis/symbolic/permanent_structure.h>

namespace Velmar::Lintrix::detail::engine {

std::int64_t PermanentStructure::lengthOf(Array name) const noexcept
{
    const ControlBlock& control = handle_.control();
    const std::int64_t boundaries = std::int64_t{control[Word::Supernodes]} + 1;
    switch (name) {
    case Array::SubgraphRanges:
    case Array::SubgraphSupernodes:
        return control[Word::Subgraphs];
    case Array::SupernodeStarts:
    case Array::RowStarts:
    case Array::LowerStarts:
    case Array::DescendantStarts:
    case Array::MapFirstEntry:
        return boundaries;
    case Array::UpperStarts:
        return control[Word::SymmetricStorage] != 0 ? 0 : boundaries;
    case Array::Rows:
        return control[WideWord::FactorRowIndices];
    case Array::MapSource:
    case Array::MapPlace:
        return control[Word::MappedEntries];
    case Array::TargetStarts:
        return control[Word::TwoLevel] != 0 ? std::int64_t{control[Word::IndependentSubgraphs]} + 1 : 0;
    case Array::Targets:
        return control[Word::UpdateTargets];
    default: // by position, by equation or by column
        return control[Word::Order];
    }
}

BlockLayout PermanentStructure::layout(std::int64_t targets)
{
    BlockLayout layout(handle_.control());
    for (const Array name : {Array::VertexAt, Array::PositionOf}) layout.add<int>(name, lengthOf(name));
    for (const Array name : {Array::SubgraphRanges, Array::SubgraphSupernodes})
        layout.add<PositionRange>(name, lengthOf(name));
    for (const Array name : {Array::SupernodeStarts, Array::SupernodeOf, Array::Rows, Array::MapFirstEntry,
                             Array::MapSource, Array::MapPlace, Array::TargetStarts})
        layout.add<int>(name, lengthOf(name));
    for (const Array name :
         {Array::RowStarts, Array::LowerStarts, Array::UpperStarts, Array::DescendantStarts})
        layout.add<std::int64_t>(name, lengthOf(name));
    layout.add<int>(Array::Targets, targets); // last: its length is known last
    return layout;
}

// Each independent subgraph may update every separator.
std::int64_t PermanentStructure::mostTargets() const noexcept
{
    const ControlBlock& control = handle_.control();
    if (control[Word::TwoLevel] == 0) return 0;
    const std::int64_t independent = control[Word::IndependentSubgraphs];
    return independent * (control[Word::Subgraphs] - independent);
}

Failure PermanentStructure::allocate()
{
    return layout(mostTargets()).allocate(handle_, Slot::FactorStructure, BlockCode::FactorStructure);
}

void PermanentStructure::shrinkToTargets()
{
    handle_.shrink(Slot::FactorStructure, layout(lengthOf(Array::Targets)).bytes());
}

} // namespace Velmar::Lintrix::detail::engine
