#pragma once
/// @file
/// Column-major block algorithms, by cell type.

#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/block.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace Velmar::Lintrix::detail {

/// Copies the leading rows x cols part of `source` (leading dimension lds) to `target` (leading dimension
/// ldt).
template <class Cell>
void copyPart(const Cell* source, std::int32_t lds, Cell* target, std::int32_t ldt, std::int32_t rows,
              std::int32_t cols)
{
    for (std::int64_t c = 0; c < cols; ++c) {
        std::memcpy(target + ldt * c, source + lds * c, static_cast<std::size_t>(rows) * sizeof(Cell));
    }
}

/// A new rows x cols block: elements of `old` keep their (row, column), the rest is zero.
template <class Cell>
Block<Cell> resized(const Cell* old, std::int32_t oldRows, std::int32_t oldCols, std::int32_t rows,
                    std::int32_t cols)
{
    auto fresh = Block<Cell>::zeroed(cellCount(rows, cols));
    copyPart(old, oldRows, fresh.get(), rows, std::min(rows, oldRows), std::min(cols, oldCols));
    return fresh;
}

} // namespace Velmar::Lintrix::detail
