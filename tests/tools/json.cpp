#include <tests/tools/json.h>

#include <charconv>
#include <cstdint>
#include <regex>
#include <stdexcept>

namespace Velmar::Lintrix::testing {

namespace {

class Parser {
public:
    explicit Parser(std::string_view text) : rest_(text) {}

    Json document()
    {
        Json result = value();
        skipBlanks();
        if (!rest_.empty()) fail("something follows the value");
        return result;
    }

private:
    [[noreturn]] void fail(const std::string& what) const
    {
        throw std::runtime_error("JSON: " + what + " at '" + std::string(rest_.substr(0, 20)) + "'");
    }

    void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }

    bool take(std::string_view word)
    {
        if (!rest_.starts_with(word)) return false;
        rest_.remove_prefix(word.size());
        return true;
    }

    void expect(std::string_view word)
    {
        skipBlanks();
        if (!take(word)) fail("expected " + std::string(word));
    }

    Json value()
    {
        skipBlanks();
        if (take("null")) return {nullptr};
        if (take("true")) return {true};
        if (take("false")) return {false};
        if (rest_.starts_with('"')) return {string()};
        if (rest_.starts_with('{')) return {object()};
        if (rest_.starts_with('[')) return {array()};
        return {number()};
    }

    double number()
    {
        static const std::regex grammar(R"(^-?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][-+]?[0-9]+)?)");
        std::cmatch match;
        if (!std::regex_search(rest_.data(), rest_.data() + rest_.size(), match, grammar)) fail("no number");
        double result = 0.0;
        std::from_chars(match[0].first, match[0].second, result);
        rest_.remove_prefix(static_cast<std::size_t>(match[0].length()));
        return result;
    }

    std::string string()
    {
        expect("\"");
        std::string result;
        while (!take("\"")) {
            if (rest_.empty()) fail("an open string");
            if (static_cast<unsigned char>(rest_.front()) < 0x20) fail("a control character in a string");
            if (take("\\")) {
                result += escape();
            } else {
                result += character();
            }
        }
        return result;
    }

    std::string escape()
    {
        static constexpr std::string_view letters = "\"\\/bfnrt", meanings = "\"\\/\b\f\n\r\t";
        if (!rest_.empty() && letters.find(rest_.front()) != std::string_view::npos) {
            const char meaning = meanings[letters.find(rest_.front())];
            rest_.remove_prefix(1);
            return {meaning};
        }
        std::uint32_t code = 0;
        const bool sound =
            rest_.size() >= 5 && rest_.front() == 'u' &&
            std::from_chars(rest_.data() + 1, rest_.data() + 5, code, 16).ptr == rest_.data() + 5;
        if (!sound || (code >= 0xd800 && code < 0xe000)) fail("a bad escape");
        rest_.remove_prefix(5);
        return encoded(code);
    }

    static std::string encoded(std::uint32_t code)
    {
        if (code < 0x80) return {static_cast<char>(code)};
        if (code < 0x800)
            return {static_cast<char>(0xc0 | code >> 6), static_cast<char>(0x80 | (code & 0x3f))};
        return {static_cast<char>(0xe0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3f)),
                static_cast<char>(0x80 | (code & 0x3f))};
    }

    /// One character of UTF-8, decoded and encoded again: what does not come back is not well formed.
    std::string character()
    {
        static const std::regex wellFormed("^([\\x01-\\x7f]"
                                           "|[\\xc2-\\xdf][\\x80-\\xbf]"
                                           "|\\xe0[\\xa0-\\xbf][\\x80-\\xbf]"
                                           "|[\\xe1-\\xec\\xee\\xef][\\x80-\\xbf][\\x80-\\xbf]"
                                           "|\\xed[\\x80-\\x9f][\\x80-\\xbf]"
                                           "|\\xf0[\\x90-\\xbf][\\x80-\\xbf][\\x80-\\xbf]"
                                           "|[\\xf1-\\xf3][\\x80-\\xbf][\\x80-\\xbf][\\x80-\\xbf]"
                                           "|\\xf4[\\x80-\\x8f][\\x80-\\xbf][\\x80-\\xbf])");
        std::cmatch match;
        if (!std::regex_search(rest_.data(), rest_.data() + rest_.size(), match, wellFormed))
            fail("no UTF-8");
        rest_.remove_prefix(static_cast<std::size_t>(match[0].length()));
        return match[0];
    }

    JsonArray array()
    {
        expect("[");
        JsonArray result;
        skipBlanks();
        if (take("]")) return result;
        do {
            result.push_back(value());
            skipBlanks();
        } while (take(","));
        expect("]");
        return result;
    }

    JsonObject object()
    {
        expect("{");
        JsonObject result;
        skipBlanks();
        if (take("}")) return result;
        do {
            skipBlanks();
            std::string key = string();
            expect(":");
            if (!result.emplace(std::move(key), value()).second) fail("a key given twice");
            skipBlanks();
        } while (take(","));
        expect("}");
        return result;
    }

    std::string_view rest_;
};

} // namespace

Json parseJson(std::string_view text)
{
    return Parser(text).document();
}

} // namespace Velmar::Lintrix::testing
