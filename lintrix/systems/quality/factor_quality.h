#pragma once
/// @file
/// What a factor is worth, whatever is solved with it: the condition of its matrix, and how far it is from
/// that matrix.

#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/quality/matrix_view.h>

#include <cstdint>
#include <limits>
#include <optional>

namespace Velmar::Lintrix::detail {

struct FactorQuality {
    /// ||inverse||_1, estimated from below, seldom by less than a third of it; NaN where a solve is not
    /// finite.
    double inverseNorm = std::numeric_limits<double>::quiet_NaN();
    std::optional<double> condition{}; ///< ||A||_1 times that; none where it is no number
    /// The size of F = A*inverse - I: the largest ||F*x||/||x||_inf of the vectors x that the estimate has
    /// tried. These are vectors of signs, random from the second on, for which the mean of ||F*x||^2 is the
    /// square of the Frobenius norm of F, and those unit vectors that the inverse makes longest.
    std::optional<double> drift{};

    /// The estimate with what it may fall short by; infinite where there is none, or the condition leaves the
    /// solves behind it too few digits.
    double inverseNormAtMost() const noexcept;
};

struct FactorQuestion {
    std::int32_t columns = 1; ///< that are solved for at once; one is the cheapest
    /// The drift is measured, of the factor of A - shift*I; none: it is not. Cost: a product for each vector.
    std::optional<double> shift{};
};

/// The condition is meant for shift 0. Cost: five solves at most, and as many products with A as are asked
/// for.
template <class Cell>
LINTRIX_TESTABLE FactorQuality qualityOfFactor(const MatrixView<Cell>& A, const LinearMap<Cell>& inverse,
                                               const FactorQuestion& asked = {});

} // namespace Velmar::Lintrix::detail
