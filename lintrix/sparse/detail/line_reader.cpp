#include <lintrix/sparse/detail/line_reader.h>

#include <lintrix/sparse/file_format_exception.h>

#include <cstring>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;

} // namespace

LineReader::LineReader(ByteSource bytes, std::string name, std::function<void(const LineReader&)> onChunk)
    : bytes_(std::move(bytes)), name_(std::move(name)), onChunk_(std::move(onChunk)), buffer_(kChunk)
{
}

std::optional<std::string_view> LineReader::next()
{
    std::size_t searched = 0; // bytes of the line at hand in which no line end was found
    for (;;) {
        const char* const start = buffer_.data() + begin_;
        const auto* newline =
            static_cast<const char*>(std::memchr(start + searched, '\n', end_ - begin_ - searched));
        searched = end_ - begin_;
        if (newline == nullptr && fill()) continue;
        if (newline == nullptr && searched == 0) return std::nullopt;

        ++line_;
        const char* const line = buffer_.data() + begin_; // fill() may have moved it
        std::size_t length = newline != nullptr ? static_cast<std::size_t>(newline - line) : searched;
        begin_ += newline != nullptr ? length + 1 : length;
        if (length > 0 && line[length - 1] == '\r') --length;
        return std::string_view(line, length);
    }
}

/// Adds bytes behind what is still unread. False at the end.
bool LineReader::fill()
{
    if (end_ - begin_ == buffer_.size()) {
        throw FileFormatException(name_, line_ + 1,
                                  "the line is longer than " + std::to_string(kChunk) + " characters");
    }
    if (begin_ > 0) std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    const std::size_t count = bytes_.read(buffer_.data() + end_, buffer_.size() - end_);
    if (count == 0) {
        if (!bytes_.fault().empty()) throw FileFormatException(name_, line_ + 1, bytes_.fault());
        return false;
    }
    end_ += count;
    textRead_ += count;
    if (onChunk_) onChunk_(*this);
    return true;
}

void LineReader::fail(std::string_view text) const
{
    throw FileFormatException(name_, line_, text);
}

} // namespace Velmar::Lintrix::detail
