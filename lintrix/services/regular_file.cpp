#include <lintrix/services/regular_file.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::detail {

namespace {

bool isRegular(int file) noexcept
{
    struct stat facts;
    return ::fstat(file, &facts) == 0 && S_ISREG(facts.st_mode);
}

/// Moves all bytes by calls that move some; 0 is the end of a file.
template <class Bytes, class Move>
bool moveAll(Bytes bytes, std::int64_t offset, Move move)
{
    while (!bytes.empty()) {
        const ssize_t count = move(bytes.data(), bytes.size(), offset);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += count;
    }
    return true;
}

/// A write beyond the limit of file sizes raises SIGXFSZ, which ends a process that knows nothing of it. For
/// the length of a scope it waits in this thread.
class FileSizeSignalBlocked {
public:
    FileSizeSignalBlocked() noexcept
    {
        sigset_t pending;
        ::sigemptyset(&pending);
        ::sigpending(&pending);
        waitedBefore_ = ::sigismember(&pending, SIGXFSZ) == 1;
        ::sigemptyset(&signal_);
        ::sigaddset(&signal_, SIGXFSZ);
        ::pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    }
    ~FileSizeSignalBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    FileSizeSignalBlocked(const FileSizeSignalBlocked&) = delete;
    FileSizeSignalBlocked& operator=(const FileSizeSignalBlocked&) = delete;

    /// Takes the signal of a write away; one that had been waiting before is somebody else's.
    void discard() const noexcept
    {
        const timespec atOnce{};
        while (!waitedBefore_ && ::sigtimedwait(&signal_, nullptr, &atOnce) < 0 && errno == EINTR) {
        }
    }

private:
    sigset_t signal_, before_;
    bool waitedBefore_;
};

} // namespace

int openRegular(const char* path, int flags, unsigned mode) noexcept
{
    int file = -1;
    do {
        file = ::open(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, static_cast<mode_t>(mode));
    } while (file < 0 && errno == EINTR);
    if (file < 0 || isRegular(file)) return file;
    ::close(file);
    return -1;
}

bool writeAll(int file, std::int64_t offset, std::span<const std::byte> from) noexcept
{
    const FileSizeSignalBlocked signal;
    const auto move = [file](const std::byte* bytes, std::size_t count, std::int64_t place) {
        return ::pwrite(file, bytes, count, place);
    };
    const bool isWritten = moveAll(from, offset, move);
    if (!isWritten && errno == EFBIG) signal.discard();
    return isWritten;
}

bool readAll(int file, std::int64_t offset, std::span<std::byte> into) noexcept
{
    const auto move = [file](std::byte* bytes, std::size_t count, std::int64_t place) {
        return ::pread(file, bytes, count, place);
    };
    return moveAll(into, offset, move);
}

} // namespace Velmar::Lintrix::detail
