#pragma once
/// @file
/// The sort behind SortRows and SortCols, and the permutation that it yields.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/hardening.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Sorts `keys` with their indices: place i of the sorted order is taken by old item result[i]. Any order but
/// Ascending negates the keys first, so that one ascending sort serves both and NaN, which stands before all
/// numbers, does so in both. Stable.
inline std::vector<std::int32_t> sortedOrder(std::vector<double> keys, SortOrder order)
{
    if (order != SortOrder::Ascending) {
        for (double& key : keys) key = -key;
    }
    std::vector<std::int32_t> index(keys.size());
    std::iota(index.begin(), index.end(), 0);
    const auto before = [&keys](std::int32_t i, std::int32_t j) {
        const double x = keys[static_cast<std::size_t>(i)], y = keys[static_cast<std::size_t>(j)];
        return x < y || (std::isnan(x) && !std::isnan(y));
    };
    std::stable_sort(index.begin(), index.end(), before);
    return index;
}

/// result[permutation[i]] = i.
inline std::vector<std::int32_t> inverseOf(std::span<const std::int32_t> permutation)
{
    std::vector<std::int32_t> inverse(permutation.size());
    for (std::size_t i = 0; i < permutation.size(); ++i) {
        inverse[static_cast<std::size_t>(permutation[i])] = static_cast<std::int32_t>(i);
    }
    return inverse;
}

/// Places for `count` rows or columns. That they are 0 to count-1, each once, is the caller's duty, looked at
/// in the hardened build alone. @throws SizeMismatchException  another length
inline void requirePlaces(std::span<const std::int32_t> values, std::int32_t count)
{
    if (values.size() != static_cast<std::size_t>(count))
        throw SizeMismatchException("Array size does not match.");
    if constexpr (kHardened) {
        std::vector<bool> seen(values.size());
        for (const std::int32_t value : values) {
            const bool inside = value >= 0 && static_cast<std::size_t>(value) < values.size();
            if (!inside || seen[static_cast<std::size_t>(value)]) {
                throw InvalidOperationException("The pivots are not a permutation.");
            }
            seen[static_cast<std::size_t>(value)] = true;
        }
    }
}

} // namespace Velmar::Lintrix::detail
