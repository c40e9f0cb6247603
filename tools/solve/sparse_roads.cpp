#include <tools/solve/sparse_roads.h>

#include <tools/solve/ordering_choice.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

constexpr int kMuchFill = 5'000'000, kFillBound = 10;
constexpr double kNoDigit = 0.1;        // a probe error from here on
constexpr std::int32_t kLateSteps = 20; // of refinement, where the residual asks for it

// The engine's error numbers and internal codes that are told apart.
constexpr int kNoMemory = -2, kNumeric = -4, kUnmatched = -6, kDiagonal = -7, kOverflow = -8;
constexpr int kNoContraction = -112, kTooManySteps = -111, kIteration = -3;

/// What came of one road.
template <class Cell>
struct Outcome {
    EngineAnswer engine;
    std::string_view roadName;      ///< for this matrix
    std::optional<Columns<Cell>> x; ///< with the probe
    ProbedQuality quality{NAN, NAN, NAN};
    FillInReducingMethod ordering = FillInReducingMethod::MinimumDegree;
    int perturbed = 0, steps = 0, factorEntries = 0;
    bool fillsIn = false; ///< the factors would be too large, and were not made

    bool solves() const { return x && quality.residual <= kPoor; }
    /// Small pivots were replaced, and no digit of the probe came back.
    bool isDoubtful() const { return perturbed > 0 && !(quality.probeError < kNoDigit); }
    bool isGood() const { return solves() && !isDoubtful(); }
    /// Something else than the probe solves its system to rounding level: A is singular to working precision.
    bool isSolvedByAnother() const { return x && isDoubtful() && quality.probeResidual <= kRoundingLevel; }
    /// No other road can do better: the pattern has no perfect matching, or A is singular, and that is not
    /// for want of scaling.
    bool isFinal(Road road) const
    {
        return engine.error == kUnmatched || engine.error == kDiagonal ||
               (scales(road) && isSolvedByAnother());
    }
};

template <class Cell>
class RoadRunner {
public:
    RoadRunner(SparseSystem<Cell>& system, const Columns<Cell>& B, const Columns<Cell>& probe,
               const SparseOptions& options, StepTimes& seconds)
        : system_(system), B_(B), probe_(probe), options_(options), seconds_(seconds)
    {
    }

    Outcome<Cell> run(Road road)
    {
        const EngineMatrix matrix = engineMatrixOf(system_, assumptionOf(road));
        Outcome<Cell> outcome;
        outcome.roadName = nameOf(road, matrix.mtype);
        const std::unique_ptr<DirectRun> direct = analysed(road, matrix, outcome.engine);
        seconds_.finish("analyse");
        outcome.fillsIn = fillsIn(road, direct->factorEntries());
        if (outcome.engine.error == 0 && !outcome.fillsIn) factorizeAndSolve(*direct, outcome);
        if (outcome.engine.error == kNoMemory) throw NotEnoughMemoryException();
        outcome.ordering = direct->ordering();
        outcome.perturbed = direct->perturbedPivots();
        outcome.steps = direct->refinementSteps();
        outcome.factorEntries = direct->factorEntries();
        return outcome;
    }

private:
    /// A large body is dissected. Else by minimum degree first; nested dissection, where it pays, is kept if
    /// it saves operations.
    std::unique_ptr<DirectRun> analysed(Road road, const EngineMatrix& matrix, EngineAnswer& answer)
    {
        constexpr auto kQuick = FillInReducingMethod::MinimumDegree,
                       kThorough = FillInReducingMethod::NestedDissection;
        const OrderingChoice choice(matrix, TrellConfiguration::GetMaxThreads());
        const bool open = !options_.ordering && !ordersByPairs(road);
        const auto ordering = options_.ordering.value_or(open && choice.isLargeBody() ? kThorough : kQuick);
        auto first = std::make_unique<DirectRun>(road, matrix, ordering, options_.settings);
        answer = first->analyse();
        if (answer.error != 0 || !open || ordering == kThorough || !choice.dissectionPays(first->gigaflops()))
            return first;
        auto second = std::make_unique<DirectRun>(road, matrix, kThorough, options_.settings);
        const bool better = second->analyse().error == 0 && second->gigaflops() < first->gigaflops();
        return better ? std::move(second) : std::move(first);
    }

    /// Pairs of pivots are eliminated in the order in which they were found, which the engine makes no
    /// better: past all bounds for a large matrix.
    bool fillsIn(Road road, int entries)
    {
        const int before = std::exchange(entriesBefore_, entries);
        return ordersByPairs(road) && entries > kMuchFill && entries / kFillBound > before;
    }

    void factorizeAndSolve(DirectRun& direct, Outcome<Cell>& outcome)
    {
        outcome.engine = direct.factorize();
        seconds_.finish("factorize");
        if (outcome.engine.error != 0) return;
        Columns<Cell> X(B_.Rows(), B_.Cols());
        outcome.engine = direct.solve(B_, X);
        seconds_.finish("solve");
        if (outcome.engine.error != 0) return;
        outcome.quality = judged(X);
        const bool accurate =
            verdictOf(outcome.quality.residual, outcome.quality.probeError) == Verdict::Accurate;
        if (!accurate && options_.settings.refine == 0) refine(direct, outcome.quality, X);
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
        const ProbedQuality quality = judge(system_.matrix(), X, B_, probe_);
        seconds_.finish("check");
        return quality;
    }

    SparseSystem<Cell>& system_;
    const Columns<Cell>& B_;
    const Columns<Cell>& probe_;
    const SparseOptions& options_;
    StepTimes& seconds_;
    int entriesBefore_ = 0; ///< of the factors on the road before
};

std::string pivots(int count)
{
    return count == 1 ? "1 perturbed pivot" : fmt::format("{} perturbed pivots", count);
}

std::string whyNumeric(Road road, int failing)
{
    if (failing == kNoContraction || failing == kTooManySteps) return "refinement does not converge";
    if (failing == kIteration) return "the iteration does not converge";
    if (road == Road::Cholesky) return fmt::format("not positive definite, pivot {}", failing);
    return fmt::format("singular: pivot {} is zero", failing);
}

template <class Cell>
int nonZeros(const std::vector<Cell>& values)
{
    return static_cast<int>(std::ranges::count_if(values, [](Cell value) { return value != 0.0; }));
}

/// Why a road that is no good was left.
template <class Cell>
std::string whyLeft(Road road, const Outcome<Cell>& outcome, const CompressedRows<Cell>& matrix)
{
    const EngineAnswer engine = outcome.engine;
    if (outcome.fillsIn) return fmt::format("its factors would have {} entries", outcome.factorEntries);
    switch (engine.error) {
    case 0:
        break;
    case kNumeric:
        return whyNumeric(road, engine.failing);
    case kUnmatched:
        return fmt::format("structurally singular: {} of {} rows matched", engine.failing, matrix.rows());
    case kDiagonal:
        return fmt::format("structurally singular: {} of {} rows matched", nonZeros(matrix.a), matrix.rows());
    case kOverflow:
        return "the factors have more than 2147483647 entries";
    default:
        return fmt::format("the engine reports error {}", engine.error);
    }
    if (outcome.isSolvedByAnother()) return "singular: " + pivots(outcome.perturbed);
    const double residual = std::max(outcome.quality.residual, outcome.quality.probeResidual);
    if (!std::isfinite(residual)) return "a number overflowed";
    const std::string text = fmt::format("scaled residual {:.1e}", residual);
    return outcome.perturbed > 0 ? text + ", " + pivots(outcome.perturbed) : text;
}

/// What keeps a solution from being accurate.
template <class Cell>
std::string whyDegraded(const Outcome<Cell>& outcome)
{
    std::string reason;
    const auto add = [&reason](const std::string& text) { reason += reason.empty() ? text : ", " + text; };
    if (outcome.perturbed > 0) add(pivots(outcome.perturbed));
    if (outcome.quality.residual > kRoundingLevel)
        add(fmt::format("scaled residual {:.1e}", outcome.quality.residual));
    if (!(outcome.quality.probeError <= kFewDigits)) add("ill-conditioned");
    return reason;
}

/// A solution whose residual is small beats none, a smaller residual a larger one.
template <class Cell>
bool isBetter(const Outcome<Cell>& one, const Outcome<Cell>& other)
{
    return one.x && (!other.x || one.quality.residual < other.quality.residual);
}

template <class Cell>
void tell(const Outcome<Cell>& outcome, SparseAnswer<Cell>& answer)
{
    answer.roadName = outcome.roadName;
    answer.ordering = outcome.ordering;
    answer.perturbedPivots = outcome.perturbed;
    answer.refinementSteps = outcome.steps;
    answer.factorEntries = outcome.factorEntries;
}

template <class Cell>
void accept(Outcome<Cell>& outcome, SparseAnswer<Cell>& answer)
{
    tell(outcome, answer);
    answer.verdict = verdictOf(outcome.quality.residual, outcome.quality.probeError);
    answer.reason = answer.verdict == Verdict::Degraded ? whyDegraded(outcome) : std::string();
}

template <class Cell>
void give(Outcome<Cell>& outcome, SparseAnswer<Cell>& answer)
{
    if (!outcome.x) return;
    answer.residual = outcome.quality.residual;
    answer.probeError = outcome.quality.probeError;
    outcome.x->Cols(outcome.x->Cols() - 1);
    answer.x = std::move(outcome.x);
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
SparseAnswer<Cell> solveSparse(SparseSystem<Cell>& system, const Columns<Cell>& B, const Columns<Cell>& probe,
                               Road road, const SparseOptions& options, StepTimes& seconds)
{
    SparseAnswer<Cell> answer;
    RoadRunner<Cell> runner(system, B, probe, options, seconds);
    Outcome<Cell> best;
    for (;;) {
        Outcome<Cell> outcome = runner.run(road);
        answer.road = road;
        if (outcome.isGood()) {
            accept(outcome, answer);
            give(outcome, answer);
            return answer;
        }
        answer.reason = whyLeft(road, outcome, system.matrix());
        const std::optional<Road> next = outcome.isFinal(road) ? std::nullopt : roadAfter(road);
        tell(outcome, answer);
        if (isBetter(outcome, best)) best = std::move(outcome);
        if (!next) break;
        answer.tried.push_back(fmt::format("{}: {}", answer.roadName, answer.reason));
        road = *next;
    }
    give(best, answer);
    return answer;
}

template SparseAnswer<double> solveSparse(SparseSystem<double>&, const Matrix&, const Matrix&, Road,
                                          const SparseOptions&, StepTimes&);
template SparseAnswer<ComplexNumber> solveSparse(SparseSystem<ComplexNumber>&, const ComplexColumns&,
                                                 const ComplexColumns&, Road, const SparseOptions&,
                                                 StepTimes&);

} // namespace Velmar::Lintrix::tools
