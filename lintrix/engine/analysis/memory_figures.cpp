#include <lintrix/engine/analysis/memory_figures.h>

#include <lintrix/engine/analysis/matching/preordering.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

std::int64_t MemoryFigures::inCore() const noexcept
{
    return std::max(analysisPeak, analysisKept + numeric.inCore);
}

std::int64_t updateLengths(const ControlBlock& control) noexcept
{
    const bool none = control[Word::ElementWidth] == 1 && control[Word::SymmetricStorage] != 0;
    return none ? 0 : control[Word::Supernodes];
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
