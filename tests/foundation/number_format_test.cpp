// Text of doubles, judged by exact decimal arithmetic: every double is an integer times a power of ten, and
// the reference rounds its digits one string operation at a time.

#include <lintrix/foundation/failures.h>
#include <lintrix/foundation/number_format.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace Velmar::Lintrix {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// A `numpunct` of the test's own, so that no locale need be installed.
class Punctuation : public std::numpunct<char> {
public:
    Punctuation(char point, char separator, std::string grouping)
        : point_(point), separator_(separator), grouping_(std::move(grouping))
    {
    }

private:
    char do_decimal_point() const override { return point_; }
    char do_thousands_sep() const override { return separator_; }
    std::string do_grouping() const override { return grouping_; }

    char point_, separator_;
    std::string grouping_;
};

std::locale with(char point, char separator, std::string grouping)
{
    return {std::locale::classic(), new Punctuation(point, separator, std::move(grouping))};
}

std::string text(double value, std::string_view format)
{
    return FormatNumber(value, format, std::locale::classic());
}

std::string form(char letter, int digits)
{
    return std::string(1, letter).append(std::to_string(digits));
}

// ---- exact decimal arithmetic

// |value| = digits * 10^-places, exactly.
struct Exact {
    std::string digits;
    int places;
};

void multiply(std::string& reversed, int factor)
{
    int carry = 0;
    for (char& digit : reversed) {
        const int product = (digit - '0') * factor + carry;
        digit = static_cast<char>('0' + product % 10);
        carry = product / 10;
    }
    for (; carry > 0; carry /= 10) reversed.push_back(static_cast<char>('0' + carry % 10));
}

Exact exactly(double value)
{
    int exponent = 0;
    const auto mantissa = static_cast<std::uint64_t>(std::ldexp(std::frexp(std::fabs(value), &exponent), 53));
    exponent -= 53;
    std::string digits = std::to_string(mantissa);
    std::reverse(digits.begin(), digits.end());
    const int places = exponent < 0 && mantissa != 0 ? -exponent : 0;
    for (int i = 0; i < places; ++i) multiply(digits, 5); // m*2^-k = m*5^k * 10^-k
    for (int i = 0; i < exponent; ++i) multiply(digits, 2);
    std::reverse(digits.begin(), digits.end());
    return {digits, places};
}

void increment(std::string& digits)
{
    auto digit = digits.rbegin();
    for (; digit != digits.rend() && *digit == '9'; ++digit) *digit = '0';
    if (digit == digits.rend()) {
        digits.insert(0, 1, '1');
    } else {
        ++*digit;
    }
}

// |value|*10^places to the nearest integer, a half to the even one.
std::string roundedAt(const Exact& value, int places)
{
    if (places >= value.places) return value.digits + std::string(std::size_t(places - value.places), '0');
    const std::size_t dropped = std::size_t(value.places - places);
    const std::string padded =
        std::string(dropped >= value.digits.size() ? dropped + 1 - value.digits.size() : 0, '0') +
        value.digits;
    std::string kept = padded.substr(0, padded.size() - dropped);
    const std::string rest = padded.substr(kept.size()), half = std::string("5").append(dropped - 1, '0');
    if (rest > half || (rest == half && (kept.back() - '0') % 2 == 1)) increment(kept);
    return kept;
}

std::string withPoint(std::string digits, int decimals)
{
    const std::size_t places = std::size_t(decimals);
    if (digits.size() <= places) digits.insert(0, places + 1 - digits.size(), '0');
    std::size_t zeros = 0;
    while (digits.size() - zeros > places + 1 && digits[zeros] == '0') ++zeros;
    digits.erase(0, zeros);
    return decimals == 0 ? digits : digits.insert(digits.size() - places, 1, '.');
}

std::string signOf(double value)
{
    return std::signbit(value) ? "-" : "";
}

std::string expectedFixed(double value, int decimals)
{
    return signOf(value) + withPoint(roundedAt(exactly(value), decimals), decimals);
}

std::string expectedPercent(double value, int decimals)
{
    return signOf(value) + withPoint(roundedAt(exactly(value), decimals + 2), decimals) + " %";
}

// `significant` digits of a value other than 0, and its decimal exponent after rounding.
struct Rounded {
    std::string digits;
    int exponent;
};

Rounded significantDigits(double value, int significant)
{
    const Exact exact = exactly(value);
    int exponent = static_cast<int>(exact.digits.size()) - 1 - exact.places;
    Exact shifted = exact;
    if (significant - 1 - exponent < 0)
        shifted.places -= significant - 1 - exponent; // places may not be negative
    std::string digits = roundedAt(shifted, std::max(significant - 1 - exponent, 0));
    digits.erase(0, digits.find_first_not_of('0'));
    if (digits.size() > std::size_t(significant)) {
        digits.pop_back();
        ++exponent;
    }
    return {digits, exponent};
}

std::string exponentText(int exponent, std::size_t width)
{
    std::string digits = std::to_string(std::abs(exponent));
    if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
    return std::string("E") + (exponent < 0 ? "-" : "+") + digits;
}

std::string expectedScientific(double value, int decimals)
{
    Rounded r = value == 0.0 ? Rounded{std::string(std::size_t(decimals) + 1, '0'), 0}
                             : significantDigits(value, decimals + 1);
    if (decimals > 0) r.digits.insert(1, 1, '.');
    return signOf(value) + r.digits + exponentText(r.exponent, 3);
}

std::string expectedGeneral(double value, int significant)
{
    Rounded r = significantDigits(value, significant);
    r.digits.erase(r.digits.find_last_not_of('0') + 1);
    std::string out;
    if (r.exponent <= -5 || r.exponent >= significant) {
        out = r.digits.size() > 1 ? r.digits.substr(0, 1) + "." + r.digits.substr(1) : r.digits;
        out += exponentText(r.exponent, 2);
    } else if (r.exponent < 0) {
        out = std::string("0.").append(std::size_t(-r.exponent - 1), '0') + r.digits;
    } else {
        const std::size_t leading = std::size_t(r.exponent) + 1;
        if (r.digits.size() < leading) r.digits.append(leading - r.digits.size(), '0');
        out = r.digits.size() > leading ? r.digits.substr(0, leading) + "." + r.digits.substr(leading)
                                        : r.digits;
    }
    return signOf(value) + out;
}

// Random bits, moderate sizes, halves and their neighbours, powers of two and ten and their neighbours.
std::vector<double> manyValues(int count)
{
    std::mt19937_64 generator(20240607);
    std::vector<double> values = {0.0, -0.0, 5e-324, 2.2250738585072014e-308, 1.7976931348623157e308};
    const auto withNeighbours = [&values](double x) {
        values.insert(values.end(), {x, std::nextafter(x, 0.0), std::nextafter(x, 1e308), -x});
    };
    while (static_cast<int>(values.size()) < count) {
        const double bits = std::bit_cast<double>(generator());
        if (std::isfinite(bits)) values.push_back(bits);
        const double unit = static_cast<double>(generator() >> 11) * 0x1p-53;
        values.push_back((unit - 0.5) * 200.0);
        values.push_back(std::round(unit * 1e6) / 1e3 + 0.0005); // a half at three decimals, nearly
        withNeighbours(
            std::ldexp(static_cast<double>(generator() >> 40), -static_cast<int>(generator() % 20)));
        withNeighbours(std::pow(10.0, static_cast<double>(generator() % 40) - 20.0));
        withNeighbours(std::ldexp(static_cast<double>(generator() >> 12) + 0.5, 0)); // about 2^52 and below
    }
    return values;
}

// ---- exact rounding

TEST(FormatNumber, FixedPointIsTheExactValueRounded)
{
    for (const double value : manyValues(1500)) {
        for (const int decimals : {0, 1, 2, 3, 6, 15, 16, 22, 40}) {
            ASSERT_EQ(text(value, form('F', decimals)), expectedFixed(value, decimals))
                << std::hexfloat << value;
        }
    }
}

TEST(FormatNumber, PercentIsTheExactValueTimesHundredRounded)
{
    for (const double value : manyValues(1500)) {
        for (const int decimals : {0, 1, 2, 5, 13, 14, 30}) {
            ASSERT_EQ(text(value, form('P', decimals)), expectedPercent(value, decimals))
                << std::hexfloat << value;
        }
    }
}

TEST(FormatNumber, ScientificFormIsTheExactValueRounded)
{
    for (const double value : manyValues(1500)) {
        for (const int decimals : {0, 1, 6, 16, 40, 99}) {
            ASSERT_EQ(text(value, form('E', decimals)), expectedScientific(value, decimals))
                << std::hexfloat << value;
        }
    }
}

TEST(FormatNumber, GeneralFormWithACountIsTheExactValueRounded)
{
    for (const double value : manyValues(1500)) {
        if (value == 0.0) continue;
        for (const int significant : {1, 2, 5, 15, 17, 30, 99}) {
            ASSERT_EQ(text(value, form('G', significant)), expectedGeneral(value, significant))
                << std::hexfloat << value;
        }
    }
}

TEST(FormatNumber, GeneralFormWithoutACountIsTheShortestThatReadsBack)
{
    const auto readBack = [](const std::string& digits) {
        double value = 0.0;
        std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return value;
    };
    for (const double value : manyValues(3000)) {
        if (value == 0.0) continue;
        const std::string shortest = text(value, "G");
        ASSERT_EQ(readBack(shortest), value) << shortest;
        ASSERT_EQ(text(value, "R"), shortest);
        const std::string mantissa = shortest.substr(0, shortest.find('E'));
        std::string digits;
        std::copy_if(mantissa.begin(), mantissa.end(), std::back_inserter(digits),
                     [](char c) { return c >= '0' && c <= '9'; });
        digits.erase(0, digits.find_first_not_of('0'));
        digits.erase(digits.find_last_not_of('0') + 1);
        if (digits.size() == 1) continue;
        const int fewer = static_cast<int>(digits.size()) - 1;
        ASSERT_NE(readBack(text(value, form('E', fewer - 1))), value) << shortest;
    }
}

// ---- forms, one by one

struct Row {
    double value;
    const char* format;
    const char* text;
};

void PrintTo(const Row& row, std::ostream* out)
{
    *out << row.value << " as \"" << row.format << '"';
}

class Forms : public testing::TestWithParam<Row> {};

TEST_P(Forms, PrintAsTold)
{
    EXPECT_EQ(text(GetParam().value, GetParam().format), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    FormatNumber, Forms,
    testing::Values(
        // digit counts that are not given
        Row{1234.5678, "F", "1234.57"}, Row{1234.5678, "N", "1234.57"}, Row{0.12345, "P", "12.35 %"},
        Row{1500.0, "E", "1.500000E+003"}, Row{1500.0, "", "1500"}, Row{0.1, "G", "0.1"},
        Row{0.1, "R", "0.1"},
        // either case
        Row{1500.0, "e", "1.500000e+003"}, Row{1e20, "g", "1e+20"}, Row{1e20, "r", "1e+20"},
        Row{1.5, "f3", "1.500"}, Row{1.5, "n1", "1.5"}, Row{0.5, "p0", "50 %"},
        // digit counts
        Row{1.0, "F0", "1"}, Row{1.0, "F3", "1.000"}, Row{-1.0, "F003", "-1.000"}, Row{1.25, "E0", "1E+000"},
        Row{123456.0, "G3", "1.23E+05"}, Row{123456.0, "G6", "123456"}, Row{123456.0, "G0", "123456"},
        Row{0.1, "R3", "0.1"}, Row{1.0 / 3.0, "R3", "0.3333333333333333"},
        // when G turns scientific
        Row{0.0001, "G", "0.0001"}, Row{0.00001, "G", "1E-05"}, Row{0.00012345, "G2", "0.00012"},
        Row{1e14, "G", "100000000000000"}, Row{1e15, "G", "1E+15"}, Row{100.0, "G3", "100"},
        Row{1000.0, "G3", "1E+03"}, Row{999.5, "G3", "1E+03"}, Row{9.5, "G1", "1E+01"},
        Row{0.000099996, "G4", "0.0001"}, Row{1e100, "G", "1E+100"},
        Row{1234567890123456.0, "G", "1.234567890123456E+15"},
        // an exact half goes to the even digit, a value beside it to the nearer
        Row{0.5, "F0", "0"}, Row{1.5, "F0", "2"}, Row{2.5, "F0", "2"}, Row{0.125, "F2", "0.12"},
        Row{0.375, "F2", "0.38"}, Row{2.675, "F2", "2.67"}, Row{1.005, "F2", "1.00"},
        Row{0.00125, "P1", "0.1 %"}, Row{0.005, "P0", "1 %"}, Row{2.5, "E0", "2E+000"},
        Row{4503599627370495.5, "F0", "4503599627370496"}, Row{4503599627370494.5, "F0", "4503599627370494"},
        // carries
        Row{9.9999, "F3", "10.000"}, Row{0.9999, "P1", "100.0 %"}, Row{9.9999, "E3", "1.000E+001"},
        // signs of zero stay
        Row{0.0, "F3", "0.000"}, Row{-0.0, "F3", "-0.000"}, Row{-0.0001, "F3", "-0.000"},
        Row{-0.0, "G", "-0"}, Row{0.0, "G4", "0"}, Row{-0.0, "E1", "-0.0E+000"}, Row{-0.0, "P0", "-0 %"},
        Row{0.0, "E", "0.000000E+000"},
        // the multiplication by 100 is decimal: 0.07*100 in floating point is 7.0000000000000009, 1e307*100
        // overflows
        Row{0.07, "P16", "7.0000000000000007 %"}, Row{0.07, "P13", "7.0000000000000 %"},
        Row{0.29, "P0", "29 %"}, Row{1.15, "P14", "114.99999999999999 %"},
        // extremes
        Row{5e-324, "F20", "0.00000000000000000000"}, Row{5e-324, "G", "5E-324"},
        Row{5e-324, "E", "4.940656E-324"}, Row{1.7976931348623157e308, "G", "1.7976931348623157E+308"},
        Row{1.7976931348623157e308, "E2", "1.80E+308"},
        // no numbers
        Row{kNaN, "F3", "NaN"}, Row{-kNaN, "N", "NaN"}, Row{kInf, "F3", "Infinity"},
        Row{-kInf, "E", "-Infinity"}, Row{kInf, "P", "Infinity"}, Row{-kInf, "G2", "-Infinity"},
        Row{kNaN, "", "NaN"}));

TEST(FormatNumber, TheLargestValueHasAllItsDigits)
{
    const double largest = std::numeric_limits<double>::max();
    const std::string fixed = text(largest, "F20");
    EXPECT_EQ(fixed.size(), 309u + 1 + 20);
    EXPECT_EQ(fixed.substr(0, 20), "17976931348623157081");
    EXPECT_EQ(fixed.substr(300), "124858368.00000000000000000000");
    EXPECT_EQ(text(largest, "P0"), text(largest, "F0") + "00 %");
    EXPECT_EQ(text(-largest, "F99"), expectedFixed(-largest, 99));
}

// ---- formats that are none

class BadFormats : public testing::TestWithParam<const char*> {};

TEST_P(BadFormats, Fail)
{
    try {
        text(1.0, GetParam());
        ADD_FAILURE() << "accepted";
    } catch (const FormatException& e) {
        EXPECT_STREQ(e.what(), "Format specifier was invalid.");
        EXPECT_EQ(e.Message(), "Format specifier was invalid.");
    }
}

INSTANTIATE_TEST_SUITE_P(FormatNumber, BadFormats,
                         testing::Values("X", "3", " F3", "F ", "F3 ", "F-1", "F+1", "F3.5", "FF", "F100",
                                         "F999999999", "F99999999999999999999", "0.00", "#", "C2", "D5",
                                         "R100", "\xc3\xa9"));

TEST(FormatNumber, UpToNinetyNineDigitsAreGiven)
{
    const std::string zeros(99, '0');
    EXPECT_EQ(text(1.0, "F99"), "1." + zeros);
    EXPECT_EQ(text(1.0, "E99"), "1." + zeros + "E+000");
    EXPECT_EQ(text(1.0, "G99"), "1");
}

TEST(FormatNumber, AnEmbeddedNullIsNoFormat)
{
    EXPECT_THROW(text(1.0, std::string_view("F3\0", 3)), FormatException);
    EXPECT_THROW(text(1.0, std::string_view("\0", 1)), FormatException);
}

// ---- locales

TEST(FormatNumber, TheLocaleGivesTheDecimalSign)
{
    const std::locale comma = with(',', '.', "\3");
    EXPECT_EQ(FormatNumber(1234.5, "F1", comma), "1234,5");
    EXPECT_EQ(FormatNumber(1234.5, "N1", comma), "1.234,5");
    EXPECT_EQ(FormatNumber(12.345, "P1", comma), "1.234,5 %");
    EXPECT_EQ(FormatNumber(1234.5, "E2", comma), "1,23E+003");
    EXPECT_EQ(FormatNumber(1234.5, "G", comma), "1234,5");
    EXPECT_EQ(FormatNumber(0.0625, "R", comma), "0,0625");
    EXPECT_EQ(FormatNumber(1.5e30, "G", comma), "1,5E+30");
    EXPECT_EQ(FormatNumber(-kInf, "N", comma), "-Infinity");
}

TEST(FormatNumber, DigitsAreGroupedInNAndPAlone)
{
    const std::locale grouped = with('.', '\'', "\3");
    EXPECT_EQ(FormatNumber(1234567.0, "N0", grouped), "1'234'567");
    EXPECT_EQ(FormatNumber(-1234567.891, "N2", grouped), "-1'234'567.89");
    EXPECT_EQ(FormatNumber(12345.678, "P0", grouped), "1'234'568 %");
    EXPECT_EQ(FormatNumber(1234567.0, "F0", grouped), "1234567");
    EXPECT_EQ(FormatNumber(1234567.0, "G", grouped), "1234567");
    EXPECT_EQ(FormatNumber(1234567.0, "R", grouped), "1234567");
    EXPECT_EQ(FormatNumber(0.123456, "N6", grouped), "0.123456");
    for (const auto& [value, expected] : {std::pair(1.0, "1"),
                                          {12.0, "12"},
                                          {123.0, "123"},
                                          {1234.0, "1'234"},
                                          {999999.0, "999'999"},
                                          {1e6, "1'000'000"}}) {
        EXPECT_EQ(FormatNumber(value, "N0", grouped), expected);
    }
}

TEST(FormatNumber, GroupSizesFollowTheLocale)
{
    EXPECT_EQ(FormatNumber(123456789.0, "N0", with('.', ',', "\3\2")), "12,34,56,789");
    EXPECT_EQ(FormatNumber(123456789.0, "N0", with('.', ',', "\4")), "1,2345,6789");
    EXPECT_EQ(FormatNumber(123456789.0, "N0", with('.', ',', "\1")), "1,2,3,4,5,6,7,8,9");
    EXPECT_EQ(FormatNumber(123456789.0, "N0", with('.', ',', "")), "123456789");
    EXPECT_EQ(FormatNumber(123456789.0, "N0", with('.', ',', std::string("\3") + char(CHAR_MAX))),
              "123456,789");
    EXPECT_EQ(FormatNumber(123456789.0, "N0", with('.', ',', std::string("\3\0", 2))), "123456,789");
    EXPECT_EQ(FormatNumber(123456789.0, "N0", with('.', ',', std::string(1, char(-1)))), "123456789");
}

TEST(FormatNumber, TheLongestTextOfAllFits)
{
    const double largest = -std::numeric_limits<double>::max();
    const std::string longest = FormatNumber(largest, "P99", with('.', ',', "\1"));
    EXPECT_EQ(longest.size(), 1u + 311 + 310 + 1 + 99 + 2);
    std::string digits = longest;
    digits.erase(std::remove(digits.begin(), digits.end(), ','), digits.end());
    EXPECT_EQ(digits, expectedPercent(largest, 99));
}

TEST(FormatNumber, WithoutALocaleTheGlobalOneIsUsed)
{
    const std::locale before = std::locale::global(with(',', ' ', "\3"));
    EXPECT_EQ(FormatNumber(1234.5, "N1"), "1 234,5");
    EXPECT_EQ(FormatNumber(1234.5), "1234,5");
    std::locale::global(before);
}

TEST(NumberFormatter, AppendsToWhatIsThere)
{
    const NumberFormatter formatter("F1", std::locale::classic());
    std::string line = "x = ";
    formatter.Append(line, 2.25);
    line += "; ";
    formatter.Append(line, -7.0);
    EXPECT_EQ(line, "x = 2.2; -7.0");
}

} // namespace
} // namespace Velmar::Lintrix
