// The modulus of numbers of all sizes.

#include <lintrix/systems/quality/vector_norms.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;
using Complex = std::complex<double>;

TEST(Modulus, IsThatOfHypotWhateverTheExponents)
{
    std::mt19937_64 generator(1);
    std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
    for (int exponent = -1070; exponent <= 1020; exponent += 5) {
        for (const int apart : {0, 1, 26, 53, 400}) {
            const double x = std::ldexp(mantissa(generator), exponent),
                         y = std::ldexp(mantissa(generator), exponent - apart);
            const double expected = std::hypot(x, y);
            const double bound = 4.0 * 0x1p-53 * expected + 4.0 * std::numeric_limits<double>::denorm_min();
            EXPECT_LE(std::abs(modulus(Complex(x, y)) - expected), bound) << x << ", " << y;
            EXPECT_LE(std::abs(modulus(Complex(y, x)) - expected), bound) << y << ", " << x;
        }
    }
}

TEST(Modulus, TellsWhatIsNoNumber)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(modulus(Complex(HUGE_VAL, nan)), HUGE_VAL);
    EXPECT_EQ(modulus(Complex(nan, -HUGE_VAL)), HUGE_VAL);
    EXPECT_TRUE(std::isnan(modulus(Complex(nan, 1.0))));
    EXPECT_EQ(modulus(Complex(0.0, -0.0)), 0.0);
    EXPECT_EQ(modulus(Complex(3.0, -4.0)), 5.0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
