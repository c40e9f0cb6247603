#include <lintrix/engine/report/message_catalogue.h>

#include <lintrix/engine/report/message_places.h>
#include <lintrix/services/utf8.h>

#include <charconv>
#include <cstddef>
#include <system_error>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// U+0000 to U+001F but tab and line feed, U+007F, and U+0080 to U+009F, which UTF-8 writes as C2 80 to C2
/// 9F.
bool hasControlCharacters(std::string_view text) noexcept
{
    unsigned char before = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && c != '\t' && c != '\n') || byte == 0x7F) return true;
        if (before == 0xC2 && byte < 0xA0) return true;
        before = byte;
    }
    return false;
}

/// The next line, off the front of `rest`; nothing if it has no end.
std::optional<std::string_view> takeLine(std::string_view& rest) noexcept
{
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos) return {};
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return line;
}

/// Whether arguments go to `text` as to the built-in row, and a line holds it with nothing in its places.
bool fits(std::string_view text, std::string_view builtIn) noexcept
{
    std::size_t length = 0;
    while (!text.empty() || !builtIn.empty()) {
        const MessagePiece piece = takePiece(text);
        if (piece.place != takePiece(builtIn).place) return false;
        length += piece.text.size() + (piece.place == '%' ? 1 : 0);
    }
    return length <= kLongestLine;
}

/// Eight hexadecimal digits, a blank or tab, the text.
bool readRow(std::string_view line, MessageTexts& texts) noexcept
{
    constexpr std::size_t digits = 8;
    if (line.size() <= digits || (line[digits] != ' ' && line[digits] != '\t')) return false;
    std::uint32_t identifier = 0;
    const char* const behind = line.data() + digits;
    const auto [end, error] = std::from_chars(line.data(), behind, identifier, 16);
    if (error != std::errc{} || end != behind || identifier < kFirstIdentifier) return false;
    const std::uint32_t number = identifier - kFirstIdentifier;
    if (number >= kMessages || texts[number] || !isReplaceable(static_cast<Message>(number))) return false;
    texts[number] = line.substr(digits + 1);
    return fits(*texts[number], textOf(static_cast<Message>(number)));
}

} // namespace

bool isReplaceable(Message message) noexcept
{
    return message != Message::UnknownMessage && message != Message::LineTooLong &&
           message != Message::LineTooLongHint;
}

std::optional<MessageTexts> readCatalogue(std::string_view file) noexcept
{
    if (hasControlCharacters(file) || !isUtf8(file)) return {};
    std::optional<std::string_view> line = takeLine(file);
    if (line != kCatalogueTitle) return {};
    MessageTexts texts;
    while (!file.empty()) {
        line = takeLine(file);
        if (!line) return {};
        const bool isRow = !line->empty() && !line->starts_with('#');
        if (isRow && !readRow(*line, texts)) return {};
    }
    return texts;
}

} // namespace Velmar::Lintrix::detail::engine
