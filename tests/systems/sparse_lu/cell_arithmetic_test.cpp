// Division by numbers of all sizes.

#include <lintrix/systems/sparse_lu/cell_arithmetic.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::sparse_lu;
using Complex = std::complex<double>;

TEST(Divisor, DividesByNumbersOfAllSizes)
{
    for (int exponent = -1000; exponent <= 1000; exponent += 25) {
        const double size = std::ldexp(1.0, exponent);
        EXPECT_EQ(Divisor<double>(3.0 * size).of(6.0 * size), 2.0);
        const Complex quotient = Divisor<Complex>({3.0 * size, -4.0 * size}).of({5.0 * size, 10.0 * size});
        EXPECT_LT(std::abs(quotient - Complex(-1.0, 2.0)), 1e-15) << exponent;
    }
}

TEST(Product, IsThatOfComplexNumbers)
{
    EXPECT_EQ(product(Complex(1.0, 2.0), Complex(3.0, -5.0)), Complex(13.0, 1.0));
    EXPECT_EQ(sizeOf(Complex(-1.0, 2.0)), 3.0);
    EXPECT_EQ(sizeOf(-2.0), 2.0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
