#include <lintrix/engine/analysis/analysis_steps.h>

#include <lintrix/engine/analysis/symbolic/derived_structure.h>
#include <lintrix/engine/analysis/symbolic/entry_maps.h>
#include <lintrix/engine/analysis/symbolic/forecast.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/analysis/symbolic/schedule.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// Kept in any case, since a later phase may report what a silent analysis has laid out; told where asked
/// for.
void countOperations(Analysis& run, const PermanentStructure& permanent)
{
    const double operations = operationCount(permanent.structure(), !run.symmetricStorage(),
                                             run.control()[Word::ElementWidth] == 2);
    run.control()[Real::Operations] = operations;
    int& gigaflops = run.call.iparm[Parameter::Gigaflops];
    if (gigaflops < 0 || run.control()[Word::ReportFlag] != 0)
        gigaflops = static_cast<int>(std::min(operations * 1e-9, 2147483647.));
}

} // namespace

Failure buildLists(Analysis& run)
{
    const TimedStep timed(run.timers, Timer::ParallelLists);
    PermanentStructure permanent(run.handle);
    const FactorStructure structure = permanent.structure();
    if (const Failure failure =
            mapEntries({run.ia, run.ja}, run.columnOfRow(), permanent.ordering(), structure,
                       run.symmetricStorage(), run.threads(), permanent.maps()))
        return failure;
    if (run.control()[Word::TwoLevel] != 0) {
        if (const Failure failure = listUpdates(run.handle)) return failure;
        if (!WorkScope::goesOn()) return stopped();
    }
    run.control()[Word::ChunkSize] = chunkOfSupernodes(structure.supernodes(), run.threads());
    countOperations(run, permanent);
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
