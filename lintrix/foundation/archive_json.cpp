// An archive as JSON:
//
//   {
//     "lintrix-archive": 1,
//     "values": [
//       {"name": "Rows", "type": "int32", "value": 2},
//       {"name": "Data", "type": "float64[]", "value": [1, 0.5, "NaN"]}
//     ]
//   }
//
// An array of records, since the members of an object have no order in JSON. The members of each record come
// in alphabetical order, so a tool that sorts them changes nothing.

#include <lintrix/foundation/archive_stream.h>

#include <lintrix/foundation/detail/archive_rules.h>
#include <lintrix/services/utf8.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <istream>
#include <iterator>
#include <limits>
#include <optional>
#include <system_error>

namespace Velmar::Lintrix {

namespace {

constexpr std::int32_t kVersion = 1;
constexpr std::size_t kLongestNumber = 1100; // more than the exact digits of any double

void appendUtf8(std::string& text, std::uint32_t code)
{
    const auto append = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (code < 0x80) {
        append(code);
    } else if (code < 0x800) {
        append(0xC0 | code >> 6);
    } else if (code < 0x10000) {
        append(0xE0 | code >> 12);
        append(0x80 | (code >> 6 & 0x3F));
    } else {
        append(0xF0 | code >> 18);
        append(0x80 | (code >> 12 & 0x3F));
        append(0x80 | (code >> 6 & 0x3F));
    }
    if (code >= 0x80) append(0x80 | (code & 0x3F));
}

// ---- writing

class Writer {
public:
    explicit Writer(std::ostream& out) : out_(out) {}

    Writer& raw(std::string_view text)
    {
        out_.write(text.data(), static_cast<std::streamsize>(text.size()));
        return *this;
    }
    void value(bool flag) { raw(flag ? "true" : "false"); }
    void value(std::int32_t number) { digits(number); }
    void value(std::int64_t number) { digits(number); }
    void value(float number) { real(number); }
    void value(double number) { real(number); }
    void value(const std::string& text)
    {
        raw("\"");
        for (const char c : text) character(c);
        raw("\"");
    }
    /// Eight elements a line.
    template <class T>
    void value(const std::vector<T>& elements)
    {
        raw("[");
        for (std::size_t i = 0; i < elements.size(); ++i) {
            if (i > 0) raw(i % 8 == 0 ? ",\n      " : ", ");
            value(elements[i]);
        }
        raw("]");
    }

private:
    template <class Number>
    void real(Number number)
    {
        if (std::isnan(number)) {
            raw("\"NaN\"");
        } else if (std::isinf(number)) {
            raw(number > 0 ? "\"Infinity\"" : "\"-Infinity\"");
        } else {
            digits(number);
        }
    }
    template <class Number>
    void digits(Number number)
    {
        char text[32];
        raw({text, static_cast<std::size_t>(std::to_chars(text, std::end(text), number).ptr - text)});
    }
    void character(char c)
    {
        constexpr std::string_view kHex = "0123456789abcdef";
        if (c == '"' || c == '\\') {
            raw("\\");
        } else if (const auto code = static_cast<unsigned char>(c); code < 0x20) {
            raw("\\u00").raw(kHex.substr(code >> 4, 1)).raw(kHex.substr(code & 15, 1));
            return;
        }
        raw({&c, 1});
    }

    std::ostream& out_;
};

void requireText(const SerializationInfo& info)
{
    for (const auto& [name, value] : info.Values()) {
        const auto* text = std::get_if<std::string>(&value);
        if (!detail::isUtf8(name) || (text && !detail::isUtf8(*text))) {
            throw SerializationException("A text in the archive is no UTF-8.");
        }
    }
}

// ---- reading

// -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
bool isJsonNumber(std::string_view text)
{
    const auto skipDigits = [&text] {
        const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
        text.remove_prefix(count);
        return count;
    };
    if (text.starts_with('-')) text.remove_prefix(1);
    const bool leadingZero = text.starts_with('0');
    const std::size_t integers = skipDigits();
    if (integers == 0 || (leadingZero && integers > 1)) return false;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        if (skipDigits() == 0) return false;
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
        if (skipDigits() == 0) return false;
    }
    return text.empty();
}

// The grammar of an archive is not recursive, so the depth of the input is bounded by construction.
class Reader {
public:
    Reader(std::istream& in, std::uint64_t byteLimit) : in_(*in.rdbuf()), byteLimit_(byteLimit) {}

    /// Names the place where the token in hand begins.
    [[noreturn]] void refuse(std::string_view what) const
    {
        detail::refuseArchive(
            "line " + std::to_string(tokenLine_) + ", column " + std::to_string(tokenColumn_), what);
    }

    /// The next character that is no white space, not yet taken; kEnd at the end.
    int beginToken()
    {
        while (isSpace(in_.sgetc())) take();
        tokenLine_ = line_;
        tokenColumn_ = column_;
        return in_.sgetc();
    }
    void expect(char c)
    {
        if (beginToken() != c) refuse(std::string("'") + c + "' is expected");
        take();
    }
    /// Takes `c` if it comes next.
    bool accept(char c)
    {
        if (beginToken() != c) return false;
        take();
        return true;
    }
    void end()
    {
        if (beginToken() != kEnd) refuse("something follows the archive");
    }
    void member(std::string_view name)
    {
        if (beginToken() != '"' || string() != name) {
            refuse(std::string("the member \"").append(name).append("\" is expected"));
        }
        expect(':');
    }

    std::string string()
    {
        expect('"');
        std::string text;
        for (int c = take(); c != '"'; c = take()) {
            if (c == kEnd) refuse("a string is not closed");
            if (c < 0x20) refuse("a string has a control character");
            if (c == '\\') {
                escape(text);
            } else {
                text.push_back(static_cast<char>(c));
            }
        }
        if (!detail::isUtf8(text)) refuse("a string is no UTF-8");
        return text;
    }
    bool flag()
    {
        const bool value = beginToken() == 't';
        for (const char c : std::string_view(value ? "true" : "false")) {
            if (take() != static_cast<unsigned char>(c)) refuse("true or false is expected");
        }
        return value;
    }
    template <class Number>
    Number number()
    {
        char text[kLongestNumber];
        std::size_t length = 0;
        beginToken();
        while (std::string_view("0123456789+-.eE").find(static_cast<char>(in_.sgetc())) !=
                   std::string_view::npos &&
               in_.sgetc() != kEnd) {
            if (length == kLongestNumber) refuse("a number is too long");
            text[length++] = static_cast<char>(take());
        }
        if (!isJsonNumber({text, length})) refuse("a number is expected");
        Number value{};
        const auto [rest, failure] = std::from_chars(text, text + length, value);
        if (failure != std::errc{} || rest != text + length) refuse("a number does not fit its type");
        return value;
    }
    template <class Number>
    Number real()
    {
        using Limits = std::numeric_limits<Number>;
        if (beginToken() != '"') return number<Number>();
        const std::string word = string();
        if (word == "NaN") return Limits::quiet_NaN();
        if (word == "Infinity") return Limits::infinity();
        if (word == "-Infinity") return -Limits::infinity();
        refuse("a number is expected");
    }
    /// Calls `element` for each element of an array.
    template <class Element>
    void array(Element element)
    {
        expect('[');
        if (accept(']')) return;
        do element();
        while (accept(','));
        expect(']');
    }

private:
    static constexpr int kEnd = std::char_traits<char>::eof();

    static bool isSpace(int c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

    int take()
    {
        const int c = in_.sbumpc();
        if (c == kEnd) return c;
        if (++bytes_ > byteLimit_) {
            refuse("the archive is longer than the limit of " + std::to_string(byteLimit_) + " bytes");
        }
        column_ = c == '\n' ? 1 : column_ + 1;
        if (c == '\n') ++line_;
        return c;
    }
    void escape(std::string& text)
    {
        constexpr std::string_view kLetters = "\"\\/bfnrtu", kMeanings = "\"\\/\b\f\n\r\t";
        const int c = take();
        const std::size_t letter = c == kEnd ? std::string_view::npos : kLetters.find(static_cast<char>(c));
        if (letter == std::string_view::npos) refuse("a string has an unknown escape");
        if (c == 'u') {
            appendUtf8(text, escapedCode());
        } else {
            text.push_back(kMeanings[letter]);
        }
    }
    /// Behind "\u": four hexadecimal digits, or two surrogates.
    std::uint32_t escapedCode()
    {
        const std::uint32_t high = fourDigits();
        if (high < 0xD800 || high > 0xDFFF) return high;
        const bool escaped = high < 0xDC00 && take() == '\\' && take() == 'u';
        const std::uint32_t low = escaped ? fourDigits() : 0;
        if (low < 0xDC00 || low > 0xDFFF) refuse("a string has half a surrogate pair");
        return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
    }
    std::uint32_t fourDigits()
    {
        char text[4];
        for (char& digit : text) digit = static_cast<char>(take());
        std::uint32_t code = 0;
        const auto [rest, failure] = std::from_chars(text, text + 4, code, 16);
        if (failure != std::errc{} || rest != text + 4) refuse("a string has an unknown escape");
        return code;
    }

    std::streambuf& in_;
    std::uint64_t byteLimit_;
    std::uint64_t bytes_ = 0;
    std::uint64_t line_ = 1, column_ = 1; ///< of the next character
    std::uint64_t tokenLine_ = 1, tokenColumn_ = 1;
};

template <class Cell, class Element>
std::vector<Cell> arrayOf(Reader& reader, Element element)
{
    std::vector<Cell> cells;
    reader.array([&] { cells.push_back(element()); });
    return cells;
}

SerializationInfo::Value readContent(Reader& reader, std::size_t type)
{
    switch (type) {
    case 0:
        return reader.flag();
    case 1:
        return reader.number<std::int32_t>();
    case 2:
        return reader.number<std::int64_t>();
    case 3:
        return reader.real<float>();
    case 4:
        return reader.real<double>();
    case 5:
        return reader.string();
    case 6:
        return arrayOf<std::int32_t>(reader, [&] { return reader.number<std::int32_t>(); });
    default:
        return arrayOf<double>(reader, [&] { return reader.real<double>(); });
    }
}

void readValue(Reader& reader, SerializationInfo& info)
{
    reader.expect('{');
    if (info.Values().size() == ArchiveLimits::Values) reader.refuse("more than 4096 values");
    reader.member("name");
    const std::string name = reader.string();
    if (name.size() > ArchiveLimits::NameBytes) reader.refuse("a name is longer than 1024 bytes");
    if (info.Contains(name)) reader.refuse("a name is there twice");
    reader.expect(',');
    reader.member("type");
    const auto type = std::find(detail::kArchiveTypes.begin(), detail::kArchiveTypes.end(), reader.string());
    if (type == detail::kArchiveTypes.end()) reader.refuse("a type is not known");
    reader.expect(',');
    reader.member("value");
    info.AddValue(name, readContent(reader, static_cast<std::size_t>(type - detail::kArchiveTypes.begin())));
    reader.expect('}');
}

} // namespace

void WriteArchiveJson(std::ostream& out, const SerializationInfo& info)
{
    detail::requireWritable(info);
    requireText(info);
    Writer writer(out);
    writer.raw("{\n  \"lintrix-archive\": ").value(kVersion);
    writer.raw(",\n  \"values\": [");
    std::string_view separator = "\n    {\"name\": ";
    for (const auto& [name, value] : info.Values()) {
        writer.raw(separator).value(name);
        writer.raw(", \"type\": \"").raw(detail::kArchiveTypes[value.index()]).raw("\", \"value\": ");
        std::visit([&writer](const auto& v) { writer.value(v); }, value);
        writer.raw("}");
        separator = ",\n    {\"name\": ";
    }
    writer.raw("\n  ]\n}\n");
    detail::requireWritten(out);
}

SerializationInfo ReadArchiveJson(std::istream& in, std::uint64_t byteLimit)
{
    const std::istream::sentry ready(in, true);
    if (!ready) throw SerializationException("The archive could not be read.");
    Reader reader(in, byteLimit);
    SerializationInfo info;
    reader.expect('{');
    reader.member("lintrix-archive");
    if (reader.number<std::int32_t>() != kVersion) reader.refuse("this version is not known");
    reader.expect(',');
    reader.member("values");
    reader.array([&] { readValue(reader, info); });
    reader.expect('}');
    reader.end();
    return info;
}

} // namespace Velmar::Lintrix
