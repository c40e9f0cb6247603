#pragma once
/// @file
/// Scale factors from the matching's dual variables.

#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// 2n factors: of row i at place i, of column i at place n + i. In r_i a_ij c_j every matched entry has
/// magnitude 1 and every other one at most 1. The product a_ij c_j comes first in a computation: it is at
/// most 1, whereas r_i a_ij may overflow. No factor passes e^700 or falls below e^-700, so that each is a
/// normal number; entries that differ by more stay unscaled beyond that.
LINTRIX_TESTABLE void scaleUnsymmetric(std::span<const double> u, std::span<const double> v,
                                       std::span<double> factors) noexcept;

/// 2n factors: sqrt(exp(u_i) exp(v_i)), which serves row and column i alike, at place i, and exp(v_i) at
/// place n + i. The same limits hold.
LINTRIX_TESTABLE void scaleSymmetric(std::span<const double> u, std::span<const double> v,
                                     std::span<double> factors) noexcept;

/// All factors 1.
LINTRIX_TESTABLE void scaleByOne(std::span<double> factors) noexcept;

} // namespace Velmar::Lintrix::detail::engine
