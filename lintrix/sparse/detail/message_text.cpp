#include <lintrix/sparse/detail/message_text.h>

#include <system_error>

namespace Velmar::Lintrix::detail {

std::string quoted(std::string_view word)
{
    constexpr std::size_t longest = 40;
    constexpr std::string_view hex = "0123456789abcdef";
    std::string shown = "'";
    for (const char c : word.substr(0, longest)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            shown.append("\\x") += hex[byte >> 4];
            shown += hex[byte & 15];
        } else {
            shown += c;
        }
    }
    return shown + (word.size() > longest ? "...'" : "'");
}

std::string systemText(int number)
{
    return std::generic_category().message(number);
}

} // namespace Velmar::Lintrix::detail
