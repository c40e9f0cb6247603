#pragma once
/// @file
/// A file that takes text, packed by gzip on request.

#include <memory>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::detail {

/// Failures are FileFormatExceptions that name the file.
class ByteSink {
public:
    /// Empties the file or makes it. @throws FileFormatException  "PATH: cannot be opened: ..."
    ByteSink(const std::string& path, bool packed);
    ~ByteSink();
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;

    /// @throws FileFormatException  "PATH: cannot be written: ..."
    void write(std::string_view text);
    /// After the last write: all is with the system, or it fails here, as above.
    void close();

private:
    struct Handle; ///< of the compressing library, whose types stay out of headers
    [[noreturn]] void fail(int fault) const;

    std::string path_;
    std::unique_ptr<Handle> file_;
};

} // namespace Velmar::Lintrix::detail
