// Text form, byte form, archive and identity of Vector.

#include <lintrix/dense/vector.h>

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

std::string Vector::ToString() const
{
    return ToString(kDefaultFormat);
}

std::string Vector::ToString(std::string_view format) const
{
    return ToString(format, kVectorEnds.separator);
}

std::string Vector::ToString(std::string_view format, std::string_view separator) const
{
    return ToString(format, separator, kVectorEnds.leftBorder, kVectorEnds.rightBorder, kVectorEnds.end);
}

std::string Vector::ToString(std::string_view format, std::string_view separator, std::string_view leftBorder,
                             std::string_view rightBorder, std::string_view endVector) const
{
    return ToString(std::locale(), format, separator, leftBorder, rightBorder, endVector);
}

std::string Vector::ToString(const std::locale& provider, std::string_view format) const
{
    return ToString(provider, format, kVectorEnds.separator, kVectorEnds.leftBorder, kVectorEnds.rightBorder,
                    kVectorEnds.end);
}

std::string Vector::ToString(const std::locale& provider, std::string_view format, std::string_view separator,
                             std::string_view leftBorder, std::string_view rightBorder,
                             std::string_view endVector) const
{
    return detail::vectorText(NumberFormatter(format, provider),
                              std::span(cells(), static_cast<std::size_t>(mCells)),
                              {separator, leftBorder, rightBorder, endVector});
}

std::ostream& operator<<(std::ostream& out, const Vector& vector)
{
    return out << vector.ToString();
}

// ---- bytes

std::vector<std::byte> Vector::Data() const
{
    return detail::toBytes(std::array{mCells}, cells(), mCells);
}

void Vector::Data(std::span<const std::byte> data)
{
    const std::int32_t size = detail::sizeInBytes(data, 0);
    Resize(size);
    detail::copyToBlock(data.subspan(sizeof(size)), cells(), mCells);
}

// ---- archive

void Vector::GetObjectData(SerializationInfo& info, const StreamingContext&) const
{
    info.AddValue("Size", mCells);
    info.AddValue("Data", detail::archivedCells(cells(), mCells));
}

// The size is not looked at here: archives of empty vectors are read, and what is no size fails in the
// allocator.
Vector::Vector(const SerializationInfo& info, const StreamingContext&)
    : mCells(info.GetInt32("Size")), a(detail::restoredCells<double>(info, "Data", mCells))
{
}

// ---- identity

std::int32_t Vector::GetHashCode() const
{
    return mCells ^ detail::hashOfCells(cells(), mCells);
}

bool operator==(const Vector& x, const Vector& y)
{
    return x.mCells == y.mCells && detail::equalCells(x.cells(), y.cells(), x.mCells);
}

} // namespace Velmar::Lintrix
