#pragma once
/// @file
/// Checks of compressed rows that come from elsewhere. One pass over each array.

#include <lintrix/foundation/failures.h>

#include <algorithm>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail {

/// One-based row pointers begin with 1 and never fall.
inline bool areRowPointers(std::span<const std::int32_t> ia)
{
    return ia.front() == 1 && std::is_sorted(ia.begin(), ia.end());
}

/// One-based columns of a matrix with `cols` columns.
inline bool areColumns(std::span<const std::int32_t> ja, std::int32_t cols)
{
    return std::all_of(ja.begin(), ja.end(), [cols](std::int32_t j) { return j >= 1 && j <= cols; });
}

/// Columns ascend strictly within each row. @pre areRowPointers(ia), and `ja` holds what they tell
inline bool areRowsAscending(std::span<const std::int32_t> ia, std::span<const std::int32_t> ja)
{
    for (std::size_t i = 0; i + 1 < ia.size(); ++i) {
        const auto first = ja.begin() + (ia[i] - 1), last = ja.begin() + (ia[i + 1] - 1);
        if (std::adjacent_find(first, last, std::greater_equal<>()) != last) return false;
    }
    return true;
}

/// The duty of whoever hands arrays over, looked after in the hardened build.
/// @throws InvalidOperationException
inline void requireCompressedRows(std::span<const std::int32_t> ia, std::span<const std::int32_t> ja,
                                  std::int32_t cols)
{
    if (areRowPointers(ia) && areColumns(ja, cols) && areRowsAscending(ia, ja)) return;
    throw InvalidOperationException(
        "The arrays are not compressed rows: row pointers rise, columns ascend within a row.");
}

} // namespace Velmar::Lintrix::detail
