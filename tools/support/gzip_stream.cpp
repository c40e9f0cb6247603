#include <tools/support/gzip_stream.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>

namespace Velmar::Lintrix::tools {

namespace {

constexpr int kGzipWindow = 15 + 16; // 2^15 bytes, and the frame of gzip instead of zlib's
constexpr int kUsualMemory = 8;

} // namespace

GzipStream::GzipStream()
{
    if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kUsualMemory,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::bad_alloc();
}

/// zlib counts what it is given in 32 bits. Without a full buffer it has no more to give.
std::string GzipStream::run(std::string_view text, int flush)
{
    std::string packed;
    std::array<Bytef, 1 << 14> ready;
    do {
        const std::size_t length = std::min<std::size_t>(text.size(), std::numeric_limits<uInt>::max());
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
        stream_.avail_in = static_cast<uInt>(length);
        text.remove_prefix(length);
        do {
            stream_.next_out = ready.data();
            stream_.avail_out = static_cast<uInt>(ready.size());
            deflate(&stream_, text.empty() ? flush : Z_NO_FLUSH);
            packed.append(reinterpret_cast<const char*>(ready.data()), ready.size() - stream_.avail_out);
        } while (stream_.avail_out == 0);
    } while (!text.empty());
    return packed;
}

} // namespace Velmar::Lintrix::tools
