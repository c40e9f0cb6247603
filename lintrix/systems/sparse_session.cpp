#include <lintrix/systems/session.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/roads/balance.h>
#include <lintrix/systems/roads/probed_columns.h>
#include <lintrix/systems/roads/road_search.h>
#include <lintrix/systems/roads/solver_pool.h>
#include <lintrix/systems/roads/sparse_rows.h>
#include <lintrix/systems/saved_system.h>
#include <lintrix/systems/singular_system.h>
#include <lintrix/systems/structure/sparse_entries.h>
#include <lintrix/systems/structure/structural_faults.h>
#include <lintrix/systems/sure_inertia.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <utility>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

template <class Sparse>
bool haveSamePattern(const Sparse& A, const Sparse& B)
{
    return std::ranges::equal(A.RowPointers(), B.RowPointers()) &&
           std::ranges::equal(A.ColumnIndices(), B.ColumnIndices());
}

/// To the bit: a NaN is equal to itself, and -0 differs from 0.
template <class Sparse>
bool haveSameValues(const Sparse& A, const Sparse& B)
{
    return std::ranges::equal(std::as_bytes(A.Values()), std::as_bytes(B.Values()));
}

/// @throws ArgumentException  the values contradict the type that the caller tells
Road chooseRoad(const MatrixTraits& traits, const std::optional<MatrixType>& type)
{
    if (!type) return firstRoad(traits);
    if (const std::optional<Road> road = firstRoad(*type, traits)) return *road;
    throw ArgumentException("The values of the matrix contradict its type.", "type");
}

template <class Sparse>
Sparse squareOnly(Sparse A)
{
    if (A.Rows() != A.Cols()) throw NotSquareMatrixException();
    return A;
}

template <class Cell>
class RoadsOfSparse final : public SparseSession<Cell> {
public:
    using Sparse = SparseOf<Cell>;
    using M = MatrixOf<Cell>;

    RoadsOfSparse(Sparse A, SystemOptions options)
        : SparseSession<Cell>(options), options_(std::move(options)), matrix_(squareOnly(std::move(A))),
          first_(chooseRoad(matrix_.Traits(), options_.type)), runner_(matrix_, options_)
    {
    }

    std::int32_t rows() const override
    {
        const std::shared_lock together(busy_);
        return matrix_.Size();
    }
    std::int32_t cols() const override { return rows(); }
    const MatrixTraits& traits() const noexcept override { return matrix_.Traits(); }
    std::int32_t analyses() const override
    {
        const std::shared_lock together(busy_);
        return runner_.analyses();
    }
    std::int32_t factorizations() const override
    {
        const std::shared_lock together(busy_);
        return runner_.factorizations();
    }

    SystemForecast forecast() override
    {
        const std::lock_guard turn(busy_);
        ControlledRun run(this->watch_);
        if (isStructurallySingular()) return {};
        const RoadCost cost = runner_.forecast(Attempt{runner_.firstRoad(first_)});
        run.finish();
        return {cost.entries, cost.operations, cost.bytesInMemory, cost.bytesWithFiles,
                SecondsFor({cost.operations, 2.0 * sizeof(Cell) * static_cast<double>(cost.entries)})};
    }

    SystemAnswer<Cell> solve(const M* given, const M* known, TransposeMode op) override
    {
        this->requireSizes(given, known, op, rows(), rows());
        ControlledRun run(this->watch_);
        std::optional<SystemAnswer<Cell>> answer = solvedTogether(given, known, op);
        if (!answer) answer = solvedAlone(given, known, op);
        run.finish();
        return *std::move(answer);
    }

    SystemChange update(const Sparse& A) override
    {
        const std::lock_guard turn(busy_);
        SystemMatrix<Cell> next(squareOnly(wholeOf<Cell>(A)));
        const Road first = chooseRoad(next.Traits(), options_.type);
        const Sparse &then = matrix_.Matrix(), &now = inStorageOf(then, next);
        const bool samePattern =
            first == first_ && now.NumElements() == then.NumElements() && haveSamePattern(now, then);
        const bool sameTypes = next.Traits().mirrored() == matrix_.Traits().mirrored() &&
                               next.Traits().hermitian == matrix_.Traits().hermitian;
        if (samePattern && sameTypes && haveSameValues(now, then)) return SystemChange::None;
        exhausted_.reset();
        rank_.reset();
        isPivotingTried_ = isFitTried_ = false;
        others_.clear();
        first_ = first;
        if (samePattern && sameTypes) {
            matrix_.TakeValues(std::move(next));
            runner_.forgetValues();
            isFactorOld_ = true;
            return SystemChange::Values;
        }
        best_.reset(); // before the arrays that its factor knows
        runner_.restart();
        matrix_ = std::move(next);
        isFactorOld_ = isMatchingOld_ = false;
        return SystemChange::Pattern;
    }

    void save(SectionWriter& file) const override
    {
        const std::shared_lock together(busy_);
        saveMatrix<Cell>(matrix_.Matrix(), file);
        saveState({left_, exhausted_, isFactorOld_}, file);
        runner_.save(best_ ? &*best_ : nullptr, file);
    }
    /// What stands behind the matrix in a file. @throws as `LinearSystem::Load`
    void load(SectionReader& file)
    {
        SavedState state = loadState(file);
        best_ = runner_.load(file);
        left_ = std::move(state.left);
        exhausted_ = state.exhausted;
        isFactorOld_ = state.isFactorOld;
    }

private:
    using Units = std::optional<ColumnUnits<Cell>>;

    /// One triangle or both, whichever it came with: matrices are compared, not their storage.
    static const Sparse& inStorageOf(const Sparse& then, SystemMatrix<Cell>& next)
    {
        if (!isTriangle(then)) return next.Full();
        return next.Traits().mirrored() ? next.Upper() : next.Matrix();
    }

    ProbedColumns<Cell> columnsOf(const M* given, const M* known, TransposeMode op) const
    {
        const UnitsBy by = best_ ? best_->attempt.units : UnitsBy::LargestElements;
        return probedColumns<Cell>(matrix_.Matrix(), given, known, op, runner_.units(op, by));
    }

    /// By a factor that serves, beside other threads that solve with it. None where there is no such factor,
    /// or it does not do for these right-hand sides: then a single thread has to look further.
    std::optional<SystemAnswer<Cell>> solvedTogether(const M* given, const M* known, TransposeMode op)
    {
        const std::shared_lock together(busy_);
        const bool serves =
            best_ && best_->factor && !isFactorOld_ && exhausted_ == Verdict::Accurate && isKnownOnce(*best_);
        if (!serves) return std::nullopt;
        this->requireSizes(given, known, op, matrix_.Size(), matrix_.Size());
        Outcome<Cell> outcome = best_->road();
        outcome.factor = others_.take(*best_->factor);
        if (!outcome.factor) return std::nullopt;
        const ProbedColumns<Cell> columns = columnsOf(given, known, op);
        const Request<Cell> request{columns.B, columns.known, op};
        runner_.again(outcome, request);
        std::optional<SystemAnswer<Cell>> answer;
        if (outcome.verdict() == Verdict::Accurate) answer = judged(outcome, request, columns.units);
        const bool mayBeBetter = answer && answer->verdict != Verdict::Accurate &&
                                 (isMatchingOld_ || otherPivots(*answer, outcome, columns.units));
        if (mayBeBetter) answer.reset();
        others_.giveBack(std::move(outcome.factor));
        return answer;
    }

    /// What is found out of a factor once, by a single thread.
    bool isKnownOnce(const Outcome<Cell>& outcome) const
    {
        return (!tellsInertia(outcome) || outcome.inertia) &&
               (options_.errorBounds <= 0 || outcome.store != FactorStore::Memory || outcome.factorQuality);
    }

    SystemAnswer<Cell> solvedAlone(const M* given, const M* known, TransposeMode op)
    {
        const std::lock_guard turn(busy_);
        this->requireSizes(given, known, op, matrix_.Size(), matrix_.Size()); // which may have changed
        if (!isFinite())
            if (auto refusal = this->refusalOf(AnyMatrix<Cell>(matrix_.Matrix()))) return *std::move(refusal);
        if (isStructurallySingular()) return structurallySingular(given, op);
        const ProbedColumns<Cell> columns = columnsOf(given, known, op);
        others_.clear();
        return settledOrAsBefore({columns.B, columns.known, op}, columns.units);
    }

    /// Of the matrix as a whole: where its norm is a number, all elements are.
    bool isFinite() const { return std::isfinite(runner_.sizes(TransposeMode::NotTransposed).norm); }

    /// No road can do better. Where the diagonal is full, nothing has to be looked for, and an analysis for
    /// partial pivoting begins with a matching, whatever road is taken then. Zeros among later values of the
    /// pattern may leave none.
    std::int32_t structuralRankOnce()
    {
        if (rank_) return *rank_;
        if (!matrix_.Traits().fullDiagonal) runner_.firstRoad(first_);
        const bool isFull = matrix_.Traits().fullDiagonal || runner_.isMatched();
        rank_ = isFull ? matrix_.Size() : structuralRank<Cell>(matrix_.Matrix());
        return *rank_;
    }
    bool isStructurallySingular() { return structuralRankOnce() < matrix_.Size(); }

    SystemAnswer<Cell> structurallySingular(const M* given, TransposeMode op)
    {
        runner_.finish("analyse");
        SystemAnswer<Cell> answer;
        answer.road = nameOf(first_, EngineTypeOf<Cell>(typeOf(first_), matrix_.Traits()));
        answer.reason =
            fmt::format("structurally singular: {} of {} rows matched", structuralRankOnce(), matrix_.Size());
        answer.complaint = complaintOf(answer.reason);
        const EntryArrays<Cell> entries = entriesOf<Cell>(matrix_.Matrix());
        const StructuralFaults faults = findStructuralFaults<Cell>(entries);
        answer.faults = MatrixFaults([faults](std::int32_t first) { return explain(faults, first); });
        answer.solutions =
            given ? judgeStructurallySingular<Cell>(entries, faults, op, *given) : Solutions::Unknown;
        answer.ordering = options_.ordering.value_or(FillInReducingMethod::MinimumDegree);
        return answer;
    }

    /// What a solve goes on from, but for the factor.
    struct Standing {
        std::optional<Attempt> attempt; ///< of the factor
        std::vector<std::string> left;
        std::optional<Verdict> exhausted;
        bool isFactorOld, isMatchingOld, isPivotingTried, isFitTried;
        std::optional<RoadCost> largest;
    };

    /// After a failure all is as before. The factor that stood then is kept wherever it is; where it was
    /// given up for another road, the next solve makes it anew.
    SystemAnswer<Cell> settledOrAsBefore(const Request<Cell>& request, const Units& units)
    {
        const bool stands = best_ && best_->taken;
        const Standing before{stands ? std::optional(best_->attempt) : std::nullopt,
                              left_,
                              exhausted_,
                              isFactorOld_,
                              isMatchingOld_,
                              isPivotingTried_,
                              isFitTried_,
                              runner_.largest()};
        std::optional<Outcome<Cell>> outcome;
        try {
            return settle(request, units, outcome);
        } catch (...) {
            if (!best_) best_ = std::move(outcome);
            const bool isKept = best_ && best_->factor && before.attempt && best_->attempt == *before.attempt;
            if (!isKept) best_.reset();
            if (!isKept && before.attempt) best_ = Outcome<Cell>{.attempt = *before.attempt, .taken = true};
            left_ = before.left;
            exhausted_ = before.exhausted;
            isFactorOld_ = before.isFactorOld;
            isMatchingOld_ = before.isMatchingOld;
            isPivotingTried_ = before.isPivotingTried;
            isFitTried_ = before.isFitTried;
            runner_.largest(before.largest);
            throw;
        }
    }

    /// The factor at hand serves as long as what it gives is as good as the best that was ever found for this
    /// matrix; then the roads are searched. Right-hand sides that are no numbers tell nothing of any road:
    /// the first one has to do.
    SystemAnswer<Cell> settle(const Request<Cell>& request, const Units& units,
                              std::optional<Outcome<Cell>>& outcome)
    {
        const std::optional<Attempt> served =
            exhausted_ == Verdict::Accurate && best_ ? std::optional(best_->attempt) : std::nullopt;
        outcome = withFactorAtHand(request);
        if (!allFinite(request.B)) {
            if (!outcome) outcome = runner_.run(Attempt{runner_.firstRoad(first_)}, Reach::Near, request);
        } else if (!outcome || !isGoodEnough(*outcome)) {
            outcome.reset();
            outcome = searched(request);
        } else if (outcome->verdict() == Verdict::Accurate && !outcome->reusedFactor) {
            exhausted_ = Verdict::Accurate;
        }
        if (outcome->verdict() != Verdict::Accurate) runner_.repair(request, *outcome);
        SystemAnswer<Cell> answer = judged(*outcome, request, units);
        const bool mayBeMatched = isMatchingOld_ && scales(outcome->attempt.road) && allFinite(request.B);
        if (answer.verdict != Verdict::Accurate && mayBeMatched)
            answer = matchedAnew(std::move(answer), request, units, outcome);
        const bool spoilt = served && answer.verdict == Verdict::Failed && !(outcome->attempt == *served);
        if (!spoilt) {
            while (const auto attempt = otherPivots(answer, *outcome, units))
                answer = pivotedBeside(std::move(answer), *attempt, request, units, *outcome);
            isFitTried_ |= answer.x && answer.verdict != Verdict::Accurate; // not by a probe alone
        }
        best_ = std::move(*outcome);
        if (spoilt)
            best_ = Outcome<Cell>{.attempt = *served, .taken = true}; // the right-hand side is to blame
        return answer;
    }

    /// A matching of earlier values may be all that keeps an answer from being accurate. Once a set of values
    /// the roads are searched for that. @return  the better answer
    SystemAnswer<Cell> matchedAnew(SystemAnswer<Cell> before, const Request<Cell>& request,
                                   const Units& units, std::optional<Outcome<Cell>>& outcome)
    {
        outcome.reset();
        outcome = searched(request);
        if (outcome->verdict() != Verdict::Accurate) runner_.repair(request, *outcome);
        left_.push_back(
            fmt::format("{}: its matching was of earlier values, {}", before.road, before.reason));
        SystemAnswer<Cell> answer = judged(*outcome, request, units);
        return answer.verdict <= before.verdict ? std::move(answer) : std::move(before);
    }

    /// What might do better beside the factor at hand, by exchanges of rows in units of their own. A column
    /// that is worse than the probe may owe that to the pivots, as the probe itself may where the road has
    /// left the units of A as they are. Of a singular matrix they tell nothing, unless it is but its units
    /// that make it look so. And where the largest elements have told of alike units wrongly, the probe is
    /// harder than any right-hand side whose error is bounded.
    std::optional<Attempt> otherPivots(const SystemAnswer<Cell>& answer, const Outcome<Cell>& outcome,
                                       const Units& units) const
    {
        const bool isOpen = answer.x && hasWorse(answer, Verdict::Accurate, units) && !outcome.reusedFactor &&
                            outcome.store == FactorStore::Memory;
        if (!isOpen) return std::nullopt;
        const bool isAlike = runner_.haveAlikeUnits();
        if (mayBePivoted(answer, outcome, isAlike, units)) return Attempt{Road::Pivoted};
        if (isFitTried_ || !isAlike || options_.errorBounds <= 0 || !differByFit()) return std::nullopt;
        return Attempt{Road::Pivoted, {}, UnitsBy::Fit};
    }

    bool mayBePivoted(const SystemAnswer<Cell>& answer, const Outcome<Cell>& outcome, bool isAlike,
                      const Units& units) const
    {
        const Road road = outcome.attempt.road;
        const bool isSingular = answer.solutions || outcome.isSolvedByAnother();
        if (isPivotingTried_ || road == Road::Pivoted || road == Road::Dense || (isSingular && isAlike))
            return false;
        const Verdict ofProbe = verdictOf(0.0, outcome.quality->probeError);
        const bool isOfPivots =
            isSingular || (ofProbe != Verdict::Accurate && !scales(road) && road != Road::Cholesky);
        return hasWorse(answer, isOfPivots ? Verdict::Accurate : ofProbe, units);
    }

    static bool hasWorse(const SystemAnswer<Cell>& answer, Verdict expected, const Units& units)
    {
        for (std::size_t j = 0; j < answer.columns.size(); ++j)
            if (answer.columns[j].verdict > expected && (!units || units->isFinite(j))) return true;
        return false;
    }

    bool differByFit() const
    {
        const auto differ = [this](TransposeMode op) { return !runner_.units(op, UnitsBy::Fit).empty(); };
        return differ(TransposeMode::NotTransposed) || differ(TransposeMode::Transposed);
    }

    /// Once for a set of values, beside the factor at hand, which stays where that is no better.
    /// @return  the better answer
    SystemAnswer<Cell> pivotedBeside(SystemAnswer<Cell> before, const Attempt& attempt,
                                     const Request<Cell>& request, const Units& units, Outcome<Cell>& outcome)
    {
        const bool isByFit = attempt.units == UnitsBy::Fit;
        (isByFit ? isFitTried_ : isPivotingTried_) = true;
        std::optional<ProbedColumns<Cell>> fitted;
        if (isByFit)
            fitted = withOtherProbe<Cell>(matrix_.Matrix(), request.B, request.known, request.op,
                                          runner_.units(request.op, attempt.units));
        const Request<Cell> asked = fitted ? Request<Cell>{fitted->B, fitted->known, request.op} : request;
        Outcome<Cell> pivoted = runner_.runBeside(outcome, attempt, asked);
        pivoted.inertia = outcome.inertia;
        SystemAnswer<Cell> after = judged(pivoted, asked, units);
        const bool isBetter = after.x && std::ranges::lexicographical_compare(worstFirst(after.columns),
                                                                              worstFirst(before.columns));
        SystemAnswer<Cell>&best = isBetter ? after : before, &other = isBetter ? before : after;
        left_.push_back(fmt::format("{}: {}", other.road, other.reason));
        best.tried = left_;
        if (isBetter) {
            exhausted_ = std::min(exhausted_.value_or(Verdict::Failed), pivoted.verdict());
            outcome = std::move(pivoted);
        }
        return std::move(best);
    }

    static std::vector<Verdict> worstFirst(const std::vector<ColumnQuality>& columns)
    {
        std::vector<Verdict> verdicts;
        for (const ColumnQuality& column : columns) verdicts.push_back(column.verdict);
        std::ranges::sort(verdicts, std::ranges::greater());
        return verdicts;
    }

    SystemAnswer<Cell> judged(Outcome<Cell>& outcome, const Request<Cell>& request, const Units& units)
    {
        SystemAnswer<Cell> answer = tell(outcome);
        if (outcome.looksSingular() && outcome.factor) tellOfSingular(answer, request, outcome);
        if (answer.x) judgeColumns(answer, request, units, outcome);
        if (outcome.quality) judgeFactor(answer, outcome);
        if (tellsInertia(outcome)) answer.inertia = inertiaOnce(outcome, request.B.Cols());
        return answer;
    }

    /// To bound errors, to make good for replaced pivots, or to tell what is singular.
    static bool hasUseForFactor(const Outcome<Cell>& best)
    {
        return best.taken && best.quality &&
               (best.verdict() == Verdict::Degraded || best.perturbed > 0 || best.looksSingular());
    }

    /// The best of all roads, with its factor where that can be made better or be asked for more.
    Outcome<Cell> searched(const Request<Cell>& request)
    {
        RoadSearch<Cell> search(runner_, request, !options_.ordering);
        search.follow(runner_.firstRoad(first_));
        Outcome<Cell> best = search.best();
        left_ = search.left();
        isPivotingTried_ = search.hasTaken(Road::Pivoted);
        isMatchingOld_ = false;
        if (!best.factor && hasUseForFactor(best)) best = runner_.run(best.attempt, Reach::Far, request);
        runner_.forgetMatching();
        if (!exhausted_ || best.verdict() < *exhausted_) exhausted_ = best.verdict();
        return best;
    }

    /// Of a matrix that is singular to working precision, or looks so, by its factor. Where there are many
    /// solutions, no known one need come back.
    void tellOfSingular(SystemAnswer<Cell>& answer, const Request<Cell>& request,
                        Outcome<Cell>& outcome) const
    {
        SingularJudgement<Cell> singular =
            judgeSingular<Cell>(AnyMatrix<Cell>(matrix_.Matrix()), *outcome.factor, request.op, request.B,
                                {.columns = request.B.Cols() - 1,
                                 .isHermitian = matrix_.Traits().hermitian,
                                 .replaced = outcome.perturbed,
                                 .operations = outcome.cost.operations});
        runner_.finish("check");
        if (!singular.isSingular && !outcome.isSolvedByAnother()) return;
        answer.faults = std::move(singular.faults);
        const bool isSolved = !outcome.isSolvedByAnother() && !singular.x; // as well as rounding allows
        if (!answer.x || isSolved) return;
        answer.solutions = singular.solutions;
        if (singular.solutions == Solutions::None) {
            answer.reason = "singular, and the right-hand side is not in the range";
            answer.complaint = complaintOf(answer.reason);
        }
        if (!singular.x) return;
        answer.x = std::move(singular.x);
        answer.verdict = Verdict::Degraded;
        answer.reason = singular.isShortest ? "singular: the shortest of many solutions"
                                            : "singular: one of many solutions";
        answer.complaint.clear();
        answer.probeError = answer.knownError = std::nullopt;
    }

    static M withoutProbe(const M& B) { return roads::columnsOf(B, 0, B.Cols() - 1); }

    std::optional<Outcome<Cell>> withFactorAtHand(const Request<Cell>& request)
    {
        const bool isOld = std::exchange(isFactorOld_, false);
        if (isOld) left_.clear();
        if (!best_ || !best_->taken || (isOld && !best_->factor)) {
            best_.reset();
        } else if (isOld) {
            withOldFactor(*best_, request);
        } else if (best_->factor) {
            runner_.again(*best_, request);
        } else {
            *best_ = runner_.run(best_->attempt, Reach::Far, request);
        }
        return std::exchange(best_, std::nullopt);
    }

    void withOldFactor(Outcome<Cell>& outcome, const Request<Cell>& request)
    {
        if (options_.reuseFactor) {
            runner_.precondition(outcome, request);
            isFactorOld_ = outcome.x && outcome.verdict() == Verdict::Accurate;
            if (isFactorOld_) return;
        }
        runner_.refactorize(outcome, request);
        isMatchingOld_ = true;
    }

    bool isGoodEnough(const Outcome<Cell>& outcome) const
    {
        return outcome.verdict() == Verdict::Accurate || (exhausted_ && outcome.verdict() <= *exhausted_);
    }

    /// Of a Hermitian matrix, whose signs it may tell, the drift as well.
    FactorQuestion ofFactor() const
    {
        FactorQuestion question{.oneNorm = runner_.sizes(TransposeMode::Transposed).norm,
                                .rowSums = runner_.sizes(TransposeMode::NotTransposed).sums};
        if (matrix_.Traits().hermitian) question.shift = 0.0;
        return question;
    }

    /// Where bounds are asked for: what the factor is worth, whatever is solved with it, if no bound has
    /// asked for it yet.
    void judgeFactor(SystemAnswer<Cell>& answer, Outcome<Cell>& outcome) const
    {
        if (options_.errorBounds <= 0 || !outcome.factor || outcome.store != FactorStore::Memory ||
            outcome.reusedFactor)
            return;
        if (!outcome.factorQuality) {
            outcome.factorQuality = qualityBy(*outcome.factor, AnyMatrix<Cell>(matrix_.Matrix()), ofFactor());
            runner_.finish("check");
        }
        if (!outcome.isSolvedByAnother()) answer.condition = outcome.factorQuality->condition;
    }

    /// The worst of the columns counts, and what the road said of them all.
    void judgeColumns(SystemAnswer<Cell>& answer, const Request<Cell>& request, const Units& units,
                      Outcome<Cell>& outcome) const
    {
        const bool isUnique = answer.solutions != Solutions::Many;
        answer.columns =
            improvedColumns<Cell>(AnyMatrix<Cell>(matrix_.Matrix()), request.op, withoutProbe(request.B),
                                  *answer.x, units ? &*units : nullptr, outcome.factor.get(),
                                  isUnique ? boundsFor(outcome, request.op) : BoundsAsked());
        if (units) units->multiply(*answer.x);
        runner_.finish("check");
        if (!isUnique) tellOfMany(answer);
        lowerToWorst(answer, units ? &*units : nullptr);
    }

    /// x is not the road's any more.
    static void tellOfMany(SystemAnswer<Cell>& answer)
    {
        answer.residual = 0.0;
        for (ColumnQuality& column : answer.columns) {
            answer.residual = worseError(*answer.residual, column.backwardError);
            column.verdict = std::max(column.verdict, Verdict::Degraded);
        }
    }

    /// Of numbers alone.
    bool tellsInertia(const Outcome<Cell>& outcome) const
    {
        return options_.errorBounds > 0 && outcome.store == FactorStore::Memory &&
               matrix_.Traits().hermitian && !outcome.reusedFactor && isFinite();
    }

    const CertainInertia& inertiaOnce(Outcome<Cell>& outcome, std::int32_t rightHands)
    {
        if (!outcome.inertia) {
            outcome.inertia = sureInertia<Cell>(
                matrix_, outcome, [&] { return runner_.leftBeside(outcome, rightHands); },
                options_.certainInertia);
            runner_.finish("check");
        }
        return *outcome.inertia;
    }

    /// Solves with a factor in files read all of it each time, what cannot be but failed needs no bound, and
    /// a factor of other values tells none. Where another than the probe solves its system, no column is a
    /// solution.
    BoundsAsked boundsFor(Outcome<Cell>& outcome, TransposeMode op) const
    {
        const double probeError = outcome.quality->probeError;
        if (outcome.isSolvedByAnother()) return {0, std::numeric_limits<double>::quiet_NaN()};
        const bool pays = outcome.store == FactorStore::Memory && probeError < kNoDigit;
        return {.columns = pays && !outcome.reusedFactor ? options_.errorBounds : 0,
                .probeError = probeError,
                .ofFactor = &outcome.factorQuality,
                .question = ofFactor(),
                .isOfAnother = outcome.attempt.road == Road::Delayed && outcome.perturbed > 0,
                .sizes = &runner_.sizes(op)};
    }

    SystemAnswer<Cell> tell(Outcome<Cell>& outcome) const
    {
        SystemAnswer<Cell> answer{.verdict = outcome.verdict(),
                                  .reason = outcome.reason(),
                                  .road = outcome.roadName,
                                  .tried = left_,
                                  .perturbedPivots = outcome.perturbed,
                                  .refinementSteps = outcome.steps,
                                  .krylovSteps = outcome.krylovSteps,
                                  .reusedFactor = outcome.reusedFactor,
                                  .factorEntries = outcome.factorEntries,
                                  .store = outcome.store,
                                  .coreMegabytes = runner_.coreMegabytes()};
        if (outcome.attempt.road != Road::Dense) answer.ordering = outcome.ordering;
        if (answer.verdict == Verdict::Failed) answer.complaint = complaintOf(answer.reason);
        if (!outcome.x) return answer;
        answer.residual = outcome.quality->residual;
        answer.probeError = outcome.quality->probeError;
        answer.knownError = outcome.quality->knownError;
        const std::int32_t columns = outcome.x->Cols() - 1;
        if (columns > 0) {
            answer.x = std::move(outcome.x);
            answer.x->Cols(columns);
        }
        outcome.x.reset();
        return answer;
    }

    SystemOptions options_;
    SystemMatrix<Cell> matrix_;
    Road first_;
    RoadRunner<Cell> runner_;
    std::optional<Outcome<Cell>> best_{}; ///< of the last solve, mostly with its factor
    std::vector<std::string> left_{};     ///< what the search said of the other roads
    std::optional<Verdict> exhausted_{};  ///< that a search came to
    bool isFactorOld_ = false;            ///< the values have changed since
    bool isMatchingOld_ = false;          ///< likewise, since the analysis; the factor is one of theirs
    bool isPivotingTried_ = false;        ///< of these values
    bool isFitTried_ = false;             ///< likewise, in units by their fit
    std::optional<std::int32_t> rank_{};  ///< structural
    SolverPool<Cell> others_{};           ///< with the factor of `best_`
    mutable std::shared_mutex busy_{};    ///< shared by those who solve with a factor that serves
};

} // namespace

template <class Cell>
std::unique_ptr<SystemSession<Cell>> sparseSession(SparseOf<Cell>&& A, SystemOptions options)
{
    if (A.Rows() != A.Cols()) return rectangularSession<Cell>(std::move(A), std::move(options));
    if (isOneTriangle(A) && !std::is_same_v<Cell, double>)
        return sparseSession<Cell>(std::as_const(A), options);
    return std::make_unique<RoadsOfSparse<Cell>>(std::move(A), std::move(options));
}

template <class Cell>
std::unique_ptr<SystemSession<Cell>> sparseSession(const SparseOf<Cell>& A, SystemOptions options)
{
    SparseOf<Cell> whole = wholeOf<Cell>(A);
    if (A.Rows() != A.Cols()) return rectangularSession<Cell>(std::move(whole), std::move(options));
    return std::make_unique<RoadsOfSparse<Cell>>(std::move(whole), std::move(options));
}

template <class Cell>
std::unique_ptr<SystemSession<Cell>> loadedSession(SectionReader& file, SystemOptions options)
{
    auto session = std::make_unique<RoadsOfSparse<Cell>>(loadMatrix<Cell>(file), std::move(options));
    session->load(file);
    return session;
}

template std::unique_ptr<SystemSession<double>> loadedSession<double>(SectionReader&, SystemOptions);
template std::unique_ptr<SystemSession<Complex>> loadedSession<Complex>(SectionReader&, SystemOptions);
template std::unique_ptr<SystemSession<double>> sparseSession<double>(SparseMatrix&&, SystemOptions);
template std::unique_ptr<SystemSession<double>> sparseSession<double>(const SparseMatrix&, SystemOptions);
template std::unique_ptr<SystemSession<Complex>> sparseSession<Complex>(CSparseMatrix&&, SystemOptions);
template std::unique_ptr<SystemSession<Complex>> sparseSession<Complex>(const CSparseMatrix&, SystemOptions);

} // namespace Velmar::Lintrix::detail
