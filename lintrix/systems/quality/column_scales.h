#pragma once
/// @file
/// Powers of two that even out the columns of a matrix.

#include <lintrix/services/export.h>

#include <vector>

namespace Velmar::Lintrix::detail {

/// With the columns times these, their norms lie in (1/2, 1]. Where the norms lie within a factor of 2^10
/// anyway all scales are that of the longest, since a solution of least norm is then least without them, too.
struct LINTRIX_TESTABLE ColumnScales {
    ColumnScales() = default;
    /// A column whose norm is zero, or not finite, is left alone.
    explicit ColumnScales(const std::vector<double>& norms);

    std::vector<double> scale{};
    double common = 1.0; ///< the longest column's
    bool differ = false; ///< the scales
};

} // namespace Velmar::Lintrix::detail
