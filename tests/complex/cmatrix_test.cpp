// Life and access of CMatrix.

#include "tests/complex/complex_support.h"

#include <lintrix/complex/access.h>

#include <climits>
#include <functional>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using detail::ComplexAccess;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr const char* kInvalidSize = "Invalid number of rows or columns.";
constexpr const char* kSizeMismatch = "Matrix sizes do not match.";
constexpr const char* kRowIndex = "Row index exceeds matrix size.";
constexpr const char* kColumnIndex = "Column index exceeds matrix size.";
constexpr const char* kReleased = "The object was used after its release.";
constexpr const char* kTooManyCells = "The matrix would have more than 2147483647 cells.";

const std::vector<Complex> kFour{{1, -1}, 2, {3, 5}, 4};

// ---- construction: sizes

TEST(CMatrix, DefaultIsThreeByThreeZeros)
{
    soilMemory(18);
    const CMatrix A;
    EXPECT_EQ(A.Rows(), 3);
    EXPECT_EQ(A.Cols(), 3);
    EXPECT_EQ(bitsOf(A), std::vector<std::uint64_t>(18));
}

TEST(CMatrix, SizesGiveZerosAlsoInUsedMemory)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        soilMemory(2 * shape.rows * shape.cols);
        const CMatrix A(shape.rows, shape.cols);
        EXPECT_EQ(A.Rows(), shape.rows);
        EXPECT_EQ(A.Cols(), shape.cols);
        EXPECT_THAT(bitsOf(A), Each(0u));
    }
}

struct SizedConstructor {
    const char* name;
    std::function<void(int rows, int cols)> construct;
};
const std::vector<SizedConstructor> kSizedConstructors{
    {"sizes", [](int rows, int cols) { CMatrix(rows, cols); }},
    {"diagonal", [](int rows, int cols) { CMatrix(rows, cols, kI); }},
    {"array",
     [](int rows, int cols) {
         CMatrix(Array2D<Complex>{{1, 2}, {3, 4}}, rows, cols);
     }},
    {"flat array", [](int rows, int cols) { CMatrix(kFour, rows, cols); }},
    {"flat literal",
     [](int rows, int cols) {
         CMatrix({1, kI, 3, 4}, rows, cols);
     }},
    {"column-major", [](int rows, int cols) { CMatrix(kFour, rows, cols, StorageOrder::ColumnMajor); }},
    {"literal with order",
     [](int rows, int cols) {
         CMatrix({1, 2}, rows, cols, StorageOrder::RowMajor);
     }},
};

TEST(CMatrix, SizeBelowOneIsRefusedBeforeAnythingIsAllocated)
{
    const std::vector<Shape> bad{{0, 3}, {3, 0}, {-1, 3}, {3, -1}, {0, 0}, {INT_MIN, 1}, {1, INT_MIN}};
    for (const SizedConstructor& sized : kSizedConstructors) {
        for (const Shape& shape : bad) {
            SCOPED_TRACE(sized.name);
            expectRefusedUnallocated<InvalidSizeException>(kInvalidSize,
                                                           [&] { sized.construct(shape.rows, shape.cols); });
        }
    }
}

TEST(CMatrix, EachConstructorTakesOneBlockAndLeaksNoneWhenItIsRefused)
{
    const CMatrix A = countedComplex(2, 3);
    for (const SizedConstructor& sized : kSizedConstructors) {
        expectAllocations(1, A, [&] { sized.construct(3, 4); });
        const FailingAllocator allocator(0);
        EXPECT_THROW(sized.construct(INT_MAX, 1), NotEnoughMemoryException);
        EXPECT_THROW(sized.construct(1, INT_MAX), NotEnoughMemoryException);
    }
    const Matrix R = counted(2, 3);
    expectAllocations(1, A, [&] { CMatrix(); });
    expectAllocations(1, A, [&] { CMatrix(R, R); });
    expectAllocations(1, A, [&] { CMatrix{A}; });
    expectAllocations(1, A, [&] { A.Clone(); });
    expectAllocations(1, A, [&] { R.ToCMatrix(); });
    expectAllocations(1, A, [&] { A.Real(); });
    expectAllocations(1, A, [&] { A.Imag(); });
    const std::int64_t before = TrellConfiguration::TotalMemory();
    const CMatrix B(3, 5);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 3 * 5 * 16);
}

TEST(CMatrix, ProductThatWrapsGivesNoCellsOrMeetsTheAllocator)
{
    if constexpr (detail::kHardened) {
        for (const auto& construct : {std::pair(65536, 65536), std::pair(46341, 46341)}) {
            EXPECT_THAT([&] { CMatrix(construct.first, construct.second); },
                        ThrowsMessage<InvalidOperationException>(kTooManyCells));
        }
    } else {
        const std::int64_t before = TrellConfiguration::TotalMemory();
        const CMatrix A(65536, 65536);
        EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 16);
        EXPECT_EQ(A.Rows(), 65536);
        expectRefusedByTheAllocator([] { CMatrix(46341, 46341); });
    }
}

// ---- construction: contents

TEST(CMatrix, DiagonalWalksToTheEndOfTheBlock)
{
    const CMatrix tall(3, 2, kI), wide(2, 6, kI);
    EXPECT_THAT(blockOf(tall), ElementsAre(kI, Complex(), Complex(), Complex(), kI, Complex()));
    for (int r = 0; r < 2; ++r) {
        for (int c = 0; c < 6; ++c) EXPECT_EQ(wide(r, c), c % 3 == r ? kI : Complex());
    }
    EXPECT_THAT(blockOf(CMatrix(3, 3, 0.0)), Each(Complex()));
}

TEST(CMatrix, RealAndImaginaryPartsMakeACMatrixAndComeBack)
{
    std::mt19937_64 generator(1);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix R = randomMatrix(shape, generator), I = randomMatrix(shape, generator);
        const CMatrix A(R, I);
        EXPECT_EQ(A.Rows(), shape.rows);
        EXPECT_EQ(A.Cols(), shape.cols);
        EXPECT_EQ(A(shape.rows - 1, shape.cols / 2),
                  Complex(R(shape.rows - 1, shape.cols / 2), I(shape.rows - 1, shape.cols / 2)));
        EXPECT_TRUE(identical(A.Real(), R));
        EXPECT_TRUE(identical(A.Imag(), I));
    }
    const Matrix odd{{-0.0, kInf, kNaN}};
    EXPECT_EQ(bitsOf(CMatrix(odd, -odd).Real()), bitsOf(odd));
    EXPECT_EQ(bitsOf(CMatrix(odd, -odd).Imag()), bitsOf(-odd));
}

TEST(CMatrix, PartsOfDifferentShapesAreRefusedBeforeAnythingIsAllocated)
{
    const Matrix A(2, 3);
    for (const Shape& shape : {Shape{3, 3}, Shape{2, 2}, Shape{3, 2}, Shape{6, 1}}) {
        const Matrix B(shape.rows, shape.cols);
        expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, [&] { CMatrix(A, B); });
        expectRefusedUnallocated<SizeMismatchException>(kSizeMismatch, [&] { CMatrix(B, A); });
    }
}

TEST(CMatrix, RealMatrixTurnsComplexWithZeroImaginaryParts)
{
    for (const Shape& shape : allShapes()) {
        const Matrix R = counted(shape.rows, shape.cols);
        const CMatrix A = R.ToCMatrix();
        EXPECT_TRUE(identical(A.Real(), R));
        EXPECT_EQ(bitsOf(A.Imag()), bitsOf(Matrix(shape.rows, shape.cols)));
    }
    EXPECT_EQ(bitsOf((Matrix{{-0.0}}.ToCMatrix())), bitsOfCells({{-0.0, 0.0}}));
}

TEST(CMatrix, ArraysAreCopiedWithRowsAsRows)
{
    const CMatrix A{{1, kI, 3}, {4, {5, 6}, 7}};
    EXPECT_THAT(blockOf(A), ElementsAre(Complex(1), Complex(4), kI, Complex(5, 6), Complex(3), Complex(7)));
    Array2D<Complex> bounded(2, 1, -3, 5);
    bounded(-3, 5) = kI;
    bounded(-2, 5) = 2.0;
    EXPECT_THAT(blockOf(CMatrix(bounded)), ElementsAre(kI, Complex(2)));
    EXPECT_THAT(blockOf(CMatrix(bounded, 1, 2)), ElementsAre(kI, Complex()));
    EXPECT_THAT(blockOf(CMatrix(bounded, 3, 1)), ElementsAre(kI, Complex(2), Complex()));
    EXPECT_THAT([] { CMatrix(Array2D<Complex>(0, 2)); }, ThrowsMessage<InvalidSizeException>(kInvalidSize));
    EXPECT_THAT(([] {
                    CMatrix{{1, 2}, {3}};
                }),
                ThrowsMessage<ArgumentException>("Rows of the array differ in length."));
}

TEST(CMatrix, FlatArraysAreReadByOrder)
{
    const CMatrix rows(kFour, 2, 3), columns(kFour, 2, 3, StorageOrder::ColumnMajor);
    EXPECT_EQ(rows, (CMatrix{{kFour[0], kFour[1], kFour[2]}, {kFour[3], 0, 0}}));
    EXPECT_EQ(columns, (CMatrix{{kFour[0], kFour[2], 0}, {kFour[1], kFour[3], 0}}));
    EXPECT_EQ(CMatrix(kFour, 2, 3, StorageOrder::RowMajor), rows);
    EXPECT_EQ(CMatrix(kFour, 1, 3), (CMatrix{{kFour[0], kFour[1], kFour[2]}})); // the surplus is ignored
    EXPECT_EQ(CMatrix(kFour, 3, 1, StorageOrder::ColumnMajor), (CMatrix{{kFour[0]}, {kFour[1]}, {kFour[2]}}));
    EXPECT_THAT(blockOf(CMatrix(kFour, 2, 2, static_cast<StorageOrder>(2))), Each(Complex()));
    const std::vector<Complex> none;
    EXPECT_THROW(CMatrix(none, 2, 2), IndexOutOfRangeException);
    EXPECT_THROW(CMatrix(none, 2, 2, StorageOrder::RowMajor), IndexOutOfRangeException);
    EXPECT_THAT(blockOf(CMatrix(none, 2, 2, StorageOrder::ColumnMajor)), Each(Complex()));
}

// ---- raw blocks, inside the library

TEST(CMatrix, InternalFormsCopyOrAdopt)
{
    const auto cells = countedCells(6);
    const CMatrix A = ComplexAccess::copyOf(cells.data(), 2, 3);
    EXPECT_EQ(A, countedComplex(2, 3));
    detail::Block<Complex> block(2);
    block[0] = 1.0;
    block[1] = kI;
    const auto address = reinterpret_cast<std::intptr_t>(block.get());
    const CMatrix B = ComplexAccess::adopt(std::move(block), 1, 2);
    EXPECT_EQ(B.DataPtr(), address);
    EXPECT_EQ(B, (CMatrix{{1, kI}}));
    EXPECT_EQ(ComplexAccess::count(ComplexAccess::uninitialised(3, 4)), 12);
    expectRefusedByTheAllocator([&] { ComplexAccess::uninitialised(65536, 65536); });
}

// ---- life

TEST(CMatrix, CopyIsIndependentAndEqualToTheBit)
{
    CMatrix A(kOddCells, 1, static_cast<std::int32_t>(kOddCells.size()));
    const CMatrix copy(A), clone = A.Clone();
    const std::any untyped = A.CloneableClone();
    const auto bits = bitsOf(A);
    A(0, 0) = 17.0;
    EXPECT_EQ(bitsOf(copy), bits);
    EXPECT_EQ(bitsOf(clone), bits);
    EXPECT_EQ(bitsOf(std::any_cast<const CMatrix&>(untyped)), bits);
}

TEST(CMatrix, MoveHandsTheBlockOverAndAssignmentReleasesTheOld)
{
    CMatrix A = countedComplex(2, 3);
    const std::intptr_t address = A.DataPtr();
    CMatrix moved(std::move(A));
    EXPECT_EQ(moved.DataPtr(), address);
    EXPECT_EQ(A.DataPtr(), 0); // NOLINT: a moved-from matrix is released
    EXPECT_EQ(A.Rows(), 2);
    EXPECT_EQ(A.Cols(), 3);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    moved = CMatrix(1, 2, kI);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 32 - 96);
    CMatrix& self = moved;
    moved = self;
    EXPECT_EQ(moved, (CMatrix{{kI, 0}}));
    CMatrix target = countedComplex(2, 2);
    expectAllocations(1, target, [&] { target = CMatrix(moved); });
}

TEST(CMatrix, DisposeReleasesAtOnceMayBeRepeatedAndKeepsTheSizes)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    CMatrix A(3, 5);
    for (int time = 0; time < 2; ++time) {
        A.Dispose();
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
        EXPECT_EQ(A.Rows(), 3);
        EXPECT_EQ(A.Cols(), 5);
    }
}

TEST(CMatrix, UseAfterReleaseIsTheCallersFaultAndTheHardenedBuildTellsIt)
{
    CMatrix A(2, 2);
    const CMatrix B = countedComplex(2, 2);
    A.Dispose();
    if constexpr (detail::kHardened) {
        const std::vector<std::function<void()>> uses{
            [&] { return A.Item(0, 0); },    [&] { A(0, 0) = 1.0; },
            [&] { return A.Clone(); },       [&] { return A.ToArray(); },
            [&] { return A.Real(); },        [&] { return A.Imag(); },
            [&] { return A.Transpose(); },   [&] { return A.Adjoint(); },
            [&] { return A.Conjugate(); },   [&] { A.Clear(); },
            [&] { A.Resize(3, 3); },         [&] { A.FillRandom(); },
            [&] { return A + B; },           [&] { return A * B; },
            [&] { return A * kI; },          [&] { return -A; },
            [&] { A.SetRow(0, kI); },        [&] { return A.RowVector(0); },
            [&] { A.DeleteRow(0); },         [&] { return A.Trace(); },
            [&] { return A.IsHermitian(); }, [&] { return A.IsEqual(B); },
            [&] { return A.ToString(); },    [&] { return std::as_const(A).Data(); },
            [&] { return A.GetHashCode(); }, [&] { return A == B; },
        };
        for (const auto& use : uses) EXPECT_THAT(use, ThrowsMessage<InvalidOperationException>(kReleased));
    }
    A = B; // a value may always be assigned
    EXPECT_EQ(A, B);
}

// ---- access

TEST(CMatrix, ItemReadsAndWritesRowAndColumn)
{
    CMatrix A(2, 3);
    A.Item(0, 1, {1, 2});
    A(1, 2) = kI;
    const CMatrix& read = A;
    EXPECT_EQ(read.Item(0, 1), Complex(1, 2));
    EXPECT_EQ(read(1, 2), kI);
    EXPECT_EQ(blockOf(A)[0 + 2 * 1], Complex(1, 2));
    EXPECT_EQ(blockOf(A)[1 + 2 * 2], kI);
    EXPECT_TRUE(CMatrix(2, 2).IsSquare());
    EXPECT_FALSE(A.IsSquare());
}

TEST(CMatrix, RowIndexIsTestedBeforeColumnIndexAndAFailingWriteChangesNothing)
{
    CMatrix A = countedComplex(2, 3);
    for (const int bad : {-1, 3, INT_MIN, INT_MAX}) {
        EXPECT_THAT([&] { return A.Item(bad, bad); }, ThrowsMessage<IndexOutOfBoundsException>(kRowIndex));
        EXPECT_THAT([&] { return A.Item(1, bad); }, ThrowsMessage<IndexOutOfBoundsException>(kColumnIndex));
        EXPECT_THAT([&] { A.Item(bad, 0, kI); }, ThrowsMessage<IndexOutOfBoundsException>(kRowIndex));
        EXPECT_THAT([&] { A(0, bad) = kI; }, ThrowsMessage<IndexOutOfBoundsException>(kColumnIndex));
    }
    EXPECT_THAT([&] { A(2, 0) = kI; }, ThrowsMessage<IndexOutOfBoundsException>(kRowIndex));
    EXPECT_EQ(A, countedComplex(2, 3));
}

TEST(CMatrix, ToArrayCopiesBitsAndTakesNoBlock)
{
    for (const Shape& shape : allShapes()) {
        const CMatrix A = countedComplex(shape.rows, shape.cols);
        const Array2D<Complex> array = A.ToArray(), converted = A;
        ASSERT_EQ(array.Rows(), shape.rows);
        ASSERT_EQ(array.Cols(), shape.cols);
        bool equal = true;
        for (int r = 0; r < shape.rows; ++r) {
            for (int c = 0; c < shape.cols; ++c) equal = equal && array(r, c) == A(r, c);
        }
        EXPECT_TRUE(equal) << shape;
        EXPECT_EQ(array, converted);
        EXPECT_EQ(CMatrix(array), A);
    }
    const CMatrix odd(kOddCells, 1, static_cast<std::int32_t>(kOddCells.size()));
    EXPECT_EQ(bitsOf(CMatrix(odd.ToArray())), bitsOf(odd));
    expectAllocations(0, odd, [&] { odd.ToArray(); });
}

TEST(CMatrix, ClearZeroesEveryCellAndKeepsTheBlock)
{
    for (const Shape& shape : allShapes()) {
        CMatrix A = countedComplex(shape.rows, shape.cols);
        const std::intptr_t address = A.DataPtr();
        A.Clear();
        EXPECT_THAT(bitsOf(A), Each(0u)) << shape;
        EXPECT_EQ(A.DataPtr(), address);
    }
}

// ---- size

TEST(CMatrix, ResizeKeepsTheOverlapForEveryPairOfShapes)
{
    const std::vector<Shape> shapes{{1, 1}, {2, 2}, {3, 3}, {1, 5}, {5, 1}, {4, 3}, {33, 17}};
    for (const Shape& from : shapes) {
        for (const Shape& to : shapes) {
            soilMemory(2 * to.rows * to.cols);
            const CMatrix before = countedComplex(from.rows, from.cols);
            CMatrix A = before;
            const std::intptr_t address = A.DataPtr();
            A.Resize(to.rows, to.cols);
            ASSERT_EQ(A.Rows(), to.rows);
            ASSERT_EQ(A.Cols(), to.cols);
            EXPECT_EQ(A.DataPtr() == address, from.rows == to.rows && from.cols == to.cols);
            for (int c = 0; c < to.cols; ++c) {
                for (int r = 0; r < to.rows; ++r) {
                    EXPECT_EQ(A(r, c), r < from.rows && c < from.cols ? before(r, c) : Complex());
                }
            }
        }
    }
    CMatrix A = countedComplex(2, 2);
    A.Rows(3);
    A.Cols(1);
    EXPECT_EQ(A, (CMatrix{{{1, 10}}, {{2, 20}}, {0}}));
}

TEST(CMatrix, RefusedResizeLeavesTheObjectAsItWas)
{
    CMatrix A = countedComplex(2, 3);
    for (const Shape& shape : {Shape{0, 3}, Shape{2, 0}, Shape{-1, -1}}) {
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize,
                                                       [&] { A.Resize(shape.rows, shape.cols); });
    }
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { A.Rows(0); });
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { A.Cols(-1); });
    EXPECT_EQ(A, countedComplex(2, 3));
    expectAllocations(0, A, [&] { A.Resize(2, 3); });
    expectAllocations(1, A, [&] { A.Resize(4, 4); });
}

TEST(CMatrix, FillRandomDrawsCellAfterCellInBlockOrder)
{
    const auto values = valuesFromTheStart(24, 0.0, 10.0, 0);
    CMatrix A(3, 4);
    const std::intptr_t address = A.DataPtr();
    A.FillRandom();
    EXPECT_EQ(partsIn(A), values);
    EXPECT_EQ(A.DataPtr(), address);
    const auto downward = valuesFromTheStart(24, 5.0, 1.0, 2);
    A.FillRandom(5.0, 1.0, 2);
    EXPECT_EQ(partsIn(A), downward);
    const auto bits = bitsOf(A);
    for (const int decimals : {-1, 16}) {
        EXPECT_THROW(A.FillRandom(0.0, 1.0, decimals), ArgumentOutOfRangeException);
        EXPECT_EQ(bitsOf(A), bits);
    }
    A.FillRandom(0.0, 1.0); // whole numbers by default
    for (const double part : partsIn(A)) EXPECT_TRUE(part == 0.0 || part == 1.0);
}

} // namespace
} // namespace Velmar::Lintrix
