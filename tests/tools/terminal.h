#pragma once
// A terminal that a test reads.

#include <cerrno>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {

/// A terminal for the command's standard error; what was written to it. A container may have none to give.
class Terminal {
public:
    Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK))
    {
        if (master_ >= 0 && grantpt(master_) == 0 && unlockpt(master_) == 0) {
            slave_ = open(ptsname(master_), O_RDWR | O_NOCTTY | O_CLOEXEC); // keeps what was written readable
        }
        if (slave_ < 0) fault_ = "no pseudo-terminal: " + std::generic_category().message(errno);
    }
    ~Terminal()
    {
        if (slave_ >= 0) close(slave_);
        if (master_ >= 0) close(master_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Why there is none, empty if there is one.
    const std::string& fault() const { return fault_; }

    std::string name() const { return ptsname(master_); }
    std::string written() const
    {
        std::string text, piece(4096, '\0'); // the system hands out a page at a time
        for (ssize_t count; (count = read(master_, piece.data(), piece.size())) > 0;)
            text.append(piece, 0, static_cast<std::size_t>(count));
        return text;
    }

private:
    int master_, slave_ = -1;
    std::string fault_;
};

} // namespace Velmar::Lintrix::testing
