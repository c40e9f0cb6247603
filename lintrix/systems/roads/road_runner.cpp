#include <lintrix/systems/roads/road_runner.h>

#include <lintrix/engine/out_of_core_configuration.h>
#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/same_bits.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/iterations/gmres.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/dense_factor.h>
#include <lintrix/systems/roads/ordering_choice.h>
#include <lintrix/systems/run_control.h>
#include <lintrix/systems/structure/sparse_entries.h>

#include <algorithm>
#include <new>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

namespace {

constexpr std::int32_t kLateSteps = 20;  // of refinement, where the residual asks for it
constexpr double kGrowthShows = 0x1p-51; // of a residual: pivots below the largest let elements grow
constexpr std::int32_t kKrylovCycle = 30, kKrylovSteps = 60,
                       kKrylovStepsInAll = 240; // each of a solve: less than a factorization
constexpr double kWaitingExcess = 8.0;          // of operations, where pivots wait
constexpr double kFewOperations = 1e6;          // of which nothing is said
constexpr int kUsualThreads = 2;         // to choose an order for, where the choice must not hang on them
constexpr std::int32_t kOneAndProbe = 2; // right-hand sides that a forecast is for

/// What an earlier solve has left.
template <class Cell>
void forget(Outcome<Cell>& outcome)
{
    outcome.x.reset();
    outcome.quality.reset();
    outcome.krylovSteps = 0;
    outcome.reusedFactor = false;
}

/// That its factor and the work with it take.
template <class Cell>
double bytesOf(const Outcome<Cell>& outcome)
{
    const RoadCost& cost = outcome.cost;
    if (outcome.attempt.road == Road::Dense) return cost.bytes;
    return outcome.store == FactorStore::Files ? cost.bytesWithFiles : cost.bytesInMemory;
}

} // namespace

template <class Cell>
Road RoadRunner<Cell>::firstRoad(Road road)
try {
    const bool isOpen = !options_.type && !options_.ordering && !options_.outOfCore &&
                        !options_.memoryBudget && !options_.engine.engineReport &&
                        options_.engine.strategy == FactorizationStrategy::ComputeAlways;
    if (!isOpen || (road != Road::Matched && road != Road::Unmatched)) return road;
    if (!pivotingPays_) pivotingPays_ = triesPivoting();
    return *pivotingPays_ ? Road::Pivoted : road;
} catch (const std::bad_alloc&) {
    throw NotEnoughMemoryException();
}

/// An analysis that leads nowhere is given up, and does not count.
template <class Cell>
bool RoadRunner<Cell>::triesPivoting()
{
    const SparseOf<Cell>& A = system_.Full();
    if (!mayPivotedPay(A.RowPointers(), A.ColumnIndices())) return false;
    const bool pays = pivoted().pays();
    if (!pays) {
        pivoted_.reset();
        --analyses_;
    }
    return pays;
}

template <class Cell>
RoadCost RoadRunner<Cell>::forecast(const Attempt& attempt)
try {
    if (attempt.road == Road::Pivoted) return pivoted(attempt.units).cost();
    if (attempt.road == Road::Dense) return denseCost(system_.Size(), std::is_same_v<Cell, Complex>);
    if (!ready_ || !(ready_->attempt == attempt))
        ready_ = analysed(attempt, system_.As(typeOf(attempt.road)), kOneAndProbe);
    if (ready_->answer.error == kEngineNoMemory) {
        ready_.reset();
        throw NotEnoughMemoryException();
    }
    return ready_->run->cost();
} catch (const std::bad_alloc&) {
    throw NotEnoughMemoryException();
}

template <class Cell>
Outcome<Cell> RoadRunner<Cell>::run(const Attempt& attempt, Reach limit, const Request<Cell>& request)
{
    const bool first = !done_;
    const int mtype =
        attempt.road == Road::Dense ? 0 : EngineTypeOf<Cell>(typeOf(attempt.road), system_.Traits());
    Outcome<Cell> outcome{.attempt = attempt, .roadName = nameOf(attempt.road, mtype)};
    if (attempt.road == Road::Dense)
        takeDense(limit, request, outcome);
    else if (attempt.road == Road::Pivoted)
        takePivoted(limit, request, outcome);
    else if (attempt.road == Road::Delayed)
        takeFronts<DelayedFactor<Cell>>(limit, request, outcome, system_.Matrix(),
                                        system_.Traits().hermitian);
    else if (attempt.road == Road::Fronts)
        takeFronts<FrontsFactor<Cell>>(limit, request, outcome, system_.Matrix());
    else
        follow(limit, request, outcome);
    if (outcome.engine.error == kEngineNoMemory && !done_) throw NotEnoughMemoryException();
    if (first && !outcome.fault.empty()) throw OperationFailedException(outcome.fault);
    return outcome;
}

template <class Cell>
Outcome<Cell> RoadRunner<Cell>::runBeside(const Outcome<Cell>& kept, const Attempt& attempt,
                                          const Request<Cell>& request)
try {
    kept_ = kept.factor ? bytesOf(kept) : 0.0;
    Outcome<Cell> outcome = run(attempt, Reach::Near, request);
    kept_ = 0.0;
    return outcome;
} catch (...) {
    kept_ = 0.0;
    throw;
}

template <class Cell>
void RoadRunner<Cell>::again(Outcome<Cell>& outcome, const Request<Cell>& request) const
{
    forget(outcome);
    budget_.require(ownBytes(request.B.Cols()), bytesOf(outcome), bytesOf(outcome));
    WorkScope::expect(outcome.factor->operations(solvesFor(request)));
    solve(request, outcome);
    requireSystem(outcome);
}

template <class Cell>
void RoadRunner<Cell>::refactorize(Outcome<Cell>& outcome, const Request<Cell>& request)
{
    if (dynamic_cast<PivotedFactor<Cell>*>(outcome.factor.get())) return refactorizePivoted(outcome, request);
    auto* const kept = dynamic_cast<EngineFactor<Cell>*>(outcome.factor.get());
    if (!kept) {
        outcome.factor.reset();
        outcome = run(outcome.attempt, Reach::Far, request);
        return;
    }
    std::unique_ptr<DirectRun> run = kept->release();
    forget(outcome);
    outcome.factorQuality.reset();
    outcome.inertia.reset();
    try {
        factorizeAndSolve(run, request, outcome);
    } catch (...) {
        if (run) outcome.factor = std::make_unique<EngineFactor<Cell>>(std::move(run));
        throw;
    }
    requireSystem(outcome);
}

/// A large body is dissected. Else by minimum degree first; nested dissection, where it pays, is kept if it
/// saves operations.
template <class Cell>
auto RoadRunner<Cell>::analysed(const Attempt& attempt, const EngineMatrix& matrix, std::int32_t rightHands)
    -> Analysed
{
    constexpr auto kQuick = FillInReducingMethod::MinimumDegree,
                   kThorough = FillInReducingMethod::NestedDissection;
    const FactorStore store = options_.outOfCore ? FactorStore::Files : FactorStore::Memory;
    if (options_.outOfCore) usePlace(budget_.left(ownBytes(rightHands)));
    const auto by = [&](FillInReducingMethod ordering) {
        WorkScope::expect(analysisOperations(matrix.entries()));
        auto run = std::make_unique<DirectRun>(attempt.road, matrix, ordering, options_.engine);
        const EngineAnswer answer = analyseFor(*run, store, rightHands);
        return Analysed{attempt, rightHands, answer, std::move(run)};
    };
    const std::optional<FillInReducingMethod> told = attempt.ordering ? attempt.ordering : options_.ordering;
    const int threads = keepsSameBits() ? kUsualThreads : TrellConfiguration::GetMaxThreads();
    const OrderingChoice choice(matrix, threads);
    const bool open = !told;
    const auto ordering = told.value_or(open && choice.isLargeBody() ? kThorough : kQuick);
    Analysed first = by(ordering);
    const double gigaflops = first.run->cost().operations / 1e9;
    if (first.answer.error != 0 || !open || ordering == kThorough || !choice.dissectionPays(gigaflops))
        return first;
    Analysed second = by(kThorough);
    const bool better =
        second.answer.error == 0 && second.run->cost().operations < first.run->cost().operations;
    return better ? std::move(second) : std::move(first);
}

template <class Cell>
void RoadRunner<Cell>::follow(Reach limit, const Request<Cell>& request, Outcome<Cell>& outcome)
{
    const bool isReady =
        ready_ && ready_->attempt == outcome.attempt && ready_->rightHands >= request.B.Cols();
    Analysed analysis =
        isReady ? std::move(*ready_)
                : analysed(outcome.attempt, system_.As(typeOf(outcome.attempt.road)), request.B.Cols());
    ready_.reset();
    DirectRun& run = *analysis.run;
    const double own = ownBytes(request.B.Cols()), left = budget_.left(own, run.bytesInMemory());
    outcome.engine = analysis.answer;
    outcome.cost = run.cost();
    outcome.ordering = run.ordering();
    if (done_)
        outcome.reach = reachOf(outcome.attempt.road, outcome.cost, *done_, budget_.limit(own));
    else if (outcome.engine.error == 0 || outcome.engine.error == kEngineSmallCore)
        budget_.require(own, run.bytesInMemory(), kMegabyte * run.leastMegabytes());
    outcome.taken = outcome.engine.error == 0 && outcome.reach <= limit;
    if (outcome.taken && run.store() == FactorStore::Memory && run.bytesInMemory() > left)
        outcome.engine = moveToFiles(run, left, request.B.Cols());
    outcome.factorEntries = run.factorEntries();
    outcome.store = run.store();
    outcome.leastMegabytes = run.leastMegabytes();
    outcome.fault = faultOf(outcome.engine.error, outcome.leastMegabytes);
    finish("analyse");
    if (!outcome.taken || outcome.engine.error != 0) return;
    try {
        factorizeAndSolve(analysis.run, request, outcome);
    } catch (...) {
        if (isReady && analysis.run) ready_ = std::move(analysis);
        throw;
    }
}

/// As they are foreseen: for all columns once, and for the bounds of some.
template <class Cell>
std::int32_t RoadRunner<Cell>::solvesFor(const Request<Cell>& request) const
{
    constexpr std::int32_t kSolvesOfABound = 6;
    const std::int32_t columns = request.B.Cols(), bounds = std::min(options_.errorBounds, columns - 1);
    return columns + kSolvesOfABound * bounds;
}

template <class Cell>
void RoadRunner<Cell>::factorizeAndSolve(std::unique_ptr<DirectRun>& run, const Request<Cell>& request,
                                         Outcome<Cell>& outcome)
{
    WorkScope::expect(outcome.cost.operations + run->solveOperations(solvesFor(request)));
    outcome.factor.reset();
    outcome.engine = run->factorize();
    ++factorizations_;
    finish("factorize");
    outcome.fault = faultOf(outcome.engine.error, outcome.leastMegabytes);
    outcome.perturbed = run->perturbedPivots();
    outcome.factorEntries = run->factorEntries();
    if (outcome.engine.error != 0) return;
    if (!done_ || done_->operations < outcome.cost.operations) done_ = outcome.cost;
    outcome.factor = std::make_unique<EngineFactor<Cell>>(std::move(run));
    solve(request, outcome);
}

/// Analysed when it is first asked for.
template <class Cell>
PivotedFactor<Cell>& RoadRunner<Cell>::pivoted(UnitsBy by)
{
    if (!pivoted_ || pivoted_->unitsBy() != by) {
        const SparseOf<Cell>& A = system_.Full();
        WorkScope::expect(analysisOperations(A.NumElements()));
        pivoted_ = std::make_unique<PivotedFactor<Cell>>(A, system_.Traits().symmetricPattern,
                                                         units(TransposeMode::Transposed, by), by);
        isMatched_ = pivoted_->isMatched();
        WorkScope::tell(analysisOperations(A.NumElements()));
        ++analyses_;
    }
    return *pivoted_;
}

/// The first road is left where its forecast is exceeded, and the engine taken.
template <class Cell>
sparse_lu::LuBounds RoadRunner<Cell>::pivotedBounds(Reach limit, const RoadCost& cost,
                                                    std::int32_t rightHands) const
{
    constexpr double kExcess = 3.0;
    constexpr double bytesPerEntry = 2.5 * (sizeof(Cell) + sizeof(std::int32_t)); // old and new arrays
    const double operations = done_ || limit != Reach::Near
                                  ? mostColumnOperations(limit, done_.value_or(RoadCost{}))
                                  : std::max(kExcess * cost.operations, kFewOperations);
    const double needed = !done_ && limit == Reach::Near ? kExcess * cost.bytesInMemory
                                                         : std::numeric_limits<double>::infinity();
    const double left = std::max(budget_.left(ownBytes(rightHands), needed), 0.0);
    return {static_cast<std::int64_t>(std::min(left / bytesPerEntry, 0x1p62)),
            std::min(operations, worthTrying(rightHands))};
}

/// Operations that partial pivoting may take before dense storage, if that is near, has done the same.
template <class Cell>
double RoadRunner<Cell>::worthTrying(std::int32_t rightHands) const
{
    constexpr double kShare = 1.0 / 32.0;
    const RoadCost dense = denseCost(system_.Size(), std::is_same_v<Cell, Complex>);
    const bool isNear =
        done_ && reachOf(Road::Dense, dense, *done_, budget_.limit(ownBytes(rightHands))) == Reach::Near;
    return isNear ? std::max(kShare * dense.operations, kFewOperations)
                  : std::numeric_limits<double>::infinity();
}

template <class Cell>
template <class Factor, class... Arguments>
void RoadRunner<Cell>::takeFronts(Reach limit, const Request<Cell>& request, Outcome<Cell>& outcome,
                                  const Arguments&... arguments)
try {
    WorkScope::expect(analysisOperations(system_.Matrix().NumElements()));
    auto factor = std::make_unique<Factor>(arguments...);
    ++analyses_;
    outcome.cost = factor->cost();
    outcome.ordering = factor->ordering();
    outcome.factorEntries = outcome.cost.entries;
    const double own = ownBytes(request.B.Cols());
    if (done_) outcome.reach = reachOf(outcome.attempt.road, outcome.cost, *done_, budget_.limit(own));
    finish("analyse");
    if (outcome.reach > limit) return;
    WorkScope::expect(outcome.cost.operations);
    const EngineAnswer answer = factor->factorize(
        {static_cast<std::int64_t>(std::clamp(budget_.left(own) / sizeof(Cell), 0.0, 0x1p62)),
         std::max(kWaitingExcess * outcome.cost.operations,
                  mostOperations(limit, done_.value_or(RoadCost{})))});
    ++factorizations_;
    finish("factorize");
    outcome.taken = answer.error != kTooMuchFill;
    if (!outcome.taken) {
        outcome.reach = Reach::Far;
        return;
    }
    outcome.engine = answer;
    if (answer.error != 0) return;
    outcome.factorEntries = factor->entries();
    outcome.perturbed = factor->replaced();
    if (!done_ || done_->operations < outcome.cost.operations) done_ = outcome.cost;
    WorkScope::expect(factor->operations(solvesFor(request)));
    outcome.factor = std::move(factor);
    solve(request, outcome);
} catch (const NotEnoughMemoryException&) {
    outcome.engine.error = kEngineNoMemory;
} catch (const std::bad_alloc&) {
    outcome.engine.error = kEngineNoMemory;
}

template <class Cell>
void RoadRunner<Cell>::takePivoted(Reach limit, const Request<Cell>& request, Outcome<Cell>& outcome)
try {
    outcome.cost = pivoted(outcome.attempt.units).cost();
    finish("analyse");
    std::unique_ptr<PivotedFactor<Cell>> factor = std::move(pivoted_);
    const EngineAnswer answer = factor->factorize(pivotedBounds(limit, outcome.cost, request.B.Cols()));
    keepPivoted(std::move(factor), answer, request, outcome);
} catch (const NotEnoughMemoryException&) {
    outcome.engine.error = kEngineNoMemory;
} catch (const std::bad_alloc&) {
    outcome.engine.error = kEngineNoMemory;
}

template <class Cell>
void RoadRunner<Cell>::refactorizePivoted(Outcome<Cell>& outcome, const Request<Cell>& request)
{
    forget(outcome);
    outcome.factorQuality.reset();
    outcome.inertia.reset();
    std::unique_ptr<PivotedFactor<Cell>> factor(static_cast<PivotedFactor<Cell>*>(outcome.factor.release()));
    try {
        const EngineAnswer answer =
            factor->refactorize(pivotedBounds(Reach::Far, outcome.cost, request.B.Cols()),
                                units(TransposeMode::Transposed, factor->unitsBy()));
        keepPivoted(std::move(factor), answer, request, outcome);
    } catch (...) {
        if (factor && factor->isComplete()) outcome.factor = std::move(factor);
        throw;
    }
    requireSystem(outcome);
}

template <class Cell>
void RoadRunner<Cell>::keepPivoted(std::unique_ptr<PivotedFactor<Cell>> factor, EngineAnswer answer,
                                   const Request<Cell>& request, Outcome<Cell>& outcome)
{
    ++factorizations_;
    finish("factorize");
    outcome.factorEntries = factor->entries();
    outcome.taken = answer.error != kTooMuchFill;
    if (!outcome.taken) {
        outcome.reach = Reach::Far;
        outcome.cost = {.entries = outcome.factorEntries};
        return;
    }
    outcome.engine = answer;
    if (answer.error != 0) return;
    if (!done_ || done_->operations < outcome.cost.operations) done_ = outcome.cost;
    WorkScope::expect(factor->operations(solvesFor(request)));
    outcome.factor = std::move(factor);
    solve(request, outcome);
}

template <class Cell>
void RoadRunner<Cell>::takeDense(Reach limit, const Request<Cell>& request, Outcome<Cell>& outcome)
try {
    outcome.cost = denseCost(system_.Size(), std::is_same_v<Cell, Complex>);
    outcome.factorEntries = 2 * outcome.cost.entries - system_.Size();
    const double memory = budget_.limit(ownBytes(request.B.Cols()));
    if (done_) outcome.reach = reachOf(Road::Dense, outcome.cost, *done_, memory);
    outcome.taken = outcome.reach <= limit;
    if (!outcome.taken) return;
    WorkScope::expect(outcome.cost.operations);
    auto factor = std::make_unique<DenseFactor<Cell>>(system_.Matrix());
    ++factorizations_;
    finish("factorize");
    WorkScope::expect(factor->operations(solvesFor(request)));
    if (factor->isSingular()) {
        outcome.engine.error = kEngineNumeric;
        return;
    }
    outcome.factor = std::move(factor);
    solve(request, outcome);
} catch (const NotEnoughMemoryException&) {
    outcome.engine.error = kEngineNoMemory;
}

template <class Cell>
void RoadRunner<Cell>::solve(const Request<Cell>& request, Outcome<Cell>& outcome) const
{
    MatrixOf<Cell> X = zeroColumns<Cell>(request.B.Rows(), request.B.Cols());
    outcome.engine = outcome.factor->solve(request.B, X, request.op, options_.engine.refine);
    outcome.steps = outcome.factor->refinementSteps();
    outcome.fault = faultOf(outcome.engine.error, outcome.leastMegabytes);
    finish("solve");
    if (outcome.engine.error != 0) return;
    outcome.quality = judged(X, request);
    outcome.x = std::move(X);
    if (options_.engine.refine != 0 || outcome.isBeyondRefinement()) return;
    if (outcome.verdict() != Verdict::Accurate)
        refine(request, outcome, kLateSteps);
    else if (outcome.attempt.road == Road::Pivoted && outcome.quality->residual > kGrowthShows)
        refine(request, outcome, 1);
}

/// Keeps what is better. Dense factors have had their step.
template <class Cell>
void RoadRunner<Cell>::refine(const Request<Cell>& request, Outcome<Cell>& outcome, std::int32_t steps) const
{
    if (outcome.attempt.road == Road::Dense) return;
    MatrixOf<Cell> refined(*outcome.x);
    const EngineAnswer engine = outcome.factor->refine(request.B, refined, request.op, steps);
    outcome.steps = outcome.factor->refinementSteps();
    finish("solve");
    if (engine.error != 0) return;
    const ProbedQuality after = judged(refined, request);
    if (!(after.residual < outcome.quality->residual)) return;
    outcome.quality = after;
    outcome.x = std::move(refined);
}

/// GMRES on each column of X, the probe first, with at most so many steps in all. @return  how many it took
template <class Cell>
std::int32_t RoadRunner<Cell>::iterate(const Request<Cell>& request, Factored<Cell>& factor,
                                       MatrixOf<Cell>& X, std::int32_t most) const
{
    const AnyMatrix<Cell> view(system_.Matrix());
    const std::int32_t n = system_.Size();
    const LinearMap<Cell> A{n,
                            n,
                            [&](std::int32_t columns, const Cell* x, Cell* y) {
                                const auto given = AccessTo<Cell>::copyOf(x, n, columns);
                                std::ranges::copy(
                                    cellsOf(productOf<Cell>(system_.Matrix(), given, request.op)), y);
                            },
                            {}};
    const LinearMap<Cell> inverse = inverseBy(factor, n, request.op);
    const double norm = request.op == TransposeMode::NotTransposed ? infinityNorm(view) : oneNorm(view);
    std::int32_t steps = 0;
    for (std::int32_t j = X.Cols() - 1; j >= 0 && steps < most; --j)
        steps += gmres(A, norm, inverse, columnCells(request.B, j).data(), columnCells(X, j).data(),
                       {.cycle = kKrylovCycle, .steps = std::min(kKrylovSteps, most - steps)})
                     .steps;
    finish("solve");
    return steps;
}

template <class Cell>
void RoadRunner<Cell>::precondition(Outcome<Cell>& outcome, const Request<Cell>& request) const
{
    constexpr double kSlower = 8.0; // an operation of a solve, which waits for memory, than one of a factor
    const double step = kSlower * 2.0 * static_cast<double>(outcome.factorEntries);
    const auto most = static_cast<std::int32_t>(
        std::min<double>(kKrylovStepsInAll, outcome.cost.operations / 2.0 / std::max(step, 1.0)));
    forget(outcome);
    if (most < request.B.Cols()) return;
    WorkScope::expect(outcome.factor->operations(request.B.Cols()));
    MatrixOf<Cell> X(request.B.Rows(), request.B.Cols());
    outcome.krylovSteps = iterate(request, *outcome.factor, X, most);
    outcome.reusedFactor = true;
    outcome.quality = judged(X, request);
    outcome.x = std::move(X);
}

template <class Cell>
void RoadRunner<Cell>::repair(const Request<Cell>& request, Outcome<Cell>& outcome)
{
    if (!outcome.factor || !outcome.x || outcome.perturbed == 0 || outcome.isBeyondRefinement()) return;
    MatrixOf<Cell> X(*outcome.x);
    const std::int32_t steps = iterate(request, *outcome.factor, X, kKrylovStepsInAll);
    Outcome<Cell> repaired{.attempt = outcome.attempt, .perturbed = outcome.perturbed};
    repaired.quality = judged(X, request);
    if (!isBetter(repaired, outcome)) return;
    outcome.quality = repaired.quality;
    outcome.x = std::move(X);
    outcome.krylovSteps = steps;
}

template <class Cell>
ProbedQuality RoadRunner<Cell>::judged(const MatrixOf<Cell>& X, const Request<Cell>& request) const
{
    const ProbedQuality quality =
        judge<Cell>(system_.Matrix(), X, request.B, request.known, request.op, sizes(request.op).norm);
    finish("check");
    return quality;
}

template <class Cell>
void RoadRunner<Cell>::usePlace(double left)
{
    if (!place_) place_ = options_.openPlace(left);
}

/// The analysis lays the factor out for its store, and so is repeated.
template <class Cell>
EngineAnswer RoadRunner<Cell>::moveToFiles(DirectRun& run, double left, std::int32_t rightHands)
{
    if (!place_ && options_.goesToFiles) options_.goesToFiles(run.bytesInMemory(), left);
    usePlace(left);
    return analyseFor(run, FactorStore::Files, rightHands);
}

/// The core has what the budget leaves.
template <class Cell>
EngineAnswer RoadRunner<Cell>::analyseFor(DirectRun& run, FactorStore store, std::int32_t rightHands)
{
    OutOfCoreConfiguration place = place_ ? place_->Defaults() : OutOfCoreConfiguration();
    std::optional<OutOfCoreLimit> limit;
    if (store == FactorStore::Files && options_.memoryBudget) {
        const double megabytes = (*options_.memoryBudget - ownBytes(rightHands)) / kMegabyte;
        core_ = static_cast<int>(std::clamp(megabytes, 1.0, 0x1p30));
        limit.emplace(core_);
        place.megabytes = core_; // all that the budget leaves
    }
    const OutOfCoreDefaults defaults(place);
    const SharedMatching::Use use(matching_);
    const EngineAnswer answer = run.analyse(store, rightHands);
    ++analyses_;
    return answer;
}

/// Beside a factor: the matrix in each form that it has been brought to, its matching, the columns, and a
/// factor that is kept.
template <class Cell>
double RoadRunner<Cell>::ownBytes(std::int32_t rightHands) const
{
    return kept_ + static_cast<double>(matching_.Bytes()) + system_.Bytes() +
           bytesOfColumns<Cell>(system_.Size(), rightHands);
}

template <class Cell>
double RoadRunner<Cell>::leftBeside(const Outcome<Cell>& outcome, std::int32_t rightHands) const
{
    return budget_.left(ownBytes(rightHands) + bytesOf(outcome));
}

template <class Cell>
std::string RoadRunner<Cell>::faultOf(int error, int leastMegabytes) const
{
    if (!place_) return {};
    switch (error) {
    case kEngineSmallCore:
        return place_->Fault(FileFault::SmallCore, leastMegabytes);
    case kEngineNoFile:
        return place_->Fault(FileFault::NotOpened, leastMegabytes);
    case kEngineTransfer:
        return place_->Fault(FileFault::NotTransferred, leastMegabytes);
    default:
        return {};
    }
}

/// What is not the matrix's to blame for ends a solve with a factor that has served before.
template <class Cell>
void RoadRunner<Cell>::requireSystem(const Outcome<Cell>& outcome) const
{
    if (outcome.engine.error == kEngineNoMemory) throw NotEnoughMemoryException();
    if (!outcome.fault.empty()) throw OperationFailedException(outcome.fault);
}

template <class Cell>
void RoadRunner<Cell>::finish(std::string_view step) const
{
    if (options_.stepDone) options_.stepDone(step);
}

template <class Cell>
void RoadRunner<Cell>::restart()
{
    ready_.reset();
    forgetValues();
    pivotingPays_.reset();
    done_.reset();
}

template class RoadRunner<double>;
template class RoadRunner<Complex>;

} // namespace Velmar::Lintrix::detail::roads
