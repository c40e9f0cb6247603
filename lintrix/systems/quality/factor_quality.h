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
    /// The size of F = A*inverse - I, for Hermitian A: the largest ||F*x||/||x||_inf of the vectors x that
    /// the estimate has tried. These are the vector of ones, then random signs and those of the inverse's
    /// answers, where the mean of ||F*x||^2 over all signs is the square of the Frobenius norm of F, and the
    /// unit vectors that the inverse makes longest.
    std::optional<double> drift{};

    /// The estimate with what it may fall short by; infinite where there is none, or the condition leaves the
    /// solves behind it too few digits.
    LINTRIX_TESTABLE double inverseNormAtMost() const noexcept;
};

struct FactorQuestion {
    std::int32_t columns = 1; ///< that are solved for at once; one is the cheapest
    /// The drift is measured, of the factor of A - shift*I; none: it is not. Cost: a product for each vector.
    std::optional<double> shift{};
    std::span<const double> raised{}; ///< then: of A - shift*I + diag(raised), if there are any
    std::optional<double> oneNorm{};  ///< ||A||_1, where it is known
    /// Of refinement, with the drift's residual, as long as the drift of a vector is above `near`.
    std::int32_t steps = 0;
    double near = 0.0;
};

/// The condition is meant for shift 0. Cost: three solves at most, and a product with A for each where the
/// drift is asked for.
template <class Cell>
LINTRIX_TESTABLE FactorQuality qualityOfFactor(const AnyMatrix<Cell>& A, const LinearMap<Cell>& inverse,
                                               const FactorQuestion& asked = {});

} // namespace Velmar::Lintrix::detail
