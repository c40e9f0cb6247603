#include <tools/solve/sparse_roads.h>

#include <tools/input/dense_system.h>
#include <tools/input/transversal.h>
#include <tools/solve/factor_files.h>
#include <tools/solve/ordering_choice.h>
#include <tools/solve/pair_forecast.h>
#include <tools/solve/road_outcome.h>
#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

constexpr std::int32_t kLateSteps = 20; // of refinement, where the residual asks for it

template <class Cell>
class RoadRunner {
public:
    RoadRunner(SparseSystem<Cell>& system, const Columns<Cell>& B, const Columns<Cell>& known,
               const SparseOptions& options, StepTimes& seconds)
        : system_(system), B_(B), known_(known), options_(options), seconds_(seconds)
    {
    }

    /// The first road is taken whatever it costs, those after it up to `limit`.
    Outcome<Cell> run(const Attempt& attempt, Reach limit)
    {
        if (attempt.road == Road::Dense) return runDense(limit);
        const EngineMatrix matrix = engineMatrixOf(system_, assumptionOf(attempt.road));
        Outcome<Cell> outcome{.attempt = attempt, .roadName = nameOf(attempt.road, matrix.mtype)};
        const bool first = !done_;
        if (!fillsIn(outcome)) follow(matrix, limit, outcome);
        if (outcome.engine.error == kEngineNoMemory && !done_) throw NotEnoughMemoryException();
        if (first && !outcome.fault.empty()) throw InputError(outcome.fault);
        return outcome;
    }

    /// Of factors in files; 0 where there are none.
    int coreMegabytes() const { return files_ ? files_->coreMegabytes() : 0; }

private:
    /// Pairs of pivots are eliminated in the order in which they were found, which the engine makes no
    /// better. Past all bounds for a large matrix, even the analysis: so it is estimated before that.
    bool fillsIn(Outcome<Cell>& outcome)
    {
        if (!ordersByPairs(outcome.attempt.road) || !done_) return false;
        const std::int64_t most = mostPairEntries(*done_);
        const bool fills = pairEntries(nonZeroPattern(system_.matrix()), most) > most;
        seconds_.finish("analyse");
        if (!fills) return false;
        outcome.cost.entries = most;
        outcome.reach = Reach::Beyond;
        return true;
    }

    void follow(const EngineMatrix& matrix, Reach limit, Outcome<Cell>& outcome)
    {
        const double left = options_.memoryLeft();
        if (options_.outOfCore) useFiles(left);
        const std::unique_ptr<DirectRun> direct = analysed(outcome.attempt, matrix, outcome.engine);
        outcome.cost = direct->cost();
        if (done_) outcome.reach = reachOf(outcome.attempt.road, outcome.cost, *done_, memoryLimit());
        outcome.taken = outcome.engine.error == 0 && outcome.reach <= limit;
        if (outcome.taken && direct->store() == FactorStore::Memory && direct->bytesInMemory() > left)
            outcome.engine = moveToFiles(*direct, left);
        seconds_.finish("analyse");
        if (outcome.taken && outcome.engine.error == 0) factorizeAndSolve(*direct, outcome);
        tell(*direct, outcome);
    }

    void useFiles(double left)
    {
        if (!files_) files_ = std::make_unique<FactorFiles>(options_.coreMegabytes, left);
    }

    /// The analysis lays the factor out for its store, and so is repeated.
    EngineAnswer moveToFiles(DirectRun& direct, double left)
    {
        if (!files_ && options_.notice)
            options_.notice(fmt::format("the factor needs {} and {} are left: it is kept in files",
                                        bytesInWords(direct.bytesInMemory()), bytesInWords(left)));
        useFiles(left);
        return direct.analyse(FactorStore::Files, B_.Cols());
    }

    void tell(const DirectRun& direct, Outcome<Cell>& outcome) const
    {
        if (files_) outcome.fault = files_->fault(outcome.engine.error, direct.leastMegabytes());
        outcome.store = direct.store();
        outcome.ordering = direct.ordering();
        outcome.perturbed = direct.perturbedPivots();
        outcome.steps = direct.refinementSteps();
        outcome.factorEntries = direct.factorEntries();
    }

    /// A large body is dissected. Else by minimum degree first; nested dissection, where it pays, is kept if
    /// it saves operations.
    std::unique_ptr<DirectRun> analysed(const Attempt& attempt, const EngineMatrix& matrix,
                                        EngineAnswer& answer)
    {
        constexpr auto kQuick = FillInReducingMethod::MinimumDegree,
                       kThorough = FillInReducingMethod::NestedDissection;
        const auto by = [&](FillInReducingMethod ordering) {
            return std::make_unique<DirectRun>(attempt.road, matrix, ordering, options_.settings);
        };
        const std::optional<FillInReducingMethod> told =
            attempt.ordering ? attempt.ordering : options_.ordering;
        const OrderingChoice choice(matrix, TrellConfiguration::GetMaxThreads());
        const bool open = !told && !ordersByPairs(attempt.road);
        const auto ordering = told.value_or(open && choice.isLargeBody() ? kThorough : kQuick);
        const FactorStore store = options_.outOfCore ? FactorStore::Files : FactorStore::Memory;
        auto first = by(ordering);
        answer = first->analyse(store, B_.Cols());
        const double gigaflops = first->cost().operations / 1e9;
        if (answer.error != 0 || !open || ordering == kThorough || !choice.dissectionPays(gigaflops))
            return first;
        auto second = by(kThorough);
        const bool better = second->analyse(store, B_.Cols()).error == 0 &&
                            second->cost().operations < first->cost().operations;
        return better ? std::move(second) : std::move(first);
    }

    Outcome<Cell> runDense(Reach limit)
    {
        const std::int32_t n = system_.size();
        const RoadCost cost = denseCost(n, kIsComplex<Cell>);
        Outcome<Cell> outcome{.attempt = {Road::Dense}, .roadName = nameOf(Road::Dense, 0)};
        outcome.cost = cost;
        outcome.factorEntries = 2 * cost.entries - n;
        if (done_) outcome.reach = reachOf(Road::Dense, cost, *done_, memoryLimit());
        outcome.taken = outcome.reach <= limit;
        if (outcome.taken) solveDensely(outcome);
        return outcome;
    }

    /// Backward stable but for the growth of the elements and bad scaling, which a step of refinement makes
    /// good (R. D. Skeel, "Iterative refinement implies numerical stability for Gaussian elimination",
    /// Math. Comp. 35 (1980)).
    void solveDensely(Outcome<Cell>& outcome)
    try {
        const std::conditional_t<kIsComplex<Cell>, CLU, LU> factors(system_.matrix().ToDense());
        seconds_.finish("factorize");
        if (factors.IsSingular()) {
            outcome.engine.error = kEngineNumeric;
            return;
        }
        Columns<Cell> X = factors.Solve(B_);
        X = X + factors.Solve(residualOf<Cell>(system_.matrix(), X, B_));
        seconds_.finish("solve");
        outcome.quality = judged(X);
        outcome.x = std::move(X);
    } catch (const NotEnoughMemoryException&) {
        outcome.engine.error = kEngineNoMemory;
    }

    void factorizeAndSolve(DirectRun& direct, Outcome<Cell>& outcome)
    {
        outcome.engine = direct.factorize();
        seconds_.finish("factorize");
        if (outcome.engine.error != 0) return;
        if (!done_ || done_->operations < outcome.cost.operations) done_ = outcome.cost;
        Columns<Cell> X(B_.Rows(), B_.Cols());
        outcome.engine = direct.solve(B_, X);
        seconds_.finish("solve");
        if (outcome.engine.error != 0) return;
        outcome.quality = judged(X);
        if (outcome.verdict() != Verdict::Accurate && options_.settings.refine == 0)
            refine(direct, *outcome.quality, X);
        outcome.x = std::move(X);
    }

    /// Keeps what is better.
    void refine(DirectRun& direct, ProbedQuality& quality, Columns<Cell>& X)
    {
        Columns<Cell> refined(B_.Rows(), B_.Cols());
        const EngineAnswer engine = direct.refine(B_, refined, kLateSteps);
        seconds_.finish("solve");
        if (engine.error != 0) return;
        const ProbedQuality after = judged(refined);
        if (!(after.residual < quality.residual)) return;
        quality = after;
        X = std::move(refined);
    }

    ProbedQuality judged(const Columns<Cell>& X)
    {
        const ProbedQuality quality = judge<Cell>(system_.matrix(), X, B_, known_);
        seconds_.finish("check");
        return quality;
    }

    SparseSystem<Cell>& system_;
    const Columns<Cell>& B_;
    const Columns<Cell>& known_;
    const SparseOptions& options_;
    StepTimes& seconds_;
    std::optional<RoadCost> done_{};       ///< of the largest factorization so far
    std::unique_ptr<FactorFiles> files_{}; ///< once a factor goes there
};

/// The roads from one on, what came of each, and the best of them.
template <class Cell>
class RoadSearch {
public:
    RoadSearch(RoadRunner<Cell> runner, bool orderingIsOpen)
        : runner_(std::move(runner)), state_{orderingIsOpen}
    {
    }

    void follow(Road road)
    {
        for (std::optional<Attempt> next = Attempt{road}; next;) {
            found_.push_back(runner_.run(*next, Reach::Near));
            const Ending ending = found_.back().ending();
            next = nextAttempt(*next, found_.back().ordering, ending, state_);
            state_.looksSingular |= ending == Ending::Singular;
            weigh(found_.size() - 1);
        }
    }

    /// Where nothing else led to a solution.
    void takeFarOnes()
    {
        for (std::size_t k = 0; k < found_.size(); ++k) {
            if (found_[best_].verdict() != Verdict::Failed) return;
            if (found_[k].taken || found_[k].reach != Reach::Far) continue;
            found_[k] = runner_.run(found_[k].attempt, Reach::Far);
            weigh(k);
        }
    }

    SparseAnswer<Cell> answer()
    {
        Outcome<Cell>& best = found_[best_];
        SparseAnswer<Cell> answer{.road = best.attempt.road,
                                  .roadName = best.roadName,
                                  .ordering = best.ordering,
                                  .verdict = best.verdict(),
                                  .reason = best.reason(),
                                  .perturbedPivots = best.perturbed,
                                  .refinementSteps = best.steps,
                                  .factorEntries = static_cast<int>(best.factorEntries),
                                  .store = best.store,
                                  .coreMegabytes = runner_.coreMegabytes()};
        if (best.attempt.road == Road::Dense) answer.ordering.reset();
        for (const Outcome<Cell>& outcome : found_)
            if (&outcome != &best) answer.tried.push_back(outcome.told());
        if (!best.x) return answer;
        answer.residual = best.quality->residual;
        answer.probeError = best.quality->probeError;
        answer.knownError = best.quality->knownError;
        best.x->Cols(best.x->Cols() - 1);
        answer.x = std::move(best.x);
        return answer;
    }

private:
    /// What is not the best gives up its solution.
    void weigh(std::size_t k)
    {
        if (k == best_) return;
        const bool better = isBetter(found_[k], found_[best_]);
        found_[better ? best_ : k].x.reset();
        if (better) best_ = k;
    }

    RoadRunner<Cell> runner_;
    SearchState state_;
    std::vector<Outcome<Cell>> found_{};
    std::size_t best_ = 0;
};

/// No road can do better. Where the diagonal is full, nothing has to be looked for.
template <class Cell>
std::int32_t structuralRankOf(const SparseSystem<Cell>& system)
{
    return system.traits().fullDiagonal ? system.size() : structuralRank(system.matrix());
}

} // namespace

Road firstRoad(const Traits& traits)
{
    if (traits.mirrored()) return traits.positiveLooking ? Road::Cholesky : Road::Symmetric;
    return traits.symmetricPattern && traits.dominant ? Road::Unmatched : Road::Matched;
}

std::optional<Road> firstRoad(MatrixType type, const Traits& traits)
{
    switch (type) {
    case MatrixType::PositiveDefinite:
        return traits.hermitian ? std::optional(Road::Cholesky) : std::nullopt;
    case MatrixType::Indefinite:
        return traits.mirrored() ? std::optional(Road::Symmetric) : std::nullopt;
    case MatrixType::StructurallySymmetric:
        return traits.symmetricPattern ? std::optional(Road::Unmatched) : std::nullopt;
    case MatrixType::Unsymmetric:
        break;
    }
    return Road::Matched;
}

template <class Cell>
SparseAnswer<Cell> solveSparse(SparseSystem<Cell>& system, const Columns<Cell>& B, const Columns<Cell>& known,
                               Road road, const SparseOptions& options, StepTimes& seconds)
{
    if (const std::int32_t rank = structuralRankOf(system); rank < system.size()) {
        seconds.finish("analyse");
        const int mtype = typeOf<Cell>(assumptionOf(road), system.traits());
        return {.road = road,
                .roadName = nameOf(road, mtype),
                .reason = fmt::format("structurally singular: {} of {} rows matched", rank, system.size())};
    }
    RoadSearch<Cell> search({system, B, known, options, seconds}, !options.ordering);
    search.follow(road);
    search.takeFarOnes();
    return search.answer();
}

template SparseAnswer<double> solveSparse(SparseSystem<double>&, const Matrix&, const Matrix&, Road,
                                          const SparseOptions&, StepTimes&);
template SparseAnswer<ComplexNumber> solveSparse(SparseSystem<ComplexNumber>&, const CMatrix&, const CMatrix&,
                                                 Road, const SparseOptions&, StepTimes&);

} // namespace Velmar::Lintrix::tools
