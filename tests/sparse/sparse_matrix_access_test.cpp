// Elements of SparseMatrix: reading, writing, the proxy, insertion and growth.

#include "tests/sparse/sparse_support.h"

#include <lintrix/sparse/detail/sizes.h>

#include <climits>
#include <map>
#include <string>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using detail::SparseAccess;
using ::testing::ElementsAre;

constexpr const char* kRowIndex = "Row index exceeds matrix size.";
constexpr const char* kColumnIndex = "Column index exceeds matrix size.";

// ---- reading and writing

TEST(SparseMatrixItem, ReadsStoredElementsAndZeroElsewhere)
{
    const SparseMatrix A({1, 2, 3}, {0, 2, 2, 3}, {1, 3, 0});
    const Matrix expected{{0, 1, 0, 2}, {0, 0, 0, 0}, {3, 0, 0, 0}};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 4; ++c) {
            EXPECT_EQ(A.Item(r, c), expected(r, c));
            EXPECT_EQ(A(r, c), expected(r, c));
        }
    }
}

TEST(SparseMatrixItem, WritingAStoredElementKeepsTheStructure)
{
    SparseMatrix A({1, 2}, {0, 1, 2}, {0, 1});
    const double* address = SparseAccess::values(A);
    A.Item(1, 1, 0.0);
    EXPECT_EQ(A.NumElements(), 2);
    EXPECT_THAT(valuesOf(A), ElementsAre(1, 0));
    EXPECT_EQ(SparseAccess::values(A), address);
}

TEST(SparseMatrixItem, WritingZeroAtAnAbsentPositionStoresIt)
{
    SparseMatrix A(3, 3);
    A.Item(1, 1, 0.0);
    EXPECT_EQ(A.NumElements(), 1);
    EXPECT_THAT(columnsOf(A), ElementsAre(2));
}

TEST(SparseMatrixItem, ElementsWrittenInAnyOrderEndUpSorted)
{
    for (const Shape& shape : {Shape{1, 1}, Shape{1, 40}, Shape{40, 1}, Shape{7, 9}, Shape{30, 30}}) {
        for (const float factor : {1.0F, 1.2F, 4.0F}) {
            std::mt19937 generator(5);
            SparseMatrix A(shape.rows, shape.cols, 1, factor);
            std::map<std::pair<int, int>, double> expected;
            for (int k = 0; k < shape.rows * shape.cols; ++k) {
                const int r = static_cast<int>(generator() % static_cast<unsigned>(shape.rows));
                const int c = static_cast<int>(generator() % static_cast<unsigned>(shape.cols));
                A.Item(r, c, k);
                expected[{r, c}] = k;
            }
            expectCompressedRows(A);
            ASSERT_EQ(A.NumElements(), static_cast<int>(expected.size()));
            for (int r = 0; r < shape.rows; ++r) {
                for (int c = 0; c < shape.cols; ++c) {
                    const auto at = expected.find({r, c});
                    ASSERT_EQ(A.Item(r, c), at == expected.end() ? 0.0 : at->second);
                }
            }
        }
    }
}

TEST(SparseMatrixItem, BoundsAreCheckedRowFirst)
{
    SparseMatrix A(2, 3);
    const State state(A);
    for (const int bad : {-1, 2, INT_MIN, INT_MAX}) {
        expectRefusedUnallocated<IndexOutOfBoundsException>([&] { (void)A.Item(bad, 0); }, kRowIndex);
        expectRefusedUnallocated<IndexOutOfBoundsException>([&] { A.Item(bad, 99, 1.0); }, kRowIndex);
    }
    for (const int bad : {-1, 3, INT_MIN, INT_MAX}) {
        expectRefusedUnallocated<IndexOutOfBoundsException>([&] { (void)A.Item(0, bad); }, kColumnIndex);
        expectRefusedUnallocated<IndexOutOfBoundsException>([&] { A.Item(1, bad, 1.0); }, kColumnIndex);
        expectRefusedUnallocated<IndexOutOfBoundsException>([&] { A(1, bad) = 1.0; }, kColumnIndex);
    }
    EXPECT_EQ(State(A), state);
}

// ---- symmetric storage

TEST(SparseMatrixItem, SymmetricAccessBelowTheDiagonalIsMirrored)
{
    SparseMatrix A(3, true);
    A.Item(2, 0, 5);
    EXPECT_EQ(A.Item(2, 0), 5.0);
    EXPECT_EQ(A.Item(0, 2), 5.0);
    EXPECT_THAT(startsOf(A), ElementsAre(1, 3, 4, 5));
    EXPECT_THAT(columnsOf(A), ElementsAre(1, 3, 2, 3));
    A.Item(0, 2, 6);
    EXPECT_EQ(A.Item(2, 0), 6.0);
    EXPECT_EQ(A.NumElements(), 4);
}

TEST(SparseMatrixItem, SymmetricAccessIsMirroredBeforeTheBoundsAreChecked)
{
    SparseMatrix A(3, true);
    expectFailure<IndexOutOfBoundsException>([&] { (void)A.Item(7, 0); }, kColumnIndex);
    expectFailure<IndexOutOfBoundsException>([&] { (void)A.Item(0, 7); }, kColumnIndex);
    expectFailure<IndexOutOfBoundsException>([&] { (void)A.Item(-1, 0); }, kRowIndex);
    expectFailure<IndexOutOfBoundsException>([&] { (void)A.Item(0, -1); }, kRowIndex);
    expectFailure<IndexOutOfBoundsException>([&] { A.Item(7, 0, 1.0); }, kColumnIndex);
    expectFailure<IndexOutOfBoundsException>([&] { A.Item(0, -1, 1.0); }, kRowIndex);
}

TEST(SparseMatrixItem, FlagIsOnlyAReadingOfTheArrays)
{
    SparseMatrix A({1, 2, 3}, {0, 2, 3}, {0, 1, 0}); // 1 2 / 3 0
    EXPECT_EQ(A.Item(1, 0), 3.0);
    const std::vector<double> values = valuesOf(A);
    A.Symmetric(true);
    EXPECT_EQ(A.Item(1, 0), 2.0); // the mirrored one
    A.Symmetric(false);
    EXPECT_EQ(A.Item(1, 0), 3.0);
    EXPECT_EQ(valuesOf(A), values);
}

// ---- the proxy

TEST(SparseMatrixReference, StoresAndLooksUp)
{
    SparseMatrix A(2, 2);
    A(0, 1) = 2.0;
    EXPECT_EQ(A(0, 1), 2.0);
    EXPECT_EQ(A(1, 1), 0.0);
    EXPECT_EQ(A.NumElements(), 1); // reading stores nothing
    A(1, 0) = A(0, 1);
    EXPECT_EQ(A.Item(1, 0), 2.0);
    A(0, 0) = A(1, 1); // an absent element is copied as a stored zero
    EXPECT_EQ(A.NumElements(), 3);
    const double sum = A(0, 1) + A(1, 0);
    EXPECT_EQ(sum, 4.0);
}

TEST(SparseMatrixReference, ComputesInPlaceFromZeroWhereNothingIsStored)
{
    SparseMatrix A(1, 4);
    A(0, 0) += 3.0;
    A(0, 1) -= 3.0;
    A(0, 2) *= 3.0;
    A(0, 3) /= 3.0;
    EXPECT_THAT(valuesOf(A), ElementsAre(3, -3, 0, 0));
    A(0, 0) += 1.0;
    A(0, 1) -= 1.0;
    EXPECT_EQ((A(0, 0) *= 2.0), 8.0);
    A(0, 1) /= 8.0;
    EXPECT_THAT(valuesOf(A), ElementsAre(8, -0.5, 0, 0));
}

TEST(SparseMatrixReference, ChainsAndCopiesReferToTheSameElement)
{
    SparseMatrix A(2, 2);
    A(0, 0) = A(1, 1) = 4.0;
    EXPECT_EQ(A.Item(0, 0), 4.0);
    auto element = A(0, 1);
    const auto same = element;
    element = 7.0;
    EXPECT_EQ(same, 7.0);
}

// ---- growth

TEST(SparseMatrixGrowth, FactorOneTwoTakesCapacityHundredToHundredAndTwenty)
{
    SparseMatrix A(1, 200);
    for (int c = 0; c < 100; ++c) A(0, c) = c;
    EXPECT_EQ(A.Capacity(), 100);
    A(0, 100) = 100;
    EXPECT_EQ(A.Capacity(), 120);
    EXPECT_EQ(heldSlots(A), 120);
    for (int c = 0; c <= 100; ++c) EXPECT_EQ(A(0, c), c);
}

TEST(SparseMatrixGrowth, FactorOneOrZeroGrowsByExactlyOneSlot)
{
    SparseMatrix one(1, 50, 10, 1.0F), zero(Matrix{{1, 1, 1, 0, 0, 0, 0, 0}});
    for (int c = 0; c < 50; ++c) {
        one(0, c) = 1;
        EXPECT_EQ(one.Capacity(), std::max(10, c + 1));
    }
    for (int c = 3; c < 8; ++c) {
        zero(0, c) = 1;
        EXPECT_EQ(zero.Capacity(), c + 1);
    }
}

TEST(SparseMatrixGrowth, NewCapacityIsTheProductRoundedToEven)
{
    const auto grown = [](int capacity, float factor) {
        SparseMatrix A(1, 2 * capacity, capacity, factor);
        for (int c = 0; c <= capacity; ++c) A(0, c) = 1;
        return A.Capacity();
    };
    EXPECT_EQ(grown(2, 1.25F), 3);   // 2.5 to 2, but at least one slot
    EXPECT_EQ(grown(6, 1.25F), 8);   // 7.5
    EXPECT_EQ(grown(10, 1.25F), 12); // 12.5
    EXPECT_EQ(grown(10, 1.3F), 13);
    EXPECT_EQ(grown(10, 4.0F), 40);
}

// From 2^24 on it may be another number than the capacity.
TEST(SparseMatrixGrowth, TheCapacityIsNarrowedToSinglePrecisionFirst)
{
    EXPECT_EQ(detail::grownCapacity(2.0F, 16777217), 33554432);
    EXPECT_EQ(detail::grownCapacity(1.0F, 16777219), 16777220);
    EXPECT_EQ(detail::grownCapacity(1.2F, 100), 120);
    EXPECT_EQ(detail::grownCapacity(4.0F, 536870912), INT_MIN) << "one slot more counts then";
}

TEST(SparseMatrixGrowth, FullEmptyArraysGrow)
{
    SparseMatrix A(Matrix(2, 3));
    EXPECT_EQ(A.Capacity(), 0);
    for (int c = 0; c < 3; ++c) {
        A(1, c) = c;
        EXPECT_EQ(A.Capacity(), c + 1);
    }
    EXPECT_THAT(valuesOf(A), ElementsAre(0, 1, 2));
}

// The capacity is told before the arrays have it.
TEST(SparseMatrixGrowth, RefusedMemoryLeavesAllButTheCapacity)
{
    for (const int refused : {0, 1}) { // the values, the columns
        SparseMatrix A(1, 50, 10, 2.0F);
        for (int c = 0; c < 20; c += 2) A(0, c) = c;
        State expected(A);
        expected.capacity = 20;
        for (int again = 0; again < 2; ++again) {
            const FailingAllocator allocator(again == 0 ? refused : 0);
            expectFailure<NotEnoughMemoryException>([&] { A(0, 1) = 1; }, kNoMemory);
        }
        EXPECT_EQ(State(A), expected);
        EXPECT_EQ(heldSlots(A), 10);
        A(0, 1) = 1; // the next one makes good for it
        EXPECT_EQ(A.Capacity(), 20);
        EXPECT_EQ(heldSlots(A), 20);
        for (int c = 3; c < 30; c += 2) A(0, c) = c;
        for (int c = 0; c < 20; ++c) EXPECT_EQ(A(0, c), c);
        expectCompressedRows(A);
    }
}

TEST(SparseMatrixGrowth, CopyOfAMatrixThatCouldNotGrowHasTheCapacityThatIsTold)
{
    SparseMatrix A(1, 50, 10, 2.0F);
    for (int c = 0; c < 10; ++c) A(0, c) = c;
    {
        const FailingAllocator allocator(0);
        expectFailure<NotEnoughMemoryException>([&] { A(0, 10) = 1; }, kNoMemory);
    }
    const SparseMatrix B = A;
    EXPECT_EQ(B.Capacity(), 20);
    EXPECT_EQ(heldSlots(B), 20);
    EXPECT_EQ(State(B), State(A));
}

TEST(SparseMatrixGrowth, OverwritingNeedsNoMemory)
{
    SparseMatrix A(1, 2, 1, 1.0F);
    A(0, 0) = 1;
    const FailingAllocator allocator(0);
    A(0, 0) = 2;
    EXPECT_FALSE(allocator.hasFailed());
    EXPECT_EQ(A(0, 0), 2);
}

TEST(SparseMatrixGrowth, ElementCountStaysWithinItsNumber)
{
    SparseMatrix A(1, 2);
    SparseAccess::rowPointers(A)[1] = INT_MAX; // as if it were full
    expectRefusedUnallocated<NotSupportedException>([&] { SparseAccess::insertElement(A, 0); },
                                                    "A sparse matrix holds at most 2147483646 elements.");
    EXPECT_EQ(A.Capacity(), 100);
}

// ---- single slots

TEST(SparseMatrixSlots, InsertOpensASlotAndLeavesTheRowPointers)
{
    SparseMatrix A({1, 2, 3}, {0, 2, 3}, {0, 1, 0});
    const std::vector<std::int32_t> starts = startsOf(A);
    SparseAccess::insertElement(A, 1);
    EXPECT_EQ(startsOf(A), starts);
    EXPECT_EQ(A.Capacity(), 4);
    const double* a = SparseAccess::values(A);
    const std::int32_t* ja = SparseAccess::columns(A);
    EXPECT_THAT(std::vector<double>(a, a + 4), ElementsAre(1, 2, 2, 3)); // slot 1 is stale
    EXPECT_THAT(std::vector<int>(ja, ja + 4), ElementsAre(1, 2, 2, 1));
}

TEST(SparseMatrixSlots, InsertAtTheEndMovesNothing)
{
    SparseMatrix A({1, 2}, {0, 2}, {0, 1});
    SparseAccess::insertElement(A, 2);
    EXPECT_THAT(valuesOf(A), ElementsAre(1, 2));
}

TEST(SparseMatrixSlots, DeleteClosesASlotAndLeavesRowPointersAndCapacity)
{
    SparseMatrix A({1, 2, 3}, {0, 2, 3}, {0, 1, 0});
    const std::vector<std::int32_t> starts = startsOf(A);
    SparseAccess::deleteElement(A, 0);
    EXPECT_EQ(startsOf(A), starts);
    EXPECT_EQ(A.Capacity(), 3);
    const double* a = SparseAccess::values(A);
    const std::int32_t* ja = SparseAccess::columns(A);
    EXPECT_THAT(std::vector<double>(a, a + 2), ElementsAre(2, 3));
    EXPECT_THAT(std::vector<int>(ja, ja + 2), ElementsAre(2, 1));
    SparseAccess::deleteElement(A, 2); // the last one
    EXPECT_EQ(SparseAccess::values(A)[0], 2);
}

// ---- capacity

TEST(SparseMatrixCapacity, NeverFallsBelowTheElements)
{
    SparseMatrix A({1, 2, 3}, {0, 2, 3}, {0, 1, 0});
    const Matrix dense = A.ToDense();
    A.Capacity(50);
    EXPECT_EQ(A.Capacity(), 50);
    EXPECT_EQ(heldSlots(A), 50);
    for (const int small : {0, 2, -7, INT_MIN}) {
        A.Capacity(50);
        A.Capacity(small);
        EXPECT_EQ(A.Capacity(), 3);
        EXPECT_EQ(detail::blockBytes(SparseAccess::values(A)), 24u);
        EXPECT_TRUE(identical(A.ToDense(), dense));
    }
    A.Rows(1);
    A.Capacity(0);
    EXPECT_EQ(A.Capacity(), 2);
}

TEST(SparseMatrixCapacity, SameValueDoesNothing)
{
    SparseMatrix A(2, 2);
    const FailingAllocator allocator(0);
    A.Capacity(100);
    EXPECT_FALSE(allocator.hasFailed());
}

TEST(SparseMatrixCapacity, RefusedMemoryLeavesTheMatrixAsItWas)
{
    for (const int capacity : {3, 1000}) {
        for (const int refused : {0, 1}) {
            SparseMatrix A(1, 50, 10, 1.5F);
            A(0, 7) = 7;
            const State state(A);
            {
                const FailingAllocator allocator(refused);
                expectFailure<NotEnoughMemoryException>([&] { A.Capacity(capacity); }, kNoMemory);
            }
            EXPECT_EQ(State(A), state);
            for (int c = 0; c < 50; ++c) A(0, c) = c;
            for (int c = 0; c < 50; ++c) EXPECT_EQ(A(0, c), c);
            EXPECT_LE(A.NumElements(), heldSlots(A));
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix
