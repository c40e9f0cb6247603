// Powers of two beside those of the standard library, over the whole range of a double.

#include <lintrix/systems/powers_of_two.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using detail::exponentOf;
using detail::powerOfTwo;

TEST(PowersOfTwo, AreThoseOfLdexp)
{
    for (int exponent = -1100; exponent <= 1100; ++exponent)
        EXPECT_EQ(powerOfTwo(exponent), std::ldexp(1.0, exponent)) << exponent;
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
