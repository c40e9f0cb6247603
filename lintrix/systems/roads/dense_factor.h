#pragma once
/// @file
/// LU with exchanges of rows, in dense storage and without the engine.

#include <lintrix/foundation/block.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/factored.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// Backward stable but for the growth of the elements and bad scaling, which a step of refinement makes good
/// (R. D. Skeel, "Iterative refinement implies numerical stability for Gaussian elimination", Math. Comp. 35
/// (1980)). Rows whose units are far apart are brought to one by powers of two, exactly: else the units would
/// choose the pivots. The same factors serve op(A), so that no op meets a zero pivot which the others do not.
template <class Cell>
class LINTRIX_TESTABLE DenseFactor final : public Factored<Cell> {
public:
    /// `A`, which is square, must outlive the factor. What is done is told to the listener of `WorkScope`.
    /// @throws NotEnoughMemoryException, as `WorkScope::tell`
    explicit DenseFactor(const SparseOf<Cell>& A) : DenseFactor(AnyMatrix<Cell>(A), A.ToDense()) {}
    explicit DenseFactor(const MatrixOf<Cell>& A) : DenseFactor(AnyMatrix<Cell>(A), copyOfColumns(A)) {}

    /// What `save` has added to a file. @throws as `requireWhole`, NotEnoughMemoryException
    static std::unique_ptr<DenseFactor> load(const SparseOf<Cell>& A, SectionReader& file);
    void save(SectionWriter& file) const override;

    /// A pivot was exactly zero. What solves then is the factor of a matrix nearby, in which such pivots are
    /// as large as rounding.
    bool isSingular() const { return info_ != 0; }
    double operations(std::int32_t rightHands) const override;
    EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                       std::optional<std::int32_t> steps) override;
    std::unique_ptr<Factored<Cell>> another() override { return std::make_unique<Borrowed<Cell>>(*this); }

private:
    DenseFactor(const AnyMatrix<Cell>& A, MatrixOf<Cell> cells);
    DenseFactor(const AnyMatrix<Cell>& A, MatrixOf<Cell> factors, Block<std::int32_t> pivots);

    MatrixOf<Cell> solved(const MatrixOf<Cell>& B, TransposeMode op) const;
    void scaleRows(MatrixOf<Cell>& X) const;
    void replaceZeroPivots();

    AnyMatrix<Cell> A_;
    std::vector<int> units_; ///< exponents of the rows; none where they are alike
    MatrixOf<Cell> factors_;
    Block<std::int32_t> pivots_;
    int info_ = 0;
};

} // namespace Velmar::Lintrix::detail::roads
