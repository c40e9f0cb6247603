#include <lintrix/engine/call/settings.h>

#include <lintrix/services/processor.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kRowsPerThread = 50;
constexpr double kMinusLnTen = -2.302585092994046;
constexpr int kMinimumDegreeDelta = 6;

/// The smallest power of two not below `value`, at most 2^62.
std::int64_t powerOfTwoFrom(std::int64_t value) noexcept
{
    std::int64_t power = 1;
    while (power < value && power < std::int64_t{1} << 62) power *= 2;
    return power;
}

/// Unsymmetric storage: L and U panels beside each other, so panels are narrower with more threads.
int widthForFullStorage(int threads) noexcept
{
    if (threads == 1) return 128;
    return threads <= 4 ? 96 : 72;
}

int widthForTriangles(const PanelQuestion& question) noexcept
{
    const bool few = question.threads <= 4;
    if (question.processorClass > 0) {
        if (question.threads == 1) return 128;
        if (question.n > 250000) return few ? 112 : 96;
    }
    return few ? 80 : 64;
}

} // namespace

int callThreads(int available, bool dynamic, int n) noexcept
{
    if (n >= std::int64_t{kRowsPerThread} * available) return available;
    const int threads = dynamic ? n / kRowsPerThread : available;
    return std::max(threads, 1);
}

IterationSetting splitIterationSetting(int parameter) noexcept
{
    const std::int64_t magnitude = std::abs(std::int64_t{parameter});
    IterationSetting setting;
    setting.kind = static_cast<int>(parameter < 0 ? -(magnitude % 10) : magnitude % 10);
    const std::int64_t exponent = magnitude / 10;
    if (exponent != 0) setting.tolerance = std::exp(static_cast<double>(exponent) * kMinusLnTen);
    return setting;
}

int panelWidth(const PanelQuestion& question) noexcept
{
    if (question.outOfCore != 0 && question.n > 1000000) return kWidestPanel;
    const MatrixClass matrix = classOf(question.mtype);
    if (matrix == MatrixClass::StructurallySymmetric || matrix == MatrixClass::Unsymmetric)
        return widthForFullStorage(question.threads);
    return widthForTriangles(question);
}

int partTarget(int threads, int n, int partExponent, bool outOfCore, bool twoLevel) noexcept
{
    const int leastParts = outOfCore && !twoLevel ? 32 : 1;
    const std::int64_t byThreads = powerOfTwoFrom(std::max(threads, leastParts));
    const std::int64_t byCaller = std::int64_t{1} << std::clamp(partExponent, 0, 30);
    const std::int64_t most = std::max<std::int64_t>(powerOfTwoFrom(n) / 2, 1);
    return static_cast<int>(std::min(std::max(byThreads, byCaller), most));
}

bool twoLevelAllowed(int mtype, int threads, int ordering, int outOfCore) noexcept
{
    const bool dissects = ordering == static_cast<int>(OrderingChoice::NestedDissection) ||
                          ordering == static_cast<int>(OrderingChoice::NestedDissectionByThreads);
    return mtype == 11 && outOfCore != 2 && threads > 1 && dissects;
}

void resetConstants(ControlBlock& control) noexcept
{
    control[Real::Tolerance] = IterationSetting{}.tolerance;
    control[Real::Tiny] = 1e-30;
    control[Real::Divergence] = 10000.;
    control[Real::Ten] = 10.;
    control[Real::One] = 1.;
    control[Word::MinimumDegreeDelta] = kMinimumDegreeDelta;
    control[Word::SeparatorMinimumDegree] = 1;
}

void deriveCallSettings(const Arguments& call, ControlBlock& control) noexcept
{
    control[Word::Threads] = std::max(call.iparm[Parameter::Threads], 1);
    control[Word::ReportFlag] = call.msglvl != 0 ? 1 : 0;
    control[Word::IterationKind] = 0;
    if (call.iparm[Parameter::CallersValues] != 1) return;
    const IterationSetting setting = splitIterationSetting(call.iparm[Parameter::IterativePath]);
    control[Word::IterationKind] = setting.kind;
    control[Real::Tolerance] = setting.tolerance;
}

void deriveAnalysisSettings(const Arguments& call, ControlBlock& control)
{
    const int threads = control[Word::Threads];
    const int outOfCore = call.iparm[Parameter::OutOfCore];
    const bool twoLevel = twoLevelAllowed(call.mtype, threads, call.iparm[Parameter::Ordering], outOfCore);
    control[Word::TwoLevel] = twoLevel ? 1 : 0;
    control[Word::SymmetricStorage] = isSymmetricStorage(call.mtype) ? 1 : 0;
    control[Word::ElementWidth] = isComplex(call.mtype) ? 2 : 1;
    control[Word::PanelWidth] =
        panelWidth({.threads = threads,
                    .n = call.n,
                    .mtype = call.mtype,
                    .processorClass = static_cast<int>(thisProcessor().processorClass),
                    .outOfCore = outOfCore});
    control[Word::PartTarget] =
        partTarget(threads, call.n, call.iparm[Parameter::PartExponent], outOfCore == 2, twoLevel);
}

} // namespace Velmar::Lintrix::detail::engine
