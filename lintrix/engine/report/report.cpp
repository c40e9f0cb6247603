#include <lintrix/engine/report/report.h>

#include <lintrix/engine/report/messages.h>

#include <algorithm>
#include <array>
#include <cstdint>
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

/// Reading and writing are all threads' work, so a thread's share of their time is what the call spent.
OutOfCoreTraffic trafficOf(const ControlBlock& control, const Timers& timers)
{
    const FileTraffic& files = timers.files();
    const double threads = std::max(control[Word::Threads], 1);
    const std::int64_t real = control[Word::SinglePrecision] != 0 ? sizeof(float) : sizeof(double);
    const std::int64_t element = real * control[Word::ElementWidth];
    const bool symmetric = control[Word::SymmetricStorage] != 0;
    OutOfCoreTraffic traffic{.seconds = timers.seconds(Timer::Total),
                             .secondsReading = files.secondsReading / threads,
                             .secondsWriting = files.secondsWriting / threads,
                             .bytesRead = files.bytesRead,
                             .bytesWritten = files.bytesWritten,
                             .bytesOfLower = element * control[WideWord::LowerElements],
                             .bytesOfUpper = symmetric ? 0 : element * control[WideWord::UpperElements]};
    const double numeric = timers.seconds(Timer::NumericFactorization) + timers.seconds(Timer::Solve) +
                           timers.seconds(Timer::Iteration);
    traffic.secondsComputing = std::max(0., numeric - traffic.secondsReading - traffic.secondsWriting);
    return traffic;
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
    if ((*control)[Word::OutOfCore] != 0) reportOutOfCore(trafficOf(*control, timers));
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

void reportOutOfCore(const OutOfCoreTraffic& traffic)
{
    const auto percent = [&](double seconds) {
        return traffic.seconds > 0. ? 100. * seconds / traffic.seconds : 0.;
    };
    const auto megabytes = [](std::int64_t bytes) { return static_cast<double>(bytes) / (1 << 20); };
    print(Message::OutOfCoreTime);
    print(Message::ReadingTime, {percent(traffic.secondsReading)});
    print(Message::WritingTime, {percent(traffic.secondsWriting)});
    print(Message::ComputingTime, {percent(traffic.secondsComputing)});
    print(Message::OutOfCoreMegabytes);
    print(Message::MegabytesRead, {megabytes(traffic.bytesRead)});
    print(Message::MegabytesWritten, {megabytes(traffic.bytesWritten)});
    print(Message::MegabytesOfLower, {megabytes(traffic.bytesOfLower)});
    print(Message::MegabytesOfUpper, {megabytes(traffic.bytesOfUpper)});
}

} // namespace Velmar::Lintrix::detail::engine
