// Text form of SparseMatrix.

#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/foundation/number_format.h>

#include <algorithm>
#include <bit>
#include <optional>
#include <ostream>

namespace Velmar::Lintrix {

namespace {

constexpr std::string_view kFormat = "F3", kSeparator = " ", kLeftBorder = "| ", kRightBorder = " |\n";
constexpr std::string_view kNarrowRightBorder = "|\n"; // where a provider is given

// Cells as texts of one width, the longest that was measured; a longer text is not cut.
class CellWriter {
public:
    CellWriter(std::string_view format, const std::locale& locale) : formatter_(format, locale)
    {
        formatter_.Append(zero_, 0.0);
    }

    std::size_t width() const noexcept { return std::max(width_, zero_.size()); }

    void measure(double cell) { width_ = std::max(width_, textOf(cell).size()); }
    void append(std::string& out, double cell)
    {
        const std::string& text = textOf(cell);
        out.append(width_ - std::min(width_, text.size()), ' ').append(text);
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

// The elements that A stores in row `row`, columns `first` to `last` - 1, to their places in `cells`.
void scatterRow(const SparseMatrix& A, std::int32_t row, std::int32_t first, std::int32_t last,
                std::vector<double>& cells)
{
    const std::span<const std::int32_t> pointers = A.RowPointers(), columns = A.ColumnIndices();
    const std::span<const double> values = A.Values();
    const auto i = static_cast<std::size_t>(row);
    const auto begin = static_cast<std::size_t>(pointers[i] - 1),
               end = static_cast<std::size_t>(pointers[i + 1] - 1);
    for (std::size_t k = begin; k < end; ++k) {
        const std::int32_t col = columns[k] - 1;
        if (first <= col && col < last) cells[static_cast<std::size_t>(col)] = values[k];
    }
}

} // namespace

std::string SparseMatrix::ToString() const
{
    return ToString(kFormat);
}

std::string SparseMatrix::ToString(std::string_view format) const
{
    return ToString(format, kSeparator);
}

std::string SparseMatrix::ToString(std::string_view format, std::string_view separator) const
{
    return ToString(format, separator, kLeftBorder, kRightBorder, kRightBorder);
}

std::string SparseMatrix::ToString(std::string_view format, std::string_view separator,
                                   std::string_view leftBorder, std::string_view rightBorder,
                                   std::string_view endMatrix) const
{
    return ToString(std::locale(), format, separator, leftBorder, rightBorder, endMatrix);
}

std::string SparseMatrix::ToString(const std::locale& provider, std::string_view format) const
{
    return ToString(provider, format, kSeparator, kLeftBorder, kNarrowRightBorder, kNarrowRightBorder);
}

// Every element is printed as `Item` reads it. Row by row that takes no search: of a symmetric matrix, what
// lies left of the diagonal in row r is what the transpose stores there.
std::string SparseMatrix::ToString(const std::locale& provider, std::string_view format,
                                   std::string_view separator, std::string_view leftBorder,
                                   std::string_view rightBorder, std::string_view endMatrix) const
{
    const std::span<const double> values = Values();
    if (mRows == 0) return std::string(endMatrix); // nothing is printed, and the format not looked at
    const auto requireLastColumn = [this] {        // with it a row ends
        if (mCols < 1) Item(0, -1);
    };
    if (values.empty()) requireLastColumn(); // the first that a format is needed for
    CellWriter writer(format, provider);
    for (const double value : values) writer.measure(value);
    requireLastColumn();
    std::optional<SparseMatrix> mirrored;
    if (_symmetric) {
        if (mRows > mCols) Item(mCols, 0); // its mirror image lies outside, and it fails
        mirrored = Transpose();
    }

    const auto rows = static_cast<std::size_t>(mRows), cols = static_cast<std::size_t>(mCols);
    std::string text;
    text.reserve(endMatrix.size() + rows * (leftBorder.size() + rightBorder.size() +
                                            cols * (writer.width() + separator.size())));
    std::vector<double> cells(cols);
    for (std::int32_t r = 0; r < mRows; ++r) {
        std::fill(cells.begin(), cells.end(), 0.0);
        if (mirrored) scatterRow(*mirrored, r, 0, r, cells);
        scatterRow(*this, r, mirrored ? r : 0, mCols, cells);
        text.append(leftBorder);
        for (std::size_t c = 0; c < cols; ++c) {
            if (c > 0) text.append(separator);
            writer.append(text, cells[c]);
        }
        if (r < mRows - 1) text.append(rightBorder);
    }
    return text.append(endMatrix); // the last row closes with it alone
}

std::ostream& operator<<(std::ostream& out, const SparseMatrix& matrix)
{
    return out << matrix.ToString();
}

} // namespace Velmar::Lintrix
