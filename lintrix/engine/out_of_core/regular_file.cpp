#include <lintrix/engine/out_of_core/regular_file.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

bool isRegular(int file) noexcept
{
    struct stat facts;
    return ::fstat(file, &facts) == 0 && S_ISREG(facts.st_mode);
}

} // namespace

int openRegular(const char* path, int flags) noexcept
{
    int file = -1;
    do {
        file = ::open(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, S_IRUSR | S_IWUSR);
    } while (file < 0 && errno == EINTR);
    if (file < 0 || isRegular(file)) return file;
    ::close(file);
    return -1;
}

} // namespace Velmar::Lintrix::detail::engine
