#include "tests/systems/least_squares/rectangles.h"

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

using detail::TallMatrix;

template <class Cell>
class TallMatrixOf : public ::testing::Test {
};
using Cells = ::testing::Types<Real, Complex16>;
TYPED_TEST_SUITE(TallMatrixOf, Cells);

template <class Cell>
double distance(const std::vector<Cell>& x, const std::vector<Cell>& y)
{
    std::vector<Cell> difference(x);
    for (std::size_t i = 0; i < x.size(); ++i) difference[i] -= y[i];
    return static_cast<double>(lengthOf(difference));
}

TYPED_TEST(TallMatrixOf, ATallMatrixIsItselfAndAWideOneItsAdjoint)
{
    const auto A = regular<TypeParam>(20, 7, 3, 1), H = A.adjoint();
    auto tall = A, wide = H;
    const TallMatrix<TypeParam> M(tall.view()), N(wide.view());
    EXPECT_FALSE(M.isAdjoint());
    EXPECT_TRUE(N.isAdjoint());
    Draw<TypeParam> draw(2);
    const auto x = draw.cells(7), u = draw.cells(20);
    std::vector<TypeParam> y(20), z(7);
    for (const auto* matrix : {&M, &N}) {
        EXPECT_EQ(matrix->rows().rows, 20);
        EXPECT_EQ(matrix->rows().cols, 7);
        matrix->times(x.data(), y.data());
        matrix->adjointTimes(u.data(), z.data());
        EXPECT_LE(distance(y, product(A, x)), 1e-13);
        EXPECT_LE(distance(z, product(H, u)), 1e-13);
        EXPECT_NEAR(matrix->norm(), static_cast<double>(normOf(A)), 1e-12);
    }
    const auto asGiven = N.asGiven();
    EXPECT_EQ(asGiven.rows, 7);
    EXPECT_EQ(asGiven.cols, 20);
    asGiven.times(1, u.data(), z.data());
    EXPECT_LE(distance(z, product(H, u)), 1e-13);
}

TYPED_TEST(TallMatrixOf, SeveralColumnsAreMultipliedAsEachAlone)
{
    auto A = regular<TypeParam>(20, 7, 3, 1);
    const auto H = A.adjoint();
    const TallMatrix<TypeParam> M(A.view());
    const auto map = M.asGiven();
    for (const std::int32_t columns : {1, 2, 3, 8, 11}) {
        Draw<TypeParam> draw(4);
        std::vector<TypeParam> X, U, products, adjoints;
        for (std::int32_t c = 0; c < columns; ++c) {
            const auto x = draw.cells(7), u = draw.cells(20), y = product(A, x), z = product(H, u);
            X.insert(X.end(), x.begin(), x.end());
            U.insert(U.end(), u.begin(), u.end());
            products.insert(products.end(), y.begin(), y.end());
            adjoints.insert(adjoints.end(), z.begin(), z.end());
        }
        std::vector<TypeParam> Y(products.size()), Z(adjoints.size());
        map.times(columns, X.data(), Y.data());
        map.adjointTimes(columns, U.data(), Z.data());
        EXPECT_LE(distance(Y, products), 1e-13) << columns;
        EXPECT_LE(distance(Z, adjoints), 1e-13) << columns;
    }
}

TYPED_TEST(TallMatrixOf, ScalesArePowersOfTwoAndDifferOnlyWhereColumnsDo)
{
    std::vector<double> sizes(7, 1.0);
    sizes[2] = 1e-9;
    sizes[5] = 3e7;
    auto A = regular<TypeParam>(20, 7, 3, 3), graded = scaledColumns(A, sizes);
    const TallMatrix<TypeParam> even(A.view());
    EXPECT_FALSE(even.isEvened());
    for (const double scale : even.scale()) EXPECT_EQ(scale, even.scale().front());
    TallMatrix<TypeParam> M(graded.view());
    EXPECT_TRUE(M.isEvened());
    const auto H = graded.adjoint();
    for (int j = 0; j < 7; ++j) {
        long double squares = 0.0L;
        for (const auto& [row, value] : H.row(j)) squares += std::norm(Extended<TypeParam>(value));
        const double scale = M.scale()[static_cast<std::size_t>(j)];
        const double length = static_cast<double>(std::sqrt(squares)) * scale;
        EXPECT_GT(length, 0.499);
        EXPECT_LE(length, 1.001);
        int exponent = 0;
        EXPECT_EQ(std::frexp(scale, &exponent), 0.5);
    }
    M.scaleAlike();
    EXPECT_FALSE(M.isEvened());
    for (const double scale : M.scale()) EXPECT_EQ(scale, M.scale().front());
}

} // namespace
} // namespace Velmar::Lintrix::testing
