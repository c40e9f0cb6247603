#pragma once
// The sparsity pattern of a matrix, counted on a grid: drawn with characters, as SVG or as PNG.

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace Velmar::Lintrix::tools {

/// Entries counted in the fields of a grid that covers a rows x cols matrix. A field covers a rectangle of
/// cells.
class PatternGrid {
public:
    /// A grid of at most `height` x `width` fields, and no more than the matrix has rows and columns.
    PatternGrid(std::int32_t rows, std::int32_t cols, int height, int width);

    void add(std::int32_t row, std::int32_t col)
    {
        fullest_ = std::max(fullest_, ++counts_[field(row, col)]);
    }

    int height() const noexcept { return height_; }
    int width() const noexcept { return width_; }
    std::int32_t rows() const noexcept { return rows_; }
    std::int32_t cols() const noexcept { return cols_; }

    /// How full field (i, j) is beside the fullest, from 0 (empty) to 1. The square root, so that sparse
    /// fields stay visible.
    double shade(int i, int j) const;

private:
    std::size_t field(std::int32_t row, std::int32_t col) const
    {
        const auto i = static_cast<std::size_t>(std::int64_t{row} * height_ / rows_);
        const auto j = static_cast<std::size_t>(std::int64_t{col} * width_ / cols_);
        return i * static_cast<std::size_t>(width_) + j;
    }

    std::int32_t rows_, cols_;
    int height_, width_;
    std::vector<std::uint32_t> counts_;
    std::uint32_t fullest_ = 0;
};

/// One character a field in a frame; a line a row of fields.
std::string asSketch(const PatternGrid& grid);

/// A picture of the grid, black on white.
std::string asSvg(const PatternGrid& grid);
/// Small grids are enlarged, so that the longer side has at least 512 pixels.
/// @throws InputError  the encoder failed
std::string asPng(const PatternGrid& grid);

} // namespace Velmar::Lintrix::tools
