// The reader of message catalogues. Rows that it accepts are lines of the file and hold what print relies on;
// written anew, they read back to the same texts.

#include "fuzz/fuzzing.h"

#include <lintrix/engine/report/message_catalogue.h>
#include <lintrix/services/utf8.h>

#include <algorithm>
#include <cstdio>

namespace Velmar::Lintrix::fuzzing {
namespace {

using namespace detail::engine;

/// The letters behind the per cent signs, in order.
std::string places(std::string_view text)
{
    std::string letters;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') letters += ++i < text.size() ? text[i] : '!';
    }
    return letters;
}

void checkText(Message message, std::string_view text, std::string_view file)
{
    require(isReplaceable(message), "the row may be replaced");
    require(text.data() > file.data() && text.data() + text.size() < file.data() + file.size(),
            "the text lies in the file");
    require(text.data()[text.size()] == '\n' && text.find('\n') == std::string_view::npos,
            "the text ends its line");
    require(places(text) == places(textOf(message)), "the places are those of the built-in row");
    require(text.size() <= kLongestLine + 2 * places(text).size(), "a line holds the row");
    require(detail::isUtf8(text), "the text is UTF-8");
    require(std::ranges::none_of(text, [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7F; }),
            "the text has no control characters");
}

std::string written(const MessageTexts& texts)
{
    std::string file(kCatalogueTitle);
    file += '\n';
    for (std::size_t k = 0; k < kMessages; ++k) {
        if (!texts[k]) continue;
        char identifier[10];
        std::snprintf(identifier, sizeof identifier, "%08x ", kFirstIdentifier + static_cast<unsigned>(k));
        file.append(identifier).append(*texts[k]) += '\n';
    }
    return file;
}

void check(std::string_view file)
{
    const auto texts = readCatalogue(file);
    if (!texts) return;
    require(file.starts_with(kCatalogueTitle), "the file begins with its title");
    for (std::size_t k = 0; k < kMessages; ++k) {
        if ((*texts)[k]) checkText(static_cast<Message>(k), *(*texts)[k], file);
    }
    const std::string again = written(*texts);
    require(readCatalogue(again) == texts, "an accepted catalogue survives its own text");
}

} // namespace
} // namespace Velmar::Lintrix::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Velmar::Lintrix::fuzzing::check({reinterpret_cast<const char*>(data), size});
    return 0;
}
