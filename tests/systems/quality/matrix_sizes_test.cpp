// One reading of a matrix tells what each of the others alone would.

#include <lintrix/systems/quality/matrix_sizes.h>

#include "tests/systems/quality/reference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

constexpr TransposeMode kPlain = TransposeMode::NotTransposed, kTransposed = TransposeMode::Transposed;

template <class T>
class MatrixSizesOf : public ::testing::Test {
};
using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(MatrixSizesOf, CellTypes);

void expectSame(const RowSizes& found, const RowSizes& expected)
{
    EXPECT_EQ(found.sums, expected.sums);
    EXPECT_EQ(found.norm, expected.norm);
    EXPECT_EQ(found.cols, expected.cols);
    EXPECT_EQ(found.terms, expected.terms);
}

template <class Cell>
void expectSizesOf(const AnyMatrix<Cell>& A)
{
    const MatrixSizes sizes = sizesOf(A);
    expectSame(sizes.of(kPlain), rowSizesOf(A, kPlain));
    expectSame(sizes.of(kTransposed), rowSizesOf(A, kTransposed));
    expectSame(sizes.of(TransposeMode::ConjugateTransposed), rowSizesOf(A, kTransposed));
}

TYPED_TEST(MatrixSizesOf, RowsAndColumnsAreThoseOfReadingsOfTheirOwn)
{
    using Cell = TypeParam;
    const auto dense = Cells(5).matrix<Cell>(13, 8, 0.4);
    expectSizesOf(AnyMatrix<Cell>(dense));
    const SparseOf<Cell> sparse(dense);
    expectSizesOf(AnyMatrix<Cell>(sparse));
}

TEST(MatrixSizes, OfOneTriangleAreThoseOfBoth)
{
    auto A = Cells(6).matrix<double>(9, 9, 0.5);
    for (int j = 0; j < 9; ++j)
        for (int i = 0; i < j; ++i) A(j, i) = A(i, j);
    const SparseMatrix full(A), triangle = triangleOf<double>(A);
    const MatrixSizes ofTriangle = sizesOf(AnyMatrix<double>(triangle)),
                      ofFull = sizesOf(AnyMatrix<double>(full));
    for (const TransposeMode op : {kPlain, kTransposed}) {
        EXPECT_EQ(ofTriangle.of(op).sums, ofFull.of(op).sums);
        EXPECT_EQ(ofTriangle.of(op).norm, ofFull.of(op).norm);
    }
    EXPECT_EQ(ofTriangle.largestOfRows.least, ofFull.largestOfRows.least);
    EXPECT_EQ(ofTriangle.largestOfColumns.most, ofFull.largestOfColumns.most);
}

/// ( 8 -2  0 )
/// ( 0  4 NaN)
/// (inf 0  0 )
TEST(MatrixSizes, TheLargestElementsAreThoseThatAreFiniteAndNotZero)
{
    Matrix A(3, 3);
    A(0, 0) = 8.0;
    A(0, 1) = -2.0;
    A(1, 1) = 4.0;
    A(1, 2) = std::numeric_limits<double>::quiet_NaN();
    A(2, 0) = std::numeric_limits<double>::infinity();
    const MatrixSizes sizes = sizesOf(AnyMatrix<double>(A));
    EXPECT_EQ(sizes.largestOfRows.least, 4.0);
    EXPECT_EQ(sizes.largestOfRows.most, 8.0);
    EXPECT_EQ(sizes.largestOfColumns.least, 4.0);
    EXPECT_EQ(sizes.largestOfColumns.most, 8.0);
    EXPECT_TRUE(std::isnan(sizes.of(kPlain).norm));
    const MatrixSizes ofZero = sizesOf(AnyMatrix<double>(Matrix(2, 2)));
    EXPECT_EQ(ofZero.largestOfRows.most, 0.0);
    EXPECT_EQ(ofZero.largestOfRows.least, 0.0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
