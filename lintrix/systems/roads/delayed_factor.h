#pragma once
/// @file
/// L*D*L' and LU with pivots that may wait, as roads: their forecasts, and their factors.

#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/multifrontal_ldl.h>
#include <lintrix/systems/multifrontal/multifrontal_lu.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

/// Made in steps. Copies for other threads share what is made. `Fronts`: MultifrontalLDL, to whose analysis
/// `Kind` tells whether A = A^H; or MultifrontalLU.
template <class Cell, class Fronts, class... Kind>
class LINTRIX_TESTABLE FrontalFactor final : public Factored<Cell> {
public:
    /// Analyses `A`, which must outlive the factor. @throws std::bad_alloc, NotEnoughMemoryException
    explicit FrontalFactor(const SparseOf<Cell>& A, Kind... kind);

    /// What `save` has added to a file. @throws as `requireWhole`, NotEnoughMemoryException
    static std::unique_ptr<FrontalFactor> load(const SparseOf<Cell>& A, Kind... kind, SectionReader& file);
    void save(SectionWriter& file) const override;

    /// As forecast for pivots that need not wait; nothing of a matrix that has no factor, whatever its
    /// pivots: with an element that is not finite, or too few of them.
    RoadCost cost() const;
    /// Of the analysis; minimum degree where there is no factor.
    FillInReducingMethod ordering() const
    {
        return fronts_ ? fronts_->ordering() : FillInReducingMethod::MinimumDegree;
    }

    /// @throws NotEnoughMemoryException, std::bad_alloc
    EngineAnswer factorize(const multifrontal::FrontBounds& bounds);
    /// Of L, or of L and U.
    std::int64_t entries() const { return fronts_->entries(); }
    /// Pivots that were zero, and replaced.
    std::int32_t replaced() const { return fronts_->replaced(); }
    double operations(std::int32_t rightHands) const override;

    EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                       std::optional<std::int32_t> steps = {}) override;
    EngineAnswer refine(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                        std::int32_t steps) override;
    std::optional<Inertia> inertia() const override;
    std::optional<RaisedFactor<Cell>> raised(double size) const override;
    std::int32_t refinementSteps() const override { return steps_; }
    std::unique_ptr<Factored<Cell>> another() override { return std::make_unique<FrontalFactor>(*this); }

private:
    struct Made {
        Fronts fronts;
    };
    FrontalFactor(const SparseOf<Cell>& A, Made made)
        : A_(&A), fronts_(std::make_shared<Fronts>(std::move(made.fronts)))
    {
    }

    const SparseOf<Cell>* A_;
    std::shared_ptr<const EntryArrays<Cell>> entries_{}; ///< until it is factorized
    std::shared_ptr<Fronts> fronts_{};
    std::int32_t steps_ = 0;
};

template <class Cell>
using DelayedFactor = FrontalFactor<Cell, multifrontal::MultifrontalLDL<Cell>, bool>;
template <class Cell>
using FrontsFactor = FrontalFactor<Cell, multifrontal::MultifrontalLU<Cell>>;

} // namespace Velmar::Lintrix::detail::roads
