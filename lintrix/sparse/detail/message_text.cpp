#include <lintrix/sparse/detail/message_text.h>

#include <lintrix/services/utf8.h>

#include <algorithm>
#include <cstddef>
#include <system_error>

namespace Velmar::Lintrix::detail {

namespace {

/// Control characters of ASCII, and U+0080 to U+009F.
bool isControl(std::string_view character)
{
    const auto byte = [character](std::size_t i) { return static_cast<unsigned char>(character[i]); };
    return byte(0) < 0x20 || byte(0) == 0x7f || (byte(0) == 0xc2 && byte(1) < 0xa0);
}

void appendInHex(std::string& shown, std::string_view bytes)
{
    constexpr std::string_view hex = "0123456789abcdef";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        shown.append("\\x") += hex[byte >> 4];
        shown += hex[byte & 15];
    }
}

} // namespace

std::string quoted(std::string_view word)
{
    constexpr std::size_t longest = 40;
    std::string shown = "'";
    std::size_t place = 0;
    while (place < word.size()) {
        const std::size_t length = utf8SequenceLength(word.substr(place));
        const std::string_view character = word.substr(place, std::max<std::size_t>(length, 1));
        if (place + character.size() > longest) break;
        if (length == 0 || isControl(character))
            appendInHex(shown, character);
        else
            shown += character;
        place += character.size();
    }
    return shown + (place < word.size() ? "...'" : "'");
}

std::string systemText(int number)
{
    return std::generic_category().message(number);
}

} // namespace Velmar::Lintrix::detail
