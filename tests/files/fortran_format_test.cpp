// Formats of Fortran and the numbers that they read, by the rules of ISO/IEC 1539-1.

#include <lintrix/files/detail/fortran_format.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace Velmar::Lintrix::detail {
namespace {

TEST(FortranFormat, FormsThatHeadsGive)
{
    struct Case {
        const char* text;
        int perLine;
        char letter;
        int width, decimals, scale;
    };
    for (const Case& c :
         {Case{"(10I8)", 10, 'I', 8, 0, 0}, Case{"(I8)", 1, 'I', 8, 0, 0},
          Case{"( 26 i3 )", 26, 'I', 3, 0, 0}, Case{"(5I8.8)", 5, 'I', 8, 0, 0},
          Case{"(1P,4E20.12)", 4, 'E', 20, 12, 1}, Case{"(1P4E20.12)", 4, 'E', 20, 12, 1},
          Case{"(3D25.16)", 3, 'D', 25, 16, 0}, Case{"(-2P,3F10.4)", 3, 'F', 10, 4, -2},
          Case{"(3E26.16E3)", 3, 'E', 26, 16, 0}, Case{"(4G20.12)", 4, 'G', 20, 12, 0},
          Case{"(1P,2(E20.12))", 2, 'E', 20, 12, 1}, Case{"(2(1P,3E20.12))", 6, 'E', 20, 12, 1},
          Case{"(3ES24.16E3)", 3, 'E', 24, 16, 0}, Case{"(5F16)", 5, 'F', 16, 0, 0}}) {
        const auto format = FortranFormat::parse(c.text);
        ASSERT_TRUE(format) << c.text;
        EXPECT_EQ(format->perLine, c.perLine) << c.text;
        EXPECT_EQ(format->letter, c.letter) << c.text;
        EXPECT_EQ(format->width, c.width) << c.text;
        EXPECT_EQ(format->decimals, c.decimals) << c.text;
        EXPECT_EQ(format->scale, c.scale) << c.text;
    }
    for (const char* text :
         {"", "()", "10I8", "(10I8", "(10I8))", "(0I8)", "(I0)", "(A8)", "(3E20.12,I4)", "(1X,I8)",
          "(99999999I8)", "(-3I8)", "(65000(65000I8))", "(3E20.)", "(3E20.12E)", "(3E-20.12)"}) {
        EXPECT_FALSE(FortranFormat::parse(text)) << text;
    }
}

double read(const char* format, const char* field)
{
    return FortranFormat::parse(format)->realFrom(field).value_or(-12345.0);
}

TEST(FortranFormat, NumbersAreReadByTheFormat)
{
    EXPECT_EQ(read("(E20.12)", " 1.5E+03"), 1500.0);
    EXPECT_EQ(read("(D20.12)", "-1.5d-3 "), -0.0015);
    EXPECT_EQ(read("(E20.12)", "1.0+5"), 1e5);
    EXPECT_EQ(read("(E26.18)", "1.05E-9223372036854775807"), 0.0);
    EXPECT_EQ(read("(E26.18)", "1.05E+9223372036854775807"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(read("(E20.12)", "1.0-305"), 1e-305);
    EXPECT_EQ(read("(E20.12)", "2.5Q2"), 250.0);
    EXPECT_EQ(read("(F8.3)", "  12345 "), 12.345); // no point: the last three digits are behind it
    EXPECT_EQ(read("(E8.3)", "12345E2"), 1234.5);
    EXPECT_EQ(read("(2P,F8.3)", "5.0"), 0.05); // without an exponent the scale divides
    EXPECT_EQ(read("(2P,E8.3)", "5.0E0"), 5.0);
    EXPECT_EQ(read("(F8.3)", "1 2.5"), 12.5); // blanks count for nothing
    EXPECT_EQ(read("(F8.3)", ".5"), 0.5);
    EXPECT_EQ(read("(F8.3)", "5."), 5.0);
    EXPECT_EQ(read("(F8.3)", "+0007.25"), 7.25);
    EXPECT_EQ(read("(E25.16)", "0.1"), 0.1);
    EXPECT_EQ(read("(E25.17)", "0.17976931348623157E+309"), std::numeric_limits<double>::max());
    EXPECT_EQ(read("(E25.17)", "4.9406564584124654E-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_TRUE(std::signbit(read("(F8.3)", "-0.0")));
}

TEST(FortranFormat, BeyondTheRangeIsInfiniteOrZero)
{
    EXPECT_EQ(read("(E12.3)", "1.0E+999"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(read("(E12.3)", "-1.0+99999999999999"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(read("(E12.3)", "1.0E-999"), 0.0);
    EXPECT_EQ(read("(E12.3)", "0.0E+999999999999"), 0.0);
}

TEST(FortranFormat, WhatIsNoNumberIsNone)
{
    for (const char* field :
         {"", "   ", "NaN", "Inf", "1.5x", "1.5E", "1..5", "E5", "--1", "1.5E+-3", "****", "1,5", "1.5E3.2"})
        EXPECT_EQ(read("(E20.12)", field), -12345.0) << field;
    const FortranFormat whole = *FortranFormat::parse("(I8)");
    EXPECT_EQ(whole.wholeFrom("  +12 "), 12);
    EXPECT_EQ(whole.wholeFrom("-7"), -7);
    EXPECT_EQ(whole.wholeFrom("1 2"), 12);
    for (const char* field : {"", " ", "1.0", "+-1", "x", "99999999999999999999"})
        EXPECT_FALSE(whole.wholeFrom(field)) << field;
}

} // namespace
} // namespace Velmar::Lintrix::detail
