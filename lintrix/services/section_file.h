#pragma once
/// @file
/// Files of named sections, each with its length and its check sum. docs/saved_system_format.md tells them to
/// the byte.
///
/// A file is written beside its place and takes it at the end, so that there is always the one before or the
/// new one, whole. The reader trusts nothing: it takes the sections in their order, and compares each length
/// with what is expected and with what is left of the file before anybody takes memory for it.

#include <lintrix/services/export.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace Velmar::Lintrix {

enum class SectionError {
    None,
    NotOpened,      ///< the file is not there, may not be read or is no regular one
    NotRead,        ///< reading failed
    NoMemory,       ///< there is no room for what is in it
    NoSectionFile,  ///< it begins with other bytes
    OtherByteOrder, ///< it comes from a machine with another order of bytes
    OtherVersion,   ///< of the format
    OtherContent,   ///< it holds something else than was asked for
    CutOff,         ///< it ends too early
    OtherSection,   ///< another section stands there
    OtherLength,    ///< the section is longer or shorter than what it holds
    OtherSum,       ///< the check sum is that of other bytes
    Contradiction,  ///< the check sum is right, and what it is of does not hold together
    GoesOn,         ///< something stands behind the last section
};

/// What is wrong with a file, and where. True when something is.
struct SectionFault {
    SectionError error = SectionError::None;
    std::string_view section = ""; ///< that was asked for; a text that lives as long as the program
    std::int64_t byte = 0;         ///< of the file, from 0

    explicit operator bool() const noexcept { return error != SectionError::None; }
};

/// What each section begins with.
struct SectionHead {
    static constexpr std::size_t kNameBytes = 8;

    char name[kNameBytes]; ///< filled up with zeros
    std::int64_t length;
    std::uint64_t sum;
};
static_assert(sizeof(SectionHead) == 24);

/// What each file begins with.
struct SectionFileHead {
    static constexpr unsigned char kMagic[8] = {0x89, 'L', 'T', 'S', '\r', '\n', 0x1a, '\n'};
    static constexpr std::uint32_t kByteOrder = 0x01020304, kVersion = 1;

    unsigned char magic[8];
    std::uint32_t byteOrder, version;
    char content[8]; ///< what the sections are together, filled up with zeros
};
static_assert(sizeof(SectionFileHead) == 24);

/// Writes a file. Nothing is told before `Commit`: what goes wrong once makes all that follows idle.
class LINTRIX_EXPORT SectionWriter {
public:
    /// Begins a file beside `path`, under that name with ".new" and a number behind it. `content` and the
    /// names of sections have at most 8 characters.
    SectionWriter(std::string path, std::string_view content);
    /// Removes what was not committed.
    ~SectionWriter();
    SectionWriter(const SectionWriter&) = delete;
    SectionWriter& operator=(const SectionWriter&) = delete;

    void AddBytes(std::string_view name, std::span<const std::byte> bytes) noexcept;
    template <class T>
    void Add(std::string_view name, std::span<const T> cells) noexcept
    {
        static_assert(std::is_trivially_copyable_v<T>);
        AddBytes(name, std::as_bytes(cells));
    }
    template <class T>
    void AddOne(std::string_view name, const T& value) noexcept
    {
        Add(name, std::span(&value, 1));
    }

    /// The file goes to its place, which was free or held a regular file. @return  false: the file, or the
    /// disk, did not take all that was written; what stood in the place stands there still
    bool Commit() noexcept;

private:
    bool create();
    void append(std::span<const std::byte> bytes) noexcept;

    std::string path_, fresh_;
    int file_ = -1;
    std::int64_t size_ = 0;
    bool failed_ = false;
};

/// Reads a file section by section.
class LINTRIX_EXPORT SectionReader {
public:
    SectionReader() noexcept = default;
    ~SectionReader();
    SectionReader(const SectionReader&) = delete;
    SectionReader& operator=(const SectionReader&) = delete;

    SectionFault Open(const char* path, std::string_view content) noexcept;

    /// The next section has this name and this length: now there may be memory for it.
    SectionFault Expect(std::string_view name, std::int64_t bytes) noexcept;
    /// The next section has this name; its length is that of whole elements, and the file has as many bytes.
    SectionFault Announce(std::string_view name, std::int64_t elementBytes, std::int64_t& count) noexcept;
    /// The bytes of the section that was expected or announced.
    SectionFault TakeBytes(std::span<std::byte> into) noexcept;
    template <class T>
    SectionFault Take(std::span<T> cells) noexcept
    {
        static_assert(std::is_trivially_copyable_v<T>);
        return TakeBytes(std::as_writable_bytes(cells));
    }
    template <class T>
    SectionFault TakeOne(std::string_view name, T& value) noexcept
    {
        if (const SectionFault fault = Expect(name, std::int64_t{sizeof(T)})) return fault;
        return Take(std::span(&value, 1));
    }
    /// Nothing stands behind the last section.
    SectionFault End() const noexcept;

    /// Of the last section: there is no memory for it, or its content makes no sense.
    SectionFault NoMemory() const noexcept { return {SectionError::NoMemory, section_, begin_}; }
    SectionFault Contradiction(std::int64_t byteOfSection = 0) const noexcept
    {
        return {SectionError::Contradiction, section_, begin_ + byteOfSection};
    }
    std::int64_t BytesLeft() const noexcept { return size_ - place_; }

private:
    SectionFault faultAt(SectionError error) const noexcept { return {error, section_, place_}; }
    SectionFault readHead(std::string_view name) noexcept;

    int file_ = -1;
    std::int64_t size_ = 0, place_ = 0, begin_ = 0; // begin_: of the bytes of the last section
    std::string_view section_ = "";
    SectionHead head_{};
};

} // namespace Velmar::Lintrix
