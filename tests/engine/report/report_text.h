#pragma once
/// @file
/// Reports made comparable: no two runs take the same time.

#include <cstddef>
#include <sstream>
#include <string>

namespace Velmar::Lintrix::testing {

/// Puts # in the place of the first number with six decimals from `begin` on.
inline void maskNumber(std::string& line, std::size_t begin)
{
    const std::size_t point = line.find('.', begin);
    if (point == std::string::npos || line.find_first_not_of("0123456789", begin) != point) return;
    std::size_t end = line.find_first_not_of("0123456789", point + 1);
    if (end == std::string::npos) end = line.size();
    if (end - point == 7) line.replace(begin, end - begin, "#");
}

/// The text with # for each time and for the rate. What is no number as they are written stays as it is.
inline std::string masked(const std::string& text)
{
    constexpr std::size_t beforeTime = 20, beforeRate = 61;
    std::istringstream lines(text);
    std::string all;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("      Time ")) maskNumber(line, beforeTime);
        if (line.starts_with("             gflop/s for ")) maskNumber(line, beforeRate);
        all += line + "\n";
    }
    return all;
}

} // namespace Velmar::Lintrix::testing
