#pragma once
/// @file
/// What a factorization by fronts may take.

#include <cstdint>
#include <limits>

namespace Velmar::Lintrix::detail::multifrontal {

struct FrontBounds {
    std::int64_t entries = std::numeric_limits<std::int64_t>::max(); ///< of the factors
    double operations = std::numeric_limits<double>::infinity();
};

} // namespace Velmar::Lintrix::detail::multifrontal
