#pragma once
// How good a solution is: its scaled residual, how well a known solution comes back, and the verdict.
//
// Every run solves one right-hand side more than was asked for, A*z with a random solution z that is known.
// How well z comes back is measured, not estimated, and tells how many digits of X can be trusted: at the
// price of two triangular solves, where a condition number would cost another factorization.

#include <tools/input/columns.h>

#include <lintrix/lintrix.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace Velmar::Lintrix::tools {

inline constexpr double kFewDigits = 1e-6;      ///< an error above this is warned of
inline constexpr double kNoDigit = 0.1;         ///< from this error on no digit is correct
inline constexpr double kRoundingLevel = 1e-12; ///< a residual above this is worse than rounding explains
inline constexpr double kPoor = 1e-8;           ///< a residual above this is no solution

/// What a run amounts to.
enum class Verdict {
    Accurate, ///< the residual is at rounding level, and the known solution came back
    Degraded, ///< at least a digit came back, and there is a reason not to trust all of it
    Failed,   ///< there is no solution, or none with a correct digit
};

/// "accurate", "degraded", "failed".
std::string_view nameOf(Verdict verdict);

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

template <class Block>
Quality judge(const Block& A, const Block& X, const Block& B);

/// Of a system whose last column is the probe's.
struct ProbedQuality {
    double residual = 0.0; ///< over the other columns, scaled as above
    double probeResidual = 0.0, probeError = 0.0;
    std::optional<double> knownError{}; ///< of the other columns, where their solution is known

    /// The largest error that is known; NaN if there is one among them.
    double error() const;
};

/// `known` holds the solutions of the last columns of `B`: of the probe's, or of more.
template <class Cell>
ProbedQuality judge(const SparseRows<Cell>& A, const Columns<Cell>& X, const Columns<Cell>& B,
                    const Columns<Cell>& known);

/// The larger of a probe's error and of one that may be known beside it; NaN if either is.
double worseError(double probeError, std::optional<double> knownError);

/// Of a solution with this residual and this error, the largest that is known.
Verdict verdictOf(double residual, double error);

/// The seeded solution of the right-hand side that is added: rows x 1, sizes in [1/2, 1), signs at random, so
/// that no element is small. Of a complex one the real and the imaginary parts are such.
template <class Cell>
Columns<Cell> probeSolution(std::int32_t rows);

/// The largest |x - y|; NaN if there is one among them.
template <class Block>
double largestDifference(const Block& X, const Block& Y);
/// The largest error of `found`, relative to the largest element of `known`.
template <class Block>
double probeError(const Block& known, const Block& found);

template <class Block>
bool allFinite(const Block& X);

} // namespace Velmar::Lintrix::tools
