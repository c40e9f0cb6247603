#include <lintrix/sparse/file_format_exception.h>

namespace Velmar::Lintrix {

namespace {

std::string messageOf(std::string_view file, std::int64_t line, std::string_view text)
{
    std::string message(file);
    if (line > 0) message.append(":").append(std::to_string(line));
    return message.append(": ").append(text);
}

} // namespace

FileFormatException::FileFormatException(std::string_view file, std::int64_t line, std::string_view text)
    : MatrixException(messageOf(file, line, text)), line_(line)
{
}

FileFormatException::~FileFormatException() = default;

} // namespace Velmar::Lintrix
