#pragma once
/// @file
/// LU of a sparse matrix whose pivots may wait.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/front_factor.h>
#include <lintrix/systems/multifrontal/unsymmetric_plan.h>

#include <cstdint>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// What a factor is made of, without what made it.
template <class Cell>
struct LuFrontParts {
    std::vector<int> rowExponents{}, columnExponents{};          ///< of the scales
    std::vector<std::int32_t> rowPositions{}, columnPositions{}; ///< of the rows and columns of A
    std::vector<FrontPanel<Cell>> panels{};
    std::int32_t replaced = 0;
};

/// P*R*A*C*Q = L*U, R and C of powers of two that bring the largest element of each row and of each column
/// near 1. No element of L passes 1 / 0.1, of complex cells sqrt(2) / 0.1.
///
///     MultifrontalLU<double> lu(A);
///     if (lu.factorize(A)) lu.solve(TransposeMode::NotTransposed, cells);
///
/// Rows are exchanged within a front, among those that are fully summed. A column that finds no pivot there
/// waits, in front after front, at the price of fronts that grow; and nothing is replaced, as in an
/// elimination whose rows may be exchanged at will, but at the rate of dense panels.
template <class Cell>
class LINTRIX_TESTABLE MultifrontalLU : public FrontFactor<Cell> {
public:
    static constexpr int kTriangles = 2; ///< of the factor

    /// Analyses `A`, which is square and of finite elements. @throws std::bad_alloc, NotEnoughMemoryException
    explicit MultifrontalLU(const SparseEntries<Cell>& A);

    /// A factor that was made before: it solves, and is not made anew.
    explicit MultifrontalLU(LuFrontParts<Cell> parts);

    /// Whether there are too few places for values: then there is no factor.
    bool isStructurallySingular() const noexcept { return plan_.tree.order() < order_; }
    /// Of L and U, the diagonal once, and of the operations that make both.
    FrontForecast forecast() const;
    FillInReducingMethod ordering() const noexcept { return plan_.tree.ordering; }

    /// Of the same matrix. A factor that was made before stays where this one comes to nothing.
    /// @return  false: a bound was passed @pre it is not structurally singular
    /// @throws NotEnoughMemoryException, std::bad_alloc, what listens to the work
    bool factorize(const SparseEntries<Cell>& A, const FrontBounds& bounds = {});

    /// X = op(A)^-1*X for right-hand sides one behind the other. @pre factorized
    void solve(TransposeMode op, std::span<Cell> X) const;

    /// Columns of the last factorization without an element, which got a pivot of 1.
    std::int32_t replaced() const noexcept { return replaced_; }

    std::span<const int> rowExponents() const noexcept { return plan_.rowExponents; }
    std::span<const int> columnExponents() const noexcept { return plan_.columnExponents; }
    std::span<const std::int32_t> rowPositions() const noexcept { return rowPosition_; }
    std::span<const std::int32_t> columnPositions() const noexcept { return plan_.tree.positionOf; }

private:
    class Elements;

    std::int32_t order_;
    UnsymmetricPlan plan_;
    std::vector<std::int32_t> rowPosition_; ///< of rows of A; those of its columns are the tree's
    std::int32_t replaced_ = 0;
};

} // namespace Velmar::Lintrix::detail::multifrontal
