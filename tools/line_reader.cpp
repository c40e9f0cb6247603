#include <tools/line_reader.h>

#include <tools/input_error.h>
#include <tools/text.h>

#include <fmt/format.h>

#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;
constexpr std::uint64_t kQuietBytes = std::uint64_t{16} << 20; // text read before progress is worth showing
constexpr std::uint64_t kDeflateLimit = 1032;                  // deflate never packs better than 1032 : 1

} // namespace

LineReader::LineReader(const std::string& file, Progress& progress)
    : name_(file == "-" ? "<stdin>" : file), progress_(&progress), buffer_(kChunk)
{
    open(file);
    if (fileBytes_ == 0) return;
    sizeIsKnown_ = gzdirect(file_.get()) == 1;
    byteLimit_ = sizeIsKnown_ ? fileBytes_ : fileBytes_ * kDeflateLimit;
}

void LineReader::open(const std::string& file)
{
    const int descriptor = file == "-" ? dup(STDIN_FILENO) : ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) throw InputError(name_, "cannot be opened: " + systemError());
    file_.reset(gzdopen(descriptor, "rb"));
    if (!file_) {
        close(descriptor);
        throw std::bad_alloc();
    }
    struct stat facts {};
    if (fstat(descriptor, &facts) != 0) return;
    if (S_ISDIR(facts.st_mode)) throw InputError(name_, "is a directory");
    if (S_ISREG(facts.st_mode)) fileBytes_ = static_cast<std::uint64_t>(facts.st_size);
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

/// Adds a chunk behind what is still unread. False at the end of the file.
bool LineReader::fill()
{
    if (end_ - begin_ == buffer_.size()) {
        throw InputError(name_, line_ + 1, fmt::format("the line is longer than {} characters", kChunk));
    }
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    const int count =
        gzread(file_.get(), buffer_.data() + end_, static_cast<unsigned>(buffer_.size() - end_));
    if (count <= 0) {
        requireSoundEnd();
        return false;
    }
    end_ += static_cast<std::size_t>(count);
    bytesRead_ += static_cast<std::uint64_t>(count);
    if (bytesRead_ >= kQuietBytes) showProgress();
    return true;
}

/// At the end of the bytes: was it the file's end, or a fault of the disk or of the compressed data?
void LineReader::requireSoundEnd() const
{
    int fault = Z_OK;
    gzerror(file_.get(), &fault);
    if (fault == Z_OK || fault == Z_STREAM_END) return;
    if (fault == Z_MEM_ERROR) throw std::bad_alloc();
    if (fault == Z_ERRNO) throw InputError(name_, line_ + 1, "cannot be read: " + systemError());
    throw InputError(name_, line_ + 1,
                     fault == Z_BUF_ERROR ? "the compressed data ends too early"
                                          : "the compressed data is damaged");
}

void LineReader::showProgress() const
{
    if (fileBytes_ == 0) {
        progress_->show(fmt::format("reading {}: {}", name_, bytesInWords(static_cast<double>(bytesRead_))));
        return;
    }
    const double share = static_cast<double>(gzoffset(file_.get())) / static_cast<double>(fileBytes_);
    progress_->show(fmt::format("reading {}: {:.0f} %", name_, 100.0 * share));
}

void LineReader::fail(const std::string& text) const
{
    throw InputError(name_, line_, text);
}

} // namespace Velmar::Lintrix::tools
