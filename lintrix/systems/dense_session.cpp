#include <lintrix/systems/session.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/factor_quality.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/balance.h>
#include <lintrix/systems/roads/dense_factor.h>
#include <lintrix/systems/roads/dense_solver.h>
#include <lintrix/systems/roads/memory_budget.h>
#include <lintrix/systems/roads/probed_columns.h>
#include <lintrix/systems/roads/road_choice.h>
#include <lintrix/systems/singular_system.h>
#include <lintrix/systems/sure_inertia.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <ranges>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

Matrix turned(const Matrix& A, TransposeMode)
{
    return A.Transpose();
}
CMatrix turned(const CMatrix& A, TransposeMode op)
{
    return op == TransposeMode::Transposed ? A.Transpose() : A.Adjoint();
}

template <class Cell>
class DenseRoads final : public SystemSession<Cell> {
public:
    using M = MatrixOf<Cell>;

    DenseRoads(M A, SystemOptions options)
        : SystemSession<Cell>(options), options_(std::move(options)), A_(std::move(A))
    {
    }

    std::int32_t rows() const override { return A_.Rows(); }
    std::int32_t cols() const override { return A_.Cols(); }
    const MatrixTraits& traits() const noexcept override { return traits_; }
    std::int32_t analyses() const override { return 0; }
    std::int32_t factorizations() const override { return factorizations_; }

    SystemForecast forecast() override
    {
        SystemForecast forecast = cost();
        forecast.seconds =
            SecondsFor({forecast.operations, sizeof(Cell) * static_cast<double>(forecast.factorEntries)});
        return forecast;
    }

    SystemAnswer<Cell> solve(const M* given, const M* known, TransposeMode op) override
    {
        this->requireSizes(given, known, op, rows(), cols());
        ControlledRun run(this->watch_);
        const SystemForecast forecast = cost();
        const double columns = given ? given->Cols() : known ? known->Cols() : 1;
        MemoryBudget(options_).require(bytesOfColumns<Cell>(std::max(rows(), cols()), columns + 1.0),
                                       forecast.bytesInMemory, forecast.bytesInMemory);
        SystemAnswer<Cell> answer = settle(given, known, op);
        run.finish();
        return answer;
    }

private:
    SystemForecast cost() const
    {
        const double m = rows(), n = cols(), p = std::min(m, n),
                     each = std::is_same_v<Cell, Complex> ? 4.0 : 1.0;
        const double operations =
            each * (m == n ? 2.0 / 3.0 * n * n * n : 2.0 * p * p * (std::max(m, n) - p / 3.0));
        const double bytes = 2.0 * sizeof(Cell) * m * n;
        return {static_cast<std::int64_t>(m * n), operations, bytes, bytes};
    }

    SystemAnswer<Cell> settle(const M* given, const M* known, TransposeMode op)
    {
        const bool probeAlone = !given && !known;
        const M zero(op == TransposeMode::NotTransposed ? rows() : cols(), 1);
        if (probeAlone) given = &zero;
        SystemAnswer<Cell> answer =
            rows() == cols() ? solveSquare(given, known, op, probeAlone) : solveRectangular(given, known, op);
        if (answer.verdict == Verdict::Failed) {
            if (auto refusal = this->refusalOf(AnyMatrix<Cell>(A_))) return *std::move(refusal);
        }
        if (rows() == cols()) answer.inertia = inertiaOnce();
        if (probeAlone) {
            answer.x.reset();
            answer.columns.clear();
        }
        return answer;
    }

    /// One factor for every op.
    DenseFactor<Cell>& factorOnce()
    {
        const std::lock_guard turn(busy_);
        if (factor_) return *factor_;
        WorkScope::expect(cost().operations);
        factor_ = std::make_unique<DenseFactor<Cell>>(A_);
        ++factorizations_;
        return *factor_;
    }

    /// Where bounds are asked for: what the factor is worth, whatever is solved with it.
    std::optional<FactorQuality> qualityOnce(DenseFactor<Cell>& factor)
    {
        if (options_.errorBounds <= 0) return std::nullopt;
        const std::lock_guard turn(busy_);
        if (!quality_) quality_ = qualityBy<Cell>(factor, AnyMatrix<Cell>(A_), {});
        return quality_;
    }

    /// Of a symmetric or Hermitian matrix of numbers, where bounds are asked for.
    std::optional<CertainInertia> inertiaOnce()
    {
        if (options_.errorBounds <= 0) return std::nullopt;
        const std::lock_guard turn(busy_);
        if (!isHermitian_) isHermitian_ = allFinite(A_) && isItsOwnAdjoint();
        if (*isHermitian_ && !inertia_) {
            const double own = cost().bytesInMemory;
            inertia_ = sureInertia<Cell>(
                A_, [this, own] { return MemoryBudget(options_).left(own); }, options_.certainInertia);
            finish("check");
        }
        return inertia_;
    }

    bool isItsOwnAdjoint() const
    {
        for (std::int32_t j = 0; j < cols(); ++j) {
            WorkScope::tell();
            for (std::int32_t i = 0; i <= j; ++i)
                if (A_(i, j) != conjugate(A_(j, i))) return false;
        }
        return true;
    }

    SystemAnswer<Cell> solveSquare(const M* given, const M* known, TransposeMode op, bool probeAlone)
    {
        DenseFactor<Cell>& factor = factorOnce();
        const std::vector<int>& units = units_.ofUnknowns(AnyMatrix<Cell>(A_), op, UnitsBy::LargestElements);
        const ProbedColumns<Cell> columns = probedColumns<Cell>(A_, given, known, op, units);
        M X(rows(), columns.B.Cols());
        if (factor.solve(columns.B, X, op, {}).error != 0) throw NotEnoughMemoryException();
        finish("solve");
        const bool showsSingular = factor.isSingular() || isSolvedByAnother(columns, X, op);
        Answer<M> singular{.status = Status::Singular, .road = "LU"};
        SystemAnswer<Cell> answer =
            factor.isSingular() ? told(singular, A_, {}) : judged(factor, columns, std::move(X), known, op);
        if (showsSingular || looksSingular(answer))
            tellOfSingular(answer, factor, columns, op, probeAlone ? 0 : columns.B.Cols() - 1);
        return answer;
    }

    /// The probe may come back by chance.
    static bool looksSingular(const SystemAnswer<Cell>& answer)
    {
        constexpr double kFewDigitsLeft = 1e14;
        return answer.x && answer.verdict != Verdict::Accurate &&
               answer.condition.value_or(0.0) >= kFewDigitsLeft;
    }

    /// Something else than the probe solves its system to rounding level.
    bool isSolvedByAnother(const ProbedColumns<Cell>& columns, const M& X, TransposeMode op) const
    {
        const M probe = columnOf(columns.known, columns.known.Cols() - 1), back = columnOf(X, X.Cols() - 1),
                b = columnOf(columns.B, columns.B.Cols() - 1);
        if (probeErrorInUnits(probe, back) < kNoDigit) return false;
        M r(rows(), 1);
        const AnyMatrix<Cell> A(A_);
        residual(A, op, 1, cellsOf(b).data(), cellsOf(back).data(), cellsOf(r).data());
        const auto size = [this](const M& x) { return largestModulus(cellsOf(x).data(), rows()); };
        return normwiseBackwardError(rowSizesOf(A, op).norm, size(back), size(b), size(r)) <= kRoundingLevel;
    }

    /// Of a matrix that is singular to working precision: what makes it so, and whether the first `count`
    /// right-hand sides have solutions. The verdict stays that of the elimination, as callers of dense
    /// systems rely on.
    void tellOfSingular(SystemAnswer<Cell>& answer, DenseFactor<Cell>& factor,
                        const ProbedColumns<Cell>& columns, TransposeMode op, std::int32_t count) const
    {
        SingularJudgement<Cell> singular = judgeSingular<Cell>(
            AnyMatrix<Cell>(A_), factor, op, columns.B, {.columns = count, .operations = cost().operations});
        answer.faults = std::move(singular.faults);
        const bool isKnown = singular.solutions != Solutions::Unknown;
        if (isKnown && answer.verdict == Verdict::Failed) answer.solutions = singular.solutions;
        finish("check");
    }

    /// A column that overflows fails alone, and so does one whose right-hand side is not finite.
    static bool isSolution(const M& X, std::int32_t j, const ColumnUnits<Cell>* units)
    {
        return (units == nullptr || units->isFinite(static_cast<std::size_t>(j))) &&
               allFinite(columnOf(X, j));
    }
    /// Whether one of so many is finite.
    static bool hasRightHand(const ColumnUnits<Cell>* units, std::int32_t count)
    {
        const auto columns = std::views::iota(0, count);
        return std::ranges::any_of(columns,
                                   [units](int j) { return units == nullptr || units->isFinite(j); });
    }

    /// The worst of the columns counts, and the probe.
    SystemAnswer<Cell> judged(DenseFactor<Cell>& factor, const ProbedColumns<Cell>& columns, M X,
                              const M* known, TransposeMode op)
    {
        const std::int32_t count = X.Cols() - 1;
        Answer<M> found{
            .road = "LU",
            .probeError = probeError(columnOf(columns.known, columns.known.Cols() - 1), columnOf(X, count))};
        M B(columns.B);
        B.Cols(count);
        X.Cols(count);
        const ColumnUnits<Cell>* const units = columns.units ? &*columns.units : nullptr;
        BoundsAsked asked{options_.errorBounds, *found.probeError};
        std::optional<FactorQuality> ofFactor = qualityOnce(factor);
        if (ofFactor) asked.ofFactor = &ofFactor;
        std::vector<ColumnQuality> qualities =
            improvedColumns<Cell>(AnyMatrix<Cell>(A_), op, B, X, units, &factor, asked);
        if (units) units->multiply(X);
        Quality quality{};
        bool hasSolution = false;
        for (std::int32_t j = 0; j < count; ++j) {
            if (!isSolution(X, j, units)) continue;
            hasSolution = true;
            quality.residual =
                largerOrNaN(quality.residual, qualities[static_cast<std::size_t>(j)].backwardError);
        }
        if (!hasSolution && hasRightHand(units, count)) found.status = Status::NotFinite;
        found.x = std::move(X);
        SystemAnswer<Cell> answer = told(found, A_, quality, known);
        if (ofFactor) answer.condition = ofFactor->condition;
        if (!answer.x) return answer;
        answer.columns = std::move(qualities);
        lowerToWorst(answer, units);
        return answer;
    }

    SystemAnswer<Cell> solveRectangular(const M* given, const M* known, TransposeMode op)
    {
        std::optional<M> other;
        if (op != TransposeMode::NotTransposed) other = turned(A_, op);
        const int exponent = exponentToMiddle<Cell>(cellsOf(A_));
        if (exponent != 0) {
            if (!other) other = A_;
            multiplyByPowerOfTwo(cellsOf(*other), -exponent);
        }
        const M& A = other ? *other : A_;
        const M B = given ? *given : A * *known;
        // A wide system is answered by its shortest solution, which a known one need not be.
        const bool isUnique = known && A.Rows() >= A.Cols();
        const auto units =
            given ? std::optional<ColumnUnits<Cell>>(std::in_place, B, exponent) : std::nullopt;
        M own(B);
        if (units) units->divide(own);
        WorkScope::expect(cost().operations);
        Answer<M> found = solveDense(A, own, options_.errorBounds > 0);
        ++factorizations_;
        finish("solve");
        if (found.status != Status::Solved) return told(found, A, {});
        return judged(A, found, own, units ? &*units : nullptr, isUnique ? known : nullptr);
    }

    /// The worst of the columns counts, and the probe. B in `units`, if there are any, as `found` is.
    SystemAnswer<Cell> judged(const M& A, Answer<M>& found, const M& B, const ColumnUnits<Cell>* units,
                              const M* known) const
    {
        std::vector<double> changes(static_cast<std::size_t>(B.Cols()));
        if (units) changes = units->takeThereAndBack(*found.x);
        const std::vector<Quality> ofColumns = judgeColumns(A, *found.x, B);
        if (units) units->multiply(*found.x);
        const auto isGiven = [units](std::size_t j) { return units == nullptr || units->isFinite(j); };
        bool hasSolution = false;
        Quality worst;
        std::vector<ColumnQuality> columns;
        for (std::size_t j = 0; j < ofColumns.size(); ++j) {
            const Quality& column = ofColumns[j];
            columns.push_back({Verdict::Failed, isGiven(j) ? column.judged() : kNaN, kNaN});
            if (!isSolution(*found.x, static_cast<std::int32_t>(j), units)) continue;
            hasSolution = true;
            worst = worseOf(worst, column);
            if (!found.errorBounds.empty()) columns.back().errorBound = found.errorBounds[j] + changes[j];
        }
        if (!hasSolution && hasRightHand(units, B.Cols())) found.status = Status::NotFinite;
        SystemAnswer<Cell> answer =
            told(found, A, worst, units == nullptr || units->allFinite() ? known : nullptr);
        if (!answer.x) return answer;
        const double probeError = worseError(*answer.probeError, answer.knownError);
        for (std::size_t j = 0; j < columns.size(); ++j)
            if (isGiven(j)) columns[j].verdict = verdictOf(columns[j], probeError);
        answer.columns = std::move(columns);
        lowerToWorst(answer, units);
        return answer;
    }

    /// A bound that could not be had takes the best verdict away, and no more.
    static Verdict verdictOf(const ColumnQuality& column, double probeError)
    {
        const Verdict byProbe = roads::verdictOf(column.backwardError, probeError);
        if (!column.errorBound) return byProbe;
        if (!std::isfinite(*column.errorBound)) return std::max(byProbe, Verdict::Degraded);
        return roads::verdictOf(column.backwardError, worseError(probeError, column.errorBound));
    }

    /// Residuals and errors; an answer that does not solve its system is told to be inaccurate, one without a
    /// correct digit to be ill-conditioned.
    SystemAnswer<Cell> told(Answer<M>& found, const M& A, Quality quality, const M* known = nullptr) const
    {
        SystemAnswer<Cell> answer{.probeError = found.probeError, .road = found.road};
        if (found.status == Status::Solved) {
            answer.residual = quality.residual;
            answer.normalResidual = quality.normalResidual;
            if (known) answer.knownError = probeError(*known, *found.x);
            quality.error = worseError(found.probeError.value_or(0.0), answer.knownError);
            if (!(quality.judged() <= kPoor))
                found.status = Status::Inaccurate;
            else if (!(quality.error < kNoDigit))
                found.status = Status::IllConditioned;
        }
        finish("check");
        if (found.status != Status::Solved) {
            answer.reason = nameOf(found.status);
            answer.complaint = explain(found, A, quality);
            return answer;
        }
        answer.verdict = roads::verdictOf(quality.judged(), quality.error);
        if (answer.verdict == Verdict::Degraded) answer.reason = "ill-conditioned";
        answer.x = std::move(found.x);
        return answer;
    }

    void finish(std::string_view step) const
    {
        if (options_.stepDone) options_.stepDone(step);
    }

    static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

    SystemOptions options_;
    M A_;
    MatrixTraits traits_{};
    KnownUnits<Cell> units_{};
    std::unique_ptr<DenseFactor<Cell>> factor_{}; ///< of a square matrix, once it was asked for
    std::optional<FactorQuality> quality_{};      ///< likewise
    std::optional<bool> isHermitian_{};           ///< likewise
    std::optional<CertainInertia> inertia_{};     ///< then, likewise
    std::mutex busy_{};                           ///< that makes them
    std::atomic<std::int32_t> factorizations_ = 0;
};

} // namespace

template <class Cell>
std::unique_ptr<SystemSession<Cell>> denseSession(MatrixOf<Cell> A, SystemOptions options)
{
    return std::make_unique<DenseRoads<Cell>>(std::move(A), std::move(options));
}

template std::unique_ptr<SystemSession<double>> denseSession<double>(Matrix, SystemOptions);
template std::unique_ptr<SystemSession<Complex>> denseSession<Complex>(CMatrix, SystemOptions);

} // namespace Velmar::Lintrix::detail
