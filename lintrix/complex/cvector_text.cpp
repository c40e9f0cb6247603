// Text form, byte form, archive and identity of CVector.

#include <lintrix/complex/cvector.h>

#include <lintrix/dense/detail/archive_form.h>
#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/dense/detail/identity.h>
#include <lintrix/dense/detail/text_table.h>
#include <lintrix/foundation/number_format.h>

#include <array>
#include <ostream>

namespace Velmar::Lintrix {

using detail::kDefaultFormat, detail::kVectorEnds;

// ---- text

std::string CVector::ToString() const
{
    return ToString(kDefaultFormat);
}

std::string CVector::ToString(std::string_view format) const
{
    return ToString(format, kVectorEnds.separator);
}

std::string CVector::ToString(std::string_view format, std::string_view separator) const
{
    return ToString(format, separator, kVectorEnds.leftBorder, kVectorEnds.rightBorder, kVectorEnds.end);
}

std::string CVector::ToString(std::string_view format, std::string_view separator,
                              std::string_view leftBorder, std::string_view rightBorder,
                              std::string_view endVector) const
{
    return ToString(std::locale(), format, separator, leftBorder, rightBorder, endVector);
}

std::string CVector::ToString(const std::locale& provider, std::string_view format) const
{
    return ToString(provider, format, kVectorEnds.separator, kVectorEnds.leftBorder, kVectorEnds.rightBorder,
                    kVectorEnds.end);
}

std::string CVector::ToString(const std::locale& provider, std::string_view format,
                              std::string_view separator, std::string_view leftBorder,
                              std::string_view rightBorder, std::string_view endVector) const
{
    return detail::vectorText(NumberFormatter(format, provider),
                              std::span(cells(), static_cast<std::size_t>(mCells)),
                              {separator, leftBorder, rightBorder, endVector});
}

std::ostream& operator<<(std::ostream& out, const CVector& vector)
{
    return out << vector.ToString();
}

// ---- bytes

std::vector<std::byte> CVector::Data() const
{
    return detail::toBytes(std::array{mCells}, cells(), mCells);
}

void CVector::Data(std::span<const std::byte> data)
{
    const std::int32_t size = detail::sizeInBytes(data, 0);
    Resize(size);
    detail::copyToBlock(data.subspan(sizeof(size)), cells(), mCells);
}

// ---- archive

void CVector::GetObjectData(SerializationInfo& info, const StreamingContext&) const
{
    info.AddValue("Size", mCells);
    info.AddValue("Data", detail::archivedCells(cells(), mCells));
}

// The size is not looked at here: archives of empty vectors are read, and what is no size fails in the
// allocator.
CVector::CVector(const SerializationInfo& info, const StreamingContext&)
    : mCells(info.GetInt32("Size")), a(detail::restoredCells<Complex>(info, "Data", mCells))
{
}

// ---- identity

std::int32_t CVector::GetHashCode() const
{
    return mCells ^ detail::hashOfCells(cells(), mCells);
}

bool operator==(const CVector& x, const CVector& y)
{
    return x.mCells == y.mCells && detail::equalCells(x.cells(), y.cells(), x.mCells);
}

} // namespace Velmar::Lintrix
