// Powers of two beside those of the standard library, over the whole range of a double.

#include <lintrix/systems/powers_of_two.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <span>

namespace Velmar::Lintrix::testing {
namespace {

using detail::exponentOf;
using detail::multiplyByPowerOfTwo;
using detail::powerOfTwo;
using detail::timesPowerOfTwo;

TEST(PowersOfTwo, AreThoseOfLdexp)
{
    for (int exponent = -1100; exponent <= 1100; ++exponent)
        EXPECT_EQ(powerOfTwo(exponent), std::ldexp(1.0, exponent)) << exponent;
}

TEST(PowersOfTwo, ProductsAreThoseOfLdexp)
{
    for (const double x : {1.0, -1.7, 0x1.fffffffffffffp1023, 0x1.8p-1060, 0x1.0000000000001p-1022})
        for (int exponent = -2200; exponent <= 2200; ++exponent)
            EXPECT_EQ(timesPowerOfTwo(x, exponent), std::ldexp(x, exponent)) << x << ' ' << exponent;
    std::array<std::complex<double>, 2> cells{{{1.0, -3.0}, {0.5, 0x1p-1074}}};
    multiplyByPowerOfTwo(std::span(cells), 1030);
    EXPECT_EQ(cells[0], std::complex<double>(INFINITY, -INFINITY));
    EXPECT_EQ(cells[1], std::complex<double>(INFINITY, 0x1p-44));
}

TEST(PowersOfTwo, ExponentsAreThoseOfFrexp)
{
    for (int power = -1074; power <= 1023; ++power) {
        for (const double mantissa : {1.0, 1.0 + 0x1p-52, 1.5, 2.0 - 0x1p-52}) {
            const double size = std::ldexp(mantissa, power);

            int expected = 0;
            std::frexp(size, &expected);
            EXPECT_EQ(exponentOf(size), expected) << size;
        }
    }
    EXPECT_EQ(exponentOf(0.0), 0);
    EXPECT_EQ(exponentOf(std::numeric_limits<double>::denorm_min()), -1073);
    EXPECT_EQ(exponentOf(std::numeric_limits<double>::max()), 1024);
}

} // namespace
} // namespace Velmar::Lintrix::testing
