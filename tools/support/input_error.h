#pragma once
// The one failure of the command that is the user's to mend: a bad file, a size that does not fit, a write
// that the system refused. It becomes one line on standard error and exit code 2.

#include <cstdint>
#include <stdexcept>
#include <string>

namespace Velmar::Lintrix::tools {

/// what() is "FILE:LINE: TEXT", without a line (or of line 0) "FILE: TEXT", without a file "TEXT".
class InputError : public std::runtime_error {
public:
    InputError(const std::string& file, std::int64_t line, const std::string& text)
        : std::runtime_error(file + (line > 0 ? ':' + std::to_string(line) : "") + ": " + text)
    {
    }
    InputError(const std::string& file, const std::string& text) : std::runtime_error(file + ": " + text) {}
    explicit InputError(const std::string& text) : std::runtime_error(text) {}
};

} // namespace Velmar::Lintrix::tools
