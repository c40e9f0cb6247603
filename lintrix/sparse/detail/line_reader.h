#pragma once
/// @file
/// The lines of a text, with their numbers.

#include <lintrix/sparse/detail/byte_source.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Reads in chunks of 1 MiB, which is also the longest line taken: memory stays bounded whatever a file
/// unpacks to. Failures are FileFormatExceptions that carry the name and the number of the line they met.
class LineReader {
public:
    /// `onChunk` is called after each chunk.
    LineReader(ByteSource bytes, std::string name, std::function<void(const LineReader&)> onChunk);

    /// The next line without its "\n" or "\r\n", good until the next call; empty at the end.
    std::optional<std::string_view> next();

    /// Number of the line that next() gave last, from 1; 0 before the first.
    std::int64_t line() const noexcept { return line_; }
    const std::string& name() const noexcept { return name_; }
    const ByteSource& bytes() const noexcept { return bytes_; }
    /// Bytes of text read so far, unpacked.
    std::uint64_t textRead() const noexcept { return textRead_; }

    [[noreturn]] void fail(std::string_view text) const;

private:
    bool fill();

    ByteSource bytes_;
    std::string name_;
    std::function<void(const LineReader&)> onChunk_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0, end_ = 0; ///< what is read and not yet given out: buffer_[begin_, end_)
    std::uint64_t textRead_ = 0;
    std::int64_t line_ = 0;
};

} // namespace Velmar::Lintrix::detail
