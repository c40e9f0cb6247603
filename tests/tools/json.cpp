#include <tests/tools/json.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
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

    /// Takes the digits at hand and tells how many.
    std::size_t digits()
    {
        const std::size_t count = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
        rest_.remove_prefix(count);
        return count;
    }

    double number()
    {
        const std::string_view begin = rest_;
        take("-");
        const bool leadingZero = rest_.starts_with('0');
        const std::size_t whole = digits();
        if (whole == 0 || (leadingZero && whole > 1)) fail("no number");
        if (take(".") && digits() == 0) fail("no digit after the point");
        if (take("e") || take("E")) {
            if (!take("+")) take("-");
            if (digits() == 0) fail("no digit in the exponent");
        }
        double result = 0.0;
        std::from_chars(begin.data(), rest_.data(), result);
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

    /// One character of UTF-8. Decoded to its code, so that overlong forms and surrogates show.
    std::string character()
    {
        const auto lead = static_cast<unsigned char>(rest_.front());
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xc0 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
        if (length == 0 || lead > 0xf7 || rest_.size() < length) fail("no UTF-8");
        std::uint32_t code = length == 1 ? lead : lead & (0x7fU >> length);
        for (std::size_t i = 1; i < length; ++i) {
            const auto tail = static_cast<unsigned char>(rest_[i]);
            if ((tail & 0xc0) != 0x80) fail("no UTF-8");
            code = code << 6 | (tail & 0x3fU);
        }
        constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
        const bool surrogate = code >= 0xd800 && code < 0xe000;
        if (code < smallest[length] || surrogate || code > 0x10ffff) fail("no UTF-8");
        const std::string result(rest_.substr(0, length));
        rest_.remove_prefix(length);
        return result;
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
