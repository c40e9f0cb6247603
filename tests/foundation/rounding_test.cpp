// Rounding to fractional digits, ties to even.

#include <lintrix/lintrix.h>

#include <lintrix/foundation/failures.h>

#include "tests/support/expect_failure.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <limits>
#include <random>

namespace Velmar::Lintrix::testing {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Scaled, rounded to an integer, scaled back; the sign of a zero is that of the value.
void expectRounded(double value, int digits, double expected)
{
    const double rounded = Round(value, digits);
    EXPECT_EQ(rounded, expected) << value << " to " << digits;
    EXPECT_EQ(std::signbit(rounded), std::signbit(value)) << value << " to " << digits;
}

TEST(Round, TiesGoToTheEvenDigit)
{
    const struct {
        double value;
        int digits;
        double expected;
    } table[] = {
        {0.5, 0, 0.0},
        {1.5, 0, 2.0},
        {2.5, 0, 2.0},
        {3.5, 0, 4.0},
        {1000000.5, 0, 1000000.0},
        {0.25, 1, 0.2},
        {0.75, 1, 0.8},
        {1.25, 1, 1.2},
        {0.125, 2, 0.12},
        {0.375, 2, 0.38},
        {2.625, 2, 2.62},
        {0.0625, 3, 0.062},
        {0.1875, 3, 0.188},
        {0.03125, 4, 0.0312},
        {4503599627370495.5, 0, 4503599627370496.0},
        {4503599627370494.5, 0, 4503599627370494.0},
    };
    for (const auto& [value, digits, expected] : table) {
        expectRounded(value, digits, expected);
        expectRounded(-value, digits, -expected);
    }
}

TEST(Round, NeighboursOfATieGoToTheNearest)
{
    for (const double tie : {0.5, 1.5, 2.5, 1000000.5}) {
        expectRounded(std::nextafter(tie, 0.0), 0, std::floor(tie));
        expectRounded(std::nextafter(tie, kInfinity), 0, std::ceil(tie));
        expectRounded(-std::nextafter(tie, 0.0), 0, -std::floor(tie));
        expectRounded(-std::nextafter(tie, kInfinity), 0, -std::ceil(tie));
    }
}

TEST(Round, EachDigitCountScalesRoundsAndScalesBack)
{
    std::mt19937_64 generator(7);
    double power = 1.0; // 10^digits, exact up to 10^22
    for (int digits = 0; digits <= 15; ++digits, power *= 10.0) {
        for (int k = 0; k < 2000; ++k) {
            const double unit = static_cast<double>(generator() >> 11) * 0x1p-53 - 0.5;
            const double value = std::ldexp(unit, static_cast<int>(generator() % 64) - 10);
            const double expected = std::abs(value) < 1e16 ? std::nearbyint(value * power) / power : value;
            expectRounded(value, digits, expected);
        }
    }
}

TEST(Round, DecimalFractionsOfThatManyDigitsStay)
{
    for (int digits = 0; digits <= 15; ++digits) {
        const double power = std::pow(10.0, digits);
        for (const double k : {0.0, 1.0, 2.0, 7.0, 49.0, 99.0}) expectRounded(k / power, digits, k / power);
    }
}

TEST(Round, ZeroKeepsItsSign)
{
    expectRounded(0.0, 3, 0.0);
    expectRounded(-0.0, 3, -0.0);
    expectRounded(-0.3, 0, -0.0);
    expectRounded(-0x1p-1074, 15, -0.0);
}

TEST(Round, HugeAndSpecialValuesStay)
{
    for (const double value :
         {1e16, 12345678901234567890.0, 1e300, std::numeric_limits<double>::max(), kInfinity}) {
        for (const int digits : {0, 7, 15}) {
            expectRounded(value, digits, value);
            expectRounded(-value, digits, -value);
        }
    }
    EXPECT_TRUE(std::isnan(Round(kNaN, 0)));
    EXPECT_TRUE(std::isnan(Round(kNaN, 15)));
}

// Scaling them and back would be off by one place now and then.
TEST(Round, NumbersWithoutFractionalDigitsStayAsTheyAre)
{
    std::mt19937_64 generator(11);
    for (int digits = 0; digits <= 15; ++digits) {
        for (int k = 0; k < 200; ++k) {
            const double value = 1e16 + static_cast<double>(generator() >> 8); // to 8.2e16
            expectRounded(value, digits, value);
        }
    }
}

TEST(Round, RoundingModeOfTheProcessDoesNotMatter)
{
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        std::fesetround(mode);
        const double down = Round(2.5, 0), up = Round(3.5, 0), near = Round(2.25, 0);
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(down, 2.0);
        EXPECT_EQ(up, 4.0);
        EXPECT_EQ(near, 2.0);
    }
}

TEST(TruncatedToInt32, DropsTheFraction)
{
    using detail::truncatedToInt32;
    EXPECT_EQ(truncatedToInt32(2.9), 2);
    EXPECT_EQ(truncatedToInt32(-2.9), -2);
    EXPECT_EQ(truncatedToInt32(2147483647.9), INT32_MAX);
    EXPECT_EQ(truncatedToInt32(-2147483648.9), INT32_MIN);
}

TEST(TruncatedToInt32, WhatDoesNotFitIsTheSmallestInteger)
{
    using detail::truncatedToInt32;
    for (const double value : {2147483648.0, 1e300, -2147483649.0, -1e300, kInfinity, -kInfinity,
                               std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(truncatedToInt32(value), INT32_MIN);
    }
}

TEST(Round, DigitsOutsideZeroToFifteenAreRefused)
{
    constexpr const char* kText = "Rounding digits must be between 0 and 15, inclusive.";
    for (const int digits : {-1, 16, INT32_MIN, INT32_MAX}) {
        expectFailure<ArgumentOutOfRangeException>([&] { Round(1.0, digits); }, kText);
        expectFailure<ArgumentOutOfRangeException>([&] { Round(kNaN, digits); }, kText);
    }
    try {
        Round(1.0, 16);
        ADD_FAILURE() << "accepted";
    } catch (const ArgumentOutOfRangeException& e) {
        EXPECT_EQ(e.ParamName(), "digits");
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
