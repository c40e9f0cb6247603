#pragma once
// The lines of a text file, plain or gzip-compressed, with their numbers.

#include <tools/progress.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zlib.h>

namespace Velmar::Lintrix::tools {

/// Reads in chunks of 1 MiB, which is also the longest line taken: memory stays bounded whatever the file
/// unpacks to. Compression is told by the first two bytes, not by the name. "-" is standard input.
/// Failures are InputErrors that carry the name and the number of the line they met.
class LineReader {
public:
    LineReader(const std::string& file, Progress& progress);

    /// The next line without its "\n" or "\r\n", good until the next call; empty at the end of the file.
    std::optional<std::string_view> next();

    /// Number of the line that next() gave last, from 1; 0 before the first.
    std::int64_t line() const noexcept { return line_; }
    /// The file's name in messages.
    const std::string& name() const noexcept { return name_; }
    /// No more bytes than this can come out of the file; UINT64_MAX where that cannot be told (a pipe).
    std::uint64_t byteLimit() const noexcept { return byteLimit_; }
    /// True when byteLimit() is the exact size, as of a plain file.
    bool sizeIsKnown() const noexcept { return sizeIsKnown_; }

    [[noreturn]] void fail(const std::string& text) const;

private:
    struct Close {
        void operator()(gzFile file) const noexcept { gzclose_r(file); }
    };

    void open(const std::string& file);
    bool fill();
    void requireSoundEnd() const;
    void showProgress() const;

    std::string name_;
    Progress* progress_;
    std::unique_ptr<gzFile_s, Close> file_;
    std::uint64_t fileBytes_ = 0; ///< as it lies on the disk; 0 unknown
    std::uint64_t byteLimit_ = UINT64_MAX;
    bool sizeIsKnown_ = false;
    std::vector<char> buffer_;
    std::size_t begin_ = 0, end_ = 0; ///< what is read and not yet given out: buffer_[begin_, end_)
    std::uint64_t bytesRead_ = 0;
    std::int64_t line_ = 0;
};

} // namespace Velmar::Lintrix::tools
