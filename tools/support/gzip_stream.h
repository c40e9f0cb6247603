#pragma once
// Text as gzip packs it, piece by piece.

#include <string>
#include <string_view>

#include <zlib.h>

namespace Velmar::Lintrix::tools {

class GzipStream {
public:
    /// @throws std::bad_alloc
    GzipStream();
    ~GzipStream() { deflateEnd(&stream_); }
    GzipStream(const GzipStream&) = delete;
    GzipStream& operator=(const GzipStream&) = delete;

    /// What is ready after this text; often nothing yet.
    std::string pack(std::string_view text) { return run(text, Z_NO_FLUSH); }
    /// The rest. Nothing may follow.
    std::string finish() { return run({}, Z_FINISH); }

private:
    std::string run(std::string_view text, int flush);

    z_stream stream_{};
};

} // namespace Velmar::Lintrix::tools
