#include <lintrix/engine/analysis/analysis.h>

#include <lintrix/engine/analysis/analysis_steps.h>
#include <lintrix/engine/analysis/graph/adjacency.h>
#include <lintrix/engine/analysis/memory_figures.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/call/shifted_indices.h>
#include <lintrix/engine/report/messages.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// The nearest number that a parameter holds.
int parameterValue(std::int64_t value)
{
    return static_cast<int>(std::min<std::int64_t>(value, std::numeric_limits<int>::max()));
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
    const auto megabytes = [](std::int64_t kilobytes) { return parameterValue((kilobytes + 1023) / 1024); };
    const Parameters iparm = run.call.iparm;
    iparm[Parameter::InCoreMegabytes] = megabytes(figures.inCore());
    iparm[Parameter::InCoreKeptMegabytes] = megabytes(figures.analysisKept);
    iparm[Parameter::OutOfCoreMegabytes] = megabytes(figures.leastOutOfCore());
}

/// This build has no out-of-core mode: 1 always finds room in core, and 2 cannot be served.
Failure decideCoreMode(const Analysis& run)
{
    const Parameters iparm = run.call.iparm;
    const int wanted = iparm[Parameter::OutOfCore];
    const bool outOfCore = wanted == 2;
    iparm[Parameter::CoreMode] = outOfCore ? 1 : 0;
    if (run.call.msglvl > 0) {
        const Message inCore = wanted == 0 ? Message::InCoreForced : Message::InCoreChosen;
        print(outOfCore ? Message::OutOfCoreForced : inCore);
    }
    return outOfCore ? Failure{Error::OutOfCoreMemory, -9} : Failure{};
}

/// How many rows each supernode updates below itself.
Failure makeUpdateLengths(Analysis& run)
{
    const std::int64_t bytes = updateLengths(run.control()) * std::int64_t{sizeof(int)};
    if (bytes == 0) return {};
    const FactorStructure structure = PermanentStructure(run.handle).structure();
    int* const lengths = static_cast<int*>(run.handle.allocate(Slot::UpdateLengths, bytes));
    if (lengths == nullptr) return outOfMemory(BlockCode::UpdateLengths, bytes);
    for (int J = 0; J < structure.supernodes(); ++J) lengths[J] = structure.height(J) - structure.width(J);
    return {};
}

void releaseWork(Analysis& run)
{
    for (const Slot slot :
         {Slot::AnalysisWork, Slot::SymbolicWork, Slot::IntegerWork, Slot::SymbolicStructure})
        run.handle.release(slot);
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
    if (const Failure failure = checkPattern({run.ia, run.ja})) return failure;
    if (const Failure failure = matchAndScale(run)) return failure;
    if (const Failure failure = buildAdjacency(run)) return failure;
    if (const Failure failure = orderEquations(run)) return failure;
    if (const Failure failure = factorizeSymbolically(run)) return failure;
    MemoryFigures figures;
    if (const Failure failure = forecastMemory(run, forecast, figures)) return failure;
    tellMemory(run, meter, figures);
    if (const Failure failure = decideCoreMode(run)) return failure;
    if (const Failure failure = buildLists(run)) return failure;
    if (const Failure failure = makeUpdateLengths(run)) return failure;
    tellMemory(run, meter, figures); // the lists may have taken more than all before them
    return {};
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
