#include <lintrix/services/utf8.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

using namespace std::string_view_literals;
using Velmar::Lintrix::detail::isUtf8;

namespace {

/// Code points by the definition of the encoding; surrogates are left out.
std::string encoded(unsigned code)
{
    const auto tail = [code](int shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) return {static_cast<char>(code)};
    if (code < 0x800) return {static_cast<char>(0xC0 | code >> 6), tail(0)};
    if (code < 0x10000) return {static_cast<char>(0xE0 | code >> 12), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | code >> 18), tail(12), tail(6), tail(0)};
}

TEST(Utf8, IsEachCodePointButSurrogates)
{
    for (unsigned code = 0; code < 0x110000; ++code)
        ASSERT_EQ(isUtf8(encoded(code)), code < 0xD800 || code > 0xDFFF) << std::hex << code;
    EXPECT_TRUE(isUtf8(""));
    EXPECT_TRUE(isUtf8("a\u00e4\u20ac\U0001f600"));
}

TEST(Utf8, IsNoSequenceThatIsCutLongerThanNeededOrBeyondTheRange)
{
    for (const std::string_view text :
         {"\x80"sv, "\xC2"sv, "\xC3("sv, "\xC0\x80"sv, "\xE0\x9F\xBF"sv, "\xE2\x82"sv, "\xF0\x8F\xBF\xBF"sv,
          "\xF4\x90\x80\x80"sv, "\xF8\x88\x80\x80\x80"sv, "\xFF"sv, "abc\xE2\x82"sv})
        EXPECT_FALSE(isUtf8(text)) << text;
}

} // namespace
