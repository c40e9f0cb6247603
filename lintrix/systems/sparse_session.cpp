#include <lintrix/systems/session.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/road_search.h>
#include <lintrix/systems/roads/sparse_rows.h>
#include <lintrix/systems/roads/words.h>
#include <lintrix/systems/singular_system.h>
#include <lintrix/systems/structure/sparse_entries.h>
#include <lintrix/systems/structure/structural_faults.h>
#include <lintrix/systems/sure_inertia.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <mutex>
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
        : options_(std::move(options)), matrix_(squareOnly(std::move(A))),
          first_(chooseRoad(matrix_.Traits(), options_.type)), runner_(matrix_, options_)
    {
    }

    std::int32_t rows() const noexcept override { return matrix_.Size(); }
    std::int32_t cols() const noexcept override { return matrix_.Size(); }
    const MatrixTraits& traits() const noexcept override { return matrix_.Traits(); }
    std::int32_t analyses() const override
    {
        const std::lock_guard turn(busy_);
        return runner_.analyses();
    }
    std::int32_t factorizations() const override
    {
        const std::lock_guard turn(busy_);
        return runner_.factorizations();
    }

    SystemForecast forecast() override
    {
        const std::lock_guard turn(busy_);
        if (isStructurallySingular()) return {};
        const RoadCost cost = runner_.forecast(Attempt{first_});
        return {cost.entries, cost.operations, cost.bytesInMemory, cost.bytesWithFiles};
    }

    SystemAnswer<Cell> solve(const M* given, const M* known, TransposeMode op) override
    {
        const std::lock_guard turn(busy_);
        if (isStructurallySingular()) return structurallySingular(given, op);
        const M solutions = withProbe(known);
        const M products = productOf<Cell>(matrix_.Matrix(), solutions, op);
        const M B = given ? beside(*given, products) : products;
        return settle({B, solutions, op});
    }

    SystemChange update(const Sparse& A) override
    {
        const std::lock_guard turn(busy_);
        SystemMatrix<Cell> next(squareOnly(wholeOf<Cell>(A)));
        const Road first = chooseRoad(next.Traits(), options_.type);
        const bool samePattern = first == first_ &&
                                 next.Matrix().NumElements() == matrix_.Matrix().NumElements() &&
                                 haveSamePattern(next.Matrix(), matrix_.Matrix());
        const bool sameTypes = next.Traits().mirrored() == matrix_.Traits().mirrored() &&
                               next.Traits().hermitian == matrix_.Traits().hermitian;
        if (samePattern && sameTypes && haveSameValues(next.Matrix(), matrix_.Matrix()))
            return SystemChange::None;
        exhausted_.reset();
        rank_.reset();
        first_ = first;
        if (samePattern && sameTypes) {
            matrix_.TakeValues(std::move(next));
            isFactorOld_ = true;
            return SystemChange::Values;
        }
        best_.reset(); // before the arrays that its factor knows
        runner_.restart();
        matrix_ = std::move(next);
        isFactorOld_ = false;
        return SystemChange::Pattern;
    }

private:
    /// No road can do better. Where the diagonal is full, nothing has to be looked for.
    std::int32_t structuralRankOnce()
    {
        if (!rank_)
            rank_ = matrix_.Traits().fullDiagonal ? matrix_.Size() : structuralRank<Cell>(matrix_.Matrix());
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
        const StructuralFaults faults = findStructuralFaults<Cell>(entriesOf<Cell>(matrix_.Matrix()));
        answer.faults = MatrixFaults([faults](std::int32_t first) { return explain(faults, first); });
        const bool plain = op == TransposeMode::NotTransposed;
        const bool contradicts = given && asksForMore(*given, plain ? faults.emptyRows : faults.emptyColumns);
        answer.solutions = contradicts ? Solutions::None : Solutions::Unknown;
        answer.ordering = options_.ordering.value_or(FillInReducingMethod::MinimumDegree);
        return answer;
    }

    /// Where a row of op(A) is empty, only 0 can stand on the right.
    static bool asksForMore(const M& B, const std::vector<std::int32_t>& emptyRows)
    {
        return std::ranges::any_of(emptyRows, [&B](std::int32_t i) {
            for (std::int32_t j = 0; j < B.Cols(); ++j)
                if (B(i, j) != 0.0) return true;
            return false;
        });
    }

    static std::string complaintOf(const std::string& reason)
    {
        return "there is no good solution: " + reason;
    }

    M withProbe(const M* known) const
    {
        const M probe = probeSolution<Cell>(matrix_.Size());
        return known ? beside(*known, probe) : probe;
    }

    static M beside(const M& left, const M& right)
    {
        M both(left.Rows(), left.Cols() + right.Cols());
        copyColumns(left, both, 0);
        copyColumns(right, both, left.Cols());
        return both;
    }

    /// The factor at hand serves as long as what it gives is as good as the best that was ever found for this
    /// matrix; then the roads are searched. Right-hand sides that are no numbers tell nothing of any road:
    /// the first one has to do.
    SystemAnswer<Cell> settle(const Request<Cell>& request)
    {
        const std::optional<Attempt> served =
            exhausted_ == Verdict::Accurate && best_ ? std::optional(best_->attempt) : std::nullopt;
        std::optional<Outcome<Cell>> outcome = withFactorAtHand(request);
        if (!allFinite(request.B)) {
            if (!outcome) outcome = runner_.run(Attempt{first_}, Reach::Near, request);
        } else if (!outcome || !isGoodEnough(*outcome)) {
            outcome.reset();
            outcome = searched(request);
        }
        if (outcome->verdict() != Verdict::Accurate) runner_.repair(request, *outcome);
        SystemAnswer<Cell> answer = tell(*outcome);
        if (outcome->isSolvedByAnother() && outcome->factor) tellOfSingular(answer, request, *outcome);
        if (answer.x) judgeFactor(answer, *outcome);
        if (answer.x) judgeColumns(answer, request, *outcome);
        if (tellsInertia(request, *outcome)) answer.inertia = inertiaOnce(*outcome);
        const bool spoilt = served && answer.verdict == Verdict::Failed && !(outcome->attempt == *served);
        best_ = std::move(*outcome);
        if (spoilt)
            best_ = Outcome<Cell>{.attempt = *served, .taken = true}; // the right-hand side is to blame
        return answer;
    }

    /// To bound errors, to make good for replaced pivots, or to tell what is singular.
    static bool hasUseForFactor(const Outcome<Cell>& best)
    {
        return best.taken && best.quality && (best.verdict() == Verdict::Degraded || best.perturbed > 0);
    }

    /// The best of all roads, with its factor where that can be made better or be asked for more.
    Outcome<Cell> searched(const Request<Cell>& request)
    {
        RoadSearch<Cell> search(runner_, request, !options_.ordering);
        search.follow(first_);
        Outcome<Cell> best = search.best();
        left_ = search.left();
        if (!best.factor && hasUseForFactor(best)) best = runner_.run(best.attempt, Reach::Far, request);
        if (!exhausted_ || best.verdict() < *exhausted_) exhausted_ = best.verdict();
        return best;
    }

    /// Of a matrix that is singular to working precision, by the factor whose pivots were replaced. Where
    /// there are many solutions, no known one need come back.
    void tellOfSingular(SystemAnswer<Cell>& answer, const Request<Cell>& request,
                        Outcome<Cell>& outcome) const
    {
        SingularJudgement<Cell> singular = judgeSingular<Cell>(matrix_.Matrix(), *outcome.factor, request.op,
                                                               request.B, request.B.Cols() - 1);
        runner_.finish("check");
        answer.faults = std::move(singular.faults);
        if (!answer.x) return;
        answer.solutions = singular.solutions;
        if (singular.solutions == Solutions::None) {
            answer.reason = "singular, and the right-hand side is not in the range";
            answer.complaint = complaintOf(answer.reason);
        }
        if (!singular.x) return;
        answer.x = std::move(singular.x);
        answer.verdict = Verdict::Degraded;
        answer.reason = "singular: the shortest of many solutions";
        answer.complaint.clear();
        answer.probeError = answer.knownError = std::nullopt;
    }

    static M withoutProbe(const M& B)
    {
        M others(B);
        others.Cols(B.Cols() - 1);
        return others;
    }

    std::optional<Outcome<Cell>> withFactorAtHand(const Request<Cell>& request)
    {
        std::optional<Outcome<Cell>> before = std::exchange(best_, std::nullopt);
        const bool isOld = std::exchange(isFactorOld_, false);
        if (!before || !before->taken) return std::nullopt;
        if (isOld) {
            left_.clear();
            if (before->factor) return runner_.refactorize(std::move(*before), request);
            return std::nullopt;
        }
        if (before->factor) return runner_.again(std::move(*before), request);
        return runner_.run(before->attempt, Reach::Far, request);
    }

    bool isGoodEnough(const Outcome<Cell>& outcome) const
    {
        return outcome.verdict() == Verdict::Accurate || (exhausted_ && outcome.verdict() <= *exhausted_);
    }

    /// Where bounds are asked for: what the factor is worth, whatever is solved with it.
    void judgeFactor(SystemAnswer<Cell>& answer, Outcome<Cell>& outcome) const
    {
        if (options_.errorBounds <= 0 || !outcome.factor || outcome.store != FactorStore::Memory) return;
        if (!outcome.factorQuality)
            outcome.factorQuality = qualityOfFactor<Cell>(
                MatrixView<Cell>(matrix_.Matrix()),
                inverseBy(*outcome.factor, matrix_.Size(), TransposeMode::NotTransposed),
                {.shift = matrix_.Traits().hermitian ? std::optional(0.0) : std::nullopt});
        if (!outcome.isSolvedByAnother()) answer.condition = outcome.factorQuality->condition;
    }

    /// The worst of the columns counts, and what the road said of them all.
    void judgeColumns(SystemAnswer<Cell>& answer, const Request<Cell>& request, Outcome<Cell>& outcome) const
    {
        const bool isUnique = answer.solutions != Solutions::Many;
        BoundsAsked asked{isUnique ? boundsFor(outcome) : 0, isUnique ? outcome.quality->probeError : 0.0};
        if (outcome.factorQuality) asked.inverseNorm = outcome.factorQuality->inverseNormAtMost();
        answer.columns = qualityOfColumns<Cell>(matrix_.Matrix(), request.op, withoutProbe(request.B),
                                                *answer.x, outcome.factor.get(), asked);
        runner_.finish("check");
        if (!isUnique) tellOfMany(answer);
        for (const ColumnQuality& column : answer.columns) {
            if (column.verdict <= answer.verdict) continue;
            answer.verdict = column.verdict;
            answer.reason = reasonOf(column);
        }
        if (answer.verdict == Verdict::Failed && answer.complaint.empty())
            answer.complaint = complaintOf(answer.reason);
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

    /// Of right-hand sides that were given, and of numbers.
    bool tellsInertia(const Request<Cell>& request, const Outcome<Cell>& outcome) const
    {
        return request.B.Cols() > 1 && options_.errorBounds > 0 && outcome.store == FactorStore::Memory &&
               matrix_.Traits().hermitian && std::isfinite(infinityNorm(MatrixView<Cell>(matrix_.Matrix())));
    }

    const CertainInertia& inertiaOnce(Outcome<Cell>& outcome)
    {
        if (!outcome.inertia) {
            outcome.inertia = sureInertia<Cell>(matrix_, outcome);
            runner_.finish("check");
        }
        return *outcome.inertia;
    }

    /// Solves with a factor in files read all of it each time, and what has failed needs no bound.
    std::int32_t boundsFor(const Outcome<Cell>& outcome) const
    {
        const bool pays = outcome.store == FactorStore::Memory && outcome.verdict() != Verdict::Failed;
        return pays ? options_.errorBounds : 0;
    }

    static std::string reasonOf(const ColumnQuality& column)
    {
        if (!(column.backwardError <= kRoundingLevel))
            return "scaled residual " + numberInWords(column.backwardError);
        return std::isfinite(*column.errorBound)
                   ? fmt::format("ill-conditioned, error up to {}", numberInWords(*column.errorBound))
                   : "the error cannot be bounded";
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
    std::optional<std::int32_t> rank_{};  ///< structural
    mutable std::mutex busy_{};
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

template std::unique_ptr<SystemSession<double>> sparseSession<double>(SparseMatrix&&, SystemOptions);
template std::unique_ptr<SystemSession<double>> sparseSession<double>(const SparseMatrix&, SystemOptions);
template std::unique_ptr<SystemSession<Complex>> sparseSession<Complex>(CSparseMatrix&&, SystemOptions);
template std::unique_ptr<SystemSession<Complex>> sparseSession<Complex>(const CSparseMatrix&, SystemOptions);

} // namespace Velmar::Lintrix::detail
