#include <lintrix/engine/analysis/analysis.h>

#include <lintrix/engine/analysis/analysis_steps.h>
#include <lintrix/engine/analysis/graph/adjacency.h>
#include <lintrix/engine/analysis/memory_figures.h>
#include <lintrix/engine/analysis/symbolic/derived_structure.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/analysis/symbolic/structure_files.h>
#include <lintrix/engine/call/shifted_indices.h>
#include <lintrix/engine/out_of_core/out_of_core_settings.h>
#include <lintrix/engine/report/messages.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// The nearest number that a parameter holds.
int parameterValue(std::int64_t value)
{
    return static_cast<int>(std::min<std::int64_t>(value, std::numeric_limits<int>::max()));
}

int megabytes(std::int64_t kilobytes)
{
    return parameterValue((kilobytes + 1023) / 1024);
}

/// The memory to come; what the analysis itself has held at most is read from the meter.
Failure forecastMemory(Analysis& run, NumericForecast forecast, MemoryFigures& figures)
{
    figures.analysisKept = keptBlocks(run).kilobytes();
    return forecast(run.call, run.handle, figures.numeric);
}

void tellMemory(Analysis& run, const BlockMeter& meter, MemoryFigures& figures)
{
    figures.analysisPeak = meter.peakKilobytes();
    ControlBlock& control = run.control();
    control[Word::AnalysisPeak] = parameterValue(figures.analysisPeak);
    control[Word::AnalysisKept] = parameterValue(figures.analysisKept);
    control[Word::FactorMemory] = parameterValue(figures.numeric.inCore);
    const Parameters iparm = run.call.iparm;
    iparm[Parameter::InCoreMegabytes] = megabytes(figures.inCore());
    iparm[Parameter::InCoreKeptMegabytes] = megabytes(figures.analysisKept);
    iparm[Parameter::OutOfCoreMegabytes] = megabytes(figures.leastOutOfCore());
}

/// Where the factor goes, and why.
struct CoreMode {
    bool outOfCore;
    Message reason;
};

CoreMode coreMode(const Analysis& run)
{
    const Parameters iparm = run.call.iparm;
    if (iparm[Parameter::OutOfCore] == 0) return {false, Message::InCoreForced};
    if (iparm[Parameter::OutOfCore] == 2) return {true, Message::OutOfCoreForced};
    const std::int64_t core = coreMegabytes(run.handle), total = iparm[Parameter::InCoreMegabytes];
    const std::int64_t permanent =
        megabytes(std::int64_t{run.control()[Word::AnalysisKept]} + run.control()[Word::FactorMemory]);
    return core > total && core > permanent + 2 ? CoreMode{false, Message::InCoreChosen}
                                                : CoreMode{true, Message::OutOfCoreChosen};
}

Failure decideCoreMode(Analysis& run)
{
    const Parameters iparm = run.call.iparm;
    const CoreMode mode = coreMode(run);
    iparm[Parameter::CoreMode] = run.control()[Word::OutOfCore] = mode.outOfCore ? 1 : 0;
    if (run.call.msglvl > 0) print(mode.reason);
    const bool isTooSmall =
        mode.outOfCore && iparm[Parameter::OutOfCoreMegabytes] > coreMegabytes(run.handle);
    return isTooSmall ? Failure{Error::OutOfCoreMemory, -9} : Failure{};
}

/// pt[6] stays where the call goes on to files with its factor, until the next analysis or release: callers
/// find the slot filled then.
void releaseWork(Analysis& run)
{
    for (const Slot slot : {Slot::AnalysisWork, Slot::SymbolicWork, Slot::IntegerWork})
        run.handle.release(slot);
    const bool stays = run.control()[Word::OutOfCore] != 0 && run.call.phase.factorizes();
    if (!stays) run.handle.release(Slot::SymbolicStructure);
    PermanentStructure(run.handle).shrinkToTargets();
}

void tellFactorNonZeros(const Analysis& run)
{
    int& nonZeros = run.call.iparm[Parameter::FactorNonZeros];
    if (nonZeros >= 0) return;
    nonZeros =
        parameterValue(run.control()[WideWord::LowerElements] + run.control()[WideWord::UpperElements]);
}

Failure runSteps(Analysis& run, NumericForecast forecast)
{
    const BlockMeter meter(Handle::basicBlocks(run.control()[Word::Maxfct]));
    constexpr double kSteps = 6.0;
    const WorkMeter work(kSteps);
    const auto told = [&work](Failure failure) { return failure || work.add(1.0) ? failure : stopped(); };
    if (const Failure failure = told(checkPattern({run.ia, run.ja}))) return failure;
    if (const Failure failure = told(matchAndScale(run))) return failure;
    if (const Failure failure = told(buildAdjacency(run))) return failure;
    if (const Failure failure = told(orderEquations(run))) return failure;
    if (const Failure failure = told(factorizeSymbolically(run))) return failure;
    MemoryFigures figures;
    if (const Failure failure = forecastMemory(run, forecast, figures)) return failure;
    tellMemory(run, meter, figures);
    if (const Failure failure = decideCoreMode(run)) return failure;
    if (const Failure failure = told(buildLists(run))) return failure;
    if (const Failure failure = makeUpdateLengths(run.handle)) return failure;
    tellMemory(run, meter, figures); // the lists may have taken more than all before them
    return run.control()[Word::OutOfCore] != 0 ? storeStructure(run.handle) : Failure{};
}

} // namespace

Failure analyse(const Arguments& call, Handle handle, Timers& timers, NumericForecast forecast)
{
    const auto rows = static_cast<std::size_t>(call.n) + 1;
    const auto entries = static_cast<std::size_t>(call.nonZeros());
    const ShiftedIndices shifted({call.ia, rows}, {call.ja, entries});
    Analysis run{call, handle, timers, shifted.ia(), shifted.ja()};
    run.control()[Word::MappedEntries] = static_cast<int>(entries);
    const Failure failure = runSteps(run, forecast);
    if (failure) {
        // What is there says that later phases may run; an unfinished structure must not.
        handle.release(Slot::FactorStructure);
        return failure;
    }
    releaseWork(run);
    tellFactorNonZeros(run);
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
