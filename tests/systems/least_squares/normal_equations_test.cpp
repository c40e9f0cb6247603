#include "tests/systems/least_squares/rectangles.h"

#include <lintrix/systems/least_squares/normal_equations.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

using detail::NormalEquations;
using detail::TallMatrix;

template <class Cell>
class NormalEquationsOf : public ::testing::Test {
};
using Cells = ::testing::Types<Real, Complex16>;
TYPED_TEST_SUITE(NormalEquationsOf, Cells);

/// ||W*A^H*A*x - x|| / ||x||
template <class Cell>
double inverseError(NormalEquations<Cell>& equations, const Rectangle<Cell>& A, const std::vector<Cell>& x)
{
    const auto g = product(A.adjoint(), product(A, x));
    std::vector<Cell> y(x.size());
    EXPECT_TRUE(equations.apply(g.data(), y.data()));
    for (std::size_t j = 0; j < y.size(); ++j) y[j] -= x[j];
    return static_cast<double>(lengthOf(y) / lengthOf(x));
}

TYPED_TEST(NormalEquationsOf, WInvertsTheProduct)
{
    auto A = regular<TypeParam>(150, 40, 3, 1);
    const TallMatrix<TypeParam> M(A.view());
    NormalEquations<TypeParam> equations(M);
    ASSERT_TRUE(equations.analysed());
    EXPECT_EQ(equations.denseRows(), 0);
    EXPECT_GE(equations.forecast().entries, 40);
    ASSERT_TRUE(equations.factorize(0x1p-48));
    EXPECT_LE(inverseError(equations, A, Draw<TypeParam>(2).cells(40)), 1e-12);
    EXPECT_EQ(equations.factorizeAndCount(-0x1p-44), 0);
    EXPECT_LE(inverseError(equations, A, Draw<TypeParam>(3).cells(40)), 1e-11);
    EXPECT_GE(equations.factorizeAndCount(-1.0), 40); // the bound is one
}

TYPED_TEST(NormalEquationsOf, DenseRowsBecomeABorder)
{
    auto A = regular<TypeParam>(600, 250, 2, 4);
    Draw<TypeParam> draw(5);
    for (const int row : {0, 300}) {
        for (int j = 0; j < 200; ++j) A.at(row, j) = draw.cell();
    }
    const TallMatrix<TypeParam> M(A.view());
    NormalEquations<TypeParam> equations(M);
    ASSERT_TRUE(equations.analysed());
    EXPECT_EQ(equations.denseRows(), 2);
    EXPECT_LT(equations.forecast().entries, 250 * 251 / 2 / 2);
    ASSERT_TRUE(equations.factorize(0x1p-48));
    EXPECT_LE(inverseError(equations, A, draw.cells(250)), 1e-10);
    EXPECT_EQ(equations.factorizeAndCount(-0x1p-44), 0);
}

TYPED_TEST(NormalEquationsOf, EigenvaluesNearZeroAreCounted)
{
    auto [A, C] = deficient<TypeParam>(150, 40, 9, 6);
    const TallMatrix<TypeParam> M(A.view());
    NormalEquations<TypeParam> equations(M);
    EXPECT_EQ(equations.factorizeAndCount(-0x1p-44), 9);
    EXPECT_TRUE(equations.factorize(0x1p-48)); // which exists all the same
}

TYPED_TEST(NormalEquationsOf, TheScalesAreThoseOfTheMatrix)
{
    std::vector<double> sizes(40, 1.0);
    for (std::size_t j = 0; j < 40; ++j) sizes[j] = std::pow(10.0, 0.4 * static_cast<double>(j) - 8.0);
    auto A = scaledColumns(regular<TypeParam>(150, 40, 3, 7), sizes);
    TallMatrix<TypeParam> M(A.view());
    NormalEquations<TypeParam> equations(M);
    EXPECT_EQ(equations.factorizeAndCount(-0x1p-44), 0);
    M.scaleAlike();
    equations.rescaled();
    EXPECT_GT(equations.factorizeAndCount(-0x1p-44), 0); // small columns pass for none
}

} // namespace
} // namespace Velmar::Lintrix::testing
