// The walk over stored elements.

#include "tests/sparse/sparse_support.h"

#include <lintrix/sparse/detail/sparse_enumerator.h>

#include <tuple>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using detail::SparseMatrixElement;
using detail::SparseMatrixEnum;
using ::testing::ElementsAre;

constexpr const char* kBefore = "The enumerator is positioned before the first element of the matrix.";
constexpr const char* kAfter = "The enumerator is positioned after the last element of the matrix.";

using Element = std::tuple<int, int, double>;

std::vector<Element> walk(SparseMatrixEnum& cursor)
{
    std::vector<Element> seen;
    while (cursor.MoveNext()) {
        const SparseMatrixElement e = cursor.Current();
        seen.emplace_back(e.Row(), e.Col(), e.Value());
    }
    return seen;
}

// Rows 0, 2, 3 and 5 are empty.
SparseMatrix withEmptyRows()
{
    return SparseMatrix({1, 2, 3}, {0, 0, 2, 2, 2, 3, 3}, {1, 3, 0});
}

TEST(SparseMatrixElement, HoldsItsPlaceAndValue)
{
    const SparseMatrixElement e(3, 4, 2.5);
    EXPECT_EQ(e.Row(), 3);
    EXPECT_EQ(e.Col(), 4);
    EXPECT_EQ(e.Value(), 2.5);
}

TEST(SparseMatrixElement, CompareOrderIsRowMajor)
{
    const auto order = [](int rowA, int colA, int rowB, int colB) {
        return SparseMatrixElement::CompareOrder({rowA, colA, 1.0}, {rowB, colB, 2.0});
    };
    EXPECT_EQ(order(1, 0, 0, 9), 1);
    EXPECT_EQ(order(0, 9, 1, 0), -1);
    EXPECT_EQ(order(2, 3, 2, 3), 0);
    EXPECT_EQ(order(2, 4, 2, 3), 1);
    EXPECT_EQ(order(2, 3, 2, 4), -1);
    EXPECT_EQ(order(INT32_MAX, 0, INT32_MIN, 0), 1);
}

TEST(SparseMatrixEnum, VisitsRowMajorAndSkipsEmptyRows)
{
    const SparseMatrix A = withEmptyRows();
    SparseMatrixEnum cursor(A);
    EXPECT_THAT(walk(cursor), ElementsAre(Element{1, 1, 1}, Element{1, 3, 2}, Element{4, 0, 3}));
}

TEST(SparseMatrixEnum, VisitsEveryStoredElementWhateverTheShape)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix dense = sparsePattern(shape, 0.2, 3);
        std::vector<Element> expected;
        for (int r = 0; r < shape.rows; ++r) {
            for (int c = 0; c < shape.cols; ++c) {
                if (dense(r, c) != 0.0) expected.emplace_back(r, c, dense(r, c));
            }
        }
        const SparseMatrix A(dense);
        SparseMatrixEnum cursor(A);
        EXPECT_EQ(walk(cursor), expected);
    }
}

TEST(SparseMatrixEnum, StaysOnTheLastElementWhenTheWalkHasEnded)
{
    const SparseMatrix A = withEmptyRows();
    SparseMatrixEnum cursor(A);
    walk(cursor);
    for (int again = 0; again < 3; ++again) {
        EXPECT_FALSE(cursor.MoveNext());
        EXPECT_EQ(cursor.Current().Row(), 4);
        EXPECT_EQ(cursor.Current().Col(), 0);
        EXPECT_EQ(cursor.Current().Value(), 3.0);
    }
}

TEST(SparseMatrixEnum, IsBeforeTheFirstElementAtFirstAndAfterReset)
{
    const SparseMatrix A = withEmptyRows();
    SparseMatrixEnum cursor(A);
    expectFailure<InvalidOperationException>([&] { (void)cursor.Current(); }, kBefore);
    const auto first = walk(cursor);
    cursor.Reset();
    expectFailure<InvalidOperationException>([&] { (void)cursor.Current(); }, kBefore);
    EXPECT_EQ(walk(cursor), first);
}

TEST(SparseMatrixEnum, StaysBeforeTheFirstElementOfAnEmptyMatrix)
{
    const SparseMatrix A(3, 3);
    SparseMatrixEnum cursor(A);
    for (int again = 0; again < 3; ++again) {
        EXPECT_FALSE(cursor.MoveNext());
        expectFailure<InvalidOperationException>([&] { (void)cursor.Current(); }, kBefore);
    }
}

// In ordinary use the cursor never gets there; row pointers that fall take it there at once.
TEST(SparseMatrixEnum, TellsThatItIsBehindTheLastElement)
{
    const std::vector<std::int32_t> falling{1, 0};
    const SparseMatrix A = detail::SparseAccess::adopt<double>(
        1, 1,
        {detail::Block<double>::zeroed(1), detail::Block<std::int32_t>::copyOf(falling.data(), 2),
         detail::Block<std::int32_t>::zeroed(1)});
    const SparseMatrixEnum cursor(A);
    expectFailure<InvalidOperationException>([&] { (void)cursor.Current(); }, kAfter);
}

TEST(SparseMatrixEnum, TakesTheCountAtConstructionAndReadsTheArraysLive)
{
    SparseMatrix A = withEmptyRows();
    SparseMatrixEnum cursor(A);
    A(1, 1) = 9;  // same slot
    A(5, 0) = 10; // a fourth element, which the cursor does not count
    EXPECT_THAT(walk(cursor), ElementsAre(Element{1, 1, 9}, Element{1, 3, 2}, Element{4, 0, 3}));
}

TEST(SparseMatrixEnum, EndsWhenTheMatrixHasLostRowsDuringTheWalk)
{
    SparseMatrix A = withEmptyRows();
    SparseMatrixEnum cursor(A);
    A.Rows(2);
    EXPECT_THAT(walk(cursor), ElementsAre(Element{1, 1, 1}, Element{1, 3, 2}));
}

TEST(SparseMatrixEnum, WalksTheStoredTriangleOfASymmetricMatrix)
{
    SparseMatrix A(2, true);
    A(1, 0) = 7;
    SparseMatrixEnum cursor(A);
    EXPECT_THAT(walk(cursor), ElementsAre(Element{0, 0, 0}, Element{0, 1, 7}, Element{1, 1, 0}));
}

} // namespace
} // namespace Velmar::Lintrix
