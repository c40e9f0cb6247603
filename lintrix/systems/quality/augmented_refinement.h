#pragma once
/// @file
/// Least squares and least norm solutions made better, by residuals in twice the working precision.

#include <lintrix/services/export.h>
#include <lintrix/systems/quality/any_matrix.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace Velmar::Lintrix::detail {

/// With a tall M, p x q,
///
///     t + M*w = f,  M^H*t = g
///
/// For f = b and g = 0 this is the residual t and the solution w of min ||b - M*w||; for f = 0 and g = b the
/// shortest solution t of M^H*t = b.
template <class Cell>
struct AugmentedEquations {
    /// F and G := T and W, so many columns, one behind the other; as well as a factor does it, or NaN.
    using Solve = std::function<void(std::int32_t columns, Cell* F, Cell* G)>;

    AnyMatrix<Cell> tall; ///< whose `op` is M
    TransposeMode op;
    AnyMatrix<Cell> wide; ///< whose `adjointOp` is M^H
    TransposeMode adjointOp;
    Solve solve;
};

/// What is left of a column once it has been refined.
struct RefinedColumn {
    double correction; ///< relative to x, in the infinity norm: of the x that is returned
    double residual;   ///< the largest |t_i|
    bool converged;    ///< the first correction was little, or later ones were much smaller
};

/// What the solves are worth by which a column was refined.
struct SolveQuality {
    double terms;        ///< n, the most elements in a row or column of M
    double condition;    ///< of M
    double unseen = 0.0; ///< of a correction they may see this and one times too little
};

/// Of w: the units of unknowns may differ.
struct SolutionTerms {
    double largest; ///< ||m_j||*|w_j|
    double least;   ///< ||m_j||, times the largest |w_k|
};

/// @param norms  of the columns of M
template <class Cell>
LINTRIX_TESTABLE SolutionTerms solutionTerms(const std::vector<double>& norms, const Cell* w);

/// A bound on ||x* - x||/||x||, infinity norms, x* being the exact solution: solves that converge tell half
/// of a correction at least. Infinite where they do not, and where M is all but singular. Of w the rounding
/// of a large ||m_j||*w_j, which no correction takes away, goes into others by as much as solves are wrong;
/// and what twice the precision loses of M^H*t, of relative size (n*u)^2, the square of the condition may
/// amplify. A zero that leaves no residual is exact.
///
/// @param w  none: x is t
LINTRIX_TESTABLE double boundOf(const RefinedColumn& column, const SolveQuality& solves,
                                const std::optional<SolutionTerms>& w);

/// Refines t and w together. The square of the condition, by which a large t disturbs w, does not count so: a
/// step takes the error down by as much as the solves are wrong, by about condition*eps where a QR does them,
/// and the correction that is left tells it (A. Bjorck, "Iterative refinement of linear least squares
/// solutions I", BIT 7 (1967); Golub and Van Loan, Matrix Computations, 4th ed., section 5.3.8).
///
/// X are columns of w, or of t where `shortest` asks for that; they are replaced where that is better.
/// Cost: of a column three readings of M, and two more and a solve for each step but the first; mostly one or
/// two. @throws as `WorkScope::tell`; X is as it was then, or better
template <class Cell>
LINTRIX_TESTABLE std::vector<RefinedColumn> refine(const AugmentedEquations<Cell>& equations, bool shortest,
                                                   std::int32_t columns, const Cell* B, Cell* X);

} // namespace Velmar::Lintrix::detail
