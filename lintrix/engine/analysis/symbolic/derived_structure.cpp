#include <lintrix/engine/analysis/symbolic/derived_structure.h>

#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/analysis/symbolic/schedule.h>

namespace Velmar::Lintrix::detail::engine {

void placePanels(Handle handle, const UpdateSizes& updates)
{
    PermanentStructure permanent(handle);
    const FactorSizes sizes =
        panelStarts(permanent.structure(), permanent.lowerStarts(), permanent.upperStarts());
    ControlBlock& control = handle.control();
    control[Word::TallestPanel] = sizes.tallest;
    control[Word::WidestPanel] = sizes.widest;
    control.set(WideWord::LowerElements, sizes.lower);
    control.set(WideWord::UpperElements, sizes.upper);
    control.set(WideWord::LowerNonZeros, sizes.fill);
    control.set(WideWord::LargestUpdate, updates.largest);
    control.set(WideWord::Updates, updates.updates);
}

Failure listUpdates(Handle handle)
{
    ControlBlock& control = handle.control();
    PermanentStructure permanent(handle);
    const int independent = control[Word::IndependentSubgraphs];
    const int separators = control[Word::Subgraphs] - independent;
    const auto updates = Scratch<int>::zeroed(std::int64_t{independent} * separators);
    if (!updates) return outOfMemory(BlockCode::Transient, missingBytes(updates));
    if (const Failure failure =
            countUpdates(permanent.structure(), permanent.subgraphSupernodes(), independent, updates.span()))
        return failure;
    // All the room there is; afterwards the targets in use are what counts.
    control[Word::UpdateTargets] = independent * separators;
    control[Word::UpdateTargets] =
        listTargets(updates.span(), independent, separators, permanent.targetStarts(), permanent.targets());
    return {};
}

std::int64_t updateLengths(const ControlBlock& control) noexcept
{
    const bool none = control[Word::ElementWidth] == 1 && control[Word::SymmetricStorage] != 0;
    return none ? 0 : control[Word::Supernodes];
}

Failure makeUpdateLengths(Handle handle)
{
    const std::int64_t bytes = updateLengths(handle.control()) * std::int64_t{sizeof(int)};
    if (bytes == 0) return {};
    const FactorStructure structure = PermanentStructure(handle).structure();
    int* const lengths = static_cast<int*>(handle.allocate(Slot::UpdateLengths, bytes));
    if (lengths == nullptr) return outOfMemory(BlockCode::UpdateLengths, bytes);
    for (int J = 0; J < structure.supernodes(); ++J) lengths[J] = structure.height(J) - structure.width(J);
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
