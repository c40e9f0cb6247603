#pragma once
/// @file
/// Sparse LU with partial pivoting as a road: when it pays, within which bounds, and its factor.

#include <lintrix/services/export.h>
#include <lintrix/systems/roads/balance.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/sparse_lu/sparse_lu.h>
#include <lintrix/systems/system_matrix.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace Velmar::Lintrix::detail::roads {

/// Made in steps. Copies for other threads share what is made.
template <class Cell>
class LINTRIX_TESTABLE PivotedFactor final : public Factored<Cell> {
public:
    /// Analyses `A`, which has both triangles and must outlive the factor. In a symmetric pattern the
    /// diagonal is left for elements a hundred times as large, elsewhere for ten times: an exchange costs the
    /// symmetry, and with it fill. `units`: powers of two of the equations, by which rows are exchanged; they
    /// have been found `by` that. @throws NotEnoughMemoryException, std::bad_alloc
    PivotedFactor(const SparseOf<Cell>& A, bool symmetricPattern, std::span<const int> units = {},
                  UnitsBy by = UnitsBy::LargestElements);

    /// What `save` has added to a file. @throws as `requireWhole`, NotEnoughMemoryException
    static std::unique_ptr<PivotedFactor> load(const SparseOf<Cell>& A, UnitsBy units, SectionReader& file);
    void save(SectionWriter& file) const override;

    /// Whether the analysis has found a matching.
    bool isMatched() const { return lu_->analysed() == sparse_lu::LuOutcome::Done; }
    /// Whether it takes less time than supernodes, which do many operations an element at a high rate. Of a
    /// matrix that has no factor, no.
    bool pays() const;
    /// As forecast for pivots on the diagonal.
    RoadCost cost() const;

    /// @throws as the constructor
    EngineAnswer factorize(const sparse_lu::LuBounds& bounds);
    /// For other values in the arrays of A, with the same pivots where they serve. @throws likewise
    EngineAnswer refactorize(const sparse_lu::LuBounds& bounds, std::span<const int> units = {});
    std::int64_t entries() const { return lu_->entries(); }
    UnitsBy unitsBy() const { return unitsBy_; }
    /// Whether it can solve, be it for values that are none any more.
    bool isComplete() const { return isComplete_; }
    bool bitsDependOnCount() const override { return false; } // each goes its own way through the columns
    double operations(std::int32_t rightHands) const override;

    EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                       std::optional<std::int32_t> steps = {}) override;
    EngineAnswer refine(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                        std::int32_t steps) override;
    std::int32_t refinementSteps() const override { return steps_; }
    EngineAnswer apply(std::int32_t size, std::int32_t columns, const Cell* x, Cell* y, TransposeMode op,
                       Refining refining) override;
    std::unique_ptr<Factored<Cell>> another() override { return std::make_unique<PivotedFactor>(*this); }

private:
    PivotedFactor(const SparseOf<Cell>& A, double threshold, UnitsBy units, sparse_lu::SparseLU<Cell> lu)
        : A_(&A), threshold_(threshold), lu_(std::make_shared<sparse_lu::SparseLU<Cell>>(std::move(lu))),
          unitsBy_(units), isComplete_(true)
    {
    }

    EngineAnswer answerOf(sparse_lu::LuOutcome outcome) const;

    const SparseOf<Cell>* A_;
    double threshold_;
    std::shared_ptr<sparse_lu::SparseLU<Cell>> lu_;
    UnitsBy unitsBy_ = UnitsBy::LargestElements;
    bool isComplete_ = false;
    std::int32_t steps_ = 0;
};

/// Whether a look at a square pattern, as the library's matrices have it, lets hope that an analysis would
/// find it to pay. Circuits, networks and linear programs have many rows or columns of three elements or
/// less, with which an elimination begins without fill; in meshes there are none, and those pay for small
/// sizes alone. Cost: a pass over the columns.
LINTRIX_TESTABLE bool mayPivotedPay(std::span<const std::int32_t> rowPointers,
                                    std::span<const std::int32_t> columnIndices);

} // namespace Velmar::Lintrix::detail::roads
