#pragma once
/// @file
/// Bytes of a file or a stream, unpacked where they are gzip.

#include <lintrix/services/export.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Bytes as they lie in a file or come from a stream.
class RawSource {
public:
    virtual ~RawSource() = default;
    /// The next bytes, at most `size`; 0 at the end, and at a fault, which `fault` then tells.
    virtual std::size_t read(char* target, std::size_t size) = 0;
    /// Empty, or what the system said.
    virtual std::string fault() const { return {}; }
    /// All bytes there are; 0 where that cannot be told.
    virtual std::uint64_t size() const { return 0; }
};

/// @throws FileFormatException  "PATH: cannot be opened: ..."; "PATH: is a directory"
std::unique_ptr<RawSource> openFile(const std::string& path);
/// `in` must outlive the source.
std::unique_ptr<RawSource> sourceFrom(std::istream& in);

/// Tells gzip by the first two bytes, not by a name, and takes several members one after another (RFC 1952);
/// what follows the last member and is none is passed over, as gzip programs do.
class LINTRIX_TESTABLE ByteSource {
public:
    explicit ByteSource(std::unique_ptr<RawSource> raw);
    ByteSource(ByteSource&&) noexcept;
    ~ByteSource();

    /// The next unpacked bytes, at most `size`; 0 at the end, and at a fault.
    std::size_t read(char* target, std::size_t size);
    /// After a read of 0 bytes: empty at a sound end, else what is wrong.
    const std::string& fault() const noexcept { return fault_; }

    bool packed() const noexcept { return inflater_ != nullptr; }
    /// No more bytes than this can come out; UINT64_MAX where that cannot be told.
    std::uint64_t byteLimit() const;
    /// Bytes of the file read so far, and all there are (0: unknown): for progress.
    std::uint64_t rawRead() const noexcept { return rawRead_; }
    std::uint64_t rawSize() const { return raw_->size(); }

private:
    struct Inflater;

    std::size_t takePlain(char* target, std::size_t size);
    std::size_t unpack(char* target, std::size_t size);
    bool nextMember();
    bool startsWithMagic() const;
    bool refill(std::size_t wanted);
    std::size_t waiting() const noexcept { return end_ - begin_; }

    std::unique_ptr<RawSource> raw_;
    std::unique_ptr<Inflater> inflater_; ///< empty: the bytes are plain
    std::vector<char> buffer_;
    std::size_t begin_ = 0, end_ = 0; ///< raw bytes read and not yet used: buffer_[begin_, end_)
    std::uint64_t rawRead_ = 0;
    bool ended_ = false; ///< of the last member
    std::string fault_;
};

} // namespace Velmar::Lintrix::detail
