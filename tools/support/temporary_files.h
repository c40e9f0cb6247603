#pragma once
// Files that must not outlive the process, however it ends.

#include <string>

namespace Velmar::Lintrix::tools {

/// A file under a name of its own, which begins with `path`, open for writing and removed with the object, by
/// a signal that ends the process, and where a library ends it.
class TemporaryFile {
public:
    /// None yet.
    TemporaryFile() = default;
    ~TemporaryFile() { remove(); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// The descriptor, which the caller closes; -1 with errno set when the system refuses.
    int create(const std::string& path);
    /// Makes it the file `path`. False with errno set when the system refuses.
    bool renameTo(const std::string& path);

private:
    void remove();

    std::string name_; ///< empty: there is none
};

/// From now on SIGHUP, SIGINT and SIGTERM, where they are not ignored, remove the temporary files before they
/// end the process.
void removeTemporariesOnSignals();

/// Removes all there are. May be called from a signal handler.
void removeTemporaries() noexcept;

} // namespace Velmar::Lintrix::tools
