#pragma once
/// @file
/// What a factor is worth, whatever is solved with it: the condition of its matrix, and how far it is from
/// that matrix.

#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/quality/any_matrix.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <span>

namespace Velmar::Lintrix::detail {

struct FactorQuality {
    /// ||inverse||_1, estimated from below, seldom by less than a third of it; NaN where a solve is not
    /// finite.
    double inverseNorm = std::numeric_limits<double>::quiet_NaN();
    std::optional<double> condition{}; ///< ||A||_1 times that; none where it is no number
    /// The size of F = A*inverse - I, for Hermitian A: the largest ||F*x||/||x||_inf of vectors x that the
    /// estimate has tried. These are two vectors of signs, where the mean of ||F*x||^2 over all signs is the
    /// square of the Frobenius norm of F, and the unit vectors that the inverse makes longest; of a positive
    /// inverse the signs alone, where ones are made longest.
    std::optional<double> drift{};
    /// ||inverse*R||_1, R = diag(the row sums of A), estimated likewise. Looked at where the condition leaves
    /// the solves too few digits, and NaN where that of R^-1*A does so, too: else it is but the units of the
    /// equations that make it large, and in no unit of theirs does a solve give other unknowns. Of a positive
    /// inverse it is known where the row sums are.
    double inverseNormByRows = std::numeric_limits<double>::quiet_NaN();
    /// What is left to correct of A*x = e after some refinement, beside the size of x; e is a unit vector
    /// that the inverse makes long, the unknowns by the sizes of their columns, and x is measured by what it
    /// is in the row of e. Looked at where neither condition leaves the solves enough digits, and 0 where
    /// this solve has them. Of a singular A, whatever small number its last pivot came out as, no refinement
    /// makes it small, which nothing need show that is measured with a right-hand side in the range of A; but
    /// where the units of the unknowns are beyond 2^60 apart, e may be one that is in the range as well.
    double worstSolve = 0.0;

    /// The estimate with what it may fall short by; infinite where there is none, or the condition leaves the
    /// solves behind it too few digits.
    LINTRIX_TESTABLE double inverseNormAtMost() const noexcept;
    /// The same of inverse*R.
    LINTRIX_TESTABLE double inverseNormByRowsAtMost() const noexcept;
    /// The worst solve does not converge. One that is no number, as where it overflows, tells nothing.
    LINTRIX_TESTABLE bool mayBeSingular() const noexcept;
};

struct FactorQuestion {
    /// The drift is measured, of the factor of A - shift*I; none: it is not. Cost: a product for each of four
    /// vectors.
    std::optional<double> shift{};
    std::span<const double> raised{};  ///< then: of A - shift*I + diag(raised), if there are any
    std::optional<double> oneNorm{};   ///< ||A||_1, where it is known
    std::span<const double> rowSums{}; ///< of A, where they are known; empty: they are not
    /// Of refinement, with the drift's residual, as long as the drift of a vector is above `near`.
    std::int32_t steps = 0;
    double near = 0.0;
};

/// A right-hand side that is solved in a block of an estimate, which takes hardly longer for it.
template <class Cell>
struct Companion {
    const Cell* b = nullptr;
    Cell* x = nullptr; ///< the inverse's answer to b
    /// b - A*x in the working precision, for who wants it: beside the drift that takes no more readings of A.
    Cell* left = nullptr;
};

/// Columns of the block in which a companion is the last one.
LINTRIX_TESTABLE std::int32_t companionBlock(std::int32_t order) noexcept;

/// With M the inverse and S a few vectors of signs, one of ones and random ones, two of these times random
/// sizes up to 1, no |M^H*s|_j is larger than the sum of the moduli in column j of M, and the mean of its
/// square over all signs is, but for those sizes, the square of that column's length. So the largest rows of
/// M^H*S tell columns of M that are long, and the sums of those are measured: at two solves, as in Cline,
/// Moler, Stewart, Wilkinson, "An estimate for the condition number of a matrix", SIAM J. Numer. Anal. 16
/// (1979), where one vector of signs is chosen on the way. Exact where all elements of M are of one sign, and
/// of the smallest M, all of whose columns are tried.
///
/// The same rows of M^H*S times the row sums of A tell columns of M*R that are long.
///
/// Where the drift of A itself is asked for and A has no positive elements off the diagonal, or no negative
/// ones, and the answer to ones shows that its inverse has therefore elements of one sign, that answer tells
/// the norm for certain. Neither further signs nor long columns are looked for then: the only solve is one of
/// the two vectors of signs whose drift is measured.
///
/// For the worst solve the unit vector is found by a solve with the adjoint, too, whose right-hand side is
/// the sizes of the columns, with the rows evened out, and signs.
///
/// Condition, norm by rows and worst solve are meant for shift 0. Cost: a solve of four columns with the
/// adjoint, and one of two with A; where the drift is asked for, a product with A for two of each. The
/// companion goes with the latter. For the norm by rows, one more of two with A; for the worst solve, one
/// with the adjoint, one to four of a column with A, and three products with A for each but the first.
template <class Cell>
LINTRIX_TESTABLE FactorQuality qualityOfFactor(const AnyMatrix<Cell>& A, const LinearMap<Cell>& inverse,
                                               const FactorQuestion& asked = {},
                                               const Companion<Cell>& companion = {});

} // namespace Velmar::Lintrix::detail
