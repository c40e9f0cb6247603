#include <lintrix/systems/session.h>

#include <lintrix/sparse/access.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/least_squares/least_squares.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/balance.h>
#include <lintrix/systems/roads/column_units.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/memory_budget.h>
#include <lintrix/systems/roads/quality.h>
#include <lintrix/systems/roads/sparse_rows.h>
#include <lintrix/systems/roads/words.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

/// A sparse matrix that is not square: least squares where op(A) is tall, least norm where it is wide.
template <class Cell>
class RectangularRoads final : public SystemSession<Cell> {
public:
    using Sparse = SparseOf<Cell>;
    using M = MatrixOf<Cell>;

    RectangularRoads(Sparse A, SystemOptions options)
        : SystemSession<Cell>(options), options_(std::move(options)), A_(std::move(A)),
          exponent_(exponentToMiddle<Cell>(A_.Values()))
    {
        if (exponent_ != 0)
            multiplyByPowerOfTwo(std::span(SparseAccess::values(A_), A_.Values().size()), -exponent_);
    }

    std::int32_t rows() const override { return A_.Rows(); }
    std::int32_t cols() const override { return A_.Cols(); }
    const MatrixTraits& traits() const noexcept override { return traits_; }
    std::int32_t analyses() const override
    {
        const std::lock_guard turn(busy_);
        return analyses_;
    }
    std::int32_t factorizations() const override { return analyses(); }

    SystemForecast forecast() override
    {
        const std::lock_guard turn(busy_);
        ControlledRun run(this->watch_);
        const std::optional<FactorForecast>& factor = solverOf(TransposeMode::NotTransposed).forecast();
        finish("analyse");
        run.finish();
        if (!factor) return {};
        return {factor->entries, factor->operations, factor->bytes, factor->bytes,
                SecondsFor({factor->operations, 2.0 * sizeof(Cell) * static_cast<double>(factor->entries)})};
    }

    SystemAnswer<Cell> solve(const M* given, const M* known, TransposeMode op) override
    {
        this->requireSizes(given, known, op, rows(), cols());
        const std::lock_guard turn(busy_);
        ControlledRun run(this->watch_);
        std::optional<SystemAnswer<Cell>> answer = this->refusalOf(AnyMatrix<Cell>(A_));
        if (!answer) answer = settledOrAsBefore(given, known, op);
        run.finish();
        return *std::move(answer);
    }

private:
    using Answer = LeastSquaresAnswer<Cell>;
    static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

    /// A solver that has failed on its way to a factor is made anew.
    SystemAnswer<Cell> settledOrAsBefore(const M* given, const M* known, TransposeMode op)
    {
        const bool isDeficient = isDeficient_;
        const std::unique_ptr<LeastSquares<Cell>>& solver = solvers_[static_cast<std::size_t>(op)];
        const bool wasPrepared = solver && solver->isPrepared();
        try {
            return settle(given, known, op);
        } catch (...) {
            if (solver && solver->isPrepared() && !wasPrepared)
                solvers_[static_cast<std::size_t>(op)].reset();
            isDeficient_ = isDeficient;
            throw;
        }
    }

    SystemAnswer<Cell> settle(const M* given, const M* known, TransposeMode op)
    {
        LeastSquares<Cell>& solver = solverOf(op);
        finish("analyse");
        const std::int32_t rightHands = given ? given->Cols() : known ? known->Cols() : 1;
        const double own = ownBytes(rightHands), bytes = solver.forecast() ? solver.forecast()->bytes : 0.0;
        budget_.require(own, bytes, bytes);
        solver.memoryLeft([this, own](double held) { return budget_.left(own + held); });
        const M B = given ? *given : known ? productOf(*known, op) : M(rowsOf(op), 1);
        std::vector<Solved> solved;
        SystemAnswer<Cell> answer =
            given ? solveInUnits(solver, B, solved) : solveColumns(solver, B, solved, nullptr);
        answer.probeError = errorOfProbe(solver, op);
        finish("solve");
        // Of a wide or deficient matrix a known solution need not be the shortest.
        if (known && rowsOf(op) >= known->Rows() && !isDeficient_)
            answer.knownError = probeError(*known, *answer.x);
        judge(answer, solved, solver.knownRank());
        if (!given && !known) { // zero, beside the probe
            answer.x.reset();
            answer.columns.clear();
        }
        return answer;
    }

    std::int32_t rowsOf(TransposeMode op) const noexcept
    {
        return op == TransposeMode::NotTransposed ? A_.Rows() : A_.Cols();
    }

    /// Beside a factor: the matrix as it came, turned, and as tall and wide rows, and columns.
    double ownBytes(std::int32_t rightHands) const
    {
        constexpr double kForms = 3.0;
        const double length = std::max(A_.Rows(), A_.Cols());
        return kForms * bytesOfEntries<Cell>(std::max(A_.Rows(), A_.Cols()), A_.NumElements()) +
               bytesOfColumns<Cell>(length, rightHands + 1.0);
    }

    /// One for each op that was asked for, since each has a factor of its own.
    LeastSquares<Cell>& solverOf(TransposeMode op)
    {
        std::unique_ptr<LeastSquares<Cell>>& solver = solvers_[static_cast<std::size_t>(op)];
        if (solver) return *solver;
        std::optional<Sparse>& turned = turned_[static_cast<std::size_t>(op)];
        if (op != TransposeMode::NotTransposed) turned = transposedBy(op);
        const Sparse& matrix = turned ? *turned : A_;
        solver = std::make_unique<LeastSquares<Cell>>(
            RowsView<Cell>{matrix.Rows(), matrix.Cols(), matrix.Values().data(), matrix.RowPointers().data(),
                           matrix.ColumnIndices().data()});
        ++analyses_;
        return *solver;
    }

    Sparse transposedBy(TransposeMode op) const
    {
        const RowLists<Cell> lists = listRows<Cell>(A_.Cols(), [&](auto take) {
            ForEachEntry(A_, [&](std::int32_t row, std::int32_t col, const Cell& value) {
                take(col, row, op == TransposeMode::ConjugateTransposed ? conjugate(value) : value);
            });
        });
        Sparse turned(lists.values, lists.starts, lists.columns);
        turned.Cols(A_.Rows());
        return turned;
    }

    /// op(A)*X, once there is a solver for op.
    M productOf(const M& X, TransposeMode op) const
    {
        const std::optional<Sparse>& turned = turned_[static_cast<std::size_t>(op)];
        M B(rowsOf(op), X.Cols());
        Sparse::Multiply(1.0, TransposeMode::NotTransposed, turned ? *turned : A_, X, 0.0, B);
        return B;
    }

    /// Of a tall system in the units of its columns. The shortest solution of a wide one lies in the row
    /// space, op(A)^H*y, y in the units of the rows.
    M probeFor(const LeastSquares<Cell>& solver, TransposeMode op) const
    {
        const std::int32_t m = rowsOf(op), n = A_.Rows() + A_.Cols() - m;
        if (m >= n && !isDeficient_) return inUnits(probeSolution<Cell>(n), solver);
        const M y = m < n ? inUnits(probeSolution<Cell>(m), solver) : probeSolution<Cell>(m);
        M probe(n, 1);
        ForEachEntry(A_, [&](std::int32_t row, std::int32_t col, const Cell& value) {
            // op(A)^H*y
            if (op == TransposeMode::NotTransposed)
                probe(col, 0) += conjugate(value) * y(row, 0);
            else
                probe(row, 0) += (op == TransposeMode::Transposed ? conjugate(value) : value) * y(col, 0);
        });
        return probe;
    }

    static M inUnits(M column, const LeastSquares<Cell>& solver)
    {
        const std::vector<double>& scales = solver.scales();
        for (std::size_t k = 0; k < scales.size(); ++k) cellsOf(column)[k] *= scales[k];
        return column;
    }

    /// Once more where the first one shows that A is deficient: its solution has to be the shortest then.
    double errorOfProbe(LeastSquares<Cell>& solver, TransposeMode op)
    {
        for (;;) {
            const bool wasDeficient = isDeficient_;
            const M probe = probeFor(solver, op);
            const M back = columnOf(solver.solve(cellsOf(productOf(probe, op)).data()));
            isDeficient_ = isDeficient_ || showsDeficiency(solver, probe - back, op);
            if (isDeficient_ == wasDeficient) return probeError(probe, back);
        }
    }

    /// By the factor; where none was made, of a tall matrix by what its solution lacks and no residual shows.
    bool showsDeficiency(const LeastSquares<Cell>& solver, const M& lack, TransposeMode op) const
    {
        if (const auto rank = solver.knownRank()) return rank->deficient;
        return rowsOf(op) >= lack.Rows() && solver.isNullVector(cellsOf(lack).data());
    }

    static M columnOf(const Answer& found)
    {
        return AccessTo<Cell>::copyOf(found.x.data(), static_cast<std::int32_t>(found.x.size()), 1);
    }

    /// What came of one column.
    struct Solved {
        bool hasNumbers = true; ///< for a right-hand side
        bool isFinite = true;   ///< x
        bool isSettled = true;
        double residual = 0.0, normalResidual = 0.0;
        std::optional<double> errorBound{};
    };

    /// Each right-hand side in a unit of its own.
    SystemAnswer<Cell> solveInUnits(LeastSquares<Cell>& solver, const M& given, std::vector<Solved>& solved)
    {
        const ColumnUnits<Cell> units(given, exponent_);
        M B(given);
        units.divide(B);
        SystemAnswer<Cell> answer = solveColumns(solver, B, solved, &units);
        const std::vector<double> changes = units.takeThereAndBack(*answer.x);
        units.multiply(*answer.x);
        for (std::size_t j = 0; j < solved.size(); ++j) {
            Solved& column = solved[j];
            if (!column.hasNumbers) continue;
            column.isFinite = allFinite(roads::columnOf(*answer.x, static_cast<std::int32_t>(j)));
            if (column.errorBound) {
                *column.errorBound += changes[j];
            } else {
                column.residual = largerOrNaN(column.residual, changes[j]);
                column.isSettled = column.isSettled && changes[j] <= kRoundingLevel;
            }
        }
        return answer;
    }

    /// A right-hand side that is not finite has no solution, and leaves the others alone. The road is the
    /// longest that any of them took.
    SystemAnswer<Cell> solveColumns(LeastSquares<Cell>& solver, const M& B, std::vector<Solved>& solved,
                                    const ColumnUnits<Cell>* units)
    {
        SystemAnswer<Cell> answer{.residual = 0.0, .normalResidual = 0.0};
        answer.x = M(A_.Rows() + A_.Cols() - B.Rows(), B.Cols());
        LeastSquaresMethod method = LeastSquaresMethod::Nothing;
        for (std::int32_t j = 0; j < B.Cols(); ++j) {
            const auto x = columnCells(*answer.x, j);
            const bool hasNumbers =
                units ? units->isFinite(static_cast<std::size_t>(j)) : allFinite(roads::columnOf(B, j));
            if (!hasNumbers) {
                std::ranges::fill(x, Cell(kNaN));
                solved.push_back({.hasNumbers = false});
                continue;
            }
            const Answer found = solver.solve(columnCells(B, j).data());
            std::ranges::copy(found.x, x.begin());
            const std::optional<LeastSquaresRank> rank = solver.knownRank();
            isDeficient_ = isDeficient_ || (rank && rank->deficient);
            solved.push_back({true, allFinite(columnOf(found)), found.settled, found.backwardError,
                              found.consistent ? 0.0 : found.normalResidual, found.errorBound});
            answer.residual = largerOrNaN(*answer.residual, found.backwardError);
            answer.normalResidual = largerOrNaN(*answer.normalResidual, solved.back().normalResidual);
            answer.krylovSteps += found.iterations;
            answer.refinementSteps = std::max(answer.refinementSteps, found.refinements);
            method = std::max(method, found.method);
        }
        answer.road = nameOf(method);
        return answer;
    }

    /// The worst of the columns counts.
    void judge(SystemAnswer<Cell>& answer, const std::vector<Solved>& solved,
               const std::optional<LeastSquaresRank>& rank) const
    {
        answer.verdict = Verdict::Accurate;
        for (const Solved& column : solved) {
            const ColumnQuality quality = qualityOf(column, answer, rank);
            if (quality.verdict > answer.verdict) {
                answer.verdict = quality.verdict;
                answer.reason = quality.reason;
            }
            answer.columns.push_back(quality);
        }
        if (!std::ranges::all_of(solved, &Solved::hasNumbers)) {
            answer.residual = answer.normalResidual = kNaN;
            answer.reason = "a right-hand side is not finite";
        }
        if (answer.verdict == Verdict::Failed) answer.complaint = complaintOf(answer.reason);
    }

    /// The shortest solution of a wide system, and so its probe, has little of what A all but sends to zero:
    /// that is left to the condition, which takes rounding as far.
    ColumnQuality qualityOf(const Solved& column, const SystemAnswer<Cell>& answer,
                            const std::optional<LeastSquaresRank>& rank) const
    {
        if (!column.hasNumbers) return {Verdict::Failed, kNaN, kNaN, {}, "the right-hand side is not finite"};
        const double known = worseError(*answer.probeError, answer.knownError),
                     error = isBounded(column) ? worseError(known, column.errorBound) : known;
        ColumnQuality quality{verdictOf(column.isSettled ? 0.0 : column.residual, error), column.residual,
                              kNaN};
        if (options_.errorBounds > 0) quality.errorBound = column.errorBound;
        if (!column.isFinite) quality.verdict = Verdict::Failed;
        if (isDoubtful(column, rank)) quality.verdict = std::max(quality.verdict, Verdict::Degraded);
        if (quality.verdict != Verdict::Accurate) quality.reason = reasonOf(column);
        return quality;
    }

    static bool isBounded(const Solved& column)
    {
        return column.errorBound && std::isfinite(*column.errorBound);
    }

    bool isDoubtful(const Solved& column, const std::optional<LeastSquaresRank>& rank) const
    {
        constexpr double kEps = std::numeric_limits<double>::epsilon();
        if (isDeficient_) return true;
        if (column.errorBound) return !(*column.errorBound <= kFewDigits);
        return rank && rank->condition * kEps > kFewDigits;
    }

    std::string reasonOf(const Solved& column) const
    {
        if (!column.isFinite) return "a number overflowed";
        if (isDeficient_) return "rank-deficient: the shortest of many solutions";
        if (!column.isSettled)
            return "residual of the normal equations " + numberInWords(column.normalResidual);
        const bool isSmall = column.errorBound && *column.errorBound <= kFewDigits;
        return reasonByBound(isSmall ? std::nullopt : column.errorBound);
    }

    void finish(std::string_view step) const
    {
        if (options_.stepDone) options_.stepDone(step);
    }

    SystemOptions options_;
    MemoryBudget budget_{options_};
    Sparse A_;
    int exponent_; ///< of two: A_ times that is the matrix that was given
    MatrixTraits traits_{};
    std::array<std::optional<Sparse>, 3> turned_{};                ///< op(A), by op
    std::array<std::unique_ptr<LeastSquares<Cell>>, 3> solvers_{}; ///< likewise
    bool isDeficient_ = false;
    std::int32_t analyses_ = 0;
    mutable std::mutex busy_{};
};

} // namespace

template <class Cell>
std::unique_ptr<SystemSession<Cell>> rectangularSession(SparseOf<Cell> A, SystemOptions options)
{
    return std::make_unique<RectangularRoads<Cell>>(std::move(A), std::move(options));
}

template std::unique_ptr<SystemSession<double>> rectangularSession<double>(SparseMatrix, SystemOptions);
template std::unique_ptr<SystemSession<Complex>> rectangularSession<Complex>(CSparseMatrix, SystemOptions);

} // namespace Velmar::Lintrix::detail
