// Text form, byte form, archive and identity of CMatrix.

#include <lintrix/complex/cmatrix.h>

#include <lintrix/dense/detail/archive_form.h>
#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/dense/detail/identity.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/detail/text_table.h>
#include <lintrix/foundation/number_format.h>

#include <array>
#include <ostream>

namespace Velmar::Lintrix {

using detail::kDefaultFormat, detail::kMatrixEnds;

// ---- text

std::string CMatrix::ToString() const
{
    return ToString(kDefaultFormat);
}

std::string CMatrix::ToString(std::string_view format) const
{
    return ToString(format, kMatrixEnds.separator);
}

std::string CMatrix::ToString(std::string_view format, std::string_view separator) const
{
    return ToString(format, separator, kMatrixEnds.leftBorder, kMatrixEnds.rightBorder, kMatrixEnds.end);
}

std::string CMatrix::ToString(std::string_view format, std::string_view separator,
                              std::string_view leftBorder, std::string_view rightBorder,
                              std::string_view endMatrix) const
{
    return ToString(std::locale(), format, separator, leftBorder, rightBorder, endMatrix);
}

std::string CMatrix::ToString(const std::locale& provider, std::string_view format) const
{
    return ToString(provider, format, kMatrixEnds.separator, kMatrixEnds.leftBorder, kMatrixEnds.rightBorder,
                    kMatrixEnds.end);
}

std::string CMatrix::ToString(const std::locale& provider, std::string_view format,
                              std::string_view separator, std::string_view leftBorder,
                              std::string_view rightBorder, std::string_view endMatrix) const
{
    return detail::matrixText(NumberFormatter(format, provider), view(),
                              {separator, leftBorder, rightBorder, endMatrix});
}

std::ostream& operator<<(std::ostream& out, const CMatrix& matrix)
{
    return out << matrix.ToString();
}

// ---- bytes

std::vector<std::byte> CMatrix::Data() const
{
    return detail::toBytes(std::array{mRows, mCols}, cells(), mCells);
}

void CMatrix::Data(std::span<const std::byte> data)
{
    const std::int32_t rows = detail::sizeInBytes(data, 0), cols = detail::sizeInBytes(data, 1);
    if (rows != mRows || cols != mCols) detail::requireForeignSizes(rows, cols);
    Resize(rows, cols);
    detail::copyToBlock(data.subspan(2 * sizeof(std::int32_t)), cells(), mCells);
}

// ---- archive

void CMatrix::GetObjectData(SerializationInfo& info, const StreamingContext&) const
{
    auto data = detail::archivedCells(cells(), mCells);
    info.AddValue("Rows", mRows);
    info.AddValue("Cols", mCols);
    info.AddValue("Data", std::move(data));
}

CMatrix::CMatrix(const SerializationInfo& info, const StreamingContext&)
    : mCols(0), mRows(info.GetInt32("Rows")), mCells(0)
{
    mCols = info.GetInt32("Cols");
    detail::requireForeignSizes(mRows, mCols);
    mCells = detail::cellCount(mRows, mCols);
    a = detail::restoredCells<Complex>(info, "Data", mCells);
}

// ---- identity

std::int32_t CMatrix::GetHashCode() const
{
    return mRows ^ mCells ^ detail::hashOfCells(cells(), mCells);
}

bool operator==(const CMatrix& A, const CMatrix& B)
{
    return A.mRows == B.mRows && A.mCols == B.mCols && detail::equalCells(A.cells(), B.cells(), A.mCells);
}

bool operator==(const CMatrix& A, const Array2D<Complex>& array)
{
    return detail::equalsArray(A.view(), array);
}

} // namespace Velmar::Lintrix
