// Text form, byte form, archive and identity of Matrix.

#include <lintrix/dense/matrix.h>

#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/dense/detail/identity.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/detail/text_table.h>

#include <array>
#include <ostream>

namespace Velmar::Lintrix {

namespace {

constexpr std::string_view kFormat = "F3", kSeparator = " ", kLeftBorder = "| ", kRightBorder = " |\n";
constexpr std::string_view kEndMatrix = kRightBorder;

} // namespace

// ---- text

std::string Matrix::ToString() const
{
    return ToString(kFormat);
}

std::string Matrix::ToString(std::string_view format) const
{
    return ToString(format, kSeparator);
}

std::string Matrix::ToString(std::string_view format, std::string_view separator) const
{
    return ToString(format, separator, kLeftBorder, kRightBorder, kEndMatrix);
}

std::string Matrix::ToString(std::string_view format, std::string_view separator, std::string_view leftBorder,
                             std::string_view rightBorder, std::string_view endMatrix) const
{
    return ToString(std::locale(), format, separator, leftBorder, rightBorder, endMatrix);
}

std::string Matrix::ToString(const std::locale& provider, std::string_view format) const
{
    return ToString(provider, format, kSeparator, kLeftBorder, kRightBorder, kEndMatrix);
}

std::string Matrix::ToString(const std::locale& provider, std::string_view format, std::string_view separator,
                             std::string_view leftBorder, std::string_view rightBorder,
                             std::string_view endMatrix) const
{
    detail::TextTable table(format, provider);
    table.reserve(static_cast<std::size_t>(mCells));
    const double* const block = cells();
    for (std::int32_t r = 0; r < mRows; ++r) {
        for (std::int64_t c = 0; c < mCols; ++c) table.add(block[r + mRows * c]);
    }

    const auto rows = static_cast<std::size_t>(mRows), cols = static_cast<std::size_t>(mCols);
    const std::size_t line = leftBorder.size() + cols * table.width() + (cols - 1) * separator.size();
    std::string text;
    text.reserve(endMatrix.size() + rows * (line + rightBorder.size()));
    for (std::int32_t r = 0; r < mRows; ++r) {
        text.append(leftBorder);
        table.appendLine(text, mCols, separator);
        text.append(r < mRows - 1 ? rightBorder : endMatrix); // by contract the last row has the end alone
    }
    return text;
}

std::ostream& operator<<(std::ostream& out, const Matrix& matrix)
{
    return out << matrix.ToString();
}

// ---- bytes

std::vector<std::byte> Matrix::Data() const
{
    return detail::toBytes(std::array{mRows, mCols}, cells(), mCells);
}

void Matrix::Data(std::span<const std::byte> data)
{
    const std::int32_t rows = detail::sizeInBytes(data, 0), cols = detail::sizeInBytes(data, 1);
    detail::requireForeignSizes(rows, cols, detail::mostCellsInByteForm<double>(2));
    Resize(rows, cols);
    detail::copyToBlock(data.subspan(2 * sizeof(std::int32_t)), cells(), mCells);
}

// ---- archive

void Matrix::GetObjectData(SerializationInfo& info, const StreamingContext&) const
{
    std::vector<double> data(cells(), cells() + mCells);
    info.AddValue("Rows", mRows);
    info.AddValue("Cols", mCols);
    info.AddValue("Data", std::move(data));
}

Matrix::Matrix(const SerializationInfo& info, const StreamingContext&)
    : mRows(info.GetInt32("Rows")), mCols(info.GetInt32("Cols")),
      mCells((detail::requireForeignSizes(mRows, mCols, INT32_MAX), detail::cellCount(mRows, mCols))),
      a(mCells)
{
    detail::copyToBlock(info.GetDoubleArray("Data"), a.get(), mCells);
}

// ---- identity

std::int32_t Matrix::GetHashCode() const
{
    return mRows ^ mCells ^ detail::hashOfCells(cells(), mCells);
}

bool operator==(const Matrix& A, const Matrix& B)
{
    return A.mRows == B.mRows && A.mCols == B.mCols && detail::equalCells(A.cells(), B.cells(), A.mCells);
}

bool operator==(const Matrix& A, const Array2D<double>& array)
{
    if (A.mRows != array.Rows() || A.mCols != array.Cols()) return false;
    for (std::int32_t r = 0; r < A.mRows; ++r) {
        for (std::int32_t c = 0; c < A.mCols; ++c) {
            if (A.column(c)[r] != array.Row(r)[c]) return false;
        }
    }
    return true;
}

} // namespace Velmar::Lintrix
