#pragma once
/// @file
/// The loops of an out-of-place transposition, by cell type.

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// One tile: b(j, i) := map(a(i, j)).
template <class Cell, class Map>
inline void transposeTile(std::uint64_t rows, std::uint64_t cols, const Cell* a, std::uint64_t lda, Cell* b,
                          std::uint64_t ldb, const Map& map)
{
    for (std::uint64_t i = 0; i < rows; ++i) {
        for (std::uint64_t j = 0; j < cols; ++j) b[j + ldb * i] = map(a[i + lda * j]);
    }
}

/// b(j, i) := map(a(i, j)) for the rows x cols array `a`, both column-major; they must not overlap. A tile is
/// 16 x 16: pairs of neighbouring cache lines are read and written whole, and both sides of the tile (4 KiB
/// of doubles) stay in the first-level cache whatever the leading dimensions.
template <class Cell, class Map>
void transposeTiles(std::uint64_t rows, std::uint64_t cols, const Cell* a, std::uint64_t lda, Cell* b,
                    std::uint64_t ldb, const Map& map)
{
    constexpr std::uint64_t kTile = 16;
    for (std::uint64_t j = 0; j < cols; j += kTile) {
        for (std::uint64_t i = 0; i < rows; i += kTile) {
            const std::uint64_t height = std::min(kTile, rows - i), width = std::min(kTile, cols - j);
            const Cell* from = a + i + lda * j;
            Cell* to = b + j + ldb * i;
            if (height == kTile && width == kTile) { // constant bounds: the compiler unrolls
                transposeTile(kTile, kTile, from, lda, to, ldb, map);
            } else {
                transposeTile(height, width, from, lda, to, ldb, map);
            }
        }
    }
}

} // namespace Velmar::Lintrix::detail
