#pragma once
/// @file
/// Text form, byte form, archive and identity of `DenseMatrix`. For the two files that instantiate the class.

#include <lintrix/dense/detail/archive_form.h>
#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/dense/detail/dense_matrix_impl.h>
#include <lintrix/dense/detail/identity.h>
#include <lintrix/dense/detail/text_table.h>
#include <lintrix/foundation/number_format.h>

#include <array>
#include <ostream>

namespace Velmar::Lintrix::detail {

// ---- text

template <class Cell>
std::string DenseMatrix<Cell>::ToString() const
{
    return ToString(kDefaultFormat);
}

template <class Cell>
std::string DenseMatrix<Cell>::ToString(std::string_view format) const
{
    return ToString(format, kMatrixEnds.separator);
}

template <class Cell>
std::string DenseMatrix<Cell>::ToString(std::string_view format, std::string_view separator) const
{
    return ToString(format, separator, kMatrixEnds.leftBorder, kMatrixEnds.rightBorder, kMatrixEnds.end);
}

template <class Cell>
std::string DenseMatrix<Cell>::ToString(std::string_view format, std::string_view separator,
                                        std::string_view leftBorder, std::string_view rightBorder,
                                        std::string_view endMatrix) const
{
    return ToString(std::locale(), format, separator, leftBorder, rightBorder, endMatrix);
}

template <class Cell>
std::string DenseMatrix<Cell>::ToString(const std::locale& provider, std::string_view format) const
{
    return ToString(provider, format, kMatrixEnds.separator, kMatrixEnds.leftBorder, kMatrixEnds.rightBorder,
                    kMatrixEnds.end);
}

template <class Cell>
std::string DenseMatrix<Cell>::ToString(const std::locale& provider, std::string_view format,
                                        std::string_view separator, std::string_view leftBorder,
                                        std::string_view rightBorder, std::string_view endMatrix) const
{
    return matrixText(NumberFormatter(format, provider), view(),
                      {separator, leftBorder, rightBorder, endMatrix});
}

template <class Cell>
std::ostream& DenseMatrix<Cell>::writeTo(std::ostream& out) const
{
    return out << ToString();
}

template <class Cell>
void DenseMatrix<Cell>::Print(std::ostream& out, std::int32_t digits) const
{
    out << ToString(formatOfDigits(digits));
}

// ---- bytes

template <class Cell>
std::vector<std::byte> DenseMatrix<Cell>::Data() const
{
    return toBytes(std::array{mRows, mCols}, cells(), mCells);
}

template <class Cell>
void DenseMatrix<Cell>::Data(std::span<const std::byte> data)
{
    const std::int32_t rows = sizeInBytes(data, 0), cols = sizeInBytes(data, 1);
    if (rows != mRows || cols != mCols) requireForeignSizes(rows, cols);
    Resize(rows, cols);
    copyToBlock(data.subspan(2 * sizeof(std::int32_t)), cells(), mCells);
}

// ---- archive

template <class Cell>
void DenseMatrix<Cell>::GetObjectData(SerializationInfo& info, const StreamingContext&) const
{
    auto data = archivedCells(cells(), mCells);
    info.AddValue("Rows", mRows);
    info.AddValue("Cols", mCols);
    info.AddValue("Data", std::move(data));
}

template <class Cell>
DenseMatrix<Cell>::DenseMatrix(const SerializationInfo& info, const StreamingContext&)
    : mRows(info.GetInt32("Rows")), mCols(info.GetInt32("Cols")),
      mCells((requireForeignSizes(mRows, mCols), cellCount(mRows, mCols))),
      a(restoredCells<Cell>(info, "Data", mCells))
{
}

// ---- identity

template <class Cell>
std::int32_t DenseMatrix<Cell>::GetHashCode() const
{
    return mRows ^ mCells ^ hashOfCells(cells(), mCells);
}

template <class Cell>
bool DenseMatrix<Cell>::sameAs(const DenseMatrix& other) const
{
    return mRows == other.mRows && mCols == other.mCols && equalCells(cells(), other.cells(), mCells);
}

template <class Cell>
bool DenseMatrix<Cell>::sameAs(const Array2D<Cell>& array) const
{
    return equalsArray(view(), array);
}

} // namespace Velmar::Lintrix::detail
