#pragma once
/// @file
/// The cells of a dense object on their way to text.

#include <lintrix/foundation/number_format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <locale>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Texts in reading order with their common width. Each cell is formatted once, into one string; the layout
/// then takes the texts from it in the same order. Two bytes a cell beside the texts.
class TextTable {
public:
    /// @throws FormatException
    TextTable(std::string_view format, const std::locale& locale) : formatter_(format, locale) {}

    void reserve(std::size_t cells)
    {
        lengths_.reserve(cells);
        texts_.reserve(cells * 6);
    }
    void add(double cell)
    {
        const std::size_t before = texts_.size();
        formatter_.Append(texts_, cell);
        const std::size_t length = texts_.size() - before;
        lengths_.push_back(static_cast<std::uint16_t>(length));
        width_ = std::max(width_, length);
    }

    std::size_t width() const noexcept { return width_; }

    /// The next `count` cells, each padded on the left to the common width, `separator` between them.
    void appendLine(std::string& out, std::int32_t count, std::string_view separator)
    {
        for (std::int32_t i = 0; i < count; ++i) {
            const std::size_t length = lengths_[next_++];
            if (i > 0) out.append(separator);
            out.append(width_ - length, ' ').append(texts_, taken_, length);
            taken_ += length;
        }
    }

private:
    NumberFormatter formatter_;
    std::string texts_;
    std::vector<std::uint16_t> lengths_;
    std::size_t width_ = 0;
    std::size_t next_ = 0;  ///< first cell that no line has taken
    std::size_t taken_ = 0; ///< where its text begins
};

} // namespace Velmar::Lintrix::detail
