#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/failures.h>

#include <algorithm>

namespace Velmar::Lintrix {

namespace {

std::string complaint(std::string_view name, std::string_view rest)
{
    return std::string("Value '").append(name).append("' ").append(rest);
}

} // namespace

const SerializationInfo::Value* SerializationInfo::find(std::string_view name) const noexcept
{
    const auto it =
        std::find_if(values_.begin(), values_.end(), [name](const auto& v) { return v.first == name; });
    return it == values_.end() ? nullptr : &it->second;
}

void SerializationInfo::AddValue(std::string_view name, Value value)
{
    if (find(name)) throw SerializationException(complaint(name, "was already added to the archive."));
    values_.emplace_back(name, std::move(value));
}

template <class T>
const T& SerializationInfo::get(std::string_view name) const
{
    const Value* value = find(name);
    if (!value) throw SerializationException(complaint(name, "was not found in the archive."));
    const T* typed = std::get_if<T>(value);
    if (!typed) throw SerializationException(complaint(name, "in the archive is of another type."));
    return *typed;
}

template LINTRIX_EXPORT const bool& SerializationInfo::get<bool>(std::string_view) const;
template LINTRIX_EXPORT const std::int32_t& SerializationInfo::get<std::int32_t>(std::string_view) const;
template LINTRIX_EXPORT const std::int64_t& SerializationInfo::get<std::int64_t>(std::string_view) const;
template LINTRIX_EXPORT const float& SerializationInfo::get<float>(std::string_view) const;
template LINTRIX_EXPORT const double& SerializationInfo::get<double>(std::string_view) const;
template LINTRIX_EXPORT const std::string& SerializationInfo::get<std::string>(std::string_view) const;
template LINTRIX_EXPORT const std::vector<std::int32_t>&
    SerializationInfo::get<std::vector<std::int32_t>>(std::string_view) const;
template LINTRIX_EXPORT const std::vector<double>&
    SerializationInfo::get<std::vector<double>>(std::string_view) const;

} // namespace Velmar::Lintrix
