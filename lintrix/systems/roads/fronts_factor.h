#pragma once
/// @file
/// LU with pivots that may wait, as a road: its forecast, and its factor.

#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/multifrontal_lu.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

/// Made in steps. Copies for other threads share what is made.
template <class Cell>
class LINTRIX_TESTABLE FrontsFactor final : public Factored<Cell> {
public:
    /// Analyses `A`, which is square and must outlive the factor. @throws std::bad_alloc,
    /// NotEnoughMemoryException
    explicit FrontsFactor(const SparseOf<Cell>& A);

    /// What `save` has added to a file. @throws as `requireWhole`, NotEnoughMemoryException
    static std::unique_ptr<FrontsFactor> load(const SparseOf<Cell>& A, SectionReader& file);
    void save(SectionWriter& file) const override;

    /// As forecast for pivots that need not wait; nothing of a matrix that has no factor, whatever its
    /// pivots.
    RoadCost cost() const;

    /// @throws NotEnoughMemoryException, std::bad_alloc
    EngineAnswer factorize(const multifrontal::FrontBounds& bounds);
    /// Of L and U.
    std::int64_t entries() const { return lu_->entries(); }
    /// Columns without an element, whose pivots were replaced.
    std::int32_t replaced() const { return lu_->replaced(); }
    double operations(std::int32_t rightHands) const override;

    EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                       std::optional<std::int32_t> steps = {}) override;
    std::int32_t refinementSteps() const override { return steps_; }
    std::unique_ptr<Factored<Cell>> another() override { return std::make_unique<FrontsFactor>(*this); }

private:
    FrontsFactor(const SparseOf<Cell>& A, multifrontal::MultifrontalLU<Cell> lu)
        : A_(&A), lu_(std::make_shared<multifrontal::MultifrontalLU<Cell>>(std::move(lu)))
    {
    }

    const SparseOf<Cell>* A_;
    std::shared_ptr<const EntryArrays<Cell>> entries_{}; ///< until it is factorized
    std::shared_ptr<multifrontal::MultifrontalLU<Cell>> lu_{};
    std::int32_t steps_ = 0;
};

} // namespace Velmar::Lintrix::detail::roads
