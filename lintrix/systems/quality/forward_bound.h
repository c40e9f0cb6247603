#pragma once
/// @file
/// How far x is from the solution x* of op(A)*x* = b. With r the computed residual, w = |op(A)|*|x| + |b|,
/// nz the longest row, eps = 2^-53, and infinity norms,
///
///     ||x* - x|| <= || |op(A)^-1| * g ||,            g = |r| + (nz + 1)*eps*w
///
/// since x* - x is op(A)^-1 times the exact residual, and g bounds that: the computed one, and all that its
/// rounding may have hidden. The inverse is never formed: with G = diag(g) the right-hand side is
/// ||op(A)^-1 * G||, the 1-norm of the map G*op(A)^-H, which is estimated by solves. Arioli, Demmel, Duff,
/// SIAM J. Matrix Anal. Appl. 10 (1989); Higham, Accuracy and Stability, 2nd ed., section 15.1.
///
/// A residual in twice the precision hides next to nothing. But that of the best x there is, rounded to
/// doubles, is still of the size eps*w, and its moduli would tell no more than above. Its signs do: with the
/// correction d = op(A)^-1 * r and what that leaves, s = r - op(A)*d,
///
///     ||x* - x|| <= ||d|| + || |op(A)^-1| * g ||,    g = |s| + (nz + 1)*eps*|r| + ((nz + 1)*eps)^2*w
///
/// The solves are inexact themselves, by about the condition times eps, or by far more where pivots were
/// perturbed. q = ||op(A)^-1 * s||/||d|| measures it: x* - x is a sum of corrections of which each is about
/// q times the one before. Where A is singular to working precision, a part of d that is small may be one
/// that no correction makes smaller; so q is the larger of the first two such quotients. Estimates are
/// divided by 1 - q, and from q = 1 on the bound is infinite; but where the second quotient alone is small,
/// so that d has a good correction, it is refined first.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/quality/norm_estimate.h>

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail {

/// How r was computed, which decides on the bound and on what it promises.
enum class ResidualPrecision {
    /// The first bound: about the componentwise condition of the system times eps, however good x may be. It
    /// holds unless the estimate falls short by more than the rounding term is too large, which is seldom
    /// less than a factor of ten.
    Working,
    /// The second, without the rounding of r: it follows the error of this very x, down to eps. The
    /// estimate concerns a small part of it, while q is small. It has no slack to spare: with a residual of
    /// the working precision it would be wrong.
    Twice,
};

/// What spares work, known before any column is looked at.
struct KnownBefore {
    std::int32_t terms = 1; ///< nz + 1
    /// Such that || |op(A)^-1|*g || <= inverseNorm*||g||_1 for all g >= 0; ||A^-1||_1 is one for each op.
    /// Where this shows already that the product is no more than a few times d and the rounding of x, it is
    /// not estimated, and where it shows that q is small, q is not measured.
    double inverseNorm = std::numeric_limits<double>::infinity();
    /// Of op(A). With them a residual of the working precision is enough where what its rounding may hide
    /// makes q no larger than it may be.
    std::span<const double> rowSums{};
    /// Such that || |op(A)^-1|*g || <= inverseNormByRows*||g/rowSums||_1, elements divided by elements.
    double inverseNormByRows = std::numeric_limits<double>::infinity();
};

/// A q up to here makes a bound no worse by more than this.
inline constexpr double kSmallRate = 1.0 / 64;

/// s = r - op(A)*d of a correction d.
template <class Cell>
struct Remainder {
    std::vector<Cell> s;
    std::vector<double> sizes; ///< |s|, and what its rounding may hide
    /// Not below ||op(A)^-1*s||, and that over ||d||: by the norms that are known, infinite where none is.
    double next = std::numeric_limits<double>::infinity(), rate = next;

    bool isLittle() const noexcept { return rate <= kSmallRate; }
};

/// In the working precision, where that is little for sure, else in twice that. Cost: a product with A, or
/// two; none or one where `working`, s in the working precision, is at hand.
template <class Cell>
LINTRIX_TESTABLE Remainder<Cell> remainderOf(const AnyMatrix<Cell>& A, TransposeMode op, const Cell* r,
                                             const Cell* d, const KnownBefore& known,
                                             std::vector<Cell> working = {});

/// A bound on ||x* - x||/||x|| for each column; A is square. `inverse` solves with op(A), and its adjoint
/// with the adjoint; all columns together cost a solve; each costs besides two, and those of the estimate,
/// where they are not spared.
///
/// 0 where x and the bound are 0, infinite where x alone is 0; NaN, or infinite, where what is given or
/// solved is not finite.
template <class Cell>
LINTRIX_TESTABLE std::vector<double>
forwardErrorBounds(const AnyMatrix<Cell>& A, TransposeMode op, const LinearMap<Cell>& inverse,
                   std::int32_t columns, const Cell* b, const Cell* x, const Cell* r,
                   ResidualPrecision precision, const NormEstimation& how = {});
/// The same with w and the corrections D, the inverse's answer to R, at hand, and maybe what that of the
/// first column leaves.
template <class Cell>
LINTRIX_TESTABLE std::vector<double>
forwardErrorBounds(const AnyMatrix<Cell>& A, TransposeMode op, const LinearMap<Cell>& inverse,
                   std::int32_t columns, const Cell* x, const Cell* r, const Cell* d, const double* w,
                   const KnownBefore& known, ResidualPrecision precision, const NormEstimation& how = {},
                   const Remainder<Cell>* ofFirst = nullptr);

} // namespace Velmar::Lintrix::detail
