#pragma once
/// @file
/// LU of a sparse matrix whose pivots may wait.

#include <lintrix/foundation/block.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/front_bounds.h>
#include <lintrix/systems/multifrontal/square_elimination.h>
#include <lintrix/systems/multifrontal/unsymmetric_plan.h>

#include <cstdint>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// The columns of L and the rows of U that a front has eliminated.
template <class Cell>
struct LuPanel {
    Block<Cell> lower{};                         ///< rows.size() x pivots: L, and above its diagonal U
    Block<Cell> upper{};                         ///< pivots x what is left: U
    std::vector<std::int32_t> rows{}, columns{}; ///< positions; the first ones are those of the pivots
    std::int32_t pivots = 0;

    std::int32_t left() const noexcept { return static_cast<std::int32_t>(rows.size()) - pivots; }
};

/// What a factor is made of, without what made it.
template <class Cell>
struct LuFrontParts {
    std::vector<int> rowExponents{}, columnExponents{};          ///< of the scales
    std::vector<std::int32_t> rowPositions{}, columnPositions{}; ///< of the rows and columns of A
    std::vector<LuPanel<Cell>> panels{};
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
class LINTRIX_TESTABLE MultifrontalLU {
public:
    /// Analyses `A`, which is square and of finite elements. @throws std::bad_alloc, NotEnoughMemoryException
    explicit MultifrontalLU(const SparseEntries<Cell>& A);

    /// A factor that was made before: it solves, and is not made anew.
    explicit MultifrontalLU(LuFrontParts<Cell> parts);

    /// Whether there are too few places for values: then there is no factor.
    bool isStructurallySingular() const noexcept { return plan_.tree.order() < order_; }
    /// Of L and U, the diagonal once, and of the operations that make both.
    FrontForecast forecast() const;

    /// Of the same matrix. A factor that was made before stays where this one comes to nothing.
    /// @return  false: a bound was passed @pre it is not structurally singular
    /// @throws NotEnoughMemoryException, std::bad_alloc, what listens to the work
    bool factorize(const SparseEntries<Cell>& A, const FrontBounds& bounds = {});

    /// X = op(A)^-1*X for right-hand sides one behind the other. @pre factorized
    void solve(TransposeMode op, std::span<Cell> X) const;

    /// Of the last factorization: entries of L and U, the diagonal once; operations in cells; columns without
    /// an element, which got a pivot of 1; and candidates that waited, once for each front.
    std::int64_t entries() const noexcept { return factor_.entries; }
    double operations() const noexcept { return factor_.operations; }
    std::int32_t replaced() const noexcept { return factor_.replaced; }
    std::int64_t delayed() const noexcept { return factor_.delayed; }

    std::span<const int> rowExponents() const noexcept { return plan_.rowExponents; }
    std::span<const int> columnExponents() const noexcept { return plan_.columnExponents; }
    std::span<const std::int32_t> rowPositions() const noexcept { return rowPosition_; }
    std::span<const std::int32_t> columnPositions() const noexcept { return plan_.tree.positionOf; }
    std::span<const LuPanel<Cell>> panels() const noexcept { return factor_.panels; }

private:
    using Panel = LuPanel<Cell>;
    struct Factor {
        std::vector<Panel> panels{};
        std::int64_t entries = 0, delayed = 0;
        double operations = 0.0;
        std::int32_t replaced = 0;

        void add(const SquareFront<Cell>& front, std::int32_t eliminated);
    };
    /// Right-hand sides on their way, and room for those of a front.
    struct Columns {
        std::int64_t stride;
        std::int32_t count;
        std::vector<Cell> given, found, work{};

        void gather(const std::vector<Cell>& from, std::span<const std::int32_t> positions);
        void scatter(std::vector<Cell>& to, std::span<const std::int32_t> positions) const;
    };
    class Assembly;

    void down(const Panel& panel, Columns& X) const;
    void up(const Panel& panel, Columns& X) const;
    void downTransposed(const Panel& panel, char op, Columns& X) const;
    void upTransposed(const Panel& panel, char op, Columns& X) const;

    std::int32_t order_;
    UnsymmetricPlan plan_;
    std::vector<std::int32_t> rowPosition_; ///< of rows of A; those of its columns are the tree's
    Factor factor_{};
};

} // namespace Velmar::Lintrix::detail::multifrontal
