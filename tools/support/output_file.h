#pragma once
// A file that appears whole or not at all.

#include <tools/support/gzip_stream.h>
#include <tools/support/temporary_files.h>

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::tools {

/// The name that stands for standard output.
inline constexpr std::string_view kStandardOutput = "-";

/// Writes to a temporary file beside the target and renames it at commit(); without a commit the temporary is
/// removed and what stood at the target stays. The file keeps the mode of the one it replaces. A target that
/// exists and is no regular file (a pipe, a device) is written directly, and so is "-", standard output. A
/// symbolic link is followed, also one that leads to no file yet. What is written to a name in .gz is
/// compressed. Failures are InputErrors that name the target.
class OutputFile {
public:
    /// Fails at once where the target can never be written, so that no long work is done in vain.
    explicit OutputFile(const std::string& target);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::string_view text);
    /// After the last write: all is with the system, or it fails here.
    void close();
    void commit();

private:
    void followLinks();
    void judgeTarget();
    void open();
    void openTemporary();
    void writeBytes(std::string_view bytes);
    [[noreturn]] void fail() const;

    std::string target_; ///< as given, for messages
    std::string path_;   ///< where the links lead
    TemporaryFile temporary_;
    std::optional<GzipStream> gzip_;
    bool direct_ = false;
    int descriptor_ = -1;
};

/// The files of one run, which appear together: opened before any work, written in that order.
class OutputFiles {
public:
    void open(const std::string& target) { files_.emplace_back(target); }
    bool isEmpty() const noexcept { return files_.empty(); }
    /// The first file that has not been asked for.
    OutputFile& next() { return files_.at(used_++); }
    void commit()
    {
        for (OutputFile& file : files_) file.commit();
    }

private:
    std::deque<OutputFile> files_;
    std::size_t used_ = 0;
};

/// What is wrong with the name of a file to be written, in words; nothing when there is one.
std::string faultOfName(const std::string& name);

/// All of a report to standard output, after what the direct solver has printed there, which the C library
/// may still hold; to standard error where a result takes standard output. @throws InputError  the system
/// refuses
void writeReport(std::string_view text, bool outputIsTaken = false);

/// All of `text` to `descriptor`. False with errno set when the system refuses.
bool writeAll(int descriptor, std::string_view text);

} // namespace Velmar::Lintrix::tools
