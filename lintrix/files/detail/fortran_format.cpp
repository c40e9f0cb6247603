#include <lintrix/files/detail/fortran_format.h>

#include <lintrix/sparse/detail/market_words.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <string>
#include <system_error>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::int32_t kMost = 1 << 16; // fields of a line and characters of a field

/// Without blanks, in capitals.
std::string condensed(std::string_view text)
{
    std::string plain;
    for (const char c : text) {
        if (c == ' ' || c == '\t') continue;
        plain += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return plain;
}

/// Takes a format apart from the left.
class FormatParser {
public:
    explicit FormatParser(std::string_view text) : rest_(text) {}

    bool take(char c)
    {
        if (rest_.empty() || rest_.front() != c) return false;
        rest_.remove_prefix(1);
        return true;
    }
    std::optional<std::int32_t> number()
    {
        std::int32_t value = 0;
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
        if (error != std::errc() || value > kMost || value < -kMost) return std::nullopt;
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return value;
    }
    char letter() const noexcept { return rest_.empty() ? '\0' : rest_.front(); }
    bool atEnd() const noexcept { return rest_.empty(); }

private:
    std::string_view rest_;
};

/// "1P," or "1P" or nothing, then how often; a count that is none is 1.
bool readScaleAndCount(FormatParser& text, FortranFormat& format)
{
    auto count = text.number();
    if (count && text.take('P')) {
        format.scale = *count;
        text.take(',');
        count = text.number();
    }
    if (count && *count < 1) return false;
    format.perLine = count.value_or(1);
    return true;
}

/// "E20.12", "ES20.12E3", "I8", "I8.8".
bool readDescriptor(FormatParser& text, FortranFormat& format)
{
    format.letter = text.letter();
    if (std::string_view("IEDFG").find(format.letter) == std::string_view::npos || !text.take(format.letter))
        return false;
    if (format.letter == 'E' && (text.letter() == 'S' || text.letter() == 'N')) text.take(text.letter());
    const auto width = text.number();
    if (!width || *width < 1) return false;
    format.width = *width;
    if (text.take('.')) {
        const auto decimals = text.number();
        if (!decimals || *decimals < 0) return false;
        if (format.letter != 'I') format.decimals = *decimals;
        if (text.take('E') && !text.number()) return false;
    }
    return true;
}

/// A decimal number in parts: digits with an exponent of ten for the last of them.
struct Decimal {
    bool negative = false;
    std::string digits{};
    std::int64_t exponent = 0;

    std::string text() const
    {
        return (negative ? "-" : "") + (digits.empty() ? "0" : digits) + "e" + std::to_string(exponent);
    }
};

/// Sign, digits and point off `rest`. False without a digit.
bool readMantissa(std::string_view& rest, Decimal& number, std::int32_t decimals)
{
    if (!rest.empty() && (rest.front() == '+' || rest.front() == '-')) {
        number.negative = rest.front() == '-';
        rest.remove_prefix(1);
    }
    bool point = false, any = false;
    for (; !rest.empty(); rest.remove_prefix(1)) {
        const char c = rest.front();
        if (c == '.' && !point) {
            point = true;
        } else if (c >= '0' && c <= '9') {
            any = true;
            if (c != '0' || !number.digits.empty()) number.digits += c;
            number.exponent -= point ? 1 : 0;
        } else {
            break;
        }
    }
    if (!point) number.exponent -= decimals;
    return any;
}

/// "E+05", "D5", "+5", "-05"; nothing is 0. False where it is none.
bool readExponent(std::string_view rest, std::int64_t& exponent, bool& given)
{
    given = !rest.empty();
    if (!given) return true;
    if (std::string_view("EDQ").find(rest.front()) != std::string_view::npos) rest.remove_prefix(1);
    const bool negative = rest.starts_with('-');
    if (negative || rest.starts_with('+')) rest.remove_prefix(1);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    const bool digits = end == rest.data() + rest.size() && !rest.empty() && rest.front() != '-';
    if (!digits || error == std::errc::invalid_argument) return false;
    constexpr std::int64_t kBeyondAll = std::numeric_limits<std::int32_t>::max();
    value = error == std::errc::result_out_of_range ? kBeyondAll : std::min(value, kBeyondAll);
    exponent = negative ? -value : value;
    return true;
}

/// Exactly rounded; beyond the range infinite or zero.
double valueOf(const Decimal& number)
{
    const std::string text = number.text();
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc::result_out_of_range ? extremeValue(text) : value;
}

} // namespace

std::optional<FortranFormat> FortranFormat::parse(std::string_view text)
{
    const std::string plain = condensed(text);
    FormatParser parser(plain);
    FortranFormat format;
    if (!parser.take('(') || !readScaleAndCount(parser, format)) return std::nullopt;
    const bool grouped = parser.take('(');
    if (grouped) {
        FortranFormat inner;
        if (!readScaleAndCount(parser, inner)) return std::nullopt;
        const std::int64_t fields = std::int64_t{format.perLine} * inner.perLine;
        if (fields > kMost) return std::nullopt;
        format.perLine = static_cast<std::int32_t>(fields);
        if (inner.scale != 0) format.scale = inner.scale;
    }
    if (!readDescriptor(parser, format)) return std::nullopt;
    if (grouped && !parser.take(')')) return std::nullopt;
    if (!parser.take(')') || !parser.atEnd()) return std::nullopt;
    return format;
}

std::optional<std::int64_t> FortranFormat::wholeFrom(std::string_view field) const
{
    const std::string plain = condensed(field);
    std::string_view word = plain;
    if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return value;
}

std::optional<double> FortranFormat::realFrom(std::string_view field) const
{
    const std::string plain = condensed(field);
    std::string_view rest = plain;
    Decimal number;
    std::int64_t exponent = 0;
    bool given = false;
    if (!readMantissa(rest, number, decimals) || !readExponent(rest, exponent, given)) return std::nullopt;
    number.exponent += given ? exponent : -std::int64_t{scale};
    return valueOf(number);
}

} // namespace Velmar::Lintrix::detail
