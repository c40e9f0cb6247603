#include <lintrix/engine/analysis/memory_figures.h>

#include <lintrix/engine/analysis/matching/preordering.h>
#include <lintrix/engine/analysis/symbolic/derived_structure.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

std::int64_t MemoryFigures::inCore() const noexcept
{
    return std::max(analysisPeak, analysisKept + numeric.inCore);
}

BlockSum keptBlocks(Analysis& run) noexcept
{
    const ControlBlock& control = run.control();
    const Preordering kind = preorderingFor(run.call.mtype, run.call.iparm[Parameter::Matching]);
    return Handle::basicBlocks(control[Word::Maxfct])
        .add(preorderingBlocks(kind, run.n()))
        .addBytes(PermanentStructure(run.handle).bytesAtMost())
        .add<int>(updateLengths(control));
}

} // namespace Velmar::Lintrix::detail::engine
