#include <tools/support/text.h>

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <system_error>

namespace Velmar::Lintrix::tools {

std::string printable(std::string_view text)
{
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            shown += fmt::format("\\x{:02x}", byte);
        } else {
            shown += c;
        }
    }
    return shown;
}

std::string inQuotes(std::string_view word)
{
    constexpr std::size_t longest = 40;
    if (word.size() <= longest) return '\'' + printable(word) + '\'';
    return '\'' + printable(word.substr(0, longest)) + "...'";
}

std::string bytesInWords(double bytes)
{
    constexpr std::array units{"kB", "MB", "GB", "TB", "PB", "EB"};
    if (bytes < 1000.0) return fmt::format("{:.0f} B", bytes);
    double value = bytes / 1000.0;
    std::size_t unit = 0;
    while (value >= 999.95 && unit + 1 < units.size()) { // what would round to 1000.0 takes the next unit
        value /= 1000.0;
        ++unit;
    }
    return fmt::format("{:.1f} {}", value, units[unit]);
}

std::string numberInWords(double value, std::string_view form)
{
    if (std::isnan(value)) return "unknown";
    return fmt::format(fmt::runtime(form), value);
}

std::string systemError()
{
    return systemError(errno);
}

std::string systemError(int number)
{
    return std::generic_category().message(number);
}

} // namespace Velmar::Lintrix::tools
