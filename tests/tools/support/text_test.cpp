#include <tools/support/text.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <string>

namespace Velmar::Lintrix::tools {
namespace {

TEST(Printable, ControlBytesAreSpelledOut)
{
    EXPECT_EQ(printable("plain text"), "plain text");
    EXPECT_EQ(printable(std::string_view("a\nb\x1b[0m\x7f\0", 9)), "a\\x0ab\\x1b[0m\\x7f\\x00");
    EXPECT_EQ(printable("gr\xc3\xbc\xc3\x9f"), "gr\xc3\xbc\xc3\x9f");
}

TEST(InQuotes, LongWordsAreCut)
{
    EXPECT_EQ(inQuotes("word"), "'word'");
    EXPECT_EQ(inQuotes(std::string(40, 'x')), "'" + std::string(40, 'x') + "'");
    EXPECT_EQ(inQuotes(std::string(41, 'x')), "'" + std::string(40, 'x') + "...'");
}

TEST(BytesInWords, UnitsChangeAtAThousand)
{
    EXPECT_EQ(bytesInWords(0), "0 B");
    EXPECT_EQ(bytesInWords(999), "999 B");
    EXPECT_EQ(bytesInWords(1000), "1.0 kB");
    EXPECT_EQ(bytesInWords(999949), "999.9 kB");
    EXPECT_EQ(bytesInWords(999950), "1.0 MB");
    EXPECT_EQ(bytesInWords(6.4e9), "6.4 GB");
    EXPECT_EQ(bytesInWords(1.5e20), "150.0 EB");
    EXPECT_EQ(bytesInWords(1.5e23), "150000.0 EB");
}

TEST(SystemError, SpeaksForErrno)
{
    EXPECT_EQ(systemError(ENOENT), "No such file or directory");
    errno = ENOSPC;
    EXPECT_EQ(systemError(), "No space left on device");
}

TEST(NumberInWords, TellsWhatIsNoNumberInWords)
{
    EXPECT_EQ(tools::numberInWords(1234.5), "1.234e+03");
    EXPECT_EQ(tools::numberInWords(0.5, "{:.3g}"), "0.5");
    EXPECT_EQ(tools::numberInWords(std::nan("")), "unknown");
    EXPECT_EQ(tools::numberInWords(-std::nan("")), "unknown");
    EXPECT_EQ(tools::numberInWords(HUGE_VAL), "inf");
}

} // namespace
} // namespace Velmar::Lintrix::tools
