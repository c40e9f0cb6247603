#include <lintrix/foundation/number_format.h>

#include <lintrix/foundation/failures.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <optional>

namespace Velmar::Lintrix {

namespace {

constexpr unsigned kMostDigits = 99;
constexpr int kRoundTripDigits = 15; // the digit count at which G without one turns to scientific form
constexpr int kSmallestFixedExponent = -4;

// The largest value has 309 integer digits; P adds two. Every digit may be a group of its own.
constexpr std::size_t kLongestFixed = 309 + 1 + kMostDigits + 2;
constexpr std::size_t kLongestGrouped = 2 * 311;
constexpr std::size_t kLongestText = 1 + kLongestGrouped + 1 + kMostDigits + 2;

int defaultDigits(char form)
{
    return form == 'E' ? 6 : form == 'G' || form == 'R' ? 0 : 2;
}

int digitCount(std::string_view text)
{
    unsigned count = 0;
    const auto [rest, failure] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (failure != std::errc{} || rest != text.data() + text.size() || count > kMostDigits) {
        throw FormatException();
    }
    return static_cast<int>(count);
}

char* append(std::string_view text, char* out)
{
    return std::copy(text.begin(), text.end(), out);
}

// E, the sign and at least `least` digits.
char* appendExponent(char letter, int exponent, int least, char* out)
{
    *out++ = letter;
    *out++ = exponent < 0 ? '-' : '+';
    const int magnitude = std::abs(exponent);
    for (int width = least, bound = least == 3 ? 100 : 10; width > 1 && magnitude < bound;
         --width, bound /= 10) {
        *out++ = '0';
    }
    return std::to_chars(out, out + 3, magnitude).ptr;
}

// Of "e+XX", as std::to_chars writes it.
int exponentOf(const char* e, const char* end)
{
    int exponent = 0;
    std::from_chars(e[1] == '+' ? e + 2 : e + 1, end, exponent);
    return exponent;
}

// d.ddd * 10^exponent, the digits without their point and without trailing zeros.
struct Scientific {
    std::string_view digits;
    int exponent;
};

// Takes apart "d.ddde+XX" and "de+XX". The first digit is moved over the point.
Scientific dissected(char* text, char* end)
{
    char* const e = std::find(text, end, 'e');
    const int exponent = exponentOf(e, end);
    if (e - text > 1) {
        text[1] = text[0];
        ++text;
    }
    char* last = e;
    while (last - text > 1 && last[-1] == '0') --last;
    return {{text, static_cast<std::size_t>(last - text)}, exponent};
}

// value*10^digits rounded to an integer, where that is below 2^52 and the power is a double; else nothing.
//
// product + error is the exact value: the fused operation leaves the rounding error of the product. Below
// 2^52 the product is a multiple of its last place, and so is a half: the error, being smaller, decides
// nothing but what a product exactly between two integers becomes.
std::optional<std::uint64_t> scaledInteger(double value, int digits)
{
    constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (digits >= static_cast<int>(std::size(kPowers))) return std::nullopt;
    const double product = value * kPowers[digits];
    if (!(product < 0x1p52)) return std::nullopt;
    const auto floor = static_cast<std::uint64_t>(product);
    const double fraction = product - static_cast<double>(floor);
    if (fraction != 0.5) return floor + (fraction > 0.5 ? 1 : 0);
    const double error = std::fma(value, kPowers[digits], -product);
    return floor + (error > 0.0 || (error == 0.0 && floor % 2 == 1) ? 1 : 0);
}

// The decimal digits of value*10^digits rounded to an integer, with at least digits + 1 in all: zeros may
// lead.
std::string_view scaledDigits(double value, int digits, char* text)
{
    char* end = text;
    if (const auto integer = scaledInteger(value, digits)) {
        std::fill_n(text, digits, '0');
        end = std::to_chars(text + digits, text + digits + 20, *integer).ptr;
    } else {
        end = std::to_chars(text, text + kLongestFixed, value, std::chars_format::fixed, digits).ptr;
        if (digits > 0) {
            char* const point = end - digits - 1;
            end = std::copy(point + 1, end, point);
        }
    }
    return {text, static_cast<std::size_t>(end - text)};
}

} // namespace

NumberFormatter::NumberFormatter(std::string_view format, const std::locale& locale)
{
    const auto& punctuation = std::use_facet<std::numpunct<char>>(locale);
    point_ = punctuation.decimal_point();
    separator_ = punctuation.thousands_sep();
    grouping_ = punctuation.grouping();
    if (format.empty()) return;

    const std::size_t letter = std::string_view("EFGNPRefgnpr").find(format.front());
    if (letter == std::string_view::npos) throw FormatException();
    form_ = "EFGNPR"[letter % 6];
    exponent_ = letter < 6 ? 'E' : 'e';
    digits_ = format.size() == 1 ? defaultDigits(form_) : digitCount(format.substr(1));
    if (form_ == 'R') digits_ = 0;
}

void NumberFormatter::Append(std::string& text, double value) const
{
    char buffer[kLongestText];
    text.append(buffer, static_cast<std::size_t>(write(value, buffer) - buffer));
}

char* NumberFormatter::write(double value, char* out) const
{
    if (std::isnan(value)) return append("NaN", out);
    if (std::signbit(value)) *out++ = '-';
    value = std::fabs(value);
    if (std::isinf(value)) return append("Infinity", out);
    if (form_ == 'E') return writeScientific(value, out);
    if (form_ == 'G' || form_ == 'R') return writeGeneral(value, out);
    return writePlain(value, out);
}

// F, N and P: the digits of value*10^n, cut where the point belongs.
char* NumberFormatter::writePlain(double value, char* out) const
{
    char text[kLongestFixed];
    const std::string_view digits = scaledDigits(value, form_ == 'P' ? digits_ + 2 : digits_, text);
    const std::size_t decimals = static_cast<std::size_t>(digits_);
    std::string_view integer = digits.substr(0, digits.size() - decimals);
    integer.remove_prefix(std::min(integer.find_first_not_of('0'), integer.size() - 1));
    out = form_ == 'F' ? append(integer, out) : appendGrouped(integer, out);
    if (decimals > 0) {
        *out++ = point_;
        out = append(digits.substr(digits.size() - decimals), out);
    }
    return form_ == 'P' ? append(" %", out) : out;
}

// Group sizes count from the point outward; the last one repeats, and one that is no positive number, or
// CHAR_MAX, takes all the digits that are left.
char* NumberFormatter::appendGrouped(std::string_view integer, char* out) const
{
    if (grouping_.empty()) return append(integer, out);
    char reversed[kLongestGrouped];
    char* top = reversed;
    std::size_t group = 0;
    int inGroup = 0;
    for (auto digit = integer.rbegin(); digit != integer.rend(); ++digit) {
        const char size = grouping_[group];
        if (inGroup == size && size > 0 && size < CHAR_MAX) {
            *top++ = separator_;
            inGroup = 0;
            group = std::min(group + 1, grouping_.size() - 1);
        }
        *top++ = *digit;
        ++inGroup;
    }
    return std::reverse_copy(reversed, top, out);
}

char* NumberFormatter::writeScientific(double value, char* out) const
{
    char text[kMostDigits + 16];
    char* const end = std::to_chars(text, std::end(text), value, std::chars_format::scientific, digits_).ptr;
    char* const e = std::find(text, end, 'e');
    if (digits_ > 0) text[1] = point_;
    out = append({text, static_cast<std::size_t>(e - text)}, out);
    return appendExponent(exponent_, exponentOf(e, end), 3, out);
}

char* NumberFormatter::writeGeneral(double value, char* out) const
{
    char text[kMostDigits + 16];
    const auto scientific = std::chars_format::scientific;
    char* const end = digits_ == 0 ? std::to_chars(text, std::end(text), value, scientific).ptr
                                   : std::to_chars(text, std::end(text), value, scientific, digits_ - 1).ptr;
    const auto [digits, exponent] = dissected(text, end);

    const bool fixed =
        exponent >= kSmallestFixedExponent && exponent < (digits_ > 0 ? digits_ : kRoundTripDigits);
    if (fixed && exponent < 0) {
        *out++ = '0';
        *out++ = point_;
        out = std::fill_n(out, -exponent - 1, '0');
        return append(digits, out);
    }
    const std::size_t leading = fixed ? static_cast<std::size_t>(exponent) + 1 : 1; // digits before the point
    out = append(digits.substr(0, leading), out);
    if (leading > digits.size()) out = std::fill_n(out, leading - digits.size(), '0');
    if (leading < digits.size()) {
        *out++ = point_;
        out = append(digits.substr(leading), out);
    }
    return fixed ? out : appendExponent(exponent_, exponent, 2, out);
}

std::string FormatNumber(double value, std::string_view format, const std::locale& locale)
{
    std::string text;
    NumberFormatter(format, locale).Append(text, value);
    return text;
}

} // namespace Velmar::Lintrix
