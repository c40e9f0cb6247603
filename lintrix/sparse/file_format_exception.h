#pragma once
/// @file
/// The one failure of reading and writing files.

#include <lintrix/foundation/failures.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Velmar::Lintrix {

/// A file that is not of its format, that cannot be opened, read or written, or whose content does not fit
/// what it is read as. The message is one line, "FILE:LINE: what is wrong"; without a line, "FILE: what is
/// wrong".
class LINTRIX_EXPORT FileFormatException : public MatrixException {
public:
    FileFormatException(std::string_view file, std::int64_t line, std::string_view text);
    FileFormatException(std::string_view file, std::string_view text) : FileFormatException(file, 0, text) {}
    ~FileFormatException() override;

    /// Number of the line, from 1; 0 where the failure is of the file as a whole.
    std::int64_t Line() const noexcept { return line_; }

private:
    std::int64_t line_;
};

} // namespace Velmar::Lintrix
