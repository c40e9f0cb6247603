#pragma once
/// @file
/// What the two stream formats of an archive have in common: type numbers, limits, failures.

#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/archive_stream.h>
#include <lintrix/foundation/failures.h>

#include <array>
#include <ostream>
#include <string>
#include <string_view>
#include <variant>

namespace Velmar::Lintrix::detail {

/// The types in the order of `SerializationInfo::Value`; the binary format numbers them from 1.
inline constexpr std::array<std::string_view, 8> kArchiveTypes = {
    "bool", "int32", "int64", "float32", "float64", "string", "int32[]", "float64[]"};
static_assert(std::variant_size_v<SerializationInfo::Value> == kArchiveTypes.size());

/// Raises "Archive, PLACE: WHAT."
[[noreturn]] inline void refuseArchive(std::string_view place, std::string_view what)
{
    throw SerializationException(
        std::string("Archive, ").append(place).append(": ").append(what).append("."));
}

/// The writers' check, before anything is written.
inline void requireWritable(const SerializationInfo& info)
{
    if (info.Values().size() > ArchiveLimits::Values) {
        throw SerializationException("The archive has more than 4096 values.");
    }
    for (const auto& [name, value] : info.Values()) {
        if (name.size() > ArchiveLimits::NameBytes) {
            throw SerializationException("A name in the archive is longer than 1024 bytes.");
        }
    }
}

inline void requireWritten(const std::ostream& out)
{
    if (!out) throw SerializationException("The archive could not be written.");
}

} // namespace Velmar::Lintrix::detail
