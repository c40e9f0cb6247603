// Compiled with contraction of a*b + c to one rounding: the transformations must stand it.

#include <lintrix/systems/quality/error_free.h>

#include "tests/systems/quality/reference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The error of products that cancel but for their last bits, with whatever the compiler makes of it here.
[[gnu::always_inline]] inline int lostSums()
{
    Cells random(1);
    int lost = 0;
    for (int trial = 0; trial < 1000; ++trial) {
        const double a = random.real(), b = random.real(), c = random.real(), d = random.real();
        TwofoldSum<double> sum(a);
        sum.addProduct(b, c);
        sum.addProduct(-b, c * (1.0 + 0x1p-40));
        sum.addProduct(1e-9, d);
        sum.addProduct(-1.0, a);
        const Quad exact = Quad(b) * c - Quad(b) * (c * (1.0 + 0x1p-40)) + Quad(1e-9) * d;
        lost += !(std::abs(static_cast<double>(sum.value() - exact)) <=
                  0x1p-53 * std::abs(static_cast<double>(exact)) + 0x1p-100);
    }
    return lost;
}

TEST(ErrorFree, ASumKeepsWhatItsTermsLose)
{
    EXPECT_EQ(lostSums(), 0);
}

// Other processors have one form of the library's kernels, compiled as this test is.
#if defined(__x86_64__)
[[gnu::target("fma")]] int lostSumsWithFma()
{
    return lostSums();
}

TEST(ErrorFree, ASumKeepsWhatItsTermsLoseWithFma)
{
    if (__builtin_cpu_supports("fma")) {
        EXPECT_EQ(lostSumsWithFma(), 0);
    }
}
#endif

TEST(ErrorFree, SumAndProductComeWithTheirErrors)
{
    Cells random(2);
    for (int trial = 0; trial < 1000; ++trial) {
        const double a = std::ldexp(random.real(), random.whole(-50, 50));
        const double b = std::ldexp(random.real(), random.whole(-50, 50));
        const WithError sum = twoSum(a, b), product = twoProduct(a, b);
        EXPECT_TRUE(Quad(sum.value) + sum.error == Quad(a) + b) << a << " + " << b;
        EXPECT_TRUE(Quad(product.value) + product.error == Quad(a) * b) << a << " * " << b;
    }
}

TEST(ErrorFree, WhatOverflowsIsWhatThePlainSumIs)
{
    TwofoldSum<double> sum(1.0);
    sum.addProduct(1e200, 1e200);
    EXPECT_EQ(sum.value(), kInfinity);
    sum.addProduct(-1e200, 1e200);
    EXPECT_TRUE(std::isnan(sum.value()));

    TwofoldSum<double> large(1.7e308);
    large.addProduct(-1.7e308, 1.0);
    EXPECT_EQ(large.value(), 0.0) << "nothing has overflown";
}

TEST(ErrorFree, ComplexProductsKeepBothParts)
{
    const ComplexCell a(1.0 + 0x1p-30, 1.0), b(1.0 - 0x1p-30, 1.0);
    TwofoldSum<ComplexCell> sum;
    sum.addProduct(a, b); // (1 - 2^-60 - 1) + 2i
    EXPECT_EQ(sum.value(), ComplexCell(-0x1p-60, 2.0));
}

} // namespace
} // namespace Velmar::Lintrix::testing
