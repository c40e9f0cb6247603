#pragma once
/// @file
/// LU with exchanges of rows, in dense storage and without the engine.

#include <lintrix/decompositions/lu.h>
#include <lintrix/systems/roads/factored.h>

#include <optional>
#include <type_traits>

namespace Velmar::Lintrix::detail::roads {

/// Backward stable but for the growth of the elements and bad scaling, which a step of refinement makes good
/// (R. D. Skeel, "Iterative refinement implies numerical stability for Gaussian elimination", Math. Comp. 35
/// (1980)).
template <class Cell>
class DenseFactor final : public Factored<Cell> {
public:
    /// `A` must outlive the factor. @throws NotEnoughMemoryException
    explicit DenseFactor(const SparseOf<Cell>& A) : A_(A), factors_(A.ToDense()) {}

    bool isSingular() const { return factors_.IsSingular(); }
    EngineAnswer solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                       std::optional<std::int32_t> steps) override;

private:
    using Factors = std::conditional_t<std::is_same_v<Cell, Complex>, CLU, LU>;

    /// The class solves with A alone, so op(A) has factors of its own once it is asked for.
    const Factors& factorsOf(TransposeMode op);

    const SparseOf<Cell>& A_;
    Factors factors_;
    std::optional<Factors> turned_{}; ///< of `turnedBy_`(A)
    TransposeMode turnedBy_ = TransposeMode::NotTransposed;
};

} // namespace Velmar::Lintrix::detail::roads
