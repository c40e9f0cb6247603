#include <lintrix/engine/factorization/factor_step.h>

#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/call/progress_scope.h>
#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/factor_plan.h>
#include <lintrix/engine/report/loaded_catalogue.h>
#include <lintrix/engine/report/messages.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr double kMinusLnTen = -2.302585092994046;
constexpr int kBudgetAfterFactorization = 4;

/// Below what a pivot is perturbed: 10^-p, 0 for p = 0. Of a symmetric indefinite matrix with the largest
/// entry m it is 10^-p/sqrt(m), but 10^-p*sqrt(m) where m < 1: it shrinks both ways. A matrix that is
/// multiplied by a number may thus be perturbed in other places. Counts of perturbed pivots follow from the
/// rule, and another one would change the solutions of matrices that are solved today, so it stays.
template <class T>
double pivotThreshold(const Arguments& call, std::int64_t entries)
{
    const int exponent = call.iparm[Parameter::PivotExponent];
    if (exponent == 0) return 0.0;
    const double eps = std::exp(std::abs(static_cast<double>(exponent)) * kMinusLnTen);
    if (classOf(call.mtype) != MatrixClass::Indefinite) return eps;
    const T* const values = static_cast<const T*>(call.a);
    double largest = 0.0;
    for (std::int64_t k = 0; k < entries; ++k) largest = std::max(largest, modulus(values[k]));
    if (largest == 0.0) largest = 1.0;
    return largest >= 1.0 ? eps / std::sqrt(largest) : eps * std::sqrt(largest);
}

/// Tells the caller's callback and, where the call reports, standard output.
class Announcer {
public:
    /// The texts are chosen here, by the locale of the thread that calls: a thread of the team has its own.
    explicit Announcer(bool prints) : callback_(ProgressScope::current()), prints_(prints)
    {
        if (prints) textsInForce();
    }

    ProgressListener listener()
    {
        return {[](void* self, int thread, int percent) {
                    return static_cast<Announcer*>(self)->announce(thread, percent);
                },
                this};
    }

private:
    int announce(int thread, int percent) const
    {
        constexpr std::string_view text = "Pardiso: factorization phase";
        const int answer = callback_.call == nullptr
                               ? 0
                               : callback_.call(callback_.context, thread, percent, text.data(),
                                                static_cast<int>(text.size()));
        if (prints_ && percent > 0) print(Message::Progress, {std::int64_t{percent}});
        if (prints_ && percent == 100) print(Message::Empty);
        return answer;
    }

    ProgressCallback callback_;
    bool prints_;
};

void tellPivots(const PivotCounts& pivots, Parameters iparm, ControlBlock& control)
{
    control[Word::PerturbedPivots] = iparm[Parameter::PerturbedPivots] = pivots.perturbed;
    control[Word::PositivePivots] = iparm[Parameter::PositivePivots] = pivots.positive;
    control[Word::NegativePivots] = iparm[Parameter::NegativePivots] = pivots.negative;
}

/// Plan and lists, before the clock of the numeric work starts.
Failure prepare(Handle handle, FactorPlan& plan, FactorLists& lists, Timers& timers)
{
    const TimedStep timed(timers, Timer::Gather);
    plan = planOf(handle);
    return lists.make(handle, plan);
}

template <class T>
Failure factorizeAs(const Arguments& call, Handle handle, Timers& timers)
{
    ControlBlock& control = handle.control();
    if (const Failure failure = reserveFactor<T>(handle, call.mnum)) return failure;
    FactorPlan plan;
    FactorLists lists;
    if (const Failure failure = prepare(handle, plan, lists, timers)) return failure;
    const double before = timers.seconds(Timer::NumericFactorization);
    const FactorRules rules{.method = methodFor(call.mtype, call.iparm[Parameter::SymmetricPivoting]),
                            .hermitian = isHermitian(call.mtype),
                            .eps = pivotThreshold<T>(call, control[Word::MappedEntries])};
    Announcer announcer(call.msglvl != 0);
    FactorResult result;
    {
        const TimedStep timed(timers, Timer::NumericFactorization);
        result = factorize(plan, rules, static_cast<const T*>(call.a), factorIn<T>(handle, call.mnum),
                           announcer.listener());
    }
    control[Real::FactorSeconds] = timers.seconds(Timer::NumericFactorization) - before;
    tellPivots(result.pivots, call.iparm, control);
    if (result.failure) return result.failure;
    keepFactor(call, handle, rules);
    control[Word::IterationBudget] = kBudgetAfterFactorization;
    return {};
}

} // namespace

Failure factorize(const Arguments& call, Handle handle, Timers& timers)
{
    const int kind = elementKind(call.mtype, handle.control()[Word::SinglePrecision] != 0);
    return withElement(kind, [&]<class T>() { return factorizeAs<T>(call, handle, timers); });
}

} // namespace Velmar::Lintrix::detail::engine
