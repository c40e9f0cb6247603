#include <tools/support/progress.h>

#include <tools/support/text.h>

#include <cstdio>

#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

constexpr const char* kEraseLine = "\r\x1b[K"; // back to the first column, clear to the end of the line

} // namespace

Progress::Progress() : terminal_(isatty(STDERR_FILENO) == 1)
{
}

void Progress::show(std::string_view text)
{
    if (!terminal_) return;
    std::fprintf(stderr, "%s%s", kEraseLine, printable(text).c_str());
    std::fflush(stderr);
    shown_ = true;
}

void Progress::erase()
{
    if (!shown_) return;
    std::fputs(kEraseLine, stderr);
    std::fflush(stderr);
    shown_ = false;
}

} // namespace Velmar::Lintrix::tools
