#pragma once
// A file that appears whole or not at all.

#include <cstddef>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::tools {

/// Writes to a temporary file beside the target and renames it at commit(); without a commit the temporary is
/// removed and what stood at the target stays. A target that exists and is no regular file (a pipe, a device)
/// is written directly. A symbolic link is followed. Failures are InputErrors that name the target.
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
    void open();
    [[noreturn]] void fail() const;

    std::string target_;    ///< as given, for messages
    std::string path_;      ///< where the links lead
    std::string temporary_; ///< empty: none to remove
    bool direct_ = false;
    int descriptor_ = -1;
};

/// All of a report to standard output, after what the direct solver has printed there, which the C library
/// may still hold. @throws InputError  the system refuses
void writeReport(std::string_view text);

/// All of `text` to `descriptor`. False with errno set when the system refuses.
bool writeAll(int descriptor, std::string_view text);

} // namespace Velmar::Lintrix::tools
