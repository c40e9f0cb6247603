// What the roads have made, in the sections of a file.

#include <lintrix/engine/saved_factorization.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/dense_factor.h>
#include <lintrix/systems/roads/road_runner.h>
#include <lintrix/systems/saved_system.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

namespace {

/// By their numbers in a file, which stay whatever roads there will be.
constexpr std::array kRoads = {Road::Cholesky, Road::Symmetric, Road::Delayed, Road::Unmatched, Road::Matched,
                               Road::Coarse,   Road::Dense,     Road::Pivoted, Road::Fronts};

/// That of partial pivoting in units by their fit.
constexpr auto kFitted = static_cast<std::int32_t>(kRoads.size());

constexpr std::int32_t kNone = -1;
constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

struct KeptAttempt {
    std::int32_t road = 0, ordering = kNone; ///< kNone: what takes less time in all
};

/// Section "roads".
struct KeptRoads {
    std::int32_t hasOutcome = 0, hasForecast = 0, hasDone = 0, unused = 0;
    RoadCost done{};
};
static_assert(sizeof(RoadCost) == 40 && sizeof(KeptRoads) == 16 + sizeof(RoadCost));

/// What is known of a factor. NaN: nothing.
struct KeptQuality {
    double inverseNorm = kUnknown, condition = kUnknown, drift = kUnknown, inverseNormByRows = kUnknown;
    double worstSolve = 0.0;
};

/// Section "outcome".
struct KeptOutcome {
    KeptAttempt attempt{};
    std::int32_t ordering = 0, perturbed = 0, taken = 0, reach = 0, leastMegabytes = 0, hasFactor = 0;
    std::int64_t factorEntries = 0;
    KeptQuality quality{};
    RoadCost cost{};
};
static_assert(sizeof(KeptOutcome) == 40 + sizeof(KeptQuality) + sizeof(RoadCost));

/// Section "forecast".
struct KeptForecast {
    KeptAttempt attempt{};
    std::int32_t ordering = 0, rightHands = 0;
};

/// Section "slots": what the engine has told, and asks for again.
constexpr std::array kKeptSlots = {
    PardisoParameter::PerturbedPivots,     PardisoParameter::AnalysisPeak,
    PardisoParameter::AnalysisKept,        PardisoParameter::FactorMemory,
    PardisoParameter::FactorNonZeros,      PardisoParameter::Gigaflops,
    PardisoParameter::IterationResult,     PardisoParameter::PositivePivots,
    PardisoParameter::NegativePivots,      PardisoParameter::InCoreMegabytes,
    PardisoParameter::InCoreKeptMegabytes, PardisoParameter::OutOfCoreMegabytes};

KeptAttempt kept(const Attempt& attempt)
{
    const auto road = std::ranges::find(kRoads, attempt.road) - kRoads.begin();
    if (road == std::ssize(kRoads)) raiseNotSaved();
    return {attempt.units == UnitsBy::Fit ? kFitted : static_cast<std::int32_t>(road),
            attempt.ordering ? static_cast<std::int32_t>(*attempt.ordering) : kNone};
}

bool isOrdering(std::int32_t number)
{
    switch (static_cast<FillInReducingMethod>(number)) {
    case FillInReducingMethod::MinimumDegree:
    case FillInReducingMethod::NestedDissection:
    case FillInReducingMethod::ParallelNestedDissection:
        return true;
    }
    return false;
}

bool isAttempt(const KeptAttempt& attempt)
{
    return attempt.road >= 0 && attempt.road <= kFitted &&
           (attempt.ordering == kNone || isOrdering(attempt.ordering));
}

Attempt attemptOf(const KeptAttempt& attempt)
{
    if (attempt.road == kFitted) return {Road::Pivoted, {}, UnitsBy::Fit};
    Attempt taken{kRoads[static_cast<std::size_t>(attempt.road)]};
    if (attempt.ordering != kNone) taken.ordering = static_cast<FillInReducingMethod>(attempt.ordering);
    return taken;
}

bool isFlag(std::int32_t number)
{
    return number == 0 || number == 1;
}

/// Symmetric roads are for matrices of which one triangle says it all.
bool allows(const MatrixTraits& traits, Road road)
{
    return typeOf(road) == MatrixType::Unsymmetric || typeOf(road) == MatrixType::StructurallySymmetric ||
           traits.mirrored();
}

bool fits(const KeptRoads& roads)
{
    return isFlag(roads.hasOutcome) && isFlag(roads.hasForecast) && isFlag(roads.hasDone) &&
           roads.unused == 0;
}

bool fits(const KeptQuality& quality)
{
    return !(quality.inverseNorm < 0.0) && !(quality.condition < 0.0) && !(quality.drift < 0.0) &&
           !(quality.inverseNormByRows < 0.0) && !(quality.worstSolve < 0.0);
}

bool fits(const KeptOutcome& outcome, const MatrixTraits& traits)
{
    return isAttempt(outcome.attempt) && allows(traits, attemptOf(outcome.attempt).road) &&
           isOrdering(outcome.ordering) && isFlag(outcome.taken) && isFlag(outcome.hasFactor) &&
           fits(outcome.quality) && outcome.perturbed >= 0 && outcome.reach >= 0 &&
           outcome.reach <= static_cast<std::int32_t>(Reach::Beyond);
}

bool fits(const KeptForecast& forecast, const MatrixTraits& traits)
{
    if (!isAttempt(forecast.attempt) || !isOrdering(forecast.ordering)) return false;
    const Road road = attemptOf(forecast.attempt).road;
    return road != Road::Dense && road != Road::Pivoted && road != Road::Delayed && road != Road::Fronts &&
           allows(traits, road);
}

KeptQuality kept(const std::optional<FactorQuality>& quality)
{
    if (!quality) return {};
    return {quality->inverseNorm, quality->condition.value_or(kUnknown), quality->drift.value_or(kUnknown),
            quality->inverseNormByRows, quality->worstSolve};
}

/// One without a number of its own was found out, but never to be none.
std::optional<FactorQuality> qualityOf(const KeptQuality& kept)
{
    const auto known = [](double number) {
        return std::isnan(number) ? std::nullopt : std::optional(number);
    };
    if (std::isnan(kept.inverseNorm)) return std::nullopt;
    return FactorQuality{kept.inverseNorm, known(kept.condition), known(kept.drift), kept.inverseNormByRows,
                         kept.worstSolve};
}

template <class Cell>
KeptOutcome kept(const Outcome<Cell>& outcome)
{
    return {.attempt = kept(outcome.attempt),
            .ordering = static_cast<std::int32_t>(outcome.ordering),
            .perturbed = outcome.perturbed,
            .taken = outcome.taken ? 1 : 0,
            .reach = static_cast<std::int32_t>(outcome.reach),
            .leastMegabytes = outcome.leastMegabytes,
            .hasFactor = outcome.factor ? 1 : 0,
            .factorEntries = outcome.factorEntries,
            .quality = kept(outcome.factorQuality),
            .cost = outcome.cost};
}

template <class Cell>
Outcome<Cell> outcomeOf(const KeptOutcome& kept, const MatrixTraits& traits)
{
    const Attempt attempt = attemptOf(kept.attempt);
    const int mtype = attempt.road == Road::Dense ? 0 : EngineTypeOf<Cell>(typeOf(attempt.road), traits);
    return {.attempt = attempt,
            .roadName = nameOf(attempt.road, mtype),
            .ordering = static_cast<FillInReducingMethod>(kept.ordering),
            .perturbed = kept.perturbed,
            .factorEntries = kept.factorEntries,
            .cost = kept.cost,
            .leastMegabytes = kept.leastMegabytes,
            .reach = static_cast<Reach>(kept.reach),
            .taken = kept.taken != 0,
            .factorQuality = qualityOf(kept.quality)};
}

} // namespace

void raiseNotSaved()
{
    throw InvalidOperationException("The factor of this system cannot be saved.");
}

void DirectRun::save(SectionWriter& file) const
{
    if (store() == FactorStore::Files) raiseNotSaved();
    std::array<std::int32_t, kKeptSlots.size()> slots{};
    std::ranges::transform(kKeptSlots, slots.begin(), [&](auto slot) { return parameters_[slot]; });
    file.Add("slots", std::span<const std::int32_t>(slots));
    if (!isDiagonal() && SaveFactorization(handle_.data(), file) != SaveOutcome::Saved) raiseNotSaved();
}

std::unique_ptr<DirectRun> DirectRun::load(Road road, const EngineMatrix& matrix,
                                           FillInReducingMethod ordering, const EngineSettings& settings,
                                           SectionReader& file)
{
    auto run = std::make_unique<DirectRun>(road, matrix, ordering, settings);
    std::array<std::int32_t, kKeptSlots.size()> slots{};
    requireWhole(file.TakeOne("slots", slots));
    if (!matrix.isDiagonal())
        requireWhole(LoadFactorization(run->handle_.data(), matrix.mtype, matrix.n, matrix.ia, matrix.ja,
                                       run->slots_.data(), file));
    for (std::size_t k = 0; k < slots.size(); ++k) run->parameters_[kKeptSlots[k]] = slots[k];
    run->entries_ = run->cost().entries;
    return run;
}

template <class Cell>
void DenseFactor<Cell>::save(SectionWriter& file) const
{
    file.Add("lu", cellsOf(factors_));
    file.Add("pivots", std::span<const std::int32_t>(pivots_.get(), static_cast<std::size_t>(A_.rows())));
}

template <class Cell>
std::unique_ptr<DenseFactor<Cell>> DenseFactor<Cell>::load(const SparseOf<Cell>& A, SectionReader& file)
{
    const std::int64_t n = A.Rows(), cells = n * n;
    if (cells > file.BytesLeft() / std::int64_t{sizeof(Cell)}) requireWhole(file.Contradiction());
    requireWhole(file.Expect("lu", cells * std::int64_t{sizeof(Cell)}));
    MatrixOf<Cell> factors(A.Rows(), A.Rows());
    requireWhole(file.Take(cellsOf(factors)));
    requireWhole(file.Expect("pivots", n * std::int64_t{sizeof(std::int32_t)}));
    Block<std::int32_t> pivots(n);
    requireWhole(file.Take(std::span(pivots.get(), static_cast<std::size_t>(n))));
    for (std::int32_t k = 0; k < A.Rows(); ++k) {
        if (pivots[k] <= k || pivots[k] > A.Rows()) requireWhole(file.Contradiction());
    }
    return std::unique_ptr<DenseFactor>(
        new DenseFactor(AnyMatrix<Cell>(A), std::move(factors), std::move(pivots)));
}

template <class Cell>
void RoadRunner<Cell>::save(const Outcome<Cell>* best, SectionWriter& file) const
{
    const bool hasForecast =
        ready_ && ready_->answer.error == 0 && ready_->run->store() == FactorStore::Memory;
    file.AddOne("roads", KeptRoads{.hasOutcome = best ? 1 : 0,
                                   .hasForecast = hasForecast ? 1 : 0,
                                   .hasDone = done_ ? 1 : 0,
                                   .done = done_.value_or(RoadCost{})});
    if (best) file.AddOne("outcome", kept(*best));
    if (best && best->factor) best->factor->save(file);
    if (!hasForecast) return;
    file.AddOne("forecast", KeptForecast{.attempt = kept(ready_->attempt),
                                         .ordering = static_cast<std::int32_t>(ready_->run->ordering()),
                                         .rightHands = ready_->rightHands});
    ready_->run->save(file);
}

template <class Cell>
std::optional<Outcome<Cell>> RoadRunner<Cell>::load(SectionReader& file)
{
    KeptRoads roads{};
    requireWhole(file.TakeOne("roads", roads));
    if (!fits(roads)) requireWhole(file.Contradiction());
    if (roads.hasDone != 0) done_ = roads.done;
    std::optional<Outcome<Cell>> outcome;
    if (roads.hasOutcome != 0) outcome = loadOutcome(file);
    if (roads.hasForecast != 0) loadForecast(file);
    return outcome;
}

template <class Cell>
Outcome<Cell> RoadRunner<Cell>::loadOutcome(SectionReader& file)
{
    KeptOutcome kept{};
    requireWhole(file.TakeOne("outcome", kept));
    if (!fits(kept, system_.Traits())) requireWhole(file.Contradiction());
    Outcome<Cell> outcome = outcomeOf<Cell>(kept, system_.Traits());
    if (kept.hasFactor == 0) return outcome;
    const Road road = outcome.attempt.road;
    if (road == Road::Dense)
        outcome.factor = DenseFactor<Cell>::load(system_.Matrix(), file);
    else if (road == Road::Delayed)
        outcome.factor = DelayedFactor<Cell>::load(system_.Matrix(), system_.Traits().hermitian, file);
    else if (road == Road::Fronts)
        outcome.factor = FrontsFactor<Cell>::load(system_.Matrix(), file);
    else if (road == Road::Pivoted)
        outcome.factor = PivotedFactor<Cell>::load(system_.Full(), outcome.attempt.units, file);
    else
        outcome.factor = std::make_unique<EngineFactor<Cell>>(
            DirectRun::load(road, system_.As(typeOf(road)), outcome.ordering, options_.engine, file));
    return outcome;
}

template <class Cell>
void RoadRunner<Cell>::loadForecast(SectionReader& file)
{
    KeptForecast kept{};
    requireWhole(file.TakeOne("forecast", kept));
    if (!fits(kept, system_.Traits())) requireWhole(file.Contradiction());
    const Attempt attempt = attemptOf(kept.attempt);
    const auto ordering = static_cast<FillInReducingMethod>(kept.ordering);
    ready_ = Analysed{
        attempt, kept.rightHands, EngineAnswer{},
        DirectRun::load(attempt.road, system_.As(typeOf(attempt.road)), ordering, options_.engine, file)};
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template void DenseFactor<Cell>::save(SectionWriter&) const;                                             \
    template std::unique_ptr<DenseFactor<Cell>> DenseFactor<Cell>::load(const SparseOf<Cell>&,               \
                                                                        SectionReader&);                     \
    template void RoadRunner<Cell>::save(const Outcome<Cell>*, SectionWriter&) const;                        \
    template std::optional<Outcome<Cell>> RoadRunner<Cell>::load(SectionReader&);                            \
    template Outcome<Cell> RoadRunner<Cell>::loadOutcome(SectionReader&);                                    \
    template void RoadRunner<Cell>::loadForecast(SectionReader&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(Complex)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::roads
