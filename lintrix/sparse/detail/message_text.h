#pragma once
/// @file
/// How words from files and the system's error numbers are shown in messages.

#include <string>
#include <string_view>

namespace Velmar::Lintrix::detail {

/// 'word' in quotes, on one line and safe for a terminal: bytes of control characters, and all that are not
/// UTF-8, become \xNN. Cut after 40 bytes, before a character that would not be whole.
std::string quoted(std::string_view word);

/// What the system says of an error number.
std::string systemText(int number);

} // namespace Velmar::Lintrix::detail
