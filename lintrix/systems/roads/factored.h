#pragma once
/// @file
/// A factor at hand, by whatever road it was made.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/services/section_file.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/direct_run.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// Of A + diag(added): nothing is added but where pivots of A were zero.
template <class Cell>
struct RaisedFactor {
    LinearMap<Cell> inverse; ///< good as long as the factor
    std::vector<double> added;
    Inertia inertia; ///< of A, by the pivots
};

template <class Cell>
class Factored {
public:
    virtual ~Factored() = default;
    /// X with op(A)*X = B; with up to `steps` steps of refinement, where they are told.
    virtual EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                               std::optional<std::int32_t> steps = {}) = 0;
    /// Up to so many steps of refinement for an X that a solve without steps has left; a factor that knows no
    /// more solves anew.
    virtual EngineAnswer refine(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                                std::int32_t steps)
    {
        return solve(B, X, op, steps);
    }
    /// Whether a solve takes steps of refinement unasked.
    virtual bool refinesUnasked() const { return false; }
    /// Whether the bits of a column may depend on how many are solved for with it.
    virtual bool bitsDependOnCount() const { return true; }
    /// Y = op(A)^-1 * X on raw columns of `size` cells.
    virtual EngineAnswer apply(std::int32_t size, std::int32_t columns, const Cell* x, Cell* y,
                               TransposeMode op, Refining refining);
    /// Of a solve for so many right-hand sides.
    virtual double operations(std::int32_t rightHands) const = 0;
    /// Of the matrix that was factorized, where its pivots tell.
    virtual std::optional<Inertia> inertia() const { return std::nullopt; }
    /// Of a matrix A = A^H some of whose pivots were zero: the factor with such pivots raised to this size,
    /// beside scaled elements near 1.
    virtual std::optional<RaisedFactor<Cell>> raised(double) const { return std::nullopt; }
    /// Of the last solve.
    virtual std::int32_t refinementSteps() const { return 0; }
    /// Adds the factor to a file. @throws InvalidOperationException  its numbers are not in memory, or nobody
    /// knows how: "The factor of this system cannot be saved."
    virtual void save(SectionWriter& file) const;
    /// One more solver with the same factor, for another thread, as long as this one lives; none where there
    /// can be but one.
    virtual std::unique_ptr<Factored> another() = 0;
};

[[noreturn]] LINTRIX_TESTABLE void raiseNotSaved();

template <class Cell>
EngineAnswer Factored<Cell>::apply(std::int32_t size, std::int32_t columns, const Cell* x, Cell* y,
                                   TransposeMode op, Refining)
{
    const MatrixOf<Cell> X = copyOfColumns(x, size, columns);
    MatrixOf<Cell> Y = zeroColumns<Cell>(size, columns);
    const EngineAnswer answer = solve(X, Y, op, 0);
    const auto cells = cellsOf(std::as_const(Y));
    copyCells<Cell>(cells, {y, cells.size()});
    return answer;
}

template <class Cell>
void Factored<Cell>::save(SectionWriter&) const
{
    raiseNotSaved();
}

/// Another solver's factor, whose solves leave it as it is.
template <class Cell>
class Borrowed final : public Factored<Cell> {
public:
    explicit Borrowed(Factored<Cell>& owner) : owner_(owner) {}
    EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                       std::optional<std::int32_t> steps) override
    {
        return owner_.solve(B, X, op, steps);
    }
    bool refinesUnasked() const override { return owner_.refinesUnasked(); }
    bool bitsDependOnCount() const override { return owner_.bitsDependOnCount(); }
    EngineAnswer apply(std::int32_t size, std::int32_t columns, const Cell* x, Cell* y, TransposeMode op,
                       Refining refining) override
    {
        return owner_.apply(size, columns, x, y, op, refining);
    }
    double operations(std::int32_t rightHands) const override { return owner_.operations(rightHands); }
    std::unique_ptr<Factored<Cell>> another() override { return owner_.another(); }

private:
    Factored<Cell>& owner_;
};

/// In a handle of the engine.
template <class Cell>
class EngineFactor final : public Factored<Cell> {
public:
    explicit EngineFactor(std::unique_ptr<DirectRun> run) : run_(std::move(run)) {}
    EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                       std::optional<std::int32_t> steps) override
    {
        return run_->solve(B, X, op, steps);
    }
    bool refinesUnasked() const override { return run_->perturbedPivots() > 0; }
    EngineAnswer apply(std::int32_t, std::int32_t columns, const Cell* x, Cell* y, TransposeMode op,
                       Refining refining) override
    {
        return run_->apply(columns, x, y, op, refining);
    }
    double operations(std::int32_t rightHands) const override { return run_->solveOperations(rightHands); }
    std::int32_t refinementSteps() const override { return run_->refinementSteps(); }
    void save(SectionWriter& file) const override { run_->save(file); }
    std::unique_ptr<Factored<Cell>> another() override
    {
        std::unique_ptr<DirectRun> run = run_->another();
        return run ? std::make_unique<EngineFactor>(std::move(run)) : nullptr;
    }

    std::optional<Inertia> inertia() const override { return run_->inertia(); }

    /// The handle, after which this is no factor any more.
    std::unique_ptr<DirectRun> release() { return std::move(run_); }

private:
    std::unique_ptr<DirectRun> run_;
};

} // namespace Velmar::Lintrix::detail::roads
