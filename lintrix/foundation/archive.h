#pragma once
/// @file
/// The archive store: named values with their types, in the order in which they were added.
///
/// An object writes itself through `GetObjectData(info, context)` and is restored by a constructor from the
/// same two. The store is the counterpart of an archive in memory.

#include <lintrix/services/export.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Velmar::Lintrix {

/// Where an archive comes from or goes to. Nothing reads it; callers' own archiving code hands it along.
class StreamingContext {};

class SerializationInfo;

namespace detail {

/// The way to the restoring constructors, which are protected, so that nobody takes one for a copy: a class
/// that befriends it can be restored by `FromArchive`.
struct ArchiveAccess {
    template <class T>
    static T restore(const SerializationInfo& info, const StreamingContext& context)
    {
        return T(info, context);
    }
};

} // namespace detail

/// Keyed, ordered, typed store.
class LINTRIX_EXPORT SerializationInfo {
public:
    /// The types that the archive forms of the classes use. Complex data is a `double` array, real and
    /// imaginary parts in turn.
    using Value = std::variant<bool, std::int32_t, std::int64_t, float, double, std::string,
                               std::vector<std::int32_t>, std::vector<double>>;

    /// Appends `value` under `name`.
    /// @throws SerializationException  the name is taken: "Value 'NAME' was already added to the archive."
    void AddValue(std::string_view name, Value value);

    /// @name Reading
    /// @{

    /// The value of `name` in its stored type; nothing is converted. What is returned by reference or as a
    /// span stays good until the next AddValue.
    /// @throws SerializationException  no such name: "Value 'NAME' was not found in the archive."
    /// @throws SerializationException  another type: "Value 'NAME' in the archive is of another type."
    bool GetBoolean(std::string_view name) const { return get<bool>(name); }
    std::int32_t GetInt32(std::string_view name) const { return get<std::int32_t>(name); }
    std::int64_t GetInt64(std::string_view name) const { return get<std::int64_t>(name); }
    float GetSingle(std::string_view name) const { return get<float>(name); }
    double GetDouble(std::string_view name) const { return get<double>(name); }
    const std::string& GetString(std::string_view name) const { return get<std::string>(name); }
    std::span<const std::int32_t> GetInt32Array(std::string_view name) const
    {
        return get<std::vector<std::int32_t>>(name);
    }
    std::span<const double> GetDoubleArray(std::string_view name) const
    {
        return get<std::vector<double>>(name);
    }
    /// @}

    /// Whether there is a value of that name, of whatever type.
    bool Contains(std::string_view name) const noexcept { return find(name) != nullptr; }

    /// All values in the order of their adding.
    const std::vector<std::pair<std::string, Value>>& Values() const noexcept { return values_; }

private:
    template <class T>
    const T& get(std::string_view name) const;
    const Value* find(std::string_view name) const noexcept;

    std::vector<std::pair<std::string, Value>> values_;
};

/// What `object` writes of itself.
template <class T>
SerializationInfo ToArchive(const T& object)
{
    SerializationInfo info;
    object.GetObjectData(info, StreamingContext());
    return info;
}

/// The object that `info` tells of: `FromArchive<Matrix>(info)`. Fails as the restoring constructor of `T`.
template <class T>
T FromArchive(const SerializationInfo& info)
{
    return detail::ArchiveAccess::restore<T>(info, StreamingContext());
}

} // namespace Velmar::Lintrix
