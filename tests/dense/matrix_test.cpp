// Life and access of Matrix.

#include "tests/dense/dense_support.h"

#include <lintrix/dense/access.h>
#include <lintrix/foundation/array2d.h>
#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/random.h>

#include <algorithm>
#include <any>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::ThrowsMessage;

constexpr const char* kInvalidSize = "Invalid number of rows or columns.";
constexpr const char* kRowIndex = "Row index exceeds matrix size.";
constexpr const char* kColumnIndex = "Column index exceeds matrix size.";
constexpr const char* kNoMemory = "There is not enough memory to continue the execution.";
constexpr const char* kReleased = "The object was used after its release.";
constexpr const char* kTooManyCells = "The matrix would have more than 2147483647 cells.";

const std::vector<double> kFour{1, 2, 3, 4};

// What a const object hands to the members of its class cannot be written through. (An explicit instantiation
// may name what is private.)
using Cells = detail::DenseMatrix<double>;
using Elements = detail::DenseVector<double>;
template <const double* (Cells::*cells)() const, const double* (Cells::*column)(std::int64_t) const>
struct MatrixReads {
};
template struct MatrixReads<&Matrix::cells, &Matrix::column>;
template <const double* (Elements::*cells)() const>
struct VectorReads {
};
template struct VectorReads<&Vector::cells>;

// ---- construction: sizes

TEST(Matrix, DefaultIsThreeByThreeZeros)
{
    soilMemory(9);
    const Matrix A;
    EXPECT_EQ(A.Rows(), 3);
    EXPECT_EQ(A.Cols(), 3);
    EXPECT_THAT(blockOf(A), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0));
}

TEST(Matrix, SizesGiveZerosAlsoInUsedMemory)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        soilMemory(shape.rows * shape.cols);
        const Matrix A(shape.rows, shape.cols);
        EXPECT_EQ(A.Rows(), shape.rows);
        EXPECT_EQ(A.Cols(), shape.cols);
        EXPECT_THAT(bitsOf(A), Each(0u));
    }
}

struct SizedConstructor {
    const char* name;
    std::function<void(int rows, int cols)> construct;
};
// Every public one.
const std::vector<SizedConstructor> kSizedConstructors{
    {"sizes", [](int rows, int cols) { Matrix(rows, cols); }},
    {"diagonal", [](int rows, int cols) { Matrix(rows, cols, 5.0); }},
    {"array",
     [](int rows, int cols) {
         Matrix(Array2D<double>{{1, 2}, {3, 4}}, rows, cols);
     }},
    {"nested literal",
     [](int rows, int cols) {
         Matrix({{1, 2}, {3, 4}}, rows, cols);
     }},
    {"flat array", [](int rows, int cols) { Matrix(kFour, rows, cols); }},
    {"flat literal",
     [](int rows, int cols) {
         Matrix({1, 2, 3, 4}, rows, cols);
     }},
    {"row-major", [](int rows, int cols) { Matrix(kFour, rows, cols, StorageOrder::RowMajor); }},
    {"column-major", [](int rows, int cols) { Matrix(kFour, rows, cols, StorageOrder::ColumnMajor); }},
    {"literal with order",
     [](int rows, int cols) {
         Matrix({1, 2}, rows, cols, StorageOrder::ColumnMajor);
     }},
};

TEST(Matrix, SizeBelowOneIsRefusedBeforeAnythingIsAllocated)
{
    const std::vector<Shape> bad{{0, 3}, {3, 0}, {-1, 3}, {3, -1}, {0, 0}, {INT_MIN, 1}, {1, INT_MIN}};
    for (const SizedConstructor& sized : kSizedConstructors) {
        for (const Shape& shape : bad) {
            SCOPED_TRACE(std::string(sized.name) + ", " + std::to_string(shape.rows) + " x " +
                         std::to_string(shape.cols));
            expectRefusedUnallocated<InvalidSizeException>(kInvalidSize,
                                                           [&] { sized.construct(shape.rows, shape.cols); });
        }
    }
}

TEST(Matrix, LargestSizePassesTheCheckOfEachDimension)
{
    for (const SizedConstructor& sized : kSizedConstructors) {
        SCOPED_TRACE(sized.name);
        const FailingAllocator allocator(0);
        EXPECT_THAT([&] { sized.construct(INT_MAX, 1); }, ThrowsMessage<NotEnoughMemoryException>(kNoMemory));
        EXPECT_THAT([&] { sized.construct(1, INT_MAX); }, ThrowsMessage<NotEnoughMemoryException>(kNoMemory));
        EXPECT_TRUE(allocator.hasFailed());
    }
}

TEST(Matrix, EachConstructorTakesOneBlockAndLeaksNoneWhenItIsRefused)
{
    const Matrix source = counted(2, 3);
    const Array2D<double> array{{1, 2}, {3, 4}};
    expectAllocations(1, source, [] { Matrix(); });
    for (const SizedConstructor& sized : kSizedConstructors) {
        SCOPED_TRACE(sized.name);
        expectAllocations(1, source, [&] { sized.construct(2, 3); });
    }
    expectAllocations(1, source, [&] { Matrix{array}; });
    expectAllocations(1, source, [&] { Matrix{{1, 2}, {3, 4}}; });
    expectAllocations(1, source, [&] { Matrix copy(source); });
    expectAllocations(1, source, [&] { return source.Clone(); });
    expectAllocations(1, source, [&] { return source.CloneableClone(); });
}

TEST(Matrix, BlockHoldsTheCellsAndNothingMore)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    const Matrix A(7, 5);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 7 * 5 * 8);
    const Matrix smallest(1, 1);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 7 * 5 * 8 + 16);
}

// ---- construction: sizes whose product wraps

TEST(Matrix, ProductThatWrapsToZeroGivesNoCellsAndTheSmallestBlock)
{
    if constexpr (detail::kHardened) {
        expectRefusedUnallocated<InvalidOperationException>(kTooManyCells, [] { Matrix(65536, 65536); });
    } else {
        const std::int64_t before = TrellConfiguration::TotalMemory();
        Matrix A(65536, 65536);
        EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 16);
        EXPECT_EQ(A.Rows(), 65536);
        EXPECT_EQ(A.Cols(), 65536);
        EXPECT_TRUE(A.IsSquare());
        EXPECT_EQ(detail::DenseAccess::count(A), 0);
        A.Clear();
        A.FillRandom();
        const Matrix copy(A);
        EXPECT_EQ(copy.Rows(), 65536);
        EXPECT_EQ(detail::DenseAccess::count(copy), 0);
        EXPECT_EQ(detail::DenseAccess::count(Matrix(65536, 65536, 5.0)), 0);
    }
}

TEST(Matrix, ProductThatWrapsBelowZeroMeetsTheAllocator)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    if constexpr (detail::kHardened) {
        expectRefusedUnallocated<InvalidOperationException>(kTooManyCells, [] { Matrix(46341, 46341); });
    } else {
        EXPECT_THAT([] { Matrix(46341, 46341); }, ThrowsMessage<NotEnoughMemoryException>(kNoMemory));
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(Matrix, ResizeToAProductThatWrapsFollowsTheConstructors)
{
    Matrix A(1, 1, 5.0);
    const std::intptr_t address = A.DataPtr();
    if constexpr (detail::kHardened) {
        EXPECT_THAT([&] { A.Resize(46341, 46341); }, ThrowsMessage<InvalidOperationException>(kTooManyCells));
        EXPECT_THAT([&] { A.Resize(65536, 65536); }, ThrowsMessage<InvalidOperationException>(kTooManyCells));
    } else {
        EXPECT_THAT([&] { A.Resize(46341, 46341); }, ThrowsMessage<NotEnoughMemoryException>(kNoMemory));
    }
    EXPECT_EQ(A.DataPtr(), address);
    EXPECT_EQ(A.Rows(), 1);
    EXPECT_EQ(A(0, 0), 5.0);
    if constexpr (!detail::kHardened) {
        A.Resize(65536, 65536);
        EXPECT_EQ(A.Rows(), 65536);
        EXPECT_EQ(detail::DenseAccess::count(A), 0);
        EXPECT_EQ(A(0, 0), 5.0);
    }
}

// The block of such a matrix is shorter than its sizes tell: what stands past its end is not there to be
// written.
TEST(Matrix, CellsPastAWrappedBlockAreNotWritten)
{
    const Array2D<double> array{{1, 2, 3}, {4, 5, 6}};
    if constexpr (detail::kHardened) {
        expectRefusedUnallocated<InvalidOperationException>(kTooManyCells,
                                                            [&] { Matrix(array, 65536, 65536); });
        expectRefusedUnallocated<InvalidOperationException>(kTooManyCells,
                                                            [&] { Matrix(kFour, 65537, 65536); });
    } else {
        const Matrix fromArray(array, 65536, 65536), fromRows(kFour, 65537, 65536); // 0 cells, 65536 cells
        EXPECT_EQ(fromArray(0, 0), 1.0);
        EXPECT_EQ(fromArray(1, 0), 4.0);
        EXPECT_EQ(fromRows(0, 0), 1.0);
        EXPECT_EQ(detail::DenseAccess::count(fromRows), 65536);
        Matrix row(1, 65536, 5.0);
        row.Resize(65537, 65536);
        EXPECT_EQ(detail::DenseAccess::count(row), 65536);
        EXPECT_EQ(row(0, 0), 5.0);
    }
}

// ---- construction: diagonal

TEST(Matrix, DiagonalOfATallMatrixIsItsMainDiagonal)
{
    soilMemory(6);
    EXPECT_THAT(blockOf(Matrix(3, 2, 5.0)), ElementsAre(5, 0, 0, 0, 5, 0));
    EXPECT_THAT(blockOf(Matrix(4, 1, 5.0)), ElementsAre(5, 0, 0, 0));
    EXPECT_TRUE(identical(Matrix(7, 7, 1.0), identity(7)));
}

TEST(Matrix, DiagonalOfAWideMatrixStartsAgainInColumnRowsPlusOne)
{
    EXPECT_TRUE(identical(Matrix(2, 6, 5.0), {{5, 0, 0, 5, 0, 0}, {0, 5, 0, 0, 5, 0}}));
    EXPECT_TRUE(identical(Matrix(1, 5, 5.0), {{5, 0, 5, 0, 5}}));
    EXPECT_TRUE(identical(Matrix(2, 3, 5.0), {{5, 0, 0}, {0, 5, 0}}));
    EXPECT_TRUE(identical(Matrix(2, 4, 5.0), {{5, 0, 0, 5}, {0, 5, 0, 0}}));
}

TEST(Matrix, ZeroDiagonalGivesAllZeros)
{
    EXPECT_THAT(bitsOf(Matrix(3, 3, 0.0)), Each(0u));
}

TEST(Matrix, DiagonalTakesAnyValue)
{
    EXPECT_TRUE(identical(Matrix(2, 2, kNaN), {{kNaN, 0}, {0, kNaN}}));
    EXPECT_TRUE(identical(Matrix(2, 2, -1), {{-1, 0}, {0, -1}}));
}

// ---- construction: two-dimensional arrays

TEST(Matrix, ArrayIsCopiedWithRowsAsRows)
{
    const Array2D<double> array{{1, 2, 3}, {4, 5, 6}};
    const Matrix A(array);
    EXPECT_EQ(A.Rows(), 2);
    EXPECT_EQ(A.Cols(), 3);
    EXPECT_THAT(blockOf(A), ElementsAre(1, 4, 2, 5, 3, 6));
}

TEST(Matrix, LowerBoundsOfTheArrayAreHonoured)
{
    Array2D<double> array(2, 2, -3, 7);
    array(-3, 7) = 1;
    array(-3, 8) = 2;
    array(-2, 7) = 3;
    array(-2, 8) = 4;
    EXPECT_TRUE(identical(Matrix(array), {{1, 2}, {3, 4}}));
    EXPECT_TRUE(identical(Matrix(array, 3, 1), {{1}, {3}, {0}}));
    EXPECT_TRUE(identical(Matrix(array, 1, 3), {{1, 2, 0}}));
}

TEST(Matrix, ArrayWithoutRowsOrColumnsIsRefused)
{
    for (const Shape& shape : {Shape{0, 3}, Shape{3, 0}, Shape{0, 0}}) {
        SCOPED_TRACE(shape);
        const Array2D<double> array(shape.rows, shape.cols);
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { Matrix{array}; });
    }
    const Array2D<double> empty(0, 0);
    EXPECT_TRUE(identical(Matrix(empty, 2, 1), {{0}, {0}})); // the sizes that are checked are the given ones
}

TEST(Matrix, RaggedLiteralIsRefused)
{
    constexpr const char* text = "Rows of the array differ in length.";
    EXPECT_THAT(([] { Matrix{{1, 2}, {3}}; }), ThrowsMessage<ArgumentException>(text));
    EXPECT_THAT(([] { Matrix({{1, 2}, {3}}, 2, 2); }), ThrowsMessage<ArgumentException>(text));
}

TEST(Matrix, ArrayWithSizesKeepsTheOverlapAndIgnoresTheExcess)
{
    const Array2D<double> array{{1, 2, 3}, {4, 5, 6}};
    soilMemory(12);
    EXPECT_TRUE(identical(Matrix(array, 2, 3), {{1, 2, 3}, {4, 5, 6}}));
    EXPECT_TRUE(identical(Matrix(array, 1, 1), {{1}}));
    EXPECT_TRUE(identical(Matrix(array, 3, 4), {{1, 2, 3, 0}, {4, 5, 6, 0}, {0, 0, 0, 0}}));
    EXPECT_TRUE(identical(Matrix(array, 4, 2), {{1, 2}, {4, 5}, {0, 0}, {0, 0}}));
    EXPECT_TRUE(identical(Matrix(array, 1, 5), {{1, 2, 3, 0, 0}}));
}

TEST(Matrix, ThreeByOneArrayInATwoByTwoMatrixFillsColumnZeroAlone)
{
    const Array2D<double> array{{1}, {2}, {3}};
    EXPECT_TRUE(identical(Matrix(array, 2, 2), {{1, 0}, {2, 0}}));
}

TEST(Matrix, ArrayOfAnyShapeIsCopiedCellByCell)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        Array2D<double> array(shape.rows, shape.cols, 1, 1);
        for (int r = 0; r < shape.rows; ++r) {
            for (int c = 0; c < shape.cols; ++c) array(r + 1, c + 1) = 1000.0 * r + c;
        }
        const Matrix A(array);
        for (int r = 0; r < shape.rows; ++r) {
            for (int c = 0; c < shape.cols; ++c) ASSERT_EQ(A(r, c), 1000.0 * r + c);
        }
    }
}

// ---- construction: flat arrays

TEST(Matrix, FlatArrayIsReadRowAfterRow)
{
    soilMemory(6);
    const Matrix expected{{1, 2, 3}, {4, 0, 0}};
    EXPECT_TRUE(identical(Matrix(kFour, 2, 3), expected));
    EXPECT_TRUE(identical(Matrix({1, 2, 3, 4}, 2, 3), expected));
    EXPECT_TRUE(identical(Matrix(kFour, 2, 3, StorageOrder::RowMajor), expected));
    EXPECT_TRUE(identical(Matrix({1, 2, 3, 4}, 2, 3, StorageOrder::RowMajor), expected));
}

TEST(Matrix, ColumnMajorFlatArrayIsCopiedStraight)
{
    soilMemory(6);
    const Matrix expected{{1, 3, 0}, {2, 4, 0}};
    EXPECT_TRUE(identical(Matrix(kFour, 2, 3, StorageOrder::ColumnMajor), expected));
    EXPECT_TRUE(identical(Matrix({1, 2, 3, 4}, 2, 3, StorageOrder::ColumnMajor), expected));
}

TEST(Matrix, SeventhValueOfASixCellMatrixIsIgnored)
{
    const std::vector<double> seven{1, 2, 3, 4, 5, 6, 7};
    EXPECT_TRUE(identical(Matrix(seven, 2, 3), {{1, 2, 3}, {4, 5, 6}}));
    EXPECT_TRUE(identical(Matrix(seven, 2, 3, StorageOrder::ColumnMajor), {{1, 3, 5}, {2, 4, 6}}));
}

TEST(Matrix, FlatArrayOfEveryLengthFillsInTheOrderOfVisit)
{
    for (const Shape& shape : {Shape{1, 1}, Shape{3, 5}, Shape{5, 3}, Shape{1, 7}, Shape{7, 1}}) {
        for (int length = 1; length <= shape.rows * shape.cols + 3; ++length) {
            SCOPED_TRACE(length);
            const std::vector<double> values = blockOf(counted(length));
            const auto expected = [&](int k) { return k < length ? k + 1.0 : 0.0; };
            const Matrix byRows(values, shape.rows, shape.cols);
            const Matrix byColumns(values, shape.rows, shape.cols, StorageOrder::ColumnMajor);
            for (int r = 0; r < shape.rows; ++r) {
                for (int c = 0; c < shape.cols; ++c) {
                    ASSERT_EQ(byRows(r, c), expected(r * shape.cols + c));
                    ASSERT_EQ(byColumns(r, c), expected(r + shape.rows * c));
                }
            }
        }
    }
}

TEST(Matrix, EmptyFlatArrayFailsInRowMajorAndGivesZerosInColumnMajor)
{
    const std::vector<double> empty;
    constexpr const char* text = "Index was outside the bounds of the array.";
    EXPECT_THAT([&] { Matrix(empty, 2, 3); }, ThrowsMessage<IndexOutOfRangeException>(text));
    EXPECT_THAT([&] { Matrix(empty, 2, 3, StorageOrder::RowMajor); },
                ThrowsMessage<IndexOutOfRangeException>(text));
    soilMemory(6);
    EXPECT_THAT(bitsOf(Matrix(empty, 2, 3, StorageOrder::ColumnMajor)), Each(0u));
}

TEST(Matrix, StorageOrderOutsideItsMembersGivesZeros)
{
    for (const int order : {2, -1, INT_MAX}) {
        soilMemory(6);
        EXPECT_THAT(bitsOf(Matrix(kFour, 2, 3, static_cast<StorageOrder>(order))), Each(0u));
        EXPECT_THAT(bitsOf(Matrix(std::vector<double>(), 2, 3, static_cast<StorageOrder>(order))), Each(0u));
    }
}

// ---- construction: raw blocks, inside the library

TEST(Matrix, InternalPointerFormCopiesRowsTimesColsCellsAndLeavesTheSource)
{
    std::vector<double> source{1, 2, 3, 4, 5, 6, 7};
    const std::int64_t before = TrellConfiguration::TotalMemory();
    Matrix A = detail::DenseAccess::copyOf(source.data(), 2, 3);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 48);
    EXPECT_TRUE(identical(A, {{1, 3, 5}, {2, 4, 6}}));
    A(0, 0) = 9;
    EXPECT_THAT(source, ElementsAre(1, 2, 3, 4, 5, 6, 7));
}

TEST(Matrix, AdoptedBlockIsNotCopied)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        auto block = detail::Block<double>::zeroed(6);
        double* const cells = block.get();
        const Matrix A = detail::DenseAccess::adopt(std::move(block), 2, 3);
        EXPECT_EQ(A.DataPtr(), reinterpret_cast<std::intptr_t>(cells));
        EXPECT_FALSE(block);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

// ---- value semantics

TEST(Matrix, CopyIsIndependentAndEqualToTheBit)
{
    Matrix A{{1, kNaN}, {-0.0, 4}};
    const Matrix copy(A), clone = A.Clone();
    Matrix assigned;
    assigned = A;
    for (const Matrix* other : {&copy, &clone, static_cast<const Matrix*>(&assigned)}) {
        EXPECT_NE(other->DataPtr(), A.DataPtr());
        EXPECT_EQ(other->Rows(), 2);
        EXPECT_EQ(other->Cols(), 2);
        EXPECT_EQ(bitsOf(*other), bitsOf(A));
    }
    A(0, 0) = 7;
    EXPECT_EQ(copy(0, 0), 1);
    EXPECT_EQ(clone(0, 0), 1);
    EXPECT_EQ(assigned(0, 0), 1);
}

TEST(Matrix, CloneableCloneHoldsAnIndependentMatrix)
{
    const Matrix A = counted(2, 3);
    const std::any clone = A.CloneableClone();
    EXPECT_TRUE(identical(std::any_cast<const Matrix&>(clone), A));
    EXPECT_NE(std::any_cast<const Matrix&>(clone).DataPtr(), A.DataPtr());
}

TEST(Matrix, MoveHandsTheBlockOverAndLeavesTheSourceReleasedWithItsSizes)
{
    static_assert(std::is_nothrow_move_constructible_v<Matrix> && std::is_nothrow_move_assignable_v<Matrix>);
    Matrix A = counted(2, 3);
    const std::intptr_t address = A.DataPtr();
    Matrix B(std::move(A));
    EXPECT_EQ(B.DataPtr(), address);
    EXPECT_TRUE(identical(B, counted(2, 3)));
    EXPECT_EQ(A.DataPtr(), 0);
    EXPECT_EQ(A.Rows(), 2);
    EXPECT_EQ(A.Cols(), 3);
    A.Dispose();
    A = counted(1, 2); // and lives again
    EXPECT_TRUE(identical(A, counted(1, 2)));

    Matrix C;
    C = std::move(B);
    EXPECT_EQ(C.DataPtr(), address);
    EXPECT_EQ(C.Rows(), 2);
    EXPECT_EQ(C.Cols(), 3);
    EXPECT_EQ(B.DataPtr(), 0);
    EXPECT_EQ(B.Rows(), 2);
}

TEST(Matrix, SelfAssignmentKeepsTheCells)
{
    Matrix A = counted(2, 3);
    Matrix& same = A;
    A = same;
    EXPECT_TRUE(identical(A, counted(2, 3)));
    A = std::move(same);
    EXPECT_TRUE(identical(A, counted(2, 3)));
}

TEST(Matrix, AssignmentReleasesTheOldBlock)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        Matrix A(10, 10);
        A = Matrix(2, 2);
        EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 32);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(Matrix, RefusedCopyAssignmentLeavesTheTargetAsItWas)
{
    const Matrix source = counted(3, 3);
    Matrix target = counted(2, 2);
    const std::intptr_t address = target.DataPtr();
    {
        const FailingAllocator allocator(0);
        EXPECT_THROW(target = source, NotEnoughMemoryException);
    }
    EXPECT_EQ(target.DataPtr(), address);
    EXPECT_TRUE(identical(target, counted(2, 2)));
}

TEST(Matrix, DisposeReleasesAtOnceMayBeRepeatedAndKeepsTheSizes)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    Matrix A(4, 5);
    for (int i = 0; i < 2; ++i) {
        A.Dispose();
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
        EXPECT_EQ(A.DataPtr(), 0);
        EXPECT_EQ(A.Rows(), 4);
        EXPECT_EQ(A.Cols(), 5);
        EXPECT_FALSE(A.IsSquare());
    }
    EXPECT_EQ(detail::DenseAccess::count(A), 20);
    A.Resize(4, 5); // the same size: returns before it looks at the block
    EXPECT_EQ(A.DataPtr(), 0);
}

TEST(Matrix, UseAfterReleaseIsTheCallersFaultAndTheHardenedBuildTellsIt)
{
    Matrix A(2, 2);
    const Matrix B = counted(2, 2);
    A.Dispose();
    if constexpr (detail::kHardened) {
        const std::vector<std::function<void()>> uses{
            [&] { return A.Item(0, 0); }, [&] { A.Item(0, 0, 1.0); }, [&] { A(0, 0) = 1.0; },
            [&] { return A.ToArray(); },  [&] { return A.Clone(); },  [&] { A.Clear(); },
            [&] { A.Resize(3, 3); },      [&] { A.FillRandom(); },    [&] { return A.Transpose(); },
            [&] { return -A; },           [&] { return A + B; },      [&] { return A * B; },
            [&] { return B * A; },        [&] { return A * 2.0; },    [&] { return A * Vector(2); },
        };
        for (const auto& use : uses) EXPECT_THAT(use, ThrowsMessage<InvalidOperationException>(kReleased));
    }
    A = B; // a value may always be assigned
    EXPECT_TRUE(identical(A, B));
}

// ---- access

TEST(Matrix, ItemReadsAndWritesRowAndColumn)
{
    Matrix A(2, 3);
    A.Item(1, 2, 5.0);
    A(0, 1) = 7.0;
    EXPECT_EQ(A.Item(1, 2), 5.0);
    EXPECT_EQ(A.Item(0, 1), 7.0);
    EXPECT_EQ(std::as_const(A)(1, 2), 5.0);
    EXPECT_THAT(blockOf(A), ElementsAre(0, 0, 7, 0, 0, 5));
}

TEST(Matrix, BlockIsColumnAfterColumnWithoutPadding)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        Matrix A(shape.rows, shape.cols);
        for (int r = 0; r < shape.rows; ++r) {
            for (int c = 0; c < shape.cols; ++c) A(r, c) = r + 1000.0 * c;
        }
        const std::vector<double> block = blockOf(A);
        for (std::size_t k = 0; k < block.size(); ++k) {
            const int r = static_cast<int>(k) % shape.rows, c = static_cast<int>(k) / shape.rows;
            ASSERT_EQ(block[k], r + 1000.0 * c);
        }
        EXPECT_EQ(A.DataPtr() % 16, 0);
    }
}

TEST(Matrix, RowIndexIsTestedBeforeColumnIndexAndAFailingWriteChangesNothing)
{
    Matrix A = counted(2, 3);
    const Matrix& constant = A;
    struct Case {
        int row, col;
        const char* text;
    };
    for (const Case& c : {Case{-1, 0, kRowIndex}, Case{2, 0, kRowIndex}, Case{INT_MAX, 0, kRowIndex},
                          Case{INT_MIN, 0, kRowIndex}, Case{2, 3, kRowIndex}, Case{-1, -1, kRowIndex},
                          Case{0, -1, kColumnIndex}, Case{1, 3, kColumnIndex}, Case{0, INT_MAX, kColumnIndex},
                          Case{1, INT_MIN, kColumnIndex}}) {
        SCOPED_TRACE(std::to_string(c.row) + ", " + std::to_string(c.col));
        EXPECT_THAT([&] { return A.Item(c.row, c.col); }, ThrowsMessage<IndexOutOfBoundsException>(c.text));
        EXPECT_THAT([&] { A.Item(c.row, c.col, 9.0); }, ThrowsMessage<IndexOutOfBoundsException>(c.text));
        EXPECT_THAT([&] { A(c.row, c.col) = 9.0; }, ThrowsMessage<IndexOutOfBoundsException>(c.text));
        EXPECT_THAT([&] { return constant(c.row, c.col); }, ThrowsMessage<IndexOutOfBoundsException>(c.text));
    }
    EXPECT_TRUE(identical(A, counted(2, 3)));
}

TEST(Matrix, IsSquareComparesRowsAndColumns)
{
    EXPECT_TRUE(Matrix(4, 4).IsSquare());
    EXPECT_FALSE(Matrix(4, 5).IsSquare());
    EXPECT_FALSE(Matrix(5, 4).IsSquare());
}

TEST(Matrix, DataPtrServesACallersOwnCode)
{
    Matrix A = counted(2, 2);
    reinterpret_cast<double*>(A.DataPtr())[2] = 30.0;
    EXPECT_EQ(A(0, 1), 30.0);
}

TEST(Matrix, ToArrayAndTheConversionGiveAZeroBasedArray)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = counted(shape.rows, shape.cols);
        const Array2D<double> array = A.ToArray(), converted = A;
        EXPECT_EQ(array.Rows(), shape.rows);
        EXPECT_EQ(array.Cols(), shape.cols);
        EXPECT_EQ(array.LowerBound(0), 0);
        EXPECT_EQ(array.LowerBound(1), 0);
        for (int r = 0; r < shape.rows; ++r) {
            for (int c = 0; c < shape.cols; ++c) ASSERT_EQ(array(r, c), A(r, c));
        }
        EXPECT_EQ(converted, array);
        EXPECT_TRUE(identical(Matrix(array), A));
    }
}

TEST(Matrix, ToArrayCopiesBits)
{
    Matrix A(3, 2);
    const std::uint64_t bits[] = {
        0x7ff0000000000001, 0xfff4000000000abc, 0x7ff8000000000002, // NaN, first two signalling
        0x8000000000000000, 0x0000000000000001, 0x7fefffffffffffff};
    std::memcpy(reinterpret_cast<void*>(A.DataPtr()), bits, sizeof(bits));
    const Array2D<double> array = A.ToArray();
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 2; ++c) {
            std::uint64_t cell = 0;
            std::memcpy(&cell, array.Row(r) + c, sizeof(cell));
            EXPECT_EQ(cell, bits[r + 3 * c]);
        }
    }
}

TEST(Matrix, ToArrayIsIndependentAndTakesNoBlock)
{
    const Matrix A = counted(2, 2);
    expectAllocations(0, A, [&] { return A.ToArray(); });
    Array2D<double> array = A;
    array(0, 0) = 9;
    EXPECT_EQ(A(0, 0), 1);
}

// ---- size

TEST(Matrix, ClearZeroesTheCellsAndKeepsSizeAndBlock)
{
    Matrix A{{1, kNaN, -0.0}, {4, 5, 6}};
    const std::intptr_t address = A.DataPtr();
    A.Clear();
    EXPECT_THAT(bitsOf(A), ElementsAre(0u, 0u, 0u, 0u, 0u, 0u));
    EXPECT_EQ(A.DataPtr(), address);
    EXPECT_EQ(A.Rows(), 2);
    EXPECT_EQ(A.Cols(), 3);
}

TEST(Matrix, ResizeToTheSameSizeKeepsTheBlock)
{
    Matrix A = counted(2, 3);
    const std::intptr_t address = A.DataPtr();
    expectAllocations(0, A, [&] { A.Resize(2, 3); });
    expectAllocations(0, A, [&] { A.Rows(2); });
    expectAllocations(0, A, [&] { A.Cols(3); });
    EXPECT_EQ(A.DataPtr(), address);
    EXPECT_TRUE(identical(A, counted(2, 3)));
}

TEST(Matrix, ResizeBelowOneFailsBeforeAnythingIsAllocatedAndChangesNothing)
{
    Matrix A = counted(3, 3);
    const std::intptr_t address = A.DataPtr();
    for (const Shape& shape :
         {Shape{0, 0}, Shape{0, 3}, Shape{3, 0}, Shape{-1, 3}, Shape{3, -1}, Shape{INT_MIN, INT_MIN}}) {
        SCOPED_TRACE(shape);
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize,
                                                       [&] { A.Resize(shape.rows, shape.cols); });
    }
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { A.Rows(0); });
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { A.Cols(-1); });
    EXPECT_EQ(A.DataPtr(), address);
    EXPECT_TRUE(identical(A, counted(3, 3)));
}

TEST(Matrix, GrowingKeepsPositionsAndFillsWithZeros)
{
    Matrix A{{1, 2}, {3, 4}};
    const std::intptr_t address = A.DataPtr();
    soilMemory(9);
    A.Resize(3, 3);
    EXPECT_TRUE(identical(A, {{1, 2, 0}, {3, 4, 0}, {0, 0, 0}}));
    EXPECT_NE(A.DataPtr(), address);
}

TEST(Matrix, ResizeKeepsTheOverlapForEveryPairOfShapes)
{
    for (const Shape& from : {Shape{1, 1}, Shape{2, 5}, Shape{5, 2}, Shape{4, 4}, Shape{65, 3}}) {
        for (const Shape& to : {Shape{1, 1}, Shape{2, 5}, Shape{5, 2}, Shape{4, 4}, Shape{3, 65}}) {
            Matrix A = counted(from.rows, from.cols);
            const Matrix old = A;
            const std::int64_t before = TrellConfiguration::TotalMemory();
            soilMemory(to.rows * to.cols);
            A.Resize(to.rows, to.cols);
            EXPECT_EQ(TrellConfiguration::TotalMemory() - before,
                      std::max(16, 8 * to.rows * to.cols) - std::max(16, 8 * from.rows * from.cols));
            ASSERT_EQ(A.Rows(), to.rows);
            ASSERT_EQ(A.Cols(), to.cols);
            EXPECT_EQ(detail::DenseAccess::count(A), to.rows * to.cols);
            for (int r = 0; r < to.rows; ++r) {
                for (int c = 0; c < to.cols; ++c) {
                    ASSERT_EQ(A(r, c), r < from.rows && c < from.cols ? old(r, c) : 0.0);
                }
            }
        }
    }
}

TEST(Matrix, RowsAndColsSettersResizeOneDimension)
{
    Matrix A{{1, 2}, {3, 4}};
    A.Rows(3);
    EXPECT_TRUE(identical(A, {{1, 2}, {3, 4}, {0, 0}}));
    A.Cols(1);
    EXPECT_TRUE(identical(A, {{1}, {3}, {0}}));
    A.Rows(1);
    A.Cols(2);
    EXPECT_TRUE(identical(A, {{1, 0}}));
}

TEST(Matrix, RefusedResizeLeavesTheObjectAsItWas)
{
    Matrix A = counted(2, 3);
    expectAllocations(1, A, [&] { A.Resize(4, 4); });
    expectAllocations(1, A, [&] { A.Rows(2); });
    expectAllocations(1, A, [&] { A.Cols(3); });
    EXPECT_TRUE(identical(A, counted(2, 3))); // each passed in the end
}

// ---- random fill

TEST(Matrix, FillRandomDrawsColumnAfterColumn)
{
    Matrix A(3, 4);
    const std::intptr_t address = A.DataPtr();
    for (const int decimals : {0, 2, 15}) {
        const std::vector<double> expected = valuesFromTheStart(12, -1.0, 3.0, decimals);
        A.FillRandom(-1.0, 3.0, decimals);
        EXPECT_EQ(blockOf(A), expected);
    }
    EXPECT_EQ(A.DataPtr(), address);
}

TEST(Matrix, FillRandomWithoutArgumentsGivesWholeNumbersFromZeroToTen)
{
    Matrix A(40, 40);
    const std::vector<double> expected = valuesFromTheStart(1600, 0.0, 10.0, 0);
    A.FillRandom();
    EXPECT_EQ(blockOf(A), expected);
    std::vector<double> values = blockOf(A);
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    EXPECT_THAT(values, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10));
}

TEST(Matrix, FillRandomBetweenZeroAndOneGivesOnlyThoseTwo)
{
    Matrix A(40, 40);
    A.FillRandom(0.0, 1.0);
    std::vector<double> values = blockOf(A);
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    EXPECT_THAT(values, ElementsAre(0, 1));
}

TEST(Matrix, FillRandomTakesANegativeRangeAndRunsDownward)
{
    Matrix A(40, 40);
    const std::vector<double> expected = valuesFromTheStart(1600, 5.0, 1.0, 2);
    A.FillRandom(5.0, 1.0, 2);
    EXPECT_EQ(blockOf(A), expected);
    const std::vector<double> cells = blockOf(A);
    const auto [least, greatest] = std::minmax_element(cells.begin(), cells.end());
    EXPECT_GE(*least, 1.0);
    EXPECT_LT(*least, 1.1);
    EXPECT_LE(*greatest, 5.0);
    EXPECT_GT(*greatest, 4.9);
    EXPECT_TRUE(std::all_of(cells.begin(), cells.end(),
                            [](double x) { return std::nearbyint(x * 100.0) / 100.0 == x; }));
    EXPECT_FALSE(std::all_of(cells.begin(), cells.end(),
                             [](double x) { return std::nearbyint(x * 10.0) / 10.0 == x; }));
}

TEST(Matrix, FillRandomSharesOneGeneratorWithVector)
{
    const detail::Random start = detail::RandomServer::GetRandom();
    Matrix A(2, 3), B(2, 3);
    Vector x(6), y(4);
    A.FillRandom(0.0, 1.0, 15);
    y.FillRandom(0.0, 1.0, 15);
    detail::RandomServer::GetRandom() = start;
    x.FillRandom(0.0, 1.0, 15);
    EXPECT_EQ(blockOf(x), blockOf(A));
    B.FillRandom(0.0, 1.0, 15);
    EXPECT_THAT(blockOf(y), ElementsAre(B(0, 0), B(1, 0), B(0, 1), B(1, 1)));
}

TEST(Matrix, FillRandomWithBadDecimalsFailsOnTheFirstCellAndLeavesTheBlock)
{
    Matrix A = counted(2, 3);
    for (const int decimals : {-1, 16, INT_MAX, INT_MIN}) {
        EXPECT_THAT([&] { A.FillRandom(0.0, 1.0, decimals); },
                    ThrowsMessage<ArgumentOutOfRangeException>(
                        "Rounding digits must be between 0 and 15, inclusive."));
        EXPECT_TRUE(identical(A, counted(2, 3)));
    }
}

// ---- conversions and literals

TEST(Matrix, ConvertsFromArraysAndVectorsAndToArraysAlone)
{
    static_assert(std::is_convertible_v<Array2D<double>, Matrix>);
    static_assert(std::is_convertible_v<Matrix, Array2D<double>>);
    static_assert(std::is_convertible_v<Vector, Matrix>);
    static_assert(!std::is_convertible_v<std::vector<double>, Matrix>);
    static_assert(!std::is_constructible_v<Matrix, std::vector<double>>);
    static_assert(!std::is_convertible_v<Matrix, std::vector<double>>);
    static_assert(!std::is_constructible_v<Vector, Matrix>);
    static_assert(!std::is_convertible_v<int, Matrix> && !std::is_constructible_v<Matrix, int>);
    static_assert(!std::is_constructible_v<Matrix, double*, int, int>);
    static_assert(!std::is_constructible_v<Matrix, std::nullptr_t, int, int>);

    const Array2D<double> array{{1, 2}, {3, 4}};
    const Matrix fromArray = array, fromLiteral = {{1, 2}, {3, 4}};
    const std::vector<std::vector<double>> nested{{1, 2}, {3, 4}};
    EXPECT_TRUE(identical(fromArray, fromLiteral));
    EXPECT_TRUE(identical(Matrix(nested), fromLiteral));
    Matrix assigned;
    assigned = {{1, 2}, {3, 4}};
    EXPECT_TRUE(identical(assigned, fromLiteral));
    assigned = Array2D<double>{{5}};
    EXPECT_TRUE(identical(assigned, {{5}}));
    Array2D<double> back(1, 1);
    back = fromLiteral;
    EXPECT_EQ(back, array);
}

TEST(Matrix, ConvertsFromAVectorAsOneColumn)
{
    const Vector x{1, 2, 3};
    const Matrix copied = x, direct(x), braced{x};
    Matrix assigned;
    assigned = x;
    for (const Matrix* A : {&copied, &direct, &braced, static_cast<const Matrix*>(&assigned)}) {
        EXPECT_TRUE(identical(*A, {{1}, {2}, {3}}));
    }
}

// Whether a list of plain numbers is silently taken for a matrix.
template <class T>
concept TakesNumbers = requires(void (*function)(const T&))
{
    function({1, 2});
};
template <class T>
concept TakesThreeNumbers = requires(void (*function)(const T&))
{
    function({1, 2, 3});
};

TEST(Matrix, BracesTellValuesFromSizes)
{
    static_assert(!TakesNumbers<Matrix> && !TakesThreeNumbers<Matrix>);
    static_assert(!TakesNumbers<Array2D<double>>);
    static_assert(TakesNumbers<Vector> && TakesThreeNumbers<Vector>);
    const int n = 2;
    EXPECT_TRUE(identical(Matrix(2, 3), Matrix(2, 3, 0.0)));
    EXPECT_TRUE(identical(Matrix{2, 3}, Matrix(2, 3, 0.0)));
    EXPECT_TRUE(identical(Matrix{n, n}, Matrix(2, 2, 0.0)));
    EXPECT_TRUE(identical(Matrix{{2, 3}}, Matrix(std::vector<double>{2, 3}, 1, 2)));
    EXPECT_TRUE(identical(Matrix{{2}, {3}}, Matrix(std::vector<double>{2, 3}, 2, 1)));
    EXPECT_TRUE(identical(Matrix(2, 2, 5), Matrix{{5, 0}, {0, 5}}));
    EXPECT_TRUE(identical(Matrix({1, 2}, 2, 2), Matrix{{1, 2}, {0, 0}}));
    EXPECT_TRUE(identical(Matrix({{1, 2}, {3, 4}}, 1, 3), Matrix{{1, 2, 0}}));
}

TEST(Matrix, FlatSourcesMayBeAnyRunOfDoubles)
{
    const Matrix expected{{1, 2}, {3, 4}};
    const double plain[] = {1, 2, 3, 4};
    const std::array<double, 4> array{1, 2, 3, 4};
    const std::initializer_list<double> list{1, 2, 3, 4};
    EXPECT_TRUE(identical(Matrix(kFour, 2, 2), expected));
    EXPECT_TRUE(identical(Matrix{kFour, 2, 2}, expected));
    EXPECT_TRUE(identical(Matrix(plain, 2, 2), expected));
    EXPECT_TRUE(identical(Matrix(array, 2, 2), expected));
    EXPECT_TRUE(identical(Matrix(list, 2, 2), expected));
    EXPECT_TRUE(identical(Matrix(std::span(plain).first(3), 2, 2), Matrix{{1, 2}, {3, 0}}));
}

} // namespace
} // namespace Velmar::Lintrix
