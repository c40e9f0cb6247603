// Resizing of SparseMatrix and removal of its elements.

#include "tests/sparse/sparse_support.h"

#include <lintrix/sparse/detail/compressed_rows.h>

#include <climits>
#include <cmath>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using detail::SparseAccess;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kSizes = "A matrix has from 1 to 2147483647 rows and columns.";

SparseMatrix example()
{
    return SparseMatrix(Matrix{{1, 0, 2, 0}, {0, 3, 0, 4}, {5, 6, 7, 8}});
}

// ---- rows

TEST(SparseMatrixRows, NewRowsAreEmpty)
{
    SparseMatrix A = example();
    A.Rows(5);
    EXPECT_EQ(A.Rows(), 5);
    EXPECT_THAT(startsOf(A), ElementsAre(1, 3, 5, 9, 9, 9));
    EXPECT_EQ(A(4, 3), 0.0);
    A(4, 3) = 1.0;
    expectCompressedRows(A);
}

TEST(SparseMatrixRows, DroppedRowsTakeTheirElementsAlongAndDoNotComeBack)
{
    SparseMatrix A = example();
    A.Rows(1);
    EXPECT_EQ(A.NumElements(), 2);
    EXPECT_EQ(A.Capacity(), 8);
    A.Rows(3);
    EXPECT_EQ(A.NumElements(), 2);
    EXPECT_TRUE(identical(A.ToDense(), Matrix{{1, 0, 2, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}}));
}

TEST(SparseMatrixRows, SameValueDoesNothing)
{
    SparseMatrix A = example();
    const FailingAllocator allocator(0);
    A.Rows(3);
    A.Cols(4);
    EXPECT_FALSE(allocator.hasFailed());
}

TEST(SparseMatrixRows, SymmetricMatrixChangesBothSizesAndGetsNoNewDiagonal)
{
    for (const bool byRows : {true, false}) {
        SparseMatrix A(2, true);
        A(0, 1) = 5;
        byRows ? A.Rows(4) : A.Cols(4);
        EXPECT_EQ(A.Rows(), 4);
        EXPECT_EQ(A.Cols(), 4);
        EXPECT_TRUE(A.Symmetric());
        EXPECT_THAT(startsOf(A), ElementsAre(1, 3, 4, 4, 4));
        A(3, 1) = 7;
        EXPECT_EQ(A(1, 3), 7.0);
        byRows ? A.Rows(1) : A.Cols(1);
        EXPECT_EQ(A.Rows(), 1);
        EXPECT_EQ(A.Cols(), 1);
        EXPECT_THAT(startsOf(A), ElementsAre(1, 2));
        EXPECT_THAT(columnsOf(A), ElementsAre(1));
    }
}

// The matrix had the flag set by hand: one size may already be right.
TEST(SparseMatrixRows, SymmetricMatrixThatIsNotSquareBecomesSquare)
{
    SparseMatrix A = example(), B = example();
    A.Symmetric(true);
    B.Symmetric(true);
    A.Rows(4);
    EXPECT_EQ(A.Cols(), 4);
    B.Cols(3);
    EXPECT_EQ(B.Rows(), 3);
    EXPECT_THAT(startsOf(B), ElementsAre(1, 3, 4, 7));
}

TEST(SparseMatrixRows, RefusedMemoryLeavesTheMatrixAsItWas)
{
    for (const bool symmetric : {false, true}) {
        SparseMatrix A(5, symmetric);
        A(1, 3) = 4;
        const State state(A);
        for (const int value : {2, 50}) {
            const FailingAllocator allocator(0);
            expectFailure<NotEnoughMemoryException>([&] { A.Rows(value); }, kNoMemory);
            EXPECT_EQ(State(A), state);
            if (!symmetric) continue;
            expectFailure<NotEnoughMemoryException>([&] { A.Cols(value); }, kNoMemory);
            EXPECT_EQ(State(A), state);
        }
    }
}

// ---- columns

TEST(SparseMatrixCols, GrowingTouchesNoArray)
{
    SparseMatrix A = example();
    const State state(A);
    const FailingAllocator allocator(0);
    A.Cols(9);
    EXPECT_FALSE(allocator.hasFailed());
    EXPECT_EQ(A.Cols(), 9);
    EXPECT_EQ(columnsOf(A), state.columns);
    EXPECT_EQ(A(2, 8), 0.0);
}

TEST(SparseMatrixCols, ReducingRemovesTheElementsBehind)
{
    SparseMatrix A = example();
    A.Cols(2);
    EXPECT_EQ(A.NumElements(), 4);
    EXPECT_EQ(A.Capacity(), 8);
    EXPECT_TRUE(identical(A.ToDense(), Matrix{{1, 0}, {0, 3}, {5, 6}}));
    A.Cols(4);
    EXPECT_TRUE(identical(A.ToDense(), Matrix{{1, 0, 0, 0}, {0, 3, 0, 0}, {5, 6, 0, 0}}));
}

TEST(SparseMatrixCols, ReducingIsAsDeletingOneByOne)
{
    for (const Shape& shape : allShapes()) {
        for (const int kept : {1, shape.cols / 2, shape.cols - 1}) {
            if (kept < 1) continue;
            SCOPED_TRACE(shape);
            const Matrix dense = sparsePattern(shape, 0.3, 11);
            SparseMatrix A(dense);
            A.Cols(kept);
            expectCompressedRows(A);
            EXPECT_TRUE(identical(A.ToDense(),
                                  SparseMatrix(dense.SubMatrix(0, shape.rows - 1, 0, kept - 1)).ToDense()));
        }
    }
}

// ---- sizes below 1

TEST(SparseMatrixSizes, ValueIsNotCheckedAndTheHardenedBuildTellsIt)
{
    for (const int bad : {0, -1, INT_MIN}) {
        SparseMatrix A = example();
        const State state(A);
        if constexpr (detail::kHardened) {
            expectRefusedUnallocated<InvalidOperationException>([&] { A.Rows(bad); }, kSizes);
            expectRefusedUnallocated<InvalidOperationException>([&] { A.Cols(bad); }, kSizes);
            EXPECT_EQ(State(A), state);
        } else {
            A.Cols(bad);
            EXPECT_EQ(A.Cols(), bad);
            EXPECT_EQ(A.NumElements(), 0);
            expectFailure<IndexOutOfBoundsException>([&] { (void)A.Item(0, 0); },
                                                     "Column index exceeds matrix size.");
            A.FillRandom(0.5);
            EXPECT_EQ(A.NumElements(), 0);
            A.Cols(2);
            A(0, 1) = 1.0;
            expectCompressedRows(A);
        }
    }
}

TEST(SparseMatrixSizes, MatrixWithoutRowsCanBeGivenRowsAgain)
{
    if constexpr (!detail::kHardened) {
        SparseMatrix A = example();
        A.Rows(0);
        EXPECT_EQ(A.NumElements(), 0);
        A.RemoveZeros(10.0);
        A.FillRandom();
        EXPECT_THAT(startsOf(A), ElementsAre(1));
        expectFailure<IndexOutOfBoundsException>([&] { A(0, 0) = 1.0; }, "Row index exceeds matrix size.");
        A.Rows(2);
        A(1, 1) = 1.0;
        EXPECT_THAT(startsOf(A), ElementsAre(1, 1, 2));
    }
}

// value + 1 row pointers: none for -1, which is the smallest block; fewer are refused by the allocator.
TEST(SparseMatrixSizes, ARowCountOfMinusOneKeepsNoRowPointersAndFewerAreRefused)
{
    if constexpr (!detail::kHardened) {
        for (const bool symmetric : {false, true}) {
            SparseMatrix A(9, symmetric);
            const State state(A);
            for (const int bad : {-2, INT_MIN}) {
                expectFailure<NotEnoughMemoryException>([&] { A.Rows(bad); }, kNoMemory);
                EXPECT_EQ(State(A), state);
                if (symmetric) expectFailure<NotEnoughMemoryException>([&] { A.Cols(bad); }, kNoMemory);
                EXPECT_EQ(State(A), state);
            }
            const std::int64_t before = TrellConfiguration::TotalMemory();
            A.Rows(-1);
            EXPECT_EQ(A.Rows(), -1);
            EXPECT_EQ(A.Cols(), symmetric ? -1 : 9);
            EXPECT_EQ(TrellConfiguration::TotalMemory(), before - 10 * 4 + 16);
            expectFailure<InvalidOperationException>(
                [&] { (void)A.NumElements(); },
                "The matrix has no longer the row pointers that its sizes tell.");
            A = SparseMatrix(2, 2);
            EXPECT_EQ(A.NumElements(), 0);
        }
        SparseMatrix A(3, true);
        A.Cols(-1);
        EXPECT_EQ(A.Rows(), -1);
    }
}

// ---- zeros

TEST(SparseMatrixRemoveZeros, ComparesStrictly)
{
    SparseMatrix A({0.5, 1.0, 2.0, -0.5, -1.0}, {0, 5}, {0, 1, 2, 3, 4});
    A.RemoveZeros(1.0, false);
    EXPECT_THAT(valuesOf(A), ElementsAre(1, 2, -1));
    EXPECT_THAT(columnsOf(A), ElementsAre(2, 3, 5));
    EXPECT_EQ(A.Capacity(), 5);
}

TEST(SparseMatrixRemoveZeros, ToleranceZeroRemovesNothing)
{
    SparseMatrix A({0.0, -0.0, 1.0}, {0, 3}, {0, 1, 2});
    A.RemoveZeros(0.0, false);
    A.RemoveZeros(-0.0, false);
    A.RemoveZeros(0.0);
    A.RemoveZeros(kNaN, false); // no comparison holds
    EXPECT_EQ(A.NumElements(), 3);
}

TEST(SparseMatrixRemoveZeros, SignOfTheToleranceDoesNotMatterAndNaNStays)
{
    SparseMatrix A({0.5, kNaN, 2.0}, {0, 3}, {0, 1, 2});
    A.RemoveZeros(-1.0, false);
    EXPECT_THAT(columnsOf(A), ElementsAre(2, 3));
    A.RemoveZeros(INFINITY, false);
    EXPECT_THAT(columnsOf(A), ElementsAre(2));
}

TEST(SparseMatrixRemoveZeros, FreshSymmetricMatrixLosesNothing)
{
    SparseMatrix A(4, true);
    A.RemoveZeros();
    EXPECT_EQ(A.NumElements(), 4);
    A.RemoveZeros(1e-15, false);
    EXPECT_EQ(A.NumElements(), 0);
    EXPECT_THAT(startsOf(A), ElementsAre(1, 1, 1, 1, 1));
}

TEST(SparseMatrixRemoveZeros, DefaultsAreTenToTheMinusFifteenAndTheDiagonalStays)
{
    SparseMatrix A({0.0, 1e-15, 0.9e-15, 0.0, 0.9e-15}, {0, 3, 5}, {0, 1, 2, 0, 1});
    SparseMatrix B = A;
    A.RemoveZeros();
    EXPECT_THAT(startsOf(A), ElementsAre(1, 3, 4));
    EXPECT_THAT(columnsOf(A), ElementsAre(1, 2, 2));
    B.RemoveZeros(1e-3);
    EXPECT_THAT(columnsOf(B), ElementsAre(1, 2));
}

// Every pattern of removals in three rows of three.
TEST(SparseMatrixRemoveZeros, EveryPatternOfRunsAndHoles)
{
    for (unsigned removed = 0; removed < 512; ++removed) {
        Matrix full(3, 3), expected(3, 3);
        for (int k = 0; k < 9; ++k) {
            const bool goes = (removed >> k & 1) != 0;
            full(k / 3, k % 3) = goes ? 0.25 : 1.0 + k;
            expected(k / 3, k % 3) = goes ? 0.0 : 1.0 + k;
        }
        SparseMatrix A(full);
        A.RemoveZeros(0.5, false);
        ASSERT_TRUE(identical(A.ToDense(), expected)) << removed;
        ASSERT_EQ(A.NumElements(), SparseMatrix(expected).NumElements()) << removed;
        expectCompressedRows(A);
        ASSERT_EQ(A.Capacity(), 9);
    }
}

TEST(SparseMatrixRemoveZeros, NeedsNoMemory)
{
    SparseMatrix A = example();
    const FailingAllocator allocator(0);
    A.RemoveZeros(4.5, false);
    A.Cols(1);
    EXPECT_FALSE(allocator.hasFailed());
    EXPECT_THAT(valuesOf(A), ElementsAre(5));
}

// ---- the parts

TEST(CompressedRows, FirstNotBelowStopsAtTheEndOfTheRow)
{
    const std::int32_t ja[] = {2, 4, 9, 1};
    EXPECT_EQ(detail::firstNotBelow(ja, 0, 3, 1), 0);
    EXPECT_EQ(detail::firstNotBelow(ja, 0, 3, 2), 0);
    EXPECT_EQ(detail::firstNotBelow(ja, 0, 3, 3), 1);
    EXPECT_EQ(detail::firstNotBelow(ja, 0, 3, 10), 3);
    EXPECT_EQ(detail::firstNotBelow(ja, 3, 3, 1), 3);
}

// ---- memory

TEST(SparseMatrixMemory, TotalReturnsAfterEveryEdit)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        SparseMatrix A(20, true, 5, 1.3F);
        for (int r = 0; r < 20; ++r) {
            for (int c = 0; c < 20; c += 3) A(r, c) = r - c;
        }
        A.Rows(100);
        A.Cols(7);
        A.RemoveZeros();
        A.Capacity(0);
        A.FillRandom(0.3);
        const SparseMatrix B = A;
        A = SparseMatrix(B.ToDense());
        A.Data(B.Data());
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

} // namespace
} // namespace Velmar::Lintrix
