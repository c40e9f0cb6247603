#include <lintrix/sparse/detail/byte_sink.h>

#include <lintrix/sparse/detail/message_text.h>
#include <lintrix/sparse/file_format_exception.h>

#include <cerrno>
#include <new>
#include <utility>

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

namespace Velmar::Lintrix::detail {

struct ByteSink::Handle {
    gzFile file = nullptr;

    ~Handle()
    {
        if (file != nullptr) gzclose_w(file);
    }
};

ByteSink::ByteSink(const std::string& path, bool packed) : path_(path), file_(std::make_unique<Handle>())
{
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) throw FileFormatException(path, "cannot be opened: " + systemText(errno));
    file_->file = gzdopen(descriptor, packed ? "wb" : "wbT"); // T: transparent, nothing is packed
    if (file_->file == nullptr) {
        ::close(descriptor);
        throw std::bad_alloc();
    }
}

ByteSink::~ByteSink() = default;

void ByteSink::write(std::string_view text)
{
    if (text.empty()) return;
    errno = 0;
    const auto size = static_cast<unsigned>(text.size());
    if (gzwrite(file_->file, text.data(), size) == static_cast<int>(size)) return;
    int fault = Z_OK;
    gzerror(file_->file, &fault);
    fail(fault);
}

void ByteSink::close()
{
    errno = 0;
    const int fault = gzclose_w(std::exchange(file_->file, nullptr));
    if (fault != Z_OK) fail(fault);
}

void ByteSink::fail(int fault) const
{
    if (fault == Z_MEM_ERROR) throw std::bad_alloc();
    throw FileFormatException(path_, "cannot be written: " + systemText(errno));
}

} // namespace Velmar::Lintrix::detail
