#pragma once
/// @file
/// How far a solution of a linear system can be trusted, in one word.

#include <lintrix/services/export.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Velmar::Lintrix {

/// What a solution amounts to. The limits are below.
enum class Verdict {
    Accurate, ///< the residual is at rounding level, and a known solution came back
    Degraded, ///< at least a digit came back, and there is a reason not to trust all of it
    Failed,   ///< there is no solution, or none with a correct digit
};

/// "accurate", "degraded", "failed".
LINTRIX_EXPORT std::string_view NameOf(Verdict verdict) noexcept;

/// How many solutions a system has whose matrix is singular, structurally or to working precision.
enum class Solutions {
    Many,    ///< the right-hand sides are in the range: what solves them can be changed at will
    None,    ///< a right-hand side is not
    Unknown, ///< none was found, and not all directions are known that the matrix sends to zero
};

/// "many", "none", "unknown".
LINTRIX_EXPORT std::string_view NameOf(Solutions solutions) noexcept;

/// How good one column of a solution is.
struct ColumnQuality {
    Verdict verdict = Verdict::Failed;
    double backwardError = 0.0; ///< normwise: ||b - A*x|| / (||A|| ||x|| + ||b||), infinity norms
    /// Componentwise, of Oettli and Prager: the largest |b - A*x|_i / (|A||x| + |b|)_i. NaN where A is not
    /// square.
    double componentwiseError = 0.0;
    /// On ||x* - x|| / ||x||, infinity norms, where x* is the exact solution; infinite where the factor is
    /// too bad to tell. None where it was not asked for, where there is no factor, or where A is not square
    /// and has not full rank.
    std::optional<double> errorBound{};
    std::string reason{}; ///< of a verdict other than Accurate, in a few words: this column's own
};

/// Signs of the eigenvalues of a symmetric or Hermitian matrix: at least so many are positive, at least so
/// many negative, and of the others none can tell in spite of rounding.
struct CertainInertia {
    std::int32_t positive = 0, negative = 0, uncertain = 0;
    double bound = 0.0; ///< which decides: the sign of an eigenvalue of larger magnitude is certain
};

/// @name Limits of scaled residuals and of relative errors
/// @{
inline constexpr double kRoundingLevel = 1e-12; ///< a residual above this is worse than rounding explains
inline constexpr double kPoor = 1e-8;           ///< a residual above this is no solution
inline constexpr double kFewDigits = 1e-6;      ///< an error above this is warned of
inline constexpr double kNoDigit = 0.1;         ///< from this error on no digit is correct
/// @}

} // namespace Velmar::Lintrix
