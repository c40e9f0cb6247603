#pragma once
/// @file
/// Text form of CompressedMatrix.

#include <lintrix/dense/detail/text_table.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/foundation/number_format.h>
#include <lintrix/sparse/compressed_matrix.h>
#include <lintrix/sparse/detail/mirror.h>
#include <lintrix/sparse/detail/sparse_twin.h>

#include <algorithm>
#include <bit>
#include <optional>
#include <ostream>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Numbers as texts of one width, the longest that was measured; a longer text is not cut.
class CellWriter {
public:
    CellWriter(std::string_view format, const std::locale& locale) : formatter_(format, locale)
    {
        formatter_.Append(zero_, 0.0);
    }

    void measure(double cell) { width_ = std::max(width_, textOf(cell).size()); }
    void measure(const Complex& cell)
    {
        measure(cell.real());
        measure(cell.imag());
    }

    void append(std::string& out, double cell)
    {
        const std::string& text = textOf(cell);
        out.append(width_ - std::min(width_, text.size()), ' ').append(text);
    }
    void append(std::string& out, const Complex& cell)
    {
        out.push_back('(');
        append(out, cell.real());
        out.push_back(',');
        append(out, cell.imag());
        out.append("i)");
    }

    /// Room that a cell takes, as far as that can be told beforehand.
    template <class Cell>
    std::size_t room() const noexcept
    {
        constexpr std::size_t kSigns = 4; // of "(re,imi)"
        const std::size_t number = std::max(width_, zero_.size());
        return sizeof(Cell) == sizeof(double) ? number : 2 * number + kSigns;
    }

private:
    // Good until the next call. Most cells are the zero that is not stored, so its text is made once.
    const std::string& textOf(double cell)
    {
        if (std::bit_cast<std::uint64_t>(cell) == 0) return zero_;
        text_.clear();
        formatter_.Append(text_, cell);
        return text_;
    }

    NumberFormatter formatter_;
    std::string zero_, text_;
    std::size_t width_ = 0;
};

/// The rows of a matrix as `Item` reads them, without a search: of one triangle, what lies left of the
/// diagonal in row r is what the transpose stores there, mirrored.
template <class Cell>
class FullRows {
public:
    FullRows(const SparseOf<Cell>& A, bool oneTriangle) : A_(A), cells_(static_cast<std::size_t>(A.Cols()))
    {
        if (!oneTriangle) return;
        if (A.Rows() > A.Cols()) A.Item(A.Cols(), 0); // its mirror image lies outside, and it fails
        turned_ = A.Transpose();
    }

    /// Good until the next call.
    const std::vector<Cell>& row(std::int32_t r)
    {
        std::fill(cells_.begin(), cells_.end(), Cell(0.0));
        if (turned_) {
            scatter(*turned_, r, 0, r);
            const auto diagonal = cells_.begin() + r;
            std::transform(cells_.begin(), diagonal, cells_.begin(),
                           [](const Cell& cell) { return mirrored(cell); });
        }
        scatter(A_, r, turned_ ? r : 0, A_.Cols());
        return cells_;
    }

private:
    // The elements that X stores in row r, columns `first` to `last` - 1, to their places.
    void scatter(const SparseOf<Cell>& X, std::int32_t r, std::int32_t first, std::int32_t last)
    {
        const std::span<const std::int32_t> pointers = X.RowPointers(), columns = X.ColumnIndices();
        const std::span<const Cell> values = X.Values();
        const auto i = static_cast<std::size_t>(r);
        const auto begin = static_cast<std::size_t>(pointers[i] - 1),
                   end = static_cast<std::size_t>(pointers[i + 1] - 1);
        for (std::size_t k = begin; k < end; ++k) {
            const std::int32_t col = columns[k] - 1;
            if (first <= col && col < last) cells_[static_cast<std::size_t>(col)] = values[k];
        }
    }

    const SparseOf<Cell>& A_;
    std::optional<SparseOf<Cell>> turned_;
    std::vector<Cell> cells_;
};

inline constexpr std::string_view kSparseFormat = "F3", kSparseSeparator = " ", kSparseLeftBorder = "| ",
                                  kSparseRightBorder = " |\n";
inline constexpr std::string_view kNarrowRightBorder = "|\n"; // where a provider is given

template <class Cell>
std::string CompressedMatrix<Cell>::ToString() const
{
    return ToString(kSparseFormat);
}

template <class Cell>
std::string CompressedMatrix<Cell>::ToString(std::string_view format) const
{
    return ToString(format, kSparseSeparator);
}

template <class Cell>
std::string CompressedMatrix<Cell>::ToString(std::string_view format, std::string_view separator) const
{
    return ToString(format, separator, kSparseLeftBorder, kSparseRightBorder, kSparseRightBorder);
}

template <class Cell>
std::string CompressedMatrix<Cell>::ToString(std::string_view format, std::string_view separator,
                                             std::string_view leftBorder, std::string_view rightBorder,
                                             std::string_view endMatrix) const
{
    return ToString(std::locale(), format, separator, leftBorder, rightBorder, endMatrix);
}

template <class Cell>
std::string CompressedMatrix<Cell>::ToString(const std::locale& provider, std::string_view format) const
{
    return ToString(provider, format, kSparseSeparator, kSparseLeftBorder, kNarrowRightBorder,
                    kNarrowRightBorder);
}

// With no column a row has no last one, with which it ends. The failure of that comes behind that of the
// format where a text is measured first.
template <class Cell>
std::string CompressedMatrix<Cell>::ToString(const std::locale& provider, std::string_view format,
                                             std::string_view separator, std::string_view leftBorder,
                                             std::string_view rightBorder, std::string_view endMatrix) const
{
    const std::span<const Cell> values = Values();
    if (mRows == 0) return std::string(endMatrix); // nothing is printed, and the format not looked at
    if (mCols < 1 && (values.empty() || SparseTwin<Cell>::kWidthOfAllCells)) Item(0, -1);
    CellWriter writer(format, provider);
    if (mCols < 1) Item(0, -1);
    FullRows<Cell> full(self(), _oneTriangle);
    if constexpr (SparseTwin<Cell>::kWidthOfAllCells) {
        for (std::int32_t r = 0; r < mRows; ++r) {
            for (const Cell& cell : full.row(r)) writer.measure(cell);
        }
    } else {
        for (const Cell& value : values) writer.measure(value);
    }

    const auto rows = static_cast<std::size_t>(mRows), cols = static_cast<std::size_t>(mCols);
    std::string text;
    text.reserve(endMatrix.size() + rows * (leftBorder.size() + rightBorder.size() +
                                            cols * (writer.room<Cell>() + separator.size())));
    for (std::int32_t r = 0; r < mRows; ++r) {
        const std::vector<Cell>& cells = full.row(r);
        text.append(leftBorder);
        for (std::size_t c = 0; c < cols; ++c) {
            if (c > 0) text.append(separator);
            writer.append(text, cells[c]);
        }
        if (r < mRows - 1) text.append(rightBorder);
    }
    return text.append(endMatrix); // the last row closes with it alone
}

template <class Cell>
std::ostream& CompressedMatrix<Cell>::writeTo(std::ostream& out) const
{
    return out << ToString();
}

template <class Cell>
void CompressedMatrix<Cell>::Print(std::ostream& out, std::int32_t digits) const
{
    CellWriter cells(formatOfDigits(digits), std::locale());
    const auto words = [](std::int32_t number) { return std::to_string(number); }; // no locale groups them
    out << words(mRows) << " x " << words(mCols) << ", " << words(NumElements())
        << (NumElements() == 1 ? " entry\n" : " entries\n");
    std::string line;
    for (const auto [row, col, value] : *this) {
        line.assign("(").append(words(row)).append(", ").append(words(col)).append(") ");
        cells.append(line, value); // without a measured width, nothing is padded
        out << line << '\n';
    }
}

} // namespace Velmar::Lintrix::detail
