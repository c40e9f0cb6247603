#include <tools/support/output_file.h>

#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40; // as many as the kernel follows

/// The mode that a newly created file would have.
mode_t ordinaryMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

OutputFile::OutputFile(const std::string& target) : target_(target), path_(target)
{
    if (target == kStandardOutput) {
        target_ = "standard output";
        direct_ = true;
        return;
    }
    if (target.ends_with(".gz")) gzip_.emplace();
    followLinks();
    judgeTarget();
}

OutputFile::~OutputFile()
{
    if (descriptor_ >= 0) ::close(descriptor_);
}

void OutputFile::followLinks()
{
    std::error_code error;
    for (int links = 0; fs::is_symlink(fs::symlink_status(path_, error)); ++links) {
        if (links == kMostLinks) {
            errno = ELOOP;
            fail();
        }
        path_ = fs::path(path_).parent_path() / fs::read_symlink(path_, error);
    }
}

void OutputFile::judgeTarget()
{
    std::error_code ignored;
    const fs::file_status status = fs::status(path_, ignored);
    if (fs::is_directory(status)) throw InputError(target_, "is a directory");
    direct_ = fs::exists(status) && !fs::is_regular_file(status);
    const std::string folder = fs::path(path_).parent_path() / "."; // the dot: it must be a folder
    if (access(direct_ ? path_.c_str() : folder.c_str(), W_OK) != 0) fail();
}

void OutputFile::open()
{
    if (!direct_) return openTemporary();
    descriptor_ = path_ == kStandardOutput ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                                           : ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) fail();
}

/// As the file that it will replace. Its owner stays only where the system allows it.
void OutputFile::openTemporary()
{
    struct stat replaced {};
    const bool replaces = stat(path_.c_str(), &replaced) == 0;
    descriptor_ = temporary_.create(path_);
    if (descriptor_ < 0) fail();
    if (replaces && fchown(descriptor_, replaced.st_uid, replaced.st_gid) != 0) replaced.st_mode &= 0777;
    if (fchmod(descriptor_, replaces ? replaced.st_mode & 07777 : ordinaryMode()) != 0) fail();
}

void OutputFile::write(std::string_view text)
{
    if (gzip_)
        writeBytes(gzip_->pack(text));
    else
        writeBytes(text);
}

void OutputFile::writeBytes(std::string_view bytes)
{
    if (descriptor_ < 0) open();
    if (!writeAll(descriptor_, bytes)) fail();
}

void OutputFile::close()
{
    if (gzip_) writeBytes(gzip_->finish());
    if (::close(std::exchange(descriptor_, -1)) != 0) fail();
}

void OutputFile::commit()
{
    if (!direct_ && !temporary_.renameTo(path_)) fail();
}

void OutputFile::fail() const
{
    throw InputError(target_, "cannot be written: " + systemError());
}

std::string faultOfName(const std::string& name)
{
    return name.empty() ? "the name is empty" : "";
}

void writeReport(std::string_view text, bool outputIsTaken)
{
    const int descriptor = outputIsTaken ? STDERR_FILENO : STDOUT_FILENO;
    if (std::fflush(stdout) != 0 || !writeAll(descriptor, text))
        throw InputError(outputIsTaken ? "standard error" : "standard output",
                         "cannot be written: " + systemError());
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
