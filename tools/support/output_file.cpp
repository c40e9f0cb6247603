#include <tools/support/output_file.h>

#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

/// The mode that a newly created file would have.
mode_t ordinaryMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

OutputFile::OutputFile(const std::string& target) : target_(target)
{
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::path resolved = fs::canonical(target, ignored); // empty when nothing stands there
    path_ = resolved.empty() ? target : resolved.string();
    const fs::file_status status = fs::status(path_, ignored);
    if (fs::is_directory(status)) throw InputError(target_, "is a directory");
    direct_ = fs::exists(status) && !fs::is_regular_file(status);
    const std::string folder = fs::path(path_).parent_path() / "."; // the dot: it must be a folder
    if (access(direct_ ? path_.c_str() : folder.c_str(), W_OK) != 0) fail();
}

OutputFile::~OutputFile()
{
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::open()
{
    if (direct_) {
        descriptor_ = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor_ < 0) fail();
        return;
    }
    std::string name = path_ + ".XXXXXX";
    descriptor_ = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail();
    temporary_ = std::move(name);
    if (fchmod(descriptor_, ordinaryMode()) != 0) fail();
}

void OutputFile::write(std::string_view text)
{
    if (descriptor_ < 0) open();
    if (!writeAll(descriptor_, text)) fail();
}

void OutputFile::close()
{
    if (::close(std::exchange(descriptor_, -1)) != 0) fail();
}

void OutputFile::commit()
{
    if (direct_) return;
    if (rename(temporary_.c_str(), path_.c_str()) != 0) fail();
    temporary_.clear();
}

void OutputFile::fail() const
{
    throw InputError(target_, "cannot be written: " + systemError());
}

void writeReport(std::string_view text)
{
    if (std::fflush(stdout) != 0 || !writeAll(STDOUT_FILENO, text))
        throw InputError("standard output", "cannot be written: " + systemError());
}

bool writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace Velmar::Lintrix::tools
