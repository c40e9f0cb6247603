#pragma once
// Counts in arguments.

#include <tools/support/text.h>

#include <charconv>
#include <string>

namespace Velmar::Lintrix::tools {

/// What is wrong with a count, in words; nothing when it can be used.
inline std::string faultOfCount(const std::string& word)
{
    int count = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), count);
    const bool sound = error == std::errc() && end == word.data() + word.size() && count >= 1;
    return sound ? "" : inQuotes(word) + " is not a whole number from 1 to 2147483647";
}

} // namespace Velmar::Lintrix::tools
