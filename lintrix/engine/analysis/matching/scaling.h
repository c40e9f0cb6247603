#pragma once
/// @file
/// Scale factors from the matching's dual variables.

#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// 2n factors: exp(u_i) of row i at place i, exp(v_i) of column i at place n + i. In r_i a_ij c_j every
/// matched entry has magnitude 1 and every other one at most 1. The product a_ij c_j comes first in a
/// computation: it is at most 1, whereas r_i a_ij may overflow.
///
/// No factor passes e^709 or falls below e^-709, where a double ends. Where u or v do, a constant goes from
/// the one to the other, which changes no r_i c_j; what is out of range even then ends there, together with
/// its partner in the matching, so that the product of the two and with it the matched entry stays what it
/// was, while others may pass 1. Precondition: |u_i + v_j| <= 745 for matched (i, j), as for any double.
LINTRIX_TESTABLE void scaleUnsymmetric(std::span<const double> u, std::span<const double> v,
                                       std::span<const int> columnOfRow, std::span<double> factors) noexcept;

/// 2n factors: sqrt(exp(u_i) exp(v_i)), which serves row and column i alike, at place i, and exp(v_i) at
/// place n + i. The same limits hold for each.
LINTRIX_TESTABLE void scaleSymmetric(std::span<const double> u, std::span<const double> v,
                                     std::span<double> factors) noexcept;

/// All factors 1.
LINTRIX_TESTABLE void scaleByOne(std::span<double> factors) noexcept;

} // namespace Velmar::Lintrix::detail::engine
