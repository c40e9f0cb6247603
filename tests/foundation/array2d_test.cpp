// The rectangular array with lower bounds.

#include <lintrix/foundation/array2d.h>

#include "tests/support/expect_failure.h"

#include <gtest/gtest.h>

#include <complex>

namespace Velmar::Lintrix::testing {
namespace {

using Array = Array2D<double>;

constexpr const char* kOutOfRange = "Index was outside the bounds of the array.";

TEST(Array2D, SizedArrayIsZero)
{
    const Array array(2, 3);
    EXPECT_EQ(array.Rows(), 2);
    EXPECT_EQ(array.Cols(), 3);
    EXPECT_EQ(array.LowerBound(0), 0);
    EXPECT_EQ(array.LowerBound(1), 0);
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 3; ++j) EXPECT_EQ(array(i, j), 0.0);
    }
}

TEST(Array2D, NestedListsAreReadRowAfterRow)
{
    const Array literal{{1, 2, 3}, {4, 5, 6}};
    const Array nested(std::vector<std::vector<double>>{{1, 2, 3}, {4, 5, 6}});
    EXPECT_EQ(literal, nested);
    EXPECT_EQ(literal.Rows(), 2);
    EXPECT_EQ(literal.Cols(), 3);
    EXPECT_EQ(literal(1, 0), 4.0);
    for (int k = 0; k < 6; ++k) EXPECT_EQ(literal.Row(0)[k], k + 1.0);
    EXPECT_EQ(literal.Row(1), literal.Row(0) + 3);
}

TEST(Array2D, ElementsMayBeComplex)
{
    using Cell = std::complex<double>;
    const Array2D<Cell> literal{{1, {2, 3}}, {{0, -1}, 4}}, zeros(1, 2);
    EXPECT_EQ(literal(0, 1), Cell(2, 3));
    EXPECT_EQ(literal(1, 0), Cell(0, -1));
    EXPECT_EQ(zeros(0, 1), Cell());
    EXPECT_FALSE(literal == zeros);
}

TEST(Array2D, RaggedRowsAreRefused)
{
    constexpr const char* kRagged = "Rows of the array differ in length.";
    expectFailure<ArgumentException>([] { Array{{1, 2}, {3}}; }, kRagged);
    expectFailure<ArgumentException>([] { Array{{1}, {2, 3}}; }, kRagged);
    expectFailure<ArgumentException>([] { Array(std::vector<std::vector<double>>{{}, {1}}); }, kRagged);
}

TEST(Array2D, NegativeLengthIsRefused)
{
    for (const auto& [rows, cols] : {std::pair{-1, 2}, std::pair{2, -1}, std::pair{INT32_MIN, INT32_MIN}}) {
        expectFailure<ArgumentOutOfRangeException>([r = rows, c = cols] { Array(r, c); },
                                                   "Non-negative number required.");
    }
}

TEST(Array2D, EmptyArraysHaveNoElement)
{
    const Array none(0, 0), noColumns(3, 0), noRows(0, 3);
    const Array fromRows(std::vector<std::vector<double>>(4));
    EXPECT_EQ(fromRows.Rows(), 4);
    EXPECT_EQ(fromRows.Cols(), 0);
    for (const Array* array : {&none, &noColumns, &noRows, &fromRows}) {
        expectFailure<IndexOutOfRangeException>([&] { (*array)(0, 0); }, kOutOfRange);
    }
}

TEST(Array2D, IndicesCountFromTheLowerBounds)
{
    Array array(2, 3, 10, -1);
    EXPECT_EQ(array.LowerBound(0), 10);
    EXPECT_EQ(array.LowerBound(1), -1);
    array(10, -1) = 1.0;
    array(11, 1) = 6.0;
    EXPECT_EQ(array.Row(0)[0], 1.0); // whatever the bounds
    EXPECT_EQ(array.Row(1)[2], 6.0);
    for (const auto& [i, j] :
         {std::pair{9, 0}, std::pair{12, 0}, std::pair{10, -2}, std::pair{10, 2}, std::pair{0, 0}}) {
        expectFailure<IndexOutOfRangeException>([&array, r = i, c = j] { array(r, c); }, kOutOfRange);
    }
}

TEST(Array2D, ExtremeBoundsAndIndicesDoNotWrap)
{
    Array low(1, 1, INT32_MIN, INT32_MIN), high(1, 1, INT32_MAX, INT32_MAX);
    low(INT32_MIN, INT32_MIN) = 1.0;
    high(INT32_MAX, INT32_MAX) = 2.0;
    EXPECT_EQ(low.Row(0)[0], 1.0);
    EXPECT_EQ(high.Row(0)[0], 2.0);
    expectFailure<IndexOutOfRangeException>([&] { low(INT32_MAX, INT32_MIN); }, kOutOfRange);
    expectFailure<IndexOutOfRangeException>([&] { high(INT32_MIN, INT32_MAX); }, kOutOfRange);
}

TEST(Array2D, HasTwoDimensions)
{
    const Array array(1, 1);
    expectFailure<IndexOutOfRangeException>([&] { array.LowerBound(2); }, kOutOfRange);
    expectFailure<IndexOutOfRangeException>([&] { array.LowerBound(-1); }, kOutOfRange);
}

TEST(Array2D, EqualityLooksAtShapeBoundsAndValues)
{
    const Array array{{1, 2}};
    EXPECT_EQ(array, (Array{{1, 2}}));
    EXPECT_NE(array, (Array{{1, 3}}));
    EXPECT_NE(array, (Array{{1}, {2}}));
    EXPECT_NE(Array(1, 1), Array(1, 1, 1, 0));
}

TEST(Array2D, CopyIsIndependentAndMoveLeavesAnEmptyArray)
{
    Array source{{1, 2}, {3, 4}};
    Array copy(source);
    copy(0, 0) = 9.0;
    EXPECT_EQ(source(0, 0), 1.0);

    const Array moved(std::move(source));
    EXPECT_EQ(moved(1, 1), 4.0);
    EXPECT_EQ(source.Rows(), 0);
    EXPECT_EQ(source.Cols(), 0);
    expectFailure<IndexOutOfRangeException>([&] { source(0, 0); }, kOutOfRange);

    source = moved;
    EXPECT_EQ(source, moved);
    source = std::move(copy);
    EXPECT_EQ(source(0, 0), 9.0);
    expectFailure<IndexOutOfRangeException>([&] { copy(0, 0); }, kOutOfRange);
}

} // namespace
} // namespace Velmar::Lintrix::testing
