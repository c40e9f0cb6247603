#include <lintrix/systems/structure/proportionality.h>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;
using C = std::complex<double>;

std::vector<std::int32_t> firstIndices(std::size_t count)
{
    std::vector<std::int32_t> indices(count);
    std::iota(indices.begin(), indices.end(), 0);
    return indices;
}

template <class Cell>
std::uint64_t keyOf(const std::vector<Cell>& x)
{
    return proportionKey<Cell>(firstIndices(x.size()), x);
}

template <class Cell>
void expectProportional(const std::vector<Cell>& x, const std::vector<Cell>& y)
{
    EXPECT_TRUE(areProportional<Cell>(x, y));
    EXPECT_TRUE(areProportional<Cell>(y, x));
    EXPECT_EQ(keyOf(x), keyOf(y));
}

template <class Cell>
void expectDifferent(const std::vector<Cell>& x, const std::vector<Cell>& y)
{
    EXPECT_FALSE(areProportional<Cell>(x, y));
    EXPECT_FALSE(areProportional<Cell>(y, x));
    EXPECT_NE(keyOf(x), keyOf(y));
}

constexpr double kTiny = std::numeric_limits<double>::denorm_min(),
                 kHuge = std::numeric_limits<double>::max();

TEST(Proportionality, HoldsForFactorsThatNoDoubleIs)
{
    expectProportional<double>({3, 6, -9}, {7, 14, -21});
    expectProportional<double>({1, 2}, {-1, -2});
    expectProportional<double>({5}, {0.1});
    expectProportional<double>({49, 49 * 3.0}, {1, 3});
}

// Rounded, 3*0.1 is above three times the double 0.1.
TEST(Proportionality, IsNotFooledByRounding)
{
    expectDifferent<double>({1, 0.1}, {3, 3 * 0.1});
    expectDifferent<double>({1, 1}, {1, std::nextafter(1.0, 2.0)});
    expectDifferent<double>({1e300, 1}, {1e300, std::nextafter(1.0, 0.0)});
    expectDifferent<double>({1, 2, 3}, {1, 2, -3});
}

TEST(Proportionality, KnowsNeitherOverflowNorUnderflow)
{
    expectProportional<double>({kTiny, 3 * kTiny}, {0x1p1000, 3 * 0x1p1000});
    expectProportional<double>({kTiny, 1, 0x1p1023}, {-kTiny, -1, -0x1p1023});
    expectDifferent<double>({kTiny, kHuge}, {kTiny, std::nextafter(kHuge, 0.0)});
    expectDifferent<double>({kHuge, kTiny}, {kHuge, 2 * kTiny});
    expectDifferent<C>({{kHuge, kTiny}, 1.0}, {{kHuge, 2 * kTiny}, 1.0});
    expectProportional<C>({{kHuge, kTiny}, {kTiny, kHuge}}, {{-kTiny, kHuge}, {-kHuge, kTiny}});
}

TEST(Proportionality, HoldsForComplexFactors)
{
    expectProportional<C>({{1, 2}, {3, -1}}, {C(1, 2) * C(3, 5), C(3, -1) * C(3, 5)});
    expectProportional<C>({{1, 0}, {0, 1}}, {{0, 1}, {-1, 0}});
    expectDifferent<C>({{1, 2}, {3, -1}}, {{1, -2}, {3, 1}});
}

/// Integers of up to 20 bits: products with a factor of as many are exact, whatever their powers of two.
template <class Draw>
auto randomList(Draw draw, int length, std::mt19937_64& generator)
{
    std::uniform_int_distribution<int> exponent(-900, 900);
    std::vector<decltype(draw())> x;
    while (static_cast<int>(x.size()) < length) {
        const auto value = draw();
        if (value != 0.0) x.push_back(value * std::ldexp(1.0, exponent(generator)));
    }
    return x;
}

template <class Cell, class Draw>
void expectRandomMultiples(Draw draw, std::mt19937_64& generator)
{
    for (int run = 0; run < 3000; ++run) {
        const std::vector<Cell> x = randomList(draw, 1 + run % 7, generator);
        const std::vector<Cell> factors = randomList(draw, 1, generator);
        const Cell factor = factors[0] / std::ldexp(1.0, std::ilogb(std::abs(factors[0])));
        std::vector<Cell> y = x;
        for (Cell& value : y) value *= factor;
        expectProportional(x, y);
        if (y.size() == 1) continue;
        y.back() += y.back() * 0x1p-40;
        expectDifferent(x, y);
    }
}

TEST(Proportionality, HoldsForRandomMultiplesOfAnyScale)
{
    std::mt19937_64 generator(1);
    std::uniform_int_distribution<int> integer(-(1 << 20), 1 << 20);
    expectRandomMultiples<double>([&] { return double(integer(generator)); }, generator);
    expectRandomMultiples<C>([&] { return C(integer(generator), integer(generator)); }, generator);
}

TEST(Proportionality, HasKeysThatTellPlacesApart)
{
    const std::vector<double> x{1, 2};
    const std::vector<std::int32_t> here{0, 1}, there{0, 2};
    EXPECT_NE(proportionKey<double>(here, x), proportionKey<double>(there, x));
}

} // namespace
} // namespace Velmar::Lintrix::testing
