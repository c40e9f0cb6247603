#pragma once
/// @file
/// How good a solution is: its scaled residual, how well a known solution comes back, and the verdict.
///
/// Every run solves one right-hand side more than was asked for, A*z with a random solution z that is known.
/// How well z comes back is measured, not estimated, and tells how many digits of X can be trusted: at the
/// price of two triangular solves, where a condition number would cost another factorization.

#include <lintrix/services/export.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/sparse_rows.h>
#include <lintrix/systems/verdict.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

struct Quality {
    /// Largest over the columns of ||b - A*x|| / (||A|| ||x|| + ||b||), infinity norms.
    double residual = 0.0;
    /// Of a tall system, whose residual is large by nature when b is not in the range of A: the same for the
    /// normal equations, ||A^H*(b - A*x)|| / (||A^H|| (||A|| ||x|| + ||b||)).
    std::optional<double> normalResidual{};
    double error = 0.0; ///< the largest that is known, of the probe and of X

    /// What is small for an accurate solution.
    double judged() const { return normalResidual.value_or(residual); }
};

/// Of each column.
template <class Block>
LINTRIX_TESTABLE std::vector<Quality> judgeColumns(const Block& A, const Block& X, const Block& B);
/// Of both; NaN where one is.
LINTRIX_TESTABLE Quality worseOf(const Quality& one, const Quality& other);

/// Of a system whose last column is the probe's.
struct LINTRIX_TESTABLE ProbedQuality {
    double residual = 0.0; ///< over the other columns, scaled as above
    double probeResidual = 0.0, probeError = 0.0;
    double probeErrorInUnits = 0.0;     ///< that of each element beside its own size
    std::optional<double> knownError{}; ///< of the other columns, where their solution is known
    /// All columns, the probe's too, solve systems that differ from A and B by the last places of each
    /// element: what that costs in digits is owed to no factor. Looked at where the verdict is Degraded.
    bool isSharp = false;

    /// The largest error that is known; NaN if there is one among them.
    double error() const;
};

/// Of op(A)*X = B. `known` holds the solutions of the last columns of `B`: of the probe's, or of more. `norm`
/// is that of op(A), of its largest row, where it is known.
template <class Cell>
LINTRIX_TESTABLE ProbedQuality judge(const SparseOf<Cell>& A, const MatrixOf<Cell>& X,
                                     const MatrixOf<Cell>& B, const MatrixOf<Cell>& known,
                                     TransposeMode op = TransposeMode::NotTransposed,
                                     std::optional<double> norm = {});

/// The larger of a probe's error and of one that may be known beside it; NaN if either is.
LINTRIX_TESTABLE double worseError(double probeError, std::optional<double> knownError);

/// Of a solution with this residual and this error, the largest that is known.
LINTRIX_TESTABLE Verdict verdictOf(double residual, double error);

/// The seeded solution of the right-hand side that is added: rows x 1, sizes in [1/2, 1), signs at random, so
/// that no element is small. Of a complex one the real and the imaginary parts are such.
/// Times powers of two where there are `units` of the unknowns: else the largest of these would be all that
/// is seen of it.
template <class Cell>
LINTRIX_TESTABLE MatrixOf<Cell> probeSolution(std::int32_t rows, std::span<const int> units = {});

/// The largest |x - y|; NaN if there is one among them.
template <class Block>
LINTRIX_TESTABLE double largestDifference(const Block& X, const Block& Y);
/// The largest error of `found`, relative to the largest element of `known`.
template <class Block>
LINTRIX_TESTABLE double probeError(const Block& known, const Block& found);

/// Of a probe, each element's error beside its own unit: an error that the largest unknowns hide comes out.
/// The same as above where the units are alike.
template <class Block>
LINTRIX_TESTABLE double probeErrorInUnits(const Block& known, const Block& found);

template <class Block>
LINTRIX_TESTABLE bool allFinite(const Block& X);

} // namespace Velmar::Lintrix::detail::roads
