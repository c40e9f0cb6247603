#pragma once
/// @file
/// L*D*L' of a sparse symmetric matrix, or L*D*L^H of a Hermitian one, whose pivots may wait.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/multifrontal/front_elimination.h>
#include <lintrix/systems/multifrontal/front_factor.h>
#include <lintrix/systems/multifrontal/front_tree.h>
#include <lintrix/systems/structure/inertia.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

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
class LINTRIX_TESTABLE MultifrontalLDL : public FrontFactor<Cell> {
public:
    static constexpr int kTriangles = 1; ///< of the factor

    /// Analyses `A`, which is square, of finite elements, with both triangles told. `conjugates`: A = A^H,
    /// else A = A'. @throws std::bad_alloc
    MultifrontalLDL(const SparseEntries<Cell>& A, bool conjugates);

    /// A factor that was made before: it solves, and is not made anew.
    MultifrontalLDL(LdlParts<Cell> parts, bool conjugates);

    FrontForecast forecast() const { return forecastOf(tree_); }
    FillInReducingMethod ordering() const noexcept { return tree_.ordering; }

    /// Of the same matrix. A factor that was made before stays where this one comes to nothing.
    /// @return  false: a bound was passed
    /// @throws NotEnoughMemoryException, std::bad_alloc, what listens to the work
    bool factorize(const SparseEntries<Cell>& A, const FrontBounds& bounds = {});

    /// X = op(A)^-1*X for right-hand sides one behind the other. @pre factorized
    void solve(TransposeMode op, std::span<Cell> X) const { solve(op, X, {}); }

    /// What pivots that were zero would add to the diagonal of A if they were of this size beside the scaled
    /// elements: nothing anywhere else. The next solves with the matrix raised so. @pre factorized
    std::vector<double> raisedBy(double size) const;
    void solveRaised(double size, std::span<Cell> X) const { solve(TransposeMode::NotTransposed, X, size); }

    /// Pivots of the last factorization that were zero.
    std::int32_t replaced() const noexcept { return pivots_.replaced; }
    bool isHermitian() const noexcept { return symmetry_ == Symmetry::Hermitian; }
    /// Of D; pivots that were replaced count as zero. @pre A = A^H
    Inertia inertia() const;

    std::span<const int> exponents() const noexcept { return exponents_; }
    std::span<const std::int32_t> vertexAt() const noexcept { return tree_.vertexAt; }
    const Pivots<Cell>& pivots() const noexcept { return pivots_; }

private:
    /// No pivot that was found alone is as small; the second of a block has its mark before it.
    bool isReplaced(std::int32_t p) const
    {
        const bool isOfPair = pivots_.below[p] != Cell() || (p > 0 && pivots_.below[p - 1] != Cell());
        return pivots_.replaced > 0 && !isOfPair && pivots_.diagonal[p] == Cell(PivotRule().least);
    }
    void addElements(const SparseEntries<Cell>& A, std::int32_t f, const FrontWalk<Cell>& walk) const;
    void solve(TransposeMode op, std::span<Cell> X, std::optional<double> sizeOfZeros) const;
    void divide(const FrontPanel<Cell>& panel, FrontColumns<Cell>& X,
                std::optional<double> sizeOfZeros) const;

    Symmetry symmetry_;
    std::vector<int> exponents_; ///< of the scales
    FrontTree tree_{};
    Pivots<Cell> pivots_{};
};

} // namespace Velmar::Lintrix::detail::multifrontal
