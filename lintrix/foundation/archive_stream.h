#pragma once
/// @file
/// Archives on streams: a compact binary format, and JSON for reading by eye. docs/archive_format.md tells
/// both to the byte.
///
///     std::ofstream out("a.ltx", std::ios::binary);
///     WriteArchive(out, ToArchive(A));
///     ...
///     const Matrix B = FromArchive<Matrix>(ReadArchive(in));
///
/// The readers trust nothing. A length is compared with what is left before it is believed, and memory grows
/// with the bytes that have arrived, at most twofold. What is cut off, damaged, too long or of another shape
/// raises SerializationException, whose text names the place: "Archive, byte 16: ..." or "Archive, line 3,
/// column 7: ...".

#include <lintrix/foundation/archive.h>
#include <lintrix/services/export.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>

namespace Velmar::Lintrix {

/// What an archive may hold; the writers keep to it, the readers insist on it.
struct ArchiveLimits {
    static constexpr std::size_t Values = 4096;    ///< in one archive
    static constexpr std::size_t NameBytes = 1024; ///< of one name
    /// The readers' limit where the caller gives none. Give one for input from strangers.
    static constexpr std::uint64_t Bytes = std::uint64_t{1} << 36;
};

/// Binary. Open files with `std::ios::binary`.
/// @throws SerializationException  too many values or a name too long, before anything is written; the
///         stream fails: "The archive could not be written."
LINTRIX_EXPORT void WriteArchive(std::ostream& out, const SerializationInfo& info);

/// Reads one archive and stops behind it, so that several may follow each other in a stream.
/// @throws SerializationException  see above
LINTRIX_EXPORT SerializationInfo ReadArchive(std::istream& in,
                                             std::uint64_t byteLimit = ArchiveLimits::Bytes);

/// JSON. Numbers are as short as reads back to the same double; NaN and the infinities are the strings "NaN",
/// "Infinity" and "-Infinity" (sign and payload of a NaN are lost).
/// @throws SerializationException  as `WriteArchive`; text that is no UTF-8
LINTRIX_EXPORT void WriteArchiveJson(std::ostream& out, const SerializationInfo& info);

/// Reads the stream to its end, where nothing but white space may follow. Strict: the members in the order in
/// which they are written, no duplicates, no comments, numbers by JSON's grammar and within their type.
/// @throws SerializationException  see above
LINTRIX_EXPORT SerializationInfo ReadArchiveJson(std::istream& in,
                                                 std::uint64_t byteLimit = ArchiveLimits::Bytes);

} // namespace Velmar::Lintrix
