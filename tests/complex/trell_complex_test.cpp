// The arithmetic of the complex cell.

#include "tests/complex/complex_support.h"

#include <lintrix/complex/detail/trell_complex.h>

#include <cmath>
#include <type_traits>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;

std::vector<std::uint64_t> bits(Complex z)
{
    return bitsOfCells({z});
}

TEST(TrellComplex, IsAPairOfDoublesRealPartFirst)
{
    static_assert(sizeof(_TRELL_Complex) == 16 && alignof(_TRELL_Complex) == alignof(double));
    static_assert(std::is_standard_layout_v<_TRELL_Complex>);
    const _TRELL_Complex z(3.0, 4.0);
    double parts[2];
    std::memcpy(parts, &z, sizeof(z));
    EXPECT_EQ(parts[0], 3.0);
    EXPECT_EQ(parts[1], 4.0);
}

TEST(TrellComplex, OneAndZeroAreWhatTheirNamesSay)
{
    EXPECT_EQ(bits(_TRELL_Complex::One), bits({1.0, 0.0}));
    EXPECT_EQ(bits(_TRELL_Complex::Zero), bits({0.0, 0.0}));
}

TEST(TrellComplex, ConstructorsAssignmentAndConversions)
{
    EXPECT_EQ(bits(_TRELL_Complex()), bits({0.0, 0.0}));
    EXPECT_EQ(bits(_TRELL_Complex(-2.5)), bits({-2.5, 0.0}));
    const Complex odd(-0.0, kInf);
    EXPECT_EQ(bits(_TRELL_Complex(odd)), bits(odd));
    EXPECT_EQ(bits(_TRELL_Complex(odd).ToComplex()), bits(odd));
    _TRELL_Complex z;
    z = odd;
    const Complex back = z;
    EXPECT_EQ(bits(back), bits(odd));
}

TEST(TrellComplex, SumsGoPartByPartInPlace)
{
    _TRELL_Complex z(1.0, 2.0);
    EXPECT_EQ(bits(z += _TRELL_Complex(10.0, -5.0)), bits({11.0, -3.0}));
    EXPECT_EQ(bits(z -= _TRELL_Complex(1.0, 1.0)), bits({10.0, -4.0}));
    EXPECT_EQ(bits(z), bits({10.0, -4.0}));
    EXPECT_EQ(bits(-_TRELL_Complex(0.0, -3.0)), bits({-0.0, 3.0}));
}

template <class T>
concept HasBinarySum = requires(const T& x, const T& y)
{
    x.operator+(y);
};
template <class T>
concept HasEquality = requires(const T& x, const T& y)
{
    x.operator==(y);
};

TEST(TrellComplex, HasNoBinarySumAndNoEquality)
{
    static_assert(!HasBinarySum<_TRELL_Complex> && !HasEquality<_TRELL_Complex>);
}

TEST(TrellComplex, ProductIsThePlainFormulaInBothForms)
{
    for (const Complex& x : kOddCells) {
        for (const Complex& y : kOddCells) {
            const Complex product = _TRELL_Complex(x) * _TRELL_Complex(y);
            EXPECT_TRUE(sameUpToNaN(product, plainProduct(x, y))) << x << " * " << y;
            _TRELL_Complex z(x);
            const Complex returned = z *= _TRELL_Complex(y);
            EXPECT_TRUE(sameUpToNaN(z, product) && sameUpToNaN(returned, product)) << x << " *= " << y;
        }
    }
    // The platform's own product finds the infinity again.
    const Complex lost = _TRELL_Complex(kInf, kInf) * _TRELL_Complex(1.0, 1.0);
    EXPECT_TRUE(std::isnan(lost.real()));
}

TEST(TrellComplex, QuotientIsThatOfTheRoutineInBothForms)
{
    for (const Complex& x : kOddCells) {
        for (const Complex& y : kOddCells) {
            const Complex quotient = _TRELL_Complex(x) / _TRELL_Complex(y);
            EXPECT_TRUE(sameUpToNaN(quotient, quotientOfRoutine(x, y))) << x << " / " << y;
            _TRELL_Complex z(x);
            const Complex returned = z /= _TRELL_Complex(y);
            EXPECT_TRUE(sameUpToNaN(z, quotient) && sameUpToNaN(returned, quotient)) << x << " /= " << y;
            EXPECT_TRUE(sameUpToNaN(_TRELL_Complex::Reciprocal(x), quotientOfRoutine(1.0, x))) << x;
        }
    }
}

TEST(TrellComplex, QuotientNeitherOverflowsNorVanishesOnTheWay)
{
    EXPECT_EQ(bits(_TRELL_Complex(0x1p1000, 0x1p1000) / _TRELL_Complex(0x1p1000, 0x1p1000)),
              bits({1.0, 0.0}));
    EXPECT_EQ(bits(_TRELL_Complex(0x1p-1000, 0x1p-1000) / _TRELL_Complex(0x1p-1000, 0x1p-1000)),
              bits({1.0, 0.0}));
    std::mt19937_64 generator(1);
    const auto cells = randomCells(2000, generator);
    for (std::size_t k = 0; k + 1 < cells.size(); k += 2) {
        const Complex quotient = _TRELL_Complex(cells[k]) / _TRELL_Complex(cells[k + 1]);
        EXPECT_LT(ulps(quotient, Wide(cells[k]) / Wide(cells[k + 1])), 8.0);
    }
}

TEST(TrellComplex, ReciprocalOfZeroIsWhatTheRoutineYields)
{
    for (const Complex& zero : {Complex(0.0, 0.0), Complex(-0.0, 0.0), Complex(0.0, -0.0)}) {
        EXPECT_TRUE(sameUpToNaN(_TRELL_Complex::Reciprocal(zero), quotientOfRoutine(1.0, zero)));
    }
}

TEST(TrellComplex, InequalityLooksAtBothPartsAndNaNIsUnequalToItself)
{
    EXPECT_FALSE(_TRELL_Complex(1.0, 0.0) != _TRELL_Complex(1.0, 0.0));
    EXPECT_FALSE(_TRELL_Complex(0.0, -0.0) != _TRELL_Complex(-0.0, 0.0));
    EXPECT_TRUE(_TRELL_Complex(1.0, 0.0) != _TRELL_Complex(1.0, 1.0));
    EXPECT_TRUE(_TRELL_Complex(2.0, 1.0) != _TRELL_Complex(1.0, 1.0));
    for (const _TRELL_Complex& z : {_TRELL_Complex(kNaN, 0.0), _TRELL_Complex(0.0, kNaN)})
        EXPECT_TRUE(z != z);
}

TEST(TrellComplex, RootOfKnownNumbers)
{
    EXPECT_EQ(bits(_TRELL_Complex::Sqrt({3.0, 4.0})), bits({2.0, 1.0}));
    EXPECT_EQ(bits(_TRELL_Complex::Sqrt({-4.0, 0.0})), bits({0.0, 2.0}));
    EXPECT_EQ(bits(_TRELL_Complex::Sqrt({-4.0, -0.0})), bits({-0.0, 2.0})); // -0.0 is not below 0
    EXPECT_EQ(bits(_TRELL_Complex::Sqrt({3.0, -4.0})), bits({2.0, -1.0}));
    EXPECT_EQ(bits(_TRELL_Complex::Sqrt({-3.0, -4.0})), bits({1.0, -2.0}));
    EXPECT_EQ(bits(_TRELL_Complex::Sqrt({4.0, 0.0})), bits({2.0, 0.0}));
    for (const double re : {0.0, -0.0}) {
        for (const double im : {0.0, -0.0}) EXPECT_EQ(bits(_TRELL_Complex::Sqrt({re, im})), bits({0.0, 0.0}));
    }
}

TEST(TrellComplex, RootSquaredIsTheNumberOverTheWholeRange)
{
    std::mt19937_64 generator(2);
    for (const int exponent : {0, -500, 500, -1000, 1000}) {
        for (const Complex& cell : randomCells(500, generator)) {
            const Complex z(std::ldexp(cell.real(), exponent), std::ldexp(cell.imag(), -exponent / 3));
            const Complex root = _TRELL_Complex::Sqrt(z);
            EXPECT_GE(root.real(), 0.0) << z;
            EXPECT_LT(ulps(root, std::sqrt(Wide(z))), 8.0) << z;
        }
    }
}

TEST(TrellComplex, RootOfANaNIsNaN)
{
    for (const _TRELL_Complex& z : {_TRELL_Complex(kNaN, 1.0), _TRELL_Complex(1.0, kNaN)}) {
        const Complex root = _TRELL_Complex::Sqrt(z);
        EXPECT_TRUE(std::isnan(root.real()) && std::isnan(root.imag()));
    }
}

} // namespace
} // namespace Velmar::Lintrix
