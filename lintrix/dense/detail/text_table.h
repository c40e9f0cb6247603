#pragma once
/// @file
/// Dense objects as text, by cell type and by the formatter of numbers: anything with
/// `Append(std::string&, double)`.

#include <lintrix/dense/detail/column_major.h>
#include <lintrix/foundation/failures.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The format of so many significant digits.
/// @throws ArgumentOutOfRangeException  "A number has 1 to 17 digits, not 18."
inline std::string formatOfDigits(std::int32_t digits)
{
    if (digits < 1 || digits > 17) {
        throw ArgumentOutOfRangeException("A number has 1 to 17 digits, not " + std::to_string(digits) + ".",
                                          "digits");
    }
    std::string format("G");
    return format += std::to_string(digits);
}

/// The texts of all numbers in reading order, with their common width. Each number is formatted once, into
/// one string; the layout then takes the texts from it in the same order. Two bytes a number beside the
/// texts, each of which is far below 65536 characters.
template <class Formatter, class Cell>
class TextTable {
public:
    TextTable(Formatter formatter, std::size_t cells) : formatter_(std::move(formatter))
    {
        lengths_.reserve(cells * kNumbers);
        texts_.reserve(cells * kNumbers * 6);
    }

    void add(const Cell& cell)
    {
        if constexpr (kNumbers == 1) {
            addNumber(cell);
        } else {
            addNumber(cell.real());
            addNumber(cell.imag());
        }
    }

    /// The length of a line of `count` cells.
    std::size_t lineLength(std::size_t count, std::string_view separator) const noexcept
    {
        const std::size_t cell = kNumbers == 1 ? width_ : 2 * width_ + kPairSigns;
        return count * cell + (count > 0 ? count - 1 : 0) * separator.size();
    }

    /// The next `count` cells, `separator` between them, each number padded on the left to the common width.
    void appendLine(std::string& out, std::size_t count, std::string_view separator)
    {
        for (std::size_t i = 0; i < count; ++i) {
            if (i > 0) out.append(separator);
            appendCell(out);
        }
    }

private:
    static constexpr std::size_t kNumbers = sizeof(Cell) / sizeof(double);
    static constexpr std::size_t kPairSigns = 4; ///< of "(re,imi)"

    void addNumber(double value)
    {
        const std::size_t before = texts_.size();
        formatter_.Append(texts_, value);
        const std::size_t length = texts_.size() - before;
        lengths_.push_back(static_cast<std::uint16_t>(length));
        width_ = std::max(width_, length);
    }
    void appendCell(std::string& out)
    {
        if constexpr (kNumbers == 1) {
            appendNumber(out);
        } else {
            out.push_back('(');
            appendNumber(out);
            out.push_back(',');
            appendNumber(out);
            out.append("i)");
        }
    }
    void appendNumber(std::string& out)
    {
        const std::size_t length = lengths_[next_++];
        out.append(width_ - length, ' ').append(texts_, taken_, length);
        taken_ += length;
    }

    Formatter formatter_;
    std::string texts_;
    std::vector<std::uint16_t> lengths_;
    std::size_t width_ = 0;
    std::size_t next_ = 0;  ///< first number that no line has taken
    std::size_t taken_ = 0; ///< where its text begins
};

/// What stands around the cells.
struct TextEnds {
    std::string_view separator, leftBorder, rightBorder, end;
};

/// What is taken where a caller gives none of it.
inline constexpr std::string_view kDefaultFormat = "F3";
inline constexpr TextEnds kMatrixEnds{" ", "| ", " |\n", " |\n"}, kVectorEnds{" ", "| ", " |", "\n"};

/// One line a row; the last one closes with the end alone.
template <class Formatter, class Cell>
std::string matrixText(Formatter formatter, const BlockView<Cell>& A, const TextEnds& ends)
{
    const auto rows = static_cast<std::size_t>(A.rows), cols = static_cast<std::size_t>(A.cols);
    TextTable<Formatter, Cell> table(std::move(formatter), rows * cols);
    for (std::int64_t r = 0; r < A.rows; ++r) {
        for (std::int64_t c = 0; c < A.cols; ++c) table.add(A(r, c));
    }

    const std::size_t line = ends.leftBorder.size() + table.lineLength(cols, ends.separator);
    std::string text;
    text.reserve(ends.end.size() + rows * (line + ends.rightBorder.size()));
    for (std::size_t r = 0; r < rows; ++r) {
        if (r > 0) text.append(ends.rightBorder);
        text.append(ends.leftBorder);
        table.appendLine(text, cols, ends.separator);
    }
    text.append(ends.end);
    return text;
}

/// One line; both end pieces always appear.
template <class Formatter, class Cell>
std::string vectorText(Formatter formatter, std::span<const Cell> cells, const TextEnds& ends)
{
    TextTable<Formatter, Cell> table(std::move(formatter), cells.size());
    for (const Cell& cell : cells) table.add(cell);

    std::string text;
    text.reserve(ends.leftBorder.size() + table.lineLength(cells.size(), ends.separator) +
                 ends.rightBorder.size() + ends.end.size());
    text.append(ends.leftBorder);
    table.appendLine(text, cells.size(), ends.separator);
    text.append(ends.rightBorder).append(ends.end);
    return text;
}

} // namespace Velmar::Lintrix::detail
