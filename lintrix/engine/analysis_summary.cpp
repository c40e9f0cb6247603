#include <lintrix/engine/analysis_summary.h>

#include <lintrix/engine/analysis/symbolic/forecast.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>

namespace Velmar::Lintrix {

namespace {

using namespace detail::engine;

/// Whoever has only read the slots keeps it const.
Handle handleOf(void* const* slots) noexcept
{
    return Handle(const_cast<void**>(slots));
}

bool isAnalysed(const Handle& handle) noexcept
{
    return handle.live() && handle.holds(Slot::FactorStructure);
}

} // namespace

std::optional<MatchingSummary> AnalysisView::Matching() const noexcept
{
    const Handle handle = handleOf(slots_);
    if (!handle.live() || !handle.holds(Slot::Matching)) return {};
    const std::int32_t n = handle.control()[Word::Order];
    const int* const columnOfRow = handle.block<int>(Slot::Matching);
    MatchingSummary summary;
    for (std::int32_t i = 0; i < n; ++i) {
        summary.matched += columnOfRow[i] >= 0 ? 1 : 0;
        summary.moved += columnOfRow[i] >= 0 && columnOfRow[i] != i ? 1 : 0;
    }
    return summary;
}

std::optional<AnalysisSummary> AnalysisView::Summary() const noexcept
{
    const Handle handle = handleOf(slots_);
    if (!isAnalysed(handle)) return {};
    const ControlBlock& control = handle.control();
    const bool symmetric = control[Word::SymmetricStorage] != 0, complex = control[Word::ElementWidth] == 2;
    const std::int64_t upper = symmetric ? 0 : control[WideWord::UpperElements];
    return AnalysisSummary{
        .lowerNonZeros = control[WideWord::LowerNonZeros],
        .storedElements = control[WideWord::LowerElements] + upper,
        .supernodes = control[Word::Supernodes],
        .largestSupernode = control[Word::LargestSupernode],
        .panelWidth = control[Word::PanelWidth],
        .treeHeight = control[Word::TreeHeight],
        .subgraphs = control[Word::Subgraphs],
        .independentSubgraphs = control[Word::IndependentSubgraphs],
        .operations = operationCount(PermanentStructure(handle).structure(), !symmetric, complex),
        .adjacencySeconds = control.seconds(Timer::FullAdjacency),
        .orderingSeconds = control.seconds(Timer::Reorder),
        .symbolicSeconds = control.seconds(Timer::SymbolicFactorization),
        .listsSeconds = control.seconds(Timer::ParallelLists),
        .totalSeconds = control.seconds(Timer::Total),
    };
}

std::int32_t AnalysisView::Supernodes() const noexcept
{
    const Handle handle = handleOf(slots_);
    return isAnalysed(handle) ? handle.control()[Word::Supernodes] : 0;
}

Supernode AnalysisView::SupernodeAt(std::int32_t number) const noexcept
{
    const PermanentStructure permanent(handleOf(slots_));
    const FactorStructure structure = permanent.structure();
    return {structure.starts[static_cast<std::size_t>(number)], structure.width(number),
            structure.rowsOf(number)};
}

} // namespace Velmar::Lintrix
