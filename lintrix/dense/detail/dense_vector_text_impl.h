#pragma once
/// @file
/// Text form, byte form, archive and identity of `DenseVector`. For the two files that instantiate the class.

#include <lintrix/dense/detail/archive_form.h>
#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/dense/detail/dense_vector_impl.h>
#include <lintrix/dense/detail/identity.h>
#include <lintrix/dense/detail/text_table.h>
#include <lintrix/foundation/number_format.h>

#include <array>
#include <ostream>

namespace Velmar::Lintrix::detail {

// ---- text

template <class Cell>
std::string DenseVector<Cell>::ToString() const
{
    return ToString(kDefaultFormat);
}

template <class Cell>
std::string DenseVector<Cell>::ToString(std::string_view format) const
{
    return ToString(format, kVectorEnds.separator);
}

template <class Cell>
std::string DenseVector<Cell>::ToString(std::string_view format, std::string_view separator) const
{
    return ToString(format, separator, kVectorEnds.leftBorder, kVectorEnds.rightBorder, kVectorEnds.end);
}

template <class Cell>
std::string DenseVector<Cell>::ToString(std::string_view format, std::string_view separator,
                                        std::string_view leftBorder, std::string_view rightBorder,
                                        std::string_view endVector) const
{
    return ToString(std::locale(), format, separator, leftBorder, rightBorder, endVector);
}

template <class Cell>
std::string DenseVector<Cell>::ToString(const std::locale& provider, std::string_view format) const
{
    return ToString(provider, format, kVectorEnds.separator, kVectorEnds.leftBorder, kVectorEnds.rightBorder,
                    kVectorEnds.end);
}

template <class Cell>
std::string DenseVector<Cell>::ToString(const std::locale& provider, std::string_view format,
                                        std::string_view separator, std::string_view leftBorder,
                                        std::string_view rightBorder, std::string_view endVector) const
{
    return vectorText(NumberFormatter(format, provider), std::span(cells(), static_cast<std::size_t>(mCells)),
                      {separator, leftBorder, rightBorder, endVector});
}

template <class Cell>
std::ostream& DenseVector<Cell>::writeTo(std::ostream& out) const
{
    return out << ToString();
}

template <class Cell>
void DenseVector<Cell>::Print(std::ostream& out, std::int32_t digits) const
{
    out << ToString(formatOfDigits(digits));
}

// ---- bytes

template <class Cell>
std::vector<std::byte> DenseVector<Cell>::Data() const
{
    return toBytes(std::array{mCells}, cells(), mCells);
}

template <class Cell>
void DenseVector<Cell>::Data(std::span<const std::byte> data)
{
    const std::int32_t size = sizeInBytes(data, 0);
    self().Resize(size);
    copyToBlock(data.subspan(sizeof(size)), cells(), mCells);
}

// ---- archive

template <class Cell>
void DenseVector<Cell>::GetObjectData(SerializationInfo& info, const StreamingContext&) const
{
    info.AddValue("Size", mCells);
    info.AddValue("Data", archivedCells(cells(), mCells));
}

// The size is not looked at here: archives of empty vectors are read, and what is no size fails in the
// allocator.
template <class Cell>
DenseVector<Cell>::DenseVector(const SerializationInfo& info, const StreamingContext&)
    : mCells(info.GetInt32("Size")), a(restoredCells<Cell>(info, "Data", mCells))
{
}

// ---- identity

template <class Cell>
std::int32_t DenseVector<Cell>::GetHashCode() const
{
    return mCells ^ hashOfCells(cells(), mCells);
}

template <class Cell>
bool DenseVector<Cell>::sameAs(const DenseVector& other) const
{
    return mCells == other.mCells && equalCells(cells(), other.cells(), mCells);
}

} // namespace Velmar::Lintrix::detail
