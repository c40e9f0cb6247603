// Right-hand sides in units of their own, and back.

#include <lintrix/systems/roads/column_units.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using detail::roads::ColumnUnits;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(ColumnUnits, BringTheLargestElementNearOneAndBackToTheBit)
{
    const Matrix B{{3e300, 0.0, -1e-300}, {-1e299, 0.0, 2e-308}};
    const ColumnUnits<double> units(B);
    Matrix own(B);
    units.divide(own);
    for (const std::int32_t j : {0, 2}) {
        EXPECT_GE(std::abs(own(0, j)), 0.5);
        EXPECT_LT(std::abs(own(0, j)), 1.0);
    }
    EXPECT_EQ(own(0, 1), 0.0);
    units.multiply(own);
    for (std::int32_t j = 0; j < 3; ++j)
        for (std::int32_t i = 0; i < 2; ++i) EXPECT_EQ(own(i, j), B(i, j));
}

TEST(ColumnUnits, ComplexNumbersGoByTheLargerPart)
{
    CMatrix B(1, 1);
    B(0, 0) = {1e-200, -6.0};
    const ColumnUnits<Complex> units(B);
    units.divide(B);
    EXPECT_EQ(B(0, 0).imag(), -0.75);
}

TEST(ColumnUnits, AColumnThatIsNoNumberIsSetAside)
{
    Matrix B{{1.0, 5.0}, {kInfinity, 6.0}};
    const ColumnUnits<double> units(B);
    EXPECT_FALSE(units.allFinite());
    units.divide(B);
    EXPECT_EQ(B(0, 0), 0.0);
    EXPECT_EQ(B(1, 0), 0.0);
    units.multiply(B);
    EXPECT_TRUE(std::isnan(B(0, 0)));
    EXPECT_EQ(B(1, 1), 6.0);
}

TEST(ColumnUnits, WhatDoesNotFitTheCallersUnitsIsLost)
{
    const Matrix B{{1e300, 1e-300, 1e-300, 1e-300}};
    const ColumnUnits<double> units(B);
    const Matrix X{{1e10, 1.0, 0x1.23456789p-60, 1e-30}};
    const Matrix left = units.thereAndBack(X);
    EXPECT_EQ(left(0, 0), kInfinity);
    EXPECT_EQ(left(0, 1), 1.0);
    EXPECT_NE(left(0, 2), X(0, 2));
    EXPECT_NEAR(left(0, 2), X(0, 2), 1e-3 * X(0, 2)) << "a few digits of a subnormal number";
    EXPECT_EQ(left(0, 3), 0.0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
