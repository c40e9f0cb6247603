#include <lintrix/engine/report/report.h>

#include <lintrix/engine/report/messages.h>

#include <array>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

namespace {

Message bannerOf(int mtype) noexcept
{
    switch (mtype) {
    case 1:
        return Message::BannerStructurallySymmetric;
    case 2:
        return Message::BannerPositiveDefinite;
    case -2:
        return Message::BannerIndefinite;
    case 3:
        return Message::BannerComplexStructurallySymmetric;
    case 4:
        return Message::BannerHermitianPositiveDefinite;
    case -4:
        return Message::BannerHermitianIndefinite;
    case 6:
        return Message::BannerComplexSymmetric;
    case 11:
        return Message::BannerUnsymmetric;
    case 13:
        return Message::BannerComplexUnsymmetric;
    default:
        return Message::Last_;
    }
}

std::string_view nameOf(Step step) noexcept
{
    switch (step) {
    case Step::Reorder:
        return "reorder";
    case Step::Factorize:
        return "factorize";
    case Step::Solve:
        break;
    }
    return "solve";
}

constexpr std::array<Message, kTimers> kTimerLines = {
    Message::TimeFullAdjacency, Message::TimeReorder, Message::TimeSymbolic, Message::TimeLists,
    Message::TimeGather,        Message::TimeNumeric, Message::TimeSolve,    Message::TimeIteration,
    Message::TimeAllocation,    Message::TimeTotal,
};

void reportSummary(const Arguments& call)
{
    print(Message::Empty);
    // A release does not look at the type: an unknown one has no banner.
    if (const Message banner = bannerOf(call.mtype); banner != Message::Last_) print(banner);
    if (call.phase.code() < 1)
        print(Message::SummaryOfClean);
    else
        print(Message::SummaryOfSteps, {nameOf(call.phase.first()), nameOf(call.phase.last())});
    print(Message::SummaryRule);
}

/// A failed iteration has told its status minus ten times its count.
constexpr int iterationsTold(int result) noexcept
{
    return result < 0 ? -(result / 10) : result;
}

void reportTimes(const Timers& timers, int iterations)
{
    print(Message::Times);
    print(Message::TimesRule);
    for (int k = 0; k < kTimers; ++k) {
        const auto timer = static_cast<Timer>(k + 1);
        if (!timers.used(timer)) continue;
        const double seconds = timers.seconds(timer);
        const Message line = kTimerLines[static_cast<std::size_t>(k)];
        if (timer == Timer::Iteration)
            print(line, {seconds, iterations});
        else if (timer == Timer::Total)
            print(line, {seconds, timers.unaccounted()});
        else
            print(line, {seconds});
    }
}

Message methodOf(const ControlBlock& control) noexcept
{
    if (control[Word::IterationKind] > 0) return Message::HybridSolver;
    return control[Word::Threads] > 1 ? Message::FactorizationThreaded : Message::FactorizationSerial;
}

void reportSystem(const Arguments& call, const ControlBlock& control)
{
    const Message method = methodOf(control);
    print(Message::Processors, {control[Word::Threads]});
    print(method);
    // The words are the wrong way round: the transposed form stands for 0, and any other value repeats the
    // line above. They are told so and stay, since what reads the report can go by nothing else.
    print(call.iparm[Parameter::Transpose] == 0 ? Message::LinearSystemTransposed : method);
    const std::int64_t nonZeros = call.nonZeros();
    const double order = call.n;
    print(Message::Equations, {call.n});
    print(Message::NonZeros, {nonZeros});
    print(Message::NonZerosPercent, {100. * static_cast<double>(nonZeros) / (order * order)});
    print(Message::RightHandSides, {call.nrhs});
}

void reportMinimumDegree()
{
    print(Message::MinimumDegree);
    print(Message::ReductionForParallel);
}

void reportOrdering(Parameters iparm, const ControlBlock& control)
{
    if (iparm[Parameter::PermutationUse] > 0) return print(Message::InputPermutation);
    switch (static_cast<OrderingChoice>(iparm[Parameter::Ordering])) {
    case OrderingChoice::MinimumDegree:
        return; // its lines stand above
    case OrderingChoice::ConstrainedMinimumDegree:
        print(Message::ConstrainedMinimumDegree);
        return print(control[Word::SeparatorMinimumDegree] == 1 ? Message::SeparatorsByMinimumDegree
                                                                : Message::SeparatorsAsTheyStand);
    case OrderingChoice::NestedDissection:
    case OrderingChoice::NestedDissectionByThreads:
        return print(Message::Dissection);
    }
}

void reportFactors(const Arguments& call, const ControlBlock& control)
{
    print(Message::FactorsHeading);
    if (call.iparm[Parameter::Ordering] == static_cast<int>(OrderingChoice::MinimumDegree))
        reportMinimumDegree();
    print(Message::PanelColumns, {control[Word::PanelWidth]});
    print(Message::IndependentSubgraphs, {control[Word::ListedSubgraphs]});
    reportOrdering(call.iparm, control);
    const std::int64_t lower = control[WideWord::LowerElements];
    const std::int64_t upper = control[WideWord::UpperElements];
    print(Message::Supernodes, {control[Word::Supernodes]});
    print(Message::LargestSupernode, {control[Word::LargestSupernode]});
    print(Message::NonZerosInL, {lower});
    print(Message::NonZerosInU, {upper});
    print(Message::NonZerosInFactors, {lower + upper});
}

void reportNumbers(const ControlBlock& control, const Timers& timers)
{
    const double gigaflop = control[Real::Operations] * 1e-9;
    print(Message::Gigaflop, {gigaflop});
    const double seconds = timers.seconds(Timer::NumericFactorization);
    if (seconds > 0.) print(Message::GigaflopPerSecond, {gigaflop / seconds});
    if (control[Real::Norm] != 0.) print(Message::Norm, {control[Real::Norm]});
}

void reportRelease(const Arguments& call, int factorsReleased)
{
    if (call.phase.code() == Phase::kReleaseFactor)
        print(Message::FactorDeleted, {call.mnum});
    else
        print(Message::MemoryCleaned, {factorsReleased});
}

} // namespace

void reportSuccess(const Arguments& call, const ControlBlock* control, const Timers& timers,
                   int factorsReleased)
{
    reportSummary(call);
    if (call.phase.code() < 1) return reportRelease(call, factorsReleased);
    reportTimes(timers, iterationsTold(call.iparm[Parameter::IterationResult]));
    print(Message::Statistics);
    print(Message::StatisticsRule);
    reportSystem(call, *control);
    reportFactors(call, *control);
    if (call.phase.steps() >= 12) reportNumbers(*control, timers);
}

void reportDiagonal(Phase phase)
{
    const int last = phase.steps() % 10;
    const bool isStep = last >= 1 && last <= 3;
    print(Message::NoStatisticsForDiagonal, {nameOf(isStep ? phase.last() : Step::Factorize)});
}

} // namespace Velmar::Lintrix::detail::engine
