#pragma once
/// @file
/// L*D*L' of a sparse symmetric matrix, or L*D*L^H of a Hermitian one, whose pivots may wait.

#include <lintrix/foundation/block.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/front_bounds.h>
#include <lintrix/systems/multifrontal/front_elimination.h>
#include <lintrix/systems/multifrontal/front_tree.h>
#include <lintrix/systems/structure/inertia.h>

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// The columns of L that a front has eliminated.
template <class Cell>
struct FrontPanel {
    Block<Cell> cells{};              ///< rows.size() x pivots
    std::vector<std::int32_t> rows{}; ///< positions; the first ones are those of the pivots
    std::int32_t pivots = 0, firstPivot = 0;
};

/// What a factor is made of, without what made it.
template <class Cell>
struct LdlParts {
    std::vector<int> exponents{};         ///< of the scales
    std::vector<std::int32_t> vertexAt{}; ///< by position
    std::vector<FrontPanel<Cell>> panels{};
    Pivots<Cell> pivots{};
};

/// P*S*A*S*P' = L*D*L^H (L*D*L' of a symmetric complex matrix), S of powers of two that bring the largest
/// element of each row near 1, D of blocks of one and of two.
///
///     MultifrontalLDL<double> ldl(A, true);
///     if (ldl.factorize(A)) ldl.solve(TransposeMode::NotTransposed, cells);
///
/// An elimination that keeps to an order of little fill meets pivots that are too small; here they wait, in
/// front after front, until others have changed them or they find a partner, at the price of fronts that
/// grow. What is no pivot to begin with, as the zero of a constraint, is ordered beside a partner from the
/// start.
template <class Cell>
class LINTRIX_TESTABLE MultifrontalLDL {
public:
    /// Analyses `A`, which is square, of finite elements, with both triangles told. `conjugates`: A = A^H,
    /// else A = A'. @throws std::bad_alloc
    MultifrontalLDL(const SparseEntries<Cell>& A, bool conjugates);

    /// A factor that was made before: it solves, and is not made anew.
    MultifrontalLDL(LdlParts<Cell> parts, bool conjugates);

    FrontForecast forecast() const { return forecastOf(tree_); }

    /// Of the same matrix. A factor that was made before stays where this one comes to nothing.
    /// @return  false: a bound was passed
    /// @throws NotEnoughMemoryException, std::bad_alloc, what listens to the work
    bool factorize(const SparseEntries<Cell>& A, const FrontBounds& bounds = {});

    /// X = op(A)^-1*X for right-hand sides one behind the other. @pre factorized
    void solve(TransposeMode op, std::span<Cell> X) const;

    /// Of the last factorization: entries of L, operations in cells, pivots that were zero, and candidates
    /// that waited, once for each front.
    std::int64_t entries() const noexcept { return factor_.entries; }
    double operations() const noexcept { return factor_.operations; }
    std::int32_t replaced() const noexcept { return factor_.pivots.replaced; }
    std::int64_t delayed() const noexcept { return factor_.delayed; }
    /// Of D; pivots that were replaced count as zero. @pre A = A^H
    Inertia inertia() const;

    std::span<const int> exponents() const noexcept { return exponents_; }
    std::span<const std::int32_t> vertexAt() const noexcept { return tree_.vertexAt; }
    std::span<const FrontPanel<Cell>> panels() const noexcept { return factor_.panels; }
    const Pivots<Cell>& pivots() const noexcept { return factor_.pivots; }

private:
    using Panel = FrontPanel<Cell>;
    /// What a front leaves for its parent: a lower triangle.
    struct Rest {
        Block<Cell> cells{};
        std::vector<std::int32_t> rows{};
        std::int32_t waiting = 0; ///< of the rows: candidates that were no pivots
    };
    struct Factor {
        std::vector<Panel> panels{};
        Pivots<Cell> pivots{};
        std::int64_t entries = 0, delayed = 0;
        double operations = 0.0;

        void add(const Front<Cell>& front, std::int32_t eliminated);
    };
    class Assembly;

    int place(const Cell* b, Cell* placed) const;
    void forward(const Panel& panel, std::int32_t columns, Cell* X, std::vector<Cell>& work) const;
    void divide(const Panel& panel, std::int32_t columns, Cell* X) const;
    void backward(const Panel& panel, std::int32_t columns, Cell* X, std::vector<Cell>& work) const;
    void gather(const Panel& panel, std::int32_t columns, const Cell* X, std::vector<Cell>& work) const;

    bool conjugates_;
    std::vector<int> exponents_; ///< of the scales
    FrontTree tree_{};
    Factor factor_{};
};

} // namespace Velmar::Lintrix::detail::multifrontal
