#include <lintrix/sparse/detail/byte_source.h>

#include <lintrix/sparse/detail/message_text.h>
#include <lintrix/sparse/file_format_exception.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <istream>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::size_t kRawChunk = std::size_t{1} << 18;
constexpr std::uint64_t kDeflateLimit = 1032; // deflate never packs better than 1032 : 1
constexpr int kGzipWindow = 15 + 16;          // zlib: the largest window, and the gzip form

class FileSource : public RawSource {
public:
    FileSource() = default;
    ~FileSource() override
    {
        if (descriptor_ >= 0) close(descriptor_);
    }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    void open(const std::string& path)
    {
        descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor_ < 0) throw FileFormatException(path, "cannot be opened: " + systemText(errno));
        struct stat facts {};
        if (fstat(descriptor_, &facts) != 0) return; // its size is not known then
        if (S_ISDIR(facts.st_mode)) throw FileFormatException(path, "is a directory");
        if (S_ISREG(facts.st_mode)) size_ = static_cast<std::uint64_t>(facts.st_size);
    }

    std::size_t read(char* target, std::size_t size) override
    {
        ssize_t count = 0;
        do {
            count = ::read(descriptor_, target, size);
        } while (count < 0 && errno == EINTR);
        if (count < 0) fault_ = "cannot be read: " + systemText(errno);
        return count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    std::string fault() const override { return fault_; }
    std::uint64_t size() const override { return size_; }

private:
    int descriptor_ = -1;
    std::uint64_t size_ = 0; ///< 0: not known
    std::string fault_;
};

class StreamSource : public RawSource {
public:
    explicit StreamSource(std::istream& in) : in_(&in) {}

    std::size_t read(char* target, std::size_t size) override
    {
        if (!*in_) return 0;
        in_->read(target, static_cast<std::streamsize>(size));
        return static_cast<std::size_t>(in_->gcount());
    }
    std::string fault() const override { return in_->bad() ? "cannot be read" : ""; }

private:
    std::istream* in_;
};

} // namespace

std::unique_ptr<RawSource> openFile(const std::string& path)
{
    auto source = std::make_unique<FileSource>();
    source->open(path);
    return source;
}

std::unique_ptr<RawSource> sourceFrom(std::istream& in)
{
    return std::make_unique<StreamSource>(in);
}

struct ByteSource::Inflater {
    z_stream stream{};

    Inflater()
    {
        if (inflateInit2(&stream, kGzipWindow) != Z_OK) throw std::bad_alloc();
    }
    ~Inflater() { inflateEnd(&stream); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
};

ByteSource::ByteSource(std::unique_ptr<RawSource> raw) : raw_(std::move(raw)), buffer_(kRawChunk)
{
    refill(2);
    if (startsWithMagic()) inflater_ = std::make_unique<Inflater>();
}

ByteSource::ByteSource(ByteSource&&) noexcept = default;
ByteSource::~ByteSource() = default;

std::uint64_t ByteSource::byteLimit() const
{
    if (rawSize() == 0) return UINT64_MAX;
    return packed() ? rawSize() * kDeflateLimit : rawSize();
}

std::size_t ByteSource::read(char* target, std::size_t size)
{
    return packed() ? unpack(target, size) : takePlain(target, size);
}

/// What was looked at to tell the form, then straight from the source.
std::size_t ByteSource::takePlain(char* target, std::size_t size)
{
    std::size_t count = std::min(size, waiting());
    if (count > 0) {
        std::memcpy(target, buffer_.data() + begin_, count);
        begin_ += count;
        return count;
    }
    count = raw_->read(target, size);
    rawRead_ += count;
    if (count == 0) fault_ = raw_->fault();
    return count;
}

/// What is damaged is not handed out: bytes of the same read before the damage are dropped.
std::size_t ByteSource::unpack(char* target, std::size_t size)
{
    z_stream& stream = inflater_->stream;
    stream.next_out = reinterpret_cast<Bytef*>(target);
    stream.avail_out = static_cast<uInt>(size);
    while (!ended_ && stream.avail_out > 0) {
        if (waiting() == 0 && !refill(1)) {
            if (stream.avail_out == size) fault_ = raw_->fault();
            if (stream.avail_out == size && fault_.empty()) fault_ = "the compressed data ends too early";
            break;
        }
        stream.next_in = reinterpret_cast<Bytef*>(buffer_.data() + begin_);
        stream.avail_in = static_cast<uInt>(waiting());
        const int state = inflate(&stream, Z_NO_FLUSH);
        begin_ = end_ - stream.avail_in;
        if (state == Z_MEM_ERROR) throw std::bad_alloc();
        if (state == Z_STREAM_END) {
            ended_ = !nextMember();
        } else if (state != Z_OK) {
            fault_ = "the compressed data is damaged";
            return 0;
        }
    }
    return size - stream.avail_out;
}

bool ByteSource::nextMember()
{
    refill(2);
    return startsWithMagic() && inflateReset(&inflater_->stream) == Z_OK;
}

bool ByteSource::startsWithMagic() const
{
    return waiting() >= 2 && buffer_[begin_] == '\x1f' && buffer_[begin_ + 1] == '\x8b';
}

/// Reads until `wanted` raw bytes wait, or the source ends: then false.
bool ByteSource::refill(std::size_t wanted)
{
    if (begin_ > 0) std::memmove(buffer_.data(), buffer_.data() + begin_, waiting());
    end_ -= begin_;
    begin_ = 0;
    while (waiting() < wanted) {
        const std::size_t count = raw_->read(buffer_.data() + end_, buffer_.size() - end_);
        if (count == 0) return false;
        end_ += count;
        rawRead_ += count;
    }
    return true;
}

} // namespace Velmar::Lintrix::detail
