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

/// How many of the first `rows` cells of column `col` a block of `held` cells has, leading dimension ld: all
/// of them, unless the product of its sizes wrapped.
constexpr std::int32_t heldRows(std::int64_t held, std::int64_t ld, std::int64_t col,
                                std::int32_t rows) noexcept
{
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(held - ld * col, 0, rows));
}

/// A new block of `count` cells for rows x cols: elements of `old` keep their (row, column), the rest is
/// zero.
template <class Cell>
Block<Cell> resized(const Cell* old, std::int32_t oldRows, std::int32_t oldCols, std::int32_t rows,
                    std::int32_t cols, std::int64_t count)
{
    auto fresh = Block<Cell>::zeroed(count);
    const std::int64_t held = fresh.cells();
    for (std::int64_t c = 0; c < std::min(cols, oldCols); ++c) {
        std::copy_n(old + oldRows * c, heldRows(held, rows, c, std::min(rows, oldRows)),
                    fresh.get() + rows * c);
    }
    return fresh;
}

} // namespace Velmar::Lintrix::detail
