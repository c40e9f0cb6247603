#include <lintrix/engine/driver.h>

#include <lintrix/engine/analysis/analysis.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/input_check.h>
#include <lintrix/engine/call/settings.h>
#include <lintrix/engine/call/timers.h>
#include <lintrix/engine/factorization/factor_plan.h>
#include <lintrix/engine/factorization/factor_step.h>
#include <lintrix/engine/memory_forecast.h>
#include <lintrix/engine/out_of_core/factor_files.h>
#include <lintrix/engine/out_of_core/out_of_core_settings.h>
#include <lintrix/engine/report/failure_report.h>
#include <lintrix/engine/report/messages.h>
#include <lintrix/engine/report/report.h>
#include <lintrix/engine/solution/factor_reuse.h>
#include <lintrix/engine/solution/solve_step.h>

#include <cstdlib>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// A call under way.
struct Run {
    const Arguments& call;
    Handle handle;
    bool singlePrecision;
    Timers timers;
    int factorsReleased = 0;
};

/// Slots that the driver rewrites before anything looks at them.
void rewriteParameters(Parameters iparm)
{
    iparm[Parameter::PartExponent] = 0; // whatever is asked for: parts are counted from the threads alone
    if (iparm[Parameter::OutOfCore] == 22) iparm[Parameter::OutOfCore] = 2;
}

/// The settings of the out-of-core mode, where it is asked for, as they are now.
void configureOutOfCore(Run& run)
{
    if (run.call.iparm[Parameter::OutOfCore] != 0) readOutOfCoreSettings(run.handle, run.call.msglvl > 0);
}

/// A handle with its basic blocks. At phase 0 it is made, and then that is a failure.
Failure openHandle(Run& run)
{
    if (const Failure failure = run.handle.create(run.call.maxfct)) return failure;
    run.handle.control()[Word::Mtype] = run.call.mtype;
    run.handle.control()[Word::Order] = run.call.n;
    if (run.call.phase.code() < 1) return badInput(1000);
    if (const Failure failure = run.handle.createOutOfCoreControl()) {
        run.handle.releaseAll();
        return failure;
    }
    configureOutOfCore(run);
    return {};
}

Failure releaseOneFactor(Run& run)
{
    const int mnum = run.call.mnum;
    if (mnum < 1 || mnum > run.handle.control()[Word::Maxfct]) return badInput(100);
    releaseFactor(run.handle, mnum);
    return {};
}

void clearMemoryFigures(Parameters iparm)
{
    iparm[Parameter::AnalysisPeak] = 0;
    iparm[Parameter::AnalysisKept] = 0;
    iparm[Parameter::FactorMemory] = 0;
}

/// What an analysis made and all that stands on it. @return  how many factors there were
int discardAnalysis(Run& run)
{
    clearMemoryFigures(run.call.iparm);
    removeFactorFiles(run.handle);
    return run.handle.releaseAnalysis();
}

Failure releaseEverything(Run& run)
{
    run.factorsReleased = discardAnalysis(run);
    run.handle.releaseAll();
    return {};
}

/// Nothing of an earlier analysis survives, and the settings come from the parameters anew. Those of the
/// out-of-core mode may have changed since the handle was made; a new one has just read them.
Failure restart(Run& run)
{
    const bool isNew = run.handle.calls() == 1;
    discardAnalysis(run);
    run.handle.restartCount();
    if (run.call.iparm[Parameter::CallersValues] == 0) applyDefaults(run.call.mtype, run.call.iparm);
    ControlBlock& control = run.handle.control();
    control.forgetAnalysis();
    resetConstants(control);
    control[Word::SinglePrecision] = run.singlePrecision ? 1 : 0;
    control[Word::NonZeros] = static_cast<int>(run.call.nonZeros());
    if (isNew) return {};
    if (const Failure failure = run.handle.createOutOfCoreControl()) return failure;
    configureOutOfCore(run);
    return {};
}

/// A type that is admitted and that no branch knows is the end of the process: no error number stands for it.
void requireKnownType(int mtype)
{
    if (classOf(mtype) != MatrixClass::Unknown) return;
    print(Message::SystemError);
    std::exit(9);
}

/// At a solve the caller may say how many pivots were perturbed: a positive count replaces the stored one,
/// and one that sums to zero with it clears both.
void reconcilePerturbedPivots(Parameters iparm, ControlBlock& control)
{
    int& told = iparm[Parameter::PerturbedPivots];
    int& stored = control[Word::PerturbedPivots];
    if (told > 0)
        stored = told;
    else if (std::int64_t{told} + stored == 0)
        told = stored = 0;
}

bool hasFactor(const Run& run)
{
    return holdsFactor(run.handle, run.call.mnum, elementKind(run.call.mtype, run.singlePrecision));
}

/// As many values are read as were analysed: a matrix that holds fewer by now is refused. A guest makes none,
/// since the table of factors is its host's.
Failure makeFactor(Run& run)
{
    if (run.handle.isGuest()) return badInput(10000);
    ControlBlock& control = run.handle.control();
    if (run.call.nonZeros() < control[Word::MappedEntries]) {
        control[Word::NonZeros] = control[Word::MappedEntries];
        return badInput(8);
    }
    control[Word::FactorNeeded] = 0;
    return factorize(run.call, run.handle, run.timers);
}

/// What the phase asks of factorization and solve; without a factor, a solve alone makes one. An iteration
/// that fails with an earlier factor is repeated with a new one at a phase below 30, and that failure is not
/// told. Whether and where an iteration fails may depend on its budget, which comes from the clock; whether
/// the system is solved then does not.
Failure factorizeAndSolve(Run& run)
{
    const ControlBlock& control = run.handle.control();
    const int steps = run.call.phase.steps(), kind = control[Word::IterationKind];
    const bool isFresh = needsFactor({.stored = hasFactor(run),
                                      .steps = steps,
                                      .kind = kind,
                                      .budget = control[Word::IterationBudget],
                                      .iterationResult = run.call.iparm[Parameter::IterationResult]});
    if (isFresh) {
        if (const Failure failure = makeFactor(run)) return failure;
    }
    if (!run.call.phase.solves()) return {};
    const Failure failure = solve(run.call, run.handle, run.timers);
    const bool mayRepeat = !isFresh && steps < 30 && kind > 0;
    if (failure.error != Error::Numeric || !mayRepeat) return failure;
    if (const Failure again = makeFactor(run)) return again;
    return solve(run.call, run.handle, run.timers);
}

Failure runSteps(Run& run)
{
    const Phase phase = run.call.phase;
    if (phase.analyses()) {
        if (const Failure failure = analyse(run.call, run.handle, run.timers, forecastNumericMemory))
            return failure;
    }
    if (phase.steps() == 33) reconcilePerturbedPivots(run.call.iparm, run.handle.control());
    if (phase.last() == Step::Reorder) return {};
    const Failure failure = factorizeAndSolve(run);
    // A factorization without memory, too, has failed, and leaves no factor: its code stands there as well.
    const bool isUnfinished = failure.error == Error::Memory && !hasFactor(run);
    if (failure.error == Error::Numeric || isUnfinished)
        run.call.iparm[Parameter::FailingEquation] = failure.internal;
    return failure;
}

/// Phases above 0, and those that the input check refuses.
Failure runChecked(Run& run)
{
    const Phase phase = run.call.phase;
    ControlBlock& control = run.handle.control();
    if (phase.analyses()) {
        if (const Failure failure = restart(run)) return failure;
    }
    if (const Failure failure = checkInput(run.call, control)) return failure;
    if (!phase.analyses() && !run.handle.holds(Slot::FactorStructure)) return badInput(100000);
    deriveCallSettings(run.call, control);
    if (phase.analyses()) deriveAnalysisSettings(run.call, control);
    requireKnownType(run.call.mtype);
    return runSteps(run);
}

Failure runPhase(Run& run)
{
    const int code = run.call.phase.code();
    if (code < Phase::kRelease) return badInput(10000);
    if (!run.handle.live()) {
        if (const Failure failure = openHandle(run)) return failure;
    } else {
        run.handle.countCall();
    }
    if (run.handle.isGuest() && run.call.phase.steps() != 33) return badInput(10000);
    if (code == Phase::kReleaseFactor) return releaseOneFactor(run);
    if (code == Phase::kRelease) return releaseEverything(run);
    return runChecked(run);
}

void writeFigures(Run& run)
{
    const Parameters iparm = run.call.iparm;
    iparm[Parameter::Version] = kEngineVersion;
    if (!run.handle.live()) return;
    ControlBlock& control = run.handle.control();
    iparm[Parameter::AnalysisPeak] = control[Word::AnalysisPeak];
    iparm[Parameter::AnalysisKept] = control[Word::AnalysisKept];
    iparm[Parameter::FactorMemory] = control[Word::FactorMemory];
    control.store(run.timers);
}

void report(const Run& run, const Failure& failure)
{
    const int level = run.call.msglvl;
    const ControlBlock* const control = run.handle.controlIfAny();
    if (level == 2) print(Message::Version, {std::int64_t{kEngineVersion}});
    if (level != 0 && failure) reportFailure(failure, run.call, control);
    if (level > 0 && !failure) reportSuccess(run.call, control, run.timers, run.factorsReleased);
}

} // namespace

int drive(const Arguments& call, bool singlePrecision)
{
    rewriteParameters(call.iparm);
    Run run{call, Handle(call.pt), singlePrecision, {}};
    if (!run.handle.live() && call.phase.code() == Phase::kRelease) return 0;
    const Failure failure = reported(runPhase(run));
    run.timers.stop();
    writeFigures(run);
    report(run, failure);
    return static_cast<int>(failure.error);
}

} // namespace Velmar::Lintrix::detail::engine
