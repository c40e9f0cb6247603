#pragma once
// How names, words from files, sizes and system errors are shown in messages.

#include <string>
#include <string_view>

namespace Velmar::Lintrix::tools {

/// `text` on one line and safe for a terminal: control bytes become \xNN.
std::string printable(std::string_view text);

/// 'word' in quotes, for a message about a file: printable, cut after 40 bytes.
std::string inQuotes(std::string_view word);

/// "7 B", "12.5 MB", "3.2 GB": decimal units, one digit after the point.
std::string bytesInWords(double bytes);

/// The number as the form of fmt has it; "unknown" for a NaN, whose sign would be shown otherwise.
std::string numberInWords(double value, std::string_view form = "{:.3e}");

/// What the system says of its error number, errno by default.
std::string systemError();
std::string systemError(int number);

} // namespace Velmar::Lintrix::tools
