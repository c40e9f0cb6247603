#include <lintrix/engine/factorization/factor_step.h>

#include <lintrix/engine/analysis/symbolic/structure_files.h>
#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/call/progress_scope.h>
#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/elimination.h>
#include <lintrix/engine/factorization/factor_plan.h>
#include <lintrix/engine/factorization/grouped_factorization.h>
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

    /// None where nobody would hear.
    ProgressListener listener()
    {
        if (callback_.call == nullptr && !prints_) return {};
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

template <class T>
class FactorStep {
public:
    FactorStep(const Arguments& call, Handle handle, Timers& timers)
        : call_(call), handle_(handle), control_(handle.control()),
          timers_(timers), rules_{.method = methodFor(call.mtype, call.iparm[Parameter::SymmetricPivoting]),
                                  .hermitian = isHermitian(call.mtype),
                                  .eps = pivotThreshold<T>(call, control_[Word::MappedEntries])}
    {
    }

    Failure run()
    {
        if (const Failure failure = reserveFactor<T>(handle_, call_.mnum)) return failure;
        if (const Failure failure = prepare()) return failure;
        const FactorResult result = factorizeTimed();
        tellPivots(result.pivots, call_.iparm, control_);
        if (result.failure) return result.failure;
        keepFactor(call_, handle_, rules_);
        control_[Word::IterationBudget] = kBudgetAfterFactorization;
        return {};
    }

private:
    /// Plan and lists, before the clock of the numeric work starts.
    Failure prepare()
    {
        const TimedStep timed(timers_, Timer::Gather);
        plan_ = planOf(handle_);
        return lists_.make(handle_, plan_);
    }

    FactorResult factorizeTimed()
    {
        const double before = timers_.seconds(Timer::NumericFactorization);
        Announcer announcer(call_.msglvl != 0);
        FactorResult result;
        {
            const TimedStep timed(timers_, Timer::NumericFactorization);
            result = control_[Word::OutOfCore] != 0 ? factorizeToFiles(announcer.listener())
                                                    : factorizeInMemory(announcer.listener());
        }
        control_[Real::FactorSeconds] = timers_.seconds(Timer::NumericFactorization) - before;
        return result;
    }

    const T* values() const { return static_cast<const T*>(call_.a); }
    Factor<T> factor() { return factorIn<T>(handle_, call_.mnum); }

    FactorResult factorizeInMemory(const ProgressListener& listener)
    {
        return factorize(plan_, rules_, values(), factor(), listener);
    }

    /// What the solve before has worked in is given back: the next one takes it anew.
    FactorResult factorizeToFiles(const ProgressListener& listener)
    {
        for (const Slot slot : {Slot::RealWork, Slot::IterationWork}) handle_.release(slot);
        for (const WideWord size : {WideWord::RealWorkBytes, WideWord::IterationWorkBytes})
            control_.set(size, 0);
        OpenFactorFiles files;
        FactorResult result;
        result.failure = openFactorFiles(handle_, FileStep::Factorization, files);
        if (!result.failure) result = factorizeTo(files, listener);
        timers_.add(files.traffic());
        return result;
    }

    /// What the configured core leaves is the room that the panels pass through.
    FactorResult factorizeTo(OpenFactorFiles& files, const ProgressListener& listener)
    {
        FactorStore<T> store(plan_, files, call_.mnum);
        if (const Failure failure = store.allocate()) return {failure, {}};
        const BlockSum work = factorizationBlocks<T>(plan_, static_cast<int>(plan_.runs.size()));
        const std::int64_t taken = lists_.bytes() + FactorStore<T>::sumBytes(plan_) + 1024 * work.kilobytes();
        const std::int64_t left = bytesForPanels(handle_, taken) / std::int64_t{sizeof(T)};
        const PanelSchedule schedule =
            PanelSchedule::ofFactorization(plan_, left - 3 * FactorStore<T>::mostBeside());
        const auto room = Scratch<T>::uninitialised(roomOf<T>(schedule));
        if (!room) return {outOfMemory(BlockCode::Factors, room.missingBytes()), {}};
        FactorResult result =
            factorizeInGroups(plan_, rules_, values(), factor(), store, schedule, room.get(), listener);
        if (!result.failure) result.failure = store.writeTables(factor());
        return result;
    }

    const Arguments& call_;
    Handle handle_;
    ControlBlock& control_;
    Timers& timers_;
    FactorRules rules_;
    FactorPlan plan_{};
    FactorLists lists_;
};

/// An entry without a finished factor may have parts of one in the files, made for the type of the handle.
void giveBackFiles(Handle handle, int mnum, const FactorEntry& entry)
{
    OpenFactorFiles files;
    if (openFactorFiles(handle, FileStep::Factorization, files)) return;
    const ControlBlock& control = handle.control();
    const FactorPlan plan = planOf(handle);
    const int mtype = entry.size == kUnset ? control[Word::Mtype] : entry.mtype;
    withElement(elementKind(mtype, control[Word::SinglePrecision] != 0), [&]<class T>() {
        FactorStore<T>(plan, files, mnum).giveBack();
        return Failure{};
    });
}

} // namespace

void releaseFactor(Handle handle, int mnum)
{
    FactorEntry& entry = handle.factors()[static_cast<std::size_t>(mnum) - 1];
    if (entry.exchanges != nullptr && handle.control()[Word::OutOfCore] != 0)
        giveBackFiles(handle, mnum, entry);
    Handle::releaseFactor(entry);
}

Failure factorize(const Arguments& call, Handle handle, Timers& timers)
{
    const int kind = elementKind(call.mtype, handle.control()[Word::SinglePrecision] != 0);
    return withElement(kind, [&]<class T>() { return FactorStep<T>(call, handle, timers).run(); });
}

} // namespace Velmar::Lintrix::detail::engine
