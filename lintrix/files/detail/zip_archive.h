#pragma once
/// @file
/// Archives of the zip form (APPNOTE.TXT, version 6.3), as far as NumPy writes them: members stored or
/// deflated, with 64-bit lengths or without; not encrypted, not in several parts.

#include <lintrix/services/export.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail {

struct ZipMember {
    std::string name{};
    std::uint64_t packedSize = 0, size = 0;
    std::uint64_t offset = 0; ///< of its local head
    std::uint32_t sum = 0;    ///< CRC-32 of the unpacked bytes
    std::uint32_t method = 0; ///< 0 stored, 8 deflated
};

/// The members as the directory at the end tells them. `bytes` is the whole archive, and must outlive it.
class ZipArchive {
public:
    /// @throws FileFormatException  no directory, or one that leads past the archive
    ZipArchive(std::string_view bytes, std::string file);

    const std::vector<ZipMember>& members() const noexcept { return members_; }
    /// Null where there is none of that name.
    const ZipMember* find(std::string_view name) const noexcept;

    /// The unpacked bytes of a member, one after another.
    class Stream {
    public:
        Stream(const ZipArchive& archive, const ZipMember& member);
        Stream(Stream&&) noexcept;
        ~Stream();

        /// The next bytes, at most `size`; 0 at the end, which is where the directory tells, and at a fault.
        std::size_t read(char* target, std::size_t size);
        const std::string& fault() const noexcept { return fault_; }

    private:
        struct State;
        std::size_t unpack(char* target, std::size_t size);
        std::unique_ptr<State> state_;
        std::string fault_;
    };

private:
    friend class Stream;
    std::uint64_t number(std::uint64_t offset, int count) const;
    std::uint64_t findEnd() const;
    void readDirectory(std::uint64_t offset, std::uint64_t count);
    std::uint64_t readMember(std::uint64_t offset);
    void readExtra(std::uint64_t offset, std::uint64_t length, ZipMember& member) const;
    std::string_view packedBytes(const ZipMember& member) const;
    [[noreturn]] void fail(std::uint64_t offset, std::string_view text) const;

    std::string_view bytes_;
    std::string file_;
    std::vector<ZipMember> members_;
};

/// Writes an archive of deflated members.
class LINTRIX_TESTABLE ZipWriter {
public:
    using Sink = std::function<void(std::string_view)>;
    explicit ZipWriter(Sink sink) : sink_(std::move(sink)) {}

    /// `content` calls back with the bytes of the member, in pieces.
    /// @throws NotSupportedException  the archive would have 2 GiB or more
    void add(const std::string& name, const std::function<void(const Sink&)>& content);
    /// The directory, after the last member.
    void finish();

private:
    void put(std::string_view bytes);

    Sink sink_;
    std::vector<ZipMember> members_;
    std::uint64_t written_ = 0;
};

} // namespace Velmar::Lintrix::detail
