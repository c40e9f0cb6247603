// Modulus and inverse of complex numbers of every size.

#include <lintrix/engine/call/scalar.h>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;
using Complex = std::complex<double>;
using Limits = std::numeric_limits<double>;

/// Parts of 300 powers of ten and more, equal in size and not.
template <class Check>
void forNumbersOfEverySize(Check check)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> part(-1, 1), exponent(-300, 300), near(-20, 20);
    for (int k = 0; k < 20000; ++k) {
        const double size = exponent(random);
        check(Complex(part(random) * std::pow(10, size),
                      part(random) * std::pow(10, size + near(random) / 10)));
    }
}

TEST(Scalar, ModulusIsRightToRoundingAtEverySize)
{
    forNumbersOfEverySize([](Complex z) {
        const long double re = z.real(), im = z.imag(), exact = std::sqrt(re * re + im * im);
        ASSERT_LE(std::abs(modulus(z) - exact), 1.5 * Limits::epsilon() * exact) << z;
    });
    EXPECT_EQ(modulus(Complex(3, -4)), 5);
    EXPECT_EQ(modulus(Complex()), 0);
    EXPECT_EQ(modulus(Complex(Limits::denorm_min(), 0)), Limits::denorm_min());
    EXPECT_EQ(modulus(Complex(0, -Limits::max())), Limits::max());
    EXPECT_EQ(modulus(Complex(Limits::quiet_NaN(), Limits::infinity())), Limits::infinity());
    EXPECT_TRUE(std::isnan(modulus(Complex(Limits::quiet_NaN(), 1))));
}

TEST(Scalar, ModulusOfSinglePrecisionDoesNotOverflow)
{
    constexpr float most = std::numeric_limits<float>::max(),
                    least = std::numeric_limits<float>::denorm_min();
    EXPECT_NEAR(modulus(std::complex<float>(most, most)) / most, std::sqrt(2.0), 1e-15);
    EXPECT_NEAR(modulus(std::complex<float>(least, least)) / least, std::sqrt(2.0), 1e-15);
}

TEST(Scalar, InverseIsRightToRoundingAtEverySize)
{
    forNumbersOfEverySize([](Complex z) {
        const std::complex<long double> exact = 1.0L / std::complex<long double>(z);
        ASSERT_LE(std::abs(std::complex<long double>(inverseOf(z)) - exact),
                  4 * Limits::epsilon() * std::abs(exact))
            << z;
    });
    const Complex plain = inverseOf(Complex(0.7, -1.3));
    for (const int exponent : {-1000, -600, -3, 40, 600, 1000}) {
        const auto scaled = [&](double part) { return std::ldexp(part, exponent); };
        const Complex found = inverseOf(Complex(scaled(0.7), scaled(-1.3)));
        EXPECT_EQ(Complex(scaled(found.real()), scaled(found.imag())), plain) << exponent;
    }
    EXPECT_EQ(inverseOf(4.0), 0.25);
    EXPECT_EQ(inverseOf(Complex(0, 2)), Complex(0, -0.5));
}

} // namespace
} // namespace Velmar::Lintrix::testing
