#pragma once
/// @file
/// L*D*L' with pivots that may wait, as a road: its forecast, and its factor.

#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/multifrontal_ldl.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

/// Made in steps. Copies for other threads share what is made.
template <class Cell>
class LINTRIX_TESTABLE DelayedFactor final : public Factored<Cell> {
public:
    /// Analyses `A`, symmetric or Hermitian, which must outlive the factor. @throws std::bad_alloc
    DelayedFactor(const SparseOf<Cell>& A, bool hermitian);

    /// What `save` has added to a file. @throws as `requireWhole`, NotEnoughMemoryException
    static std::unique_ptr<DelayedFactor> load(const SparseOf<Cell>& A, bool hermitian, SectionReader& file);
    void save(SectionWriter& file) const override;

    /// As forecast for pivots that need not wait; nothing of a matrix with an element that is not finite.
    RoadCost cost() const;

    /// @throws NotEnoughMemoryException, std::bad_alloc
    EngineAnswer factorize(const multifrontal::FrontBounds& bounds);
    std::int64_t entries() const { return ldl_->entries(); }
    /// Pivots that were zero, and replaced.
    std::int32_t replaced() const { return ldl_->replaced(); }
    double operations(std::int32_t rightHands) const override;

    EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                       std::optional<std::int32_t> steps = {}) override;
    std::optional<Inertia> inertia() const override;
    std::int32_t refinementSteps() const override { return steps_; }
    std::unique_ptr<Factored<Cell>> another() override { return std::make_unique<DelayedFactor>(*this); }

private:
    DelayedFactor(const SparseOf<Cell>& A, bool hermitian, multifrontal::MultifrontalLDL<Cell> ldl)
        : A_(&A), hermitian_(hermitian),
          ldl_(std::make_shared<multifrontal::MultifrontalLDL<Cell>>(std::move(ldl)))
    {
    }

    const SparseOf<Cell>* A_;
    bool hermitian_;
    std::shared_ptr<const EntryArrays<Cell>> entries_{};         ///< until it is factorized
    std::shared_ptr<multifrontal::MultifrontalLDL<Cell>> ldl_{}; ///< none: an element is not finite
    std::int32_t steps_ = 0;
};

} // namespace Velmar::Lintrix::detail::roads
