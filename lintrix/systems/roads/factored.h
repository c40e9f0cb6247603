#pragma once
/// @file
/// A factor at hand, by whatever road it was made.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/systems/roads/direct_run.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

template <class Cell>
class Factored {
public:
    virtual ~Factored() = default;
    /// X with op(A)*X = B; with up to `steps` steps of refinement, where they are told.
    virtual EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                               std::optional<std::int32_t> steps = {}) = 0;
    /// Of the matrix that was factorized, where its pivots tell.
    virtual std::optional<Inertia> inertia() const { return std::nullopt; }
    /// Of the last solve.
    virtual std::int32_t refinementSteps() const { return 0; }
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
    std::int32_t refinementSteps() const override { return run_->refinementSteps(); }

    std::optional<Inertia> inertia() const override { return run_->inertia(); }

    /// The handle, after which this is no factor any more.
    std::unique_ptr<DirectRun> release() { return std::move(run_); }

private:
    std::unique_ptr<DirectRun> run_;
};

} // namespace Velmar::Lintrix::detail::roads
