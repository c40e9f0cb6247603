// Triangles, diagonals and permutations out of packed factors, and the look at finiteness, for both cells.

#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/triangles.h>

#include <gmock/gmock.h>

#include <complex>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using Complex = std::complex<double>;
using ::testing::ElementsAre;

template <class T>
class Triangles : public ::testing::Test {
};
using Cells = ::testing::Types<double, Complex>;
TYPED_TEST_SUITE(Triangles, Cells);

// k, or k + ki
template <class T>
T cell(int k)
{
    if constexpr (std::is_same_v<T, double>) return k;
    if constexpr (!std::is_same_v<T, double>) return T(k, k);
}

template <class T>
std::vector<T> cells(std::initializer_list<int> numbers)
{
    std::vector<T> values;
    for (const int k : numbers) values.push_back(cell<T>(k));
    return values;
}

//          | 1 4 |
// packed = | 2 5 |, column after column
//          | 3 6 |
TYPED_TEST(Triangles, OfATallBlock)
{
    const std::vector<TypeParam> packed = cells<TypeParam>({1, 2, 3, 4, 5, 6});
    std::vector<TypeParam> lower(6), unit(6), upper(4);
    detail::copyLower(packed.data(), 3, 2, lower.data());
    detail::copyUnitLower(packed.data(), 3, 2, unit.data());
    detail::copyUpper(packed.data(), 3, 2, 2, upper.data());
    EXPECT_EQ(lower, cells<TypeParam>({1, 2, 3, 0, 5, 6}));
    const TypeParam one(1), zero(0); // without an imaginary part
    EXPECT_THAT(unit,
                ElementsAre(one, cell<TypeParam>(2), cell<TypeParam>(3), zero, one, cell<TypeParam>(6)));
    EXPECT_EQ(upper, cells<TypeParam>({1, 0, 4, 5}));
}

// packed = | 1 3 5 |
//          | 2 4 6 |
TYPED_TEST(Triangles, OfAWideBlock)
{
    const std::vector<TypeParam> packed = cells<TypeParam>({1, 2, 3, 4, 5, 6});
    std::vector<TypeParam> lower(4), upper(6);
    detail::copyLower(packed.data(), 2, 2, lower.data());
    detail::copyUpper(packed.data(), 2, 2, 3, upper.data());
    EXPECT_EQ(lower, cells<TypeParam>({1, 2, 0, 4}));
    EXPECT_EQ(upper, cells<TypeParam>({1, 0, 3, 4, 5, 6}));
}

TYPED_TEST(Triangles, OfOneRowOrColumn)
{
    const std::vector<TypeParam> packed = cells<TypeParam>({1, 2, 3});
    std::vector<TypeParam> column(3), row(3), corner(1);
    detail::copyLower(packed.data(), 3, 1, column.data());
    detail::copyUpper(packed.data(), 1, 1, 3, row.data());
    detail::copyUpper(packed.data(), 3, 1, 1, corner.data());
    EXPECT_EQ(column, packed);
    EXPECT_EQ(row, packed);
    EXPECT_EQ(corner, cells<TypeParam>({1}));
}

TYPED_TEST(Triangles, LowerOneIsMirroredToTheUpper)
{
    std::vector<TypeParam> square = cells<TypeParam>({1, 2, 3, -1, 5, 6, -1, -1, 9});
    detail::mirrorLower(square.data(), 3);
    EXPECT_EQ(square, cells<TypeParam>({1, 2, 3, 2, 5, 6, 3, 6, 9}));
}

TYPED_TEST(Triangles, DiagonalOfAWideMatrixComesFromRealValues)
{
    const std::vector<double> values{7, 8};
    std::vector<TypeParam> diagonal(6);
    detail::setDiagonal(values.data(), 2, diagonal.data(), 2);
    EXPECT_THAT(diagonal, ElementsAre(TypeParam(7), TypeParam(0), TypeParam(0), TypeParam(8), TypeParam(0),
                                      TypeParam(0)));
}

// Rows 1 and 3 exchanged, then 2 and 3: the order 2, 0, 1.
TEST(Permutations, InterchangesAreOneBasedAndTakenInOrder)
{
    const std::vector<std::int32_t> interchanges{3, 3};
    EXPECT_THAT(detail::afterInterchanges(interchanges.data(), 2, 3), ElementsAre(2, 0, 1));
    EXPECT_THAT(detail::afterInterchanges(interchanges.data(), 1, 4), ElementsAre(2, 1, 0, 3));
    EXPECT_THAT(detail::afterInterchanges(nullptr, 0, 2), ElementsAre(0, 1));
    EXPECT_THAT(detail::afterInterchanges(nullptr, 0, 0), ElementsAre());
    const std::vector<std::int32_t> numbers{3, 1, 2};
    EXPECT_THAT(detail::zeroBased(numbers.data(), 3), ElementsAre(2, 0, 1));
}

TYPED_TEST(Triangles, PermutationHasItsOnesInTheNamedRows)
{
    std::vector<TypeParam> square(9);
    detail::setPermutation({2, 0, 1}, square.data());
    const TypeParam one(1), zero(0);
    EXPECT_THAT(square, ElementsAre(zero, zero, one, one, zero, zero, zero, one, zero));
}

// ---- finiteness

template <class T>
std::vector<T> notFinite()
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    if constexpr (std::is_same_v<T, double>) return {nan, infinity, -infinity};
    if constexpr (!std::is_same_v<T, double>) return {{nan, 0}, {0, nan}, {-infinity, 1}, {1, infinity}};
}

TYPED_TEST(Triangles, OneCellIsEnoughNotToBeFinite)
{
    const std::vector<TypeParam> finite = cells<TypeParam>({1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_TRUE(detail::allFinite(finite.data(), 9));
    EXPECT_TRUE(detail::allFinite(finite.data(), 0));
    EXPECT_TRUE(detail::lowerFinite(finite.data(), 3));
    for (const TypeParam& bad : notFinite<TypeParam>()) {
        for (std::size_t k = 0; k < 9; ++k) {
            std::vector<TypeParam> spoiled = finite;
            spoiled[k] = bad;
            EXPECT_FALSE(detail::allFinite(spoiled.data(), 9)) << k;
            const bool above = k % 3 < k / 3; // column-major, 3 x 3
            EXPECT_EQ(detail::lowerFinite(spoiled.data(), 3), above) << k;
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
