#pragma once
// Files and folders that must not outlive the process, however it ends.

#include <string>

namespace Velmar::Lintrix::tools {

/// A name of its own, which begins with a given path. What stands under it is removed with the object, by a
/// signal that ends the process, and where a library ends it.
class TemporaryPath {
public:
    TemporaryPath(const TemporaryPath&) = delete;
    TemporaryPath& operator=(const TemporaryPath&) = delete;

    /// Empty: there is none.
    const std::string& name() const { return name_; }

protected:
    TemporaryPath() = default;
    ~TemporaryPath() { remove(); }

    /// `maker` fills in the X at the end of the name; below 0 it has failed.
    int make(const std::string& path, int (*maker)(char* name));
    /// It is temporary no more.
    void forget();

private:
    void remove();

    std::string name_;
};

/// A file, open for writing.
class TemporaryFile : public TemporaryPath {
public:
    /// The descriptor, which the caller closes; -1 with errno set when the system refuses.
    int create(const std::string& path);
    /// Makes it the file `path`. False with errno set when the system refuses.
    bool renameTo(const std::string& path);
};

/// A folder for this user alone, removed with all files in it.
class TemporaryFolder : public TemporaryPath {
public:
    /// False with errno set when the system refuses.
    bool create(const std::string& path);
};

/// From now on SIGHUP, SIGINT and SIGTERM, where they are not ignored, remove what is temporary before they
/// end the process.
void removeTemporariesOnSignals();

/// Removes all there are. May be called from a signal handler.
void removeTemporaries() noexcept;

} // namespace Velmar::Lintrix::tools
