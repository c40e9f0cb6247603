// Whole rows and columns of Matrix: writing, reading, cutting, joining, sorting, deleting, inserting.

#include "tests/dense/dense_support.h"

#include <lintrix/services/hardening.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <functional>
#include <optional>
#include <span>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr const char* kRowIndex = "Row index exceeds matrix size.";
constexpr const char* kColumnIndex = "Column index exceeds matrix size.";
constexpr const char* kIndex = "Row or column index exceeds matrix size.";
constexpr const char* kPivots = "Array size does not match.";

using Pivots = std::vector<std::int32_t>;

/// Element (i, j) is rule(i, j).
template <class Rule>
Matrix built(int rows, int cols, Rule rule)
{
    Matrix A(rows, cols);
    for (int j = 0; j < cols; ++j) {
        for (int i = 0; i < rows; ++i) A(i, j) = rule(i, j);
    }
    return A;
}

std::size_t at(int i)
{
    return static_cast<std::size_t>(i);
}

Matrix randomOf(const Shape& shape)
{
    return matrixWith(shape, Spectrum::Random, 7);
}

Pivots shuffled(int n, std::mt19937_64& generator)
{
    Pivots places(at(n));
    std::iota(places.begin(), places.end(), 0);
    for (int i = n - 1; i > 0; --i) {
        std::swap(places[at(i)], places[generator() % static_cast<unsigned>(i + 1)]);
    }
    return places;
}

Pivots inverseOf(const Pivots& places)
{
    Pivots inverse(places.size());
    for (std::size_t i = 0; i < places.size(); ++i) inverse[at(places[i])] = static_cast<int>(i);
    return inverse;
}

// ---- indices

struct Indexed {
    const char* name;
    const char* text;
    int limit; ///< the first index past the end, for a 3 x 4 matrix
    std::function<void(Matrix&, int)> operation;
};

// Every operation that takes an index, each index of it in turn, the others good.
const std::vector<Indexed>& indexedOperations()
{
    static const Vector x(4);
    static const std::vector<double> values(4);
    static Pivots pivots;
    static const auto ascending = SortOrder::Ascending;
    static const std::vector<Indexed> operations{
        {"SetRow vector", kRowIndex, 3, [](Matrix& A, int i) { A.SetRow(i, x); }},
        {"SetRow array", kRowIndex, 3, [](Matrix& A, int i) { A.SetRow(i, values); }},
        {"SetRow ramp", kRowIndex, 3, [](Matrix& A, int i) { A.SetRow(i, 1.0, 2.0); }},
        {"SetRow value", kRowIndex, 3, [](Matrix& A, int i) { A.SetRow(i, 1.0); }},
        {"SetColumn vector", kColumnIndex, 4, [](Matrix& A, int i) { A.SetColumn(i, x); }},
        {"SetColumn array", kColumnIndex, 4, [](Matrix& A, int i) { A.SetColumn(i, values); }},
        {"SetColumn ramp", kColumnIndex, 4, [](Matrix& A, int i) { A.SetColumn(i, 1.0, 2.0); }},
        {"SetColumn value", kColumnIndex, 4, [](Matrix& A, int i) { A.SetColumn(i, 1.0); }},
        {"RowVector", kRowIndex, 3, [](Matrix& A, int i) { A.RowVector(i); }},
        {"ColVector", kColumnIndex, 4, [](Matrix& A, int i) { A.ColVector(i); }},
        {"SwapRows first", kRowIndex, 3, [](Matrix& A, int i) { A.SwapRows(i, 1); }},
        {"SwapRows second", kRowIndex, 3, [](Matrix& A, int i) { A.SwapRows(1, i); }},
        {"SwapCols first", kColumnIndex, 4, [](Matrix& A, int i) { A.SwapCols(i, 1); }},
        {"SwapCols second", kColumnIndex, 4, [](Matrix& A, int i) { A.SwapCols(1, i); }},
        {"SubMatrix start row", kRowIndex, 3, [](Matrix& A, int i) { A.SubMatrix(i, 1, 1, 1); }},
        {"SubMatrix end row", kRowIndex, 3, [](Matrix& A, int i) { A.SubMatrix(1, i, 1, 1); }},
        {"SubMatrix start column", kColumnIndex, 4, [](Matrix& A, int i) { A.SubMatrix(1, 1, i, 1); }},
        {"SubMatrix end column", kColumnIndex, 4, [](Matrix& A, int i) { A.SubMatrix(1, 1, 1, i); }},
        {"SortRows", kColumnIndex, 4, [](Matrix& A, int i) { A.SortRows(i); }},
        {"SortRows order", kColumnIndex, 4, [](Matrix& A, int i) { A.SortRows(i, ascending); }},
        {"SortRows pivots", kColumnIndex, 4, [](Matrix& A, int i) { A.SortRows(i, ascending, pivots); }},
        {"SortCols", kRowIndex, 3, [](Matrix& A, int i) { A.SortCols(i); }},
        {"SortCols order", kRowIndex, 3, [](Matrix& A, int i) { A.SortCols(i, ascending); }},
        {"SortCols pivots", kRowIndex, 3, [](Matrix& A, int i) { A.SortCols(i, ascending, pivots); }},
        {"DeleteRow", kIndex, 3, [](Matrix& A, int i) { A.DeleteRow(i); }},
        {"DeleteColumn", kIndex, 4, [](Matrix& A, int i) { A.DeleteColumn(i); }},
        {"InsertRow", kIndex, 4, [](Matrix& A, int i) { A.InsertRow(i); }},
        {"InsertColumn", kIndex, 5, [](Matrix& A, int i) { A.InsertColumn(i); }},
    };
    return operations;
}

TEST(MatrixEditing, BadIndexIsRefusedBeforeAnythingHappens)
{
    for (const Indexed& indexed : indexedOperations()) {
        Matrix A = counted(3, 4);
        const auto before = bitsOf(A);
        const std::intptr_t address = A.DataPtr();
        for (const int index : {-1, indexed.limit, INT_MIN, INT_MAX}) {
            SCOPED_TRACE(::testing::Message() << indexed.name << " with " << index);
            expectRefusedUnallocated<IndexOutOfBoundsException>(indexed.text,
                                                                [&] { indexed.operation(A, index); });
            EXPECT_EQ(A.DataPtr(), address);
            EXPECT_EQ(bitsOf(A), before);
        }
    }
}

TEST(MatrixEditing, FirstAndLastIndexAreGood)
{
    for (const Indexed& indexed : indexedOperations()) {
        for (const int index : {0, indexed.limit - 1}) {
            SCOPED_TRACE(::testing::Message() << indexed.name << " with " << index);
            Matrix A = counted(3, 4);
            EXPECT_NO_THROW(indexed.operation(A, index));
        }
    }
}

TEST(MatrixEditing, RefusedSortLeavesThePivotsAsTheyWere)
{
    Matrix A = counted(2, 3);
    Pivots pivots{4, 4};
    EXPECT_THROW(A.SortRows(3, SortOrder::Ascending, pivots), IndexOutOfBoundsException);
    EXPECT_THROW(A.SortCols(2, SortOrder::Ascending, pivots), IndexOutOfBoundsException);
    EXPECT_THAT(pivots, ElementsAre(4, 4));
}

TEST(MatrixEditing, SubMatrixTestsItsRowsBeforeItsColumns)
{
    const Matrix A(3, 4);
    EXPECT_THAT([&] { A.SubMatrix(3, 0, 4, 0); }, ThrowsMessage<IndexOutOfBoundsException>(kRowIndex));
    EXPECT_THAT([&] { A.SubMatrix(0, 3, 4, 0); }, ThrowsMessage<IndexOutOfBoundsException>(kRowIndex));
    EXPECT_THAT([&] { A.SubMatrix(0, 3, 0, 4); }, ThrowsMessage<IndexOutOfBoundsException>(kRowIndex));
}

// ---- blocks

struct Change {
    const char* name;
    std::function<void(Matrix&)> operation;
};

TEST(MatrixEditing, WritingAndSwappingKeepTheBlockAndAllocateNothing)
{
    const Vector x(4);
    const std::vector<double> values(4);
    const std::vector<Change> changes{
        {"SetRow vector", [&](Matrix& A) { A.SetRow(1, x); }},
        {"SetRow array", [&](Matrix& A) { A.SetRow(1, values); }},
        {"SetRow ramp", [](Matrix& A) { A.SetRow(1, 1.0, 2.0); }},
        {"SetRow value", [](Matrix& A) { A.SetRow(1, 1.0); }},
        {"SetColumn vector", [&](Matrix& A) { A.SetColumn(1, x); }},
        {"SetColumn array", [&](Matrix& A) { A.SetColumn(1, values); }},
        {"SetColumn ramp", [](Matrix& A) { A.SetColumn(1, 1.0, 2.0); }},
        {"SetColumn value", [](Matrix& A) { A.SetColumn(1, 1.0); }},
        {"SwapRows", [](Matrix& A) { A.SwapRows(0, 2); }},
        {"SwapCols", [](Matrix& A) { A.SwapCols(0, 2); }},
    };
    for (const Change& change : changes) {
        SCOPED_TRACE(change.name);
        Matrix A = counted(3, 4);
        const std::intptr_t address = A.DataPtr();
        const FailingAllocator allocator(0);
        change.operation(A);
        EXPECT_FALSE(allocator.hasFailed());
        EXPECT_EQ(A.DataPtr(), address);
    }
}

TEST(MatrixEditing, SortingReorderingDeletingAndInsertingReplaceTheBlock)
{
    Pivots pivots;
    const std::vector<Change> changes{
        {"SortRows", [](Matrix& A) { A.SortRows(); }},
        {"SortRows pivots", [&](Matrix& A) { A.SortRows(1, SortOrder::Descending, pivots); }},
        {"SortCols", [](Matrix& A) { A.SortCols(); }},
        {"SortCols pivots", [&](Matrix& A) { A.SortCols(1, SortOrder::Descending, pivots); }},
        {"ReorderRows",
         [](Matrix& A) {
             A.ReorderRows({0, 1, 2});
         }},
        {"ReorderCols",
         [](Matrix& A) {
             A.ReorderCols({0, 1, 2, 3});
         }},
        {"DeleteRow", [](Matrix& A) { A.DeleteRow(1); }},
        {"DeleteColumn", [](Matrix& A) { A.DeleteColumn(1); }},
        {"InsertRow", [](Matrix& A) { A.InsertRow(1); }},
        {"InsertColumn", [](Matrix& A) { A.InsertColumn(1); }},
    };
    for (const Change& change : changes) {
        SCOPED_TRACE(change.name);
        Matrix A = counted(3, 4);
        const std::intptr_t address = A.DataPtr();
        const std::int64_t others = TrellConfiguration::TotalMemory() - 12 * std::int64_t{sizeof(double)};
        expectAllocations(1, A, [&] { change.operation(A); });
        EXPECT_NE(A.DataPtr(), address);
        EXPECT_EQ(TrellConfiguration::TotalMemory(),
                  others + A.Rows() * A.Cols() * std::int64_t{sizeof(double)});
    }
}

TEST(MatrixEditing, SortThatFindsNoMemoryLeavesThePivotsAsTheyWere)
{
    Matrix A = counted(3, 4);
    Pivots pivots{4, 4};
    const FailingAllocator allocator(0);
    EXPECT_THROW(A.SortRows(0, SortOrder::Ascending, pivots), NotEnoughMemoryException);
    EXPECT_THROW(A.SortCols(0, SortOrder::Ascending, pivots), NotEnoughMemoryException);
    EXPECT_THAT(pivots, ElementsAre(4, 4));
}

TEST(MatrixEditing, ReadingCuttingAndJoiningTakeOneBlock)
{
    const Matrix A = counted(3, 4);
    expectAllocations(1, A, [&] { A.RowVector(1); });
    expectAllocations(1, A, [&] { A.ColVector(1); });
    expectAllocations(1, A, [&] { A.Diagonal(); });
    expectAllocations(1, A, [&] { A.SubMatrix(0, 1, 3, 1); });
    expectAllocations(1, A, [&] { Matrix::Concatenate(A, A); });
    expectAllocations(1, A, [&] { Matrix::Concatenate(A, A, ConcatenateMode::Horizontally); });
    expectAllocations(1, A, [&] { Matrix::Concatenate(A, A, ConcatenateMode::Vertically); });
}

// The sizes keep answering, and with them the index tests; what a good index reads is the caller's fault.
TEST(MatrixEditing, ReleasedMatrixStillTestsItsIndicesAndIsRefusedWhenHardened)
{
    for (const Indexed& indexed : indexedOperations()) {
        SCOPED_TRACE(indexed.name);
        Matrix A = counted(3, 4);
        A.Dispose();
        EXPECT_THAT([&] { indexed.operation(A, indexed.limit); },
                    ThrowsMessage<IndexOutOfBoundsException>(indexed.text));
        if constexpr (detail::kHardened) {
            EXPECT_THAT([&] { indexed.operation(A, 1); },
                        ThrowsMessage<InvalidOperationException>("The object was used after its release."));
        }
    }
}

// ---- writing

TEST(MatrixEditing, SetRowRampCountsFromStartInSteps)
{
    Matrix A(2, 3);
    A.SetRow(0, 1.0, 0.5);
    EXPECT_TRUE(identical(A, Matrix{{1.0, 1.5, 2.0}, {0, 0, 0}}));
}

TEST(MatrixEditing, RampIsComputedFreshForEachCell)
{
    const int n = 1000;
    Matrix A(3, n), B(n, 3);
    A.SetRow(1, 0.3, 0.1);
    B.SetColumn(1, 0.3, 0.1);
    double added = 0.3;
    bool additionDiffers = false;
    for (int k = 0; k < n; ++k) {
        const volatile double product = k * 0.1; // rounded on its own
        EXPECT_EQ(A(1, k), product + 0.3);
        EXPECT_EQ(B(k, 1), product + 0.3);
        additionDiffers |= added != A(1, k);
        added += 0.1;
    }
    EXPECT_TRUE(additionDiffers);
}

TEST(MatrixEditing, SetRowWithAShorterVectorKeepsTheOldCellsAtTheEnd)
{
    Matrix A{{1, 2, 3, 4}, {5, 6, 7, 8}};
    A.SetRow(0, Vector{-1, -2});
    EXPECT_TRUE(identical(A, Matrix{{-1, -2, 3, 4}, {5, 6, 7, 8}}));
    A.SetRow(1, std::vector<double>{-5});
    EXPECT_TRUE(identical(A, Matrix{{-1, -2, 3, 4}, {-5, 6, 7, 8}}));
}

TEST(MatrixEditing, SetColumnWithAShorterVectorKeepsTheOldCellsAtTheEnd)
{
    Matrix A{{1, 2}, {3, 4}, {5, 6}};
    A.SetColumn(1, Vector{-2, -4});
    EXPECT_TRUE(identical(A, Matrix{{1, -2}, {3, -4}, {5, 6}}));
    A.SetColumn(0, std::vector<double>{-1});
    EXPECT_TRUE(identical(A, Matrix{{-1, -2}, {3, -4}, {5, 6}}));
}

TEST(MatrixEditing, EmptySourceWritesNothing)
{
    Matrix A = counted(2, 3);
    const Vector empty(std::span<const double>{});
    A.SetRow(0, empty);
    A.SetRow(0, std::vector<double>{});
    A.SetColumn(0, empty);
    A.SetColumn(0, std::vector<double>{});
    EXPECT_TRUE(identical(A, counted(2, 3)));
}

TEST(MatrixEditing, ExcessOfALongerSourceIsIgnored)
{
    Matrix A(2, 2);
    A.SetRow(0, Vector{1, 2, 9, 9});
    A.SetRow(1, std::vector<double>{3, 4, 9, 9});
    EXPECT_TRUE(identical(A, Matrix{{1, 2}, {3, 4}}));
    A.SetColumn(0, Vector{5, 6, 9, 9});
    A.SetColumn(1, std::vector<double>{7, 8, 9, 9});
    EXPECT_TRUE(identical(A, Matrix{{5, 7}, {6, 8}}));
}

TEST(MatrixEditing, RowAndColumnFormsWriteTheirLineAndNoOtherCell)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        const int row = shape.rows / 2, col = shape.cols / 2;
        const Vector x = counted(std::max(shape.rows, shape.cols));
        const std::vector<double> values = x.ToArray();
        const auto withRow = [&](auto rule) {
            return built(shape.rows, shape.cols, [&](int i, int j) { return i == row ? rule(j) : A(i, j); });
        };
        const auto withColumn = [&](auto rule) {
            return built(shape.rows, shape.cols, [&](int i, int j) { return j == col ? rule(i) : A(i, j); });
        };
        const auto changed = [&](auto change) {
            Matrix B(A);
            change(B);
            return B;
        };
        const auto count = [](int k) { return k + 1.0; };
        const auto ramp = [](int k) { return k * -0.25 + 8.0; };
        const auto constant = [](int) { return -3.5; };
        EXPECT_TRUE(identical(changed([&](Matrix& B) { B.SetRow(row, x); }), withRow(count)));
        EXPECT_TRUE(identical(changed([&](Matrix& B) { B.SetRow(row, values); }), withRow(count)));
        EXPECT_TRUE(identical(changed([&](Matrix& B) { B.SetRow(row, 8.0, -0.25); }), withRow(ramp)));
        EXPECT_TRUE(identical(changed([&](Matrix& B) { B.SetRow(row, -3.5); }), withRow(constant)));
        EXPECT_TRUE(identical(changed([&](Matrix& B) { B.SetColumn(col, x); }), withColumn(count)));
        EXPECT_TRUE(identical(changed([&](Matrix& B) { B.SetColumn(col, values); }), withColumn(count)));
        EXPECT_TRUE(identical(changed([&](Matrix& B) { B.SetColumn(col, 8.0, -0.25); }), withColumn(ramp)));
        EXPECT_TRUE(identical(changed([&](Matrix& B) { B.SetColumn(col, -3.5); }), withColumn(constant)));
    }
}

TEST(MatrixEditing, WritingTakesWhateverACallerHolds)
{
    const double three[] = {1, 2, 3};
    const std::array<double, 3> array{1, 2, 3};
    const std::vector<double> vector{1, 2, 3};
    std::vector<double> changeable{1, 2, 3};
    const auto rowAfter = [](auto write) {
        Matrix A{{7, 7, 7}, {8, 8, 8}};
        write(A);
        return A.RowVector(1).ToArray();
    };
    const auto columnAfter = [](auto write) {
        Matrix A{{7, 8}, {7, 8}, {7, 8}};
        write(A);
        return A.ColVector(1).ToArray();
    };
    const auto is123 = ElementsAre(1, 2, 3), is333 = ElementsAre(3, 3, 3), is357 = ElementsAre(3, 5, 7);
    EXPECT_THAT(rowAfter([](Matrix& A) { A.SetRow(1, Vector{1, 2, 3}); }), is123);
    EXPECT_THAT(rowAfter([](Matrix& A) { A.SetRow(1, {1.0, 2.0, 3.0}); }), is123);
    EXPECT_THAT(rowAfter([](Matrix& A) { A.SetRow(1, {1, 2, 3}); }), is123);
    EXPECT_THAT(rowAfter([](Matrix& A) { A.SetRow(1, {3}); }), ElementsAre(3, 8, 8));
    EXPECT_THAT(rowAfter([&](Matrix& A) { A.SetRow(1, vector); }), is123);
    EXPECT_THAT(rowAfter([&](Matrix& A) { A.SetRow(1, changeable); }), is123);
    EXPECT_THAT(rowAfter([&](Matrix& A) { A.SetRow(1, std::span(changeable)); }), is123);
    EXPECT_THAT(rowAfter([&](Matrix& A) { A.SetRow(1, array); }), is123);
    EXPECT_THAT(rowAfter([&](Matrix& A) { A.SetRow(1, three); }), is123);
    EXPECT_THAT(rowAfter([](Matrix& A) { A.SetRow(1, 3); }), is333);
    EXPECT_THAT(rowAfter([](Matrix& A) { A.SetRow(1, 3.0f); }), is333);
    EXPECT_THAT(rowAfter([](Matrix& A) { A.SetRow(1, 0); }), ElementsAre(0, 0, 0));
    EXPECT_THAT(rowAfter([](Matrix& A) { A.SetRow(1, 3, 2); }), is357);
    EXPECT_THAT(rowAfter([](Matrix& A) { A.SetRow(1, 3, 2.0); }), is357);
    EXPECT_THAT(columnAfter([](Matrix& A) { A.SetColumn(1, Vector{1, 2, 3}); }), is123);
    EXPECT_THAT(columnAfter([](Matrix& A) { A.SetColumn(1, {1.0, 2.0, 3.0}); }), is123);
    EXPECT_THAT(columnAfter([](Matrix& A) { A.SetColumn(1, {1, 2, 3}); }), is123);
    EXPECT_THAT(columnAfter([](Matrix& A) { A.SetColumn(1, {3}); }), ElementsAre(3, 8, 8));
    EXPECT_THAT(columnAfter([&](Matrix& A) { A.SetColumn(1, vector); }), is123);
    EXPECT_THAT(columnAfter([&](Matrix& A) { A.SetColumn(1, std::span(changeable)); }), is123);
    EXPECT_THAT(columnAfter([&](Matrix& A) { A.SetColumn(1, array); }), is123);
    EXPECT_THAT(columnAfter([&](Matrix& A) { A.SetColumn(1, three); }), is123);
    EXPECT_THAT(columnAfter([](Matrix& A) { A.SetColumn(1, 3); }), is333);
    EXPECT_THAT(columnAfter([](Matrix& A) { A.SetColumn(1, 0); }), ElementsAre(0, 0, 0));
    EXPECT_THAT(columnAfter([](Matrix& A) { A.SetColumn(1, 3, 2); }), is357);
}

// ---- reading out

TEST(MatrixEditing, RowColumnAndDiagonalAreCopies)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        for (int i = 0; i < shape.rows; ++i) {
            const Vector row = A.RowVector(i);
            ASSERT_EQ(row.Length(), shape.cols);
            for (int j = 0; j < shape.cols; ++j) EXPECT_EQ(row(j), A(i, j));
        }
        for (int j = 0; j < shape.cols; ++j) {
            const Vector column = A.ColVector(j);
            ASSERT_EQ(column.Length(), shape.rows);
            for (int i = 0; i < shape.rows; ++i) EXPECT_EQ(column(i), A(i, j));
        }
        const Vector diagonal = A.Diagonal();
        ASSERT_EQ(diagonal.Length(), std::min(shape.rows, shape.cols));
        for (int i = 0; i < diagonal.Length(); ++i) EXPECT_EQ(diagonal(i), A(i, i));
    }
    Matrix A = counted(2, 2);
    const Vector row = A.RowVector(0), column = A.ColVector(0), diagonal = A.Diagonal();
    A.Clear();
    EXPECT_THAT(row.ToArray(), ElementsAre(1, 3));
    EXPECT_THAT(column.ToArray(), ElementsAre(1, 2));
    EXPECT_THAT(diagonal.ToArray(), ElementsAre(1, 4));
}

TEST(MatrixEditing, DiagonalOfTwoByThreeAndOfThreeByTwoHasTwoElements)
{
    EXPECT_THAT((Matrix{{1, 2, 3}, {4, 5, 6}}.Diagonal().ToArray()), ElementsAre(1, 5));
    EXPECT_THAT((Matrix{{1, 2}, {3, 4}, {5, 6}}.Diagonal().ToArray()), ElementsAre(1, 4));
}

// ---- swapping

TEST(MatrixEditing, SwapExchangesTwoLinesAndNoOtherCell)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        const int r = shape.rows - 1, c = shape.cols - 1;
        const auto exchanged = [](int k, int last) { return k == 0 ? last : k == last ? 0 : k; };
        Matrix B(A);
        B.SwapRows(0, r);
        EXPECT_TRUE(
            identical(B, built(shape.rows, shape.cols, [&](int i, int j) { return A(exchanged(i, r), j); })));
        B.SwapRows(r, 0);
        EXPECT_TRUE(identical(B, A));
        B.SwapCols(0, c);
        EXPECT_TRUE(
            identical(B, built(shape.rows, shape.cols, [&](int i, int j) { return A(i, exchanged(j, c)); })));
        B.SwapCols(c, 0);
        EXPECT_TRUE(identical(B, A));
    }
}

TEST(MatrixEditing, SwapOfALineWithItselfChangesNothing)
{
    for (const Shape& shape : {Shape{1, 1}, Shape{3, 5}, Shape{65, 64}}) {
        const Matrix A = randomOf(shape);
        Matrix B(A);
        for (int i = 0; i < shape.rows; ++i) B.SwapRows(i, i);
        for (int j = 0; j < shape.cols; ++j) B.SwapCols(j, j);
        EXPECT_TRUE(identical(A, B));
    }
}

// ---- cutting

TEST(MatrixEditing, SubMatrixFromTwoToZeroTurnsAColumnUpsideDown)
{
    EXPECT_TRUE(identical(Matrix{{1}, {2}, {3}}.SubMatrix(2, 0, 0, 0), Matrix{{3}, {2}, {1}}));
}

TEST(MatrixEditing, SubMatrixOfOneIndexIsOneByOne)
{
    EXPECT_TRUE(identical(Matrix{{1, 2}, {3, 4}}.SubMatrix(1, 1, 1, 1), Matrix{{4}}));
}

TEST(MatrixEditing, SubMatrixPastTheEndFailsOnTheRow)
{
    EXPECT_THAT([] { Matrix(3, 1).SubMatrix(0, 3, 0, 0); },
                ThrowsMessage<IndexOutOfBoundsException>(kRowIndex));
}

TEST(MatrixEditing, SubMatrixCutsInAllFourDirections)
{
    const int rows = 4, cols = 5;
    const Matrix A = randomOf({rows, cols});
    const auto index = [](int start, int end, int k) { return end < start ? start - k : start + k; };
    for (int r0 = 0; r0 < rows; ++r0) {
        for (int r1 = 0; r1 < rows; ++r1) {
            for (int c0 = 0; c0 < cols; ++c0) {
                for (int c1 = 0; c1 < cols; ++c1) {
                    const Matrix expected =
                        built(std::abs(r1 - r0) + 1, std::abs(c1 - c0) + 1,
                              [&](int i, int j) { return A(index(r0, r1, i), index(c0, c1, j)); });
                    EXPECT_TRUE(identical(A.SubMatrix(r0, r1, c0, c1), expected))
                        << r0 << ':' << r1 << ", " << c0 << ':' << c1;
                }
            }
        }
    }
}

TEST(MatrixEditing, FlippedTwiceIsTheMatrixAgain)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        const int r = shape.rows - 1, c = shape.cols - 1;
        const Matrix flipped = A.SubMatrix(r, 0, c, 0);
        EXPECT_TRUE(identical(flipped, built(r + 1, c + 1, [&](int i, int j) { return A(r - i, c - j); })));
        EXPECT_TRUE(identical(flipped.SubMatrix(r, 0, c, 0), A));
        EXPECT_TRUE(identical(A.SubMatrix(0, r, 0, c), A));
    }
}

// ---- joining

TEST(MatrixEditing, ConcatenateOfTwoByTwoAndThreeByOneFillsWithZeros)
{
    const Matrix A{{1, 2}, {3, 4}}, B{{5}, {6}, {7}};
    const Matrix beside{{1, 2, 5}, {3, 4, 6}, {0, 0, 7}}, below{{1, 2}, {3, 4}, {5, 0}, {6, 0}, {7, 0}};
    EXPECT_TRUE(identical(Matrix::Concatenate(A, B), beside));
    EXPECT_TRUE(identical(Matrix::Concatenate(A, B, ConcatenateMode::Horizontally).value(), beside));
    EXPECT_TRUE(identical(Matrix::Concatenate(A, B, ConcatenateMode::Vertically).value(), below));
}

TEST(MatrixEditing, ConcatenateWithModeSevenGivesNoMatrixAndAllocatesNothing)
{
    const Matrix A(2, 2);
    const FailingAllocator allocator(0);
    EXPECT_EQ(Matrix::Concatenate(A, A, static_cast<ConcatenateMode>(7)), std::nullopt);
    EXPECT_EQ(Matrix::Concatenate(A, A, static_cast<ConcatenateMode>(-1)), std::nullopt);
    EXPECT_FALSE(allocator.hasFailed());
}

TEST(MatrixEditing, ConcatenatePutsEachCellInItsPlace)
{
    const std::vector<Shape> shapes{{1, 1}, {1, 4}, {4, 1}, {3, 3}, {5, 2}, {2, 5}, {65, 3}};
    for (const Shape& s : shapes) {
        for (const Shape& t : shapes) {
            SCOPED_TRACE(::testing::Message() << s << " and " << t);
            soilMemory((s.rows + t.rows) * (s.cols + t.cols));
            const Matrix A = matrixWith(s, Spectrum::Random, 1), B = matrixWith(t, Spectrum::Random, 2);
            const auto cell = [](const Matrix& M, int i, int j) { return i < M.Rows() ? M(i, j) : 0.0; };
            const Matrix beside = built(std::max(s.rows, t.rows), s.cols + t.cols, [&](int i, int j) {
                return j < s.cols ? cell(A, i, j) : cell(B, i, j - s.cols);
            });
            EXPECT_TRUE(identical(Matrix::Concatenate(A, B), beside));
            const auto joined = Matrix::Concatenate(A, B, ConcatenateMode::Vertically);
            // one above the other is side by side of the transposed
            const Matrix across = Matrix::Concatenate(naiveTranspose(A), naiveTranspose(B));
            EXPECT_TRUE(identical(joined.value(), naiveTranspose(across)));
        }
    }
}

TEST(MatrixEditing, ConcatenateOfAMatrixWithItself)
{
    const Matrix A{{1, 2}};
    EXPECT_TRUE(identical(Matrix::Concatenate(A, A), Matrix{{1, 2, 1, 2}}));
    EXPECT_TRUE(
        identical(Matrix::Concatenate(A, A, ConcatenateMode::Vertically).value(), Matrix{{1, 2}, {1, 2}}));
}

// ---- sorting

TEST(MatrixEditing, SortRowsOfThreeOneTwoTellsWhereEachRowWent)
{
    const Matrix A{{3}, {1}, {2}};
    Matrix B(A);
    Pivots p;
    B.SortRows(0, SortOrder::Ascending, p);
    EXPECT_TRUE(identical(B, Matrix{{1}, {2}, {3}}));
    EXPECT_THAT(p, ElementsAre(2, 0, 1));
    Matrix C(A);
    C.SortRows(0, SortOrder::Descending, p);
    EXPECT_TRUE(identical(C, Matrix{{3}, {2}, {1}}));
    EXPECT_THAT(p, ElementsAre(0, 2, 1));
}

TEST(MatrixEditing, SortColsOfThreeOneTwoTellsWhereEachColumnWent)
{
    const Matrix A{{3, 1, 2}};
    Matrix B(A);
    Pivots p;
    B.SortCols(0, SortOrder::Ascending, p);
    EXPECT_TRUE(identical(B, Matrix{{1, 2, 3}}));
    EXPECT_THAT(p, ElementsAre(2, 0, 1));
    Matrix C(A);
    C.SortCols(0, SortOrder::Descending, p);
    EXPECT_TRUE(identical(C, Matrix{{3, 2, 1}}));
    EXPECT_THAT(p, ElementsAre(0, 2, 1));
}

TEST(MatrixEditing, ReorderRowsWithTheSortsPivotsSortsAnotherCopy)
{
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        for (const SortOrder order : {SortOrder::Ascending, SortOrder::Descending}) {
            Matrix sorted(A), reordered(A);
            Pivots p;
            sorted.SortRows(shape.cols - 1, order, p);
            reordered.ReorderRows(p);
            EXPECT_TRUE(identical(reordered, sorted));
            Matrix sortedColumns(A), reorderedColumns(A);
            sortedColumns.SortCols(shape.rows - 1, order, p);
            reorderedColumns.ReorderCols(p);
            EXPECT_TRUE(identical(reorderedColumns, sortedColumns));
        }
    }
}

TEST(MatrixEditing, ShorterFormsSortAscendingOnTheFirstLine)
{
    const Matrix A = randomOf({7, 5});
    const auto sorted = [&](auto sort) {
        Matrix B(A);
        sort(B);
        return B;
    };
    Pivots p;
    const auto up = SortOrder::Ascending, down = SortOrder::Descending;
    EXPECT_TRUE(
        identical(sorted([](Matrix& B) { B.SortRows(); }), sorted([&](Matrix& B) { B.SortRows(0, up, p); })));
    EXPECT_TRUE(identical(sorted([](Matrix& B) { B.SortRows(3); }),
                          sorted([&](Matrix& B) { B.SortRows(3, up, p); })));
    EXPECT_TRUE(identical(sorted([](Matrix& B) { B.SortRows(3, SortOrder::Descending); }),
                          sorted([&](Matrix& B) { B.SortRows(3, down, p); })));
    EXPECT_TRUE(
        identical(sorted([](Matrix& B) { B.SortCols(); }), sorted([&](Matrix& B) { B.SortCols(0, up, p); })));
    EXPECT_TRUE(identical(sorted([](Matrix& B) { B.SortCols(3); }),
                          sorted([&](Matrix& B) { B.SortCols(3, up, p); })));
    EXPECT_TRUE(identical(sorted([](Matrix& B) { B.SortCols(3, SortOrder::Descending); }),
                          sorted([&](Matrix& B) { B.SortCols(3, down, p); })));
}

TEST(MatrixEditing, AnyOtherOrderSortsDescending)
{
    const Matrix A = randomOf({7, 5});
    Matrix down(A), other(A);
    Pivots p, q;
    down.SortRows(2, SortOrder::Descending, p);
    other.SortRows(2, static_cast<SortOrder>(7), q);
    EXPECT_TRUE(identical(down, other));
    EXPECT_EQ(p, q);
    down.SortCols(2, SortOrder::Descending, p);
    other.SortCols(2, static_cast<SortOrder>(-1), q);
    EXPECT_TRUE(identical(down, other));
    EXPECT_EQ(p, q);
}

TEST(MatrixEditing, RowsWithEqualKeysKeepTheirOrderInBothOrders)
{
    const int n = 300;
    // keys 0, 1, 2 and zeros of both signs; the second column remembers the old row
    const Matrix A = built(n, 2, [](int i, int j) {
        return j == 1 ? i : i % 4 == 3 ? -0.0 : static_cast<double>(i % 4);
    });
    for (const SortOrder order : {SortOrder::Ascending, SortOrder::Descending}) {
        Matrix B(A);
        B.SortRows(0, order);
        for (int i = 1; i < n; ++i) {
            const double before = B(i - 1, 0), key = B(i, 0);
            EXPECT_TRUE(order == SortOrder::Ascending ? before <= key : before >= key);
            if (before == key) {
                EXPECT_LT(B(i - 1, 1), B(i, 1));
            }
        }
        Matrix C = naiveTranspose(A);
        C.SortCols(0, order);
        EXPECT_TRUE(identical(C, naiveTranspose(B)));
    }
}

TEST(MatrixEditing, NaNKeysComeFirstInBothOrders)
{
    const Matrix A{{2, 0}, {kNaN, 1}, {-kInf, 2}, {kInf, 3}, {-kNaN, 4}, {-1, 5}};
    Matrix B(A), C(A);
    B.SortRows(0, SortOrder::Ascending);
    EXPECT_THAT(B.ColVector(1).ToArray(), ElementsAre(1, 4, 2, 5, 0, 3));
    C.SortRows(0, SortOrder::Descending);
    EXPECT_THAT(C.ColVector(1).ToArray(), ElementsAre(1, 4, 3, 0, 5, 2));
    Matrix D = naiveTranspose(A), E = naiveTranspose(A);
    D.SortCols(0, SortOrder::Ascending);
    EXPECT_TRUE(identical(D, naiveTranspose(B)));
    E.SortCols(0, SortOrder::Descending);
    EXPECT_TRUE(identical(E, naiveTranspose(C)));
}

TEST(MatrixEditing, SortMovesWholeRowsToThePlacesThatThePivotsTell)
{
    std::mt19937_64 generator(11);
    for (const int n : {1, 2, 3, 16, 17, 33, 257}) {
        // few different keys, so that ties abound
        const Matrix A = built(n, 3, [&](int, int) { return static_cast<double>(generator() % 7) - 3.0; });
        Matrix B(A);
        Pivots p;
        B.SortRows(1, SortOrder::Ascending, p);
        ASSERT_EQ(std::ssize(p), n);
        for (int r = 0; r < n; ++r) {
            for (int j = 0; j < 3; ++j) EXPECT_EQ(B(p[at(r)], j), A(r, j));
        }
        // place of a row: how many keys are smaller, or equal and earlier
        for (int r = 0; r < n; ++r) {
            int place = 0;
            for (int s = 0; s < n; ++s) place += A(s, 1) < A(r, 1) || (A(s, 1) == A(r, 1) && s < r);
            EXPECT_EQ(p[at(r)], place);
        }
    }
}

TEST(MatrixEditing, SortOverwritesOldPivotsOfAnyLength)
{
    Matrix A{{2}, {1}};
    Pivots p{9, 9, 9, 9, 9};
    A.SortRows(0, SortOrder::Ascending, p);
    EXPECT_THAT(p, ElementsAre(1, 0));
    A.SortCols(0, SortOrder::Ascending, p);
    EXPECT_THAT(p, ElementsAre(0));
}

// ---- reordering

TEST(MatrixEditing, RowIMovesToPlacePivotsI)
{
    Matrix A{{1, 2}, {3, 4}, {5, 6}};
    A.ReorderRows({1, 2, 0});
    EXPECT_TRUE(identical(A, Matrix{{5, 6}, {1, 2}, {3, 4}}));
    Matrix B{{1, 2, 3}, {4, 5, 6}};
    B.ReorderCols({1, 2, 0});
    EXPECT_TRUE(identical(B, Matrix{{3, 1, 2}, {6, 4, 5}}));
}

TEST(MatrixEditing, ReorderByAPermutationAndByItsInverseIsARoundTrip)
{
    std::mt19937_64 generator(3);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const Matrix A = randomOf(shape);
        Matrix B(A);
        const Pivots rows = shuffled(shape.rows, generator), cols = shuffled(shape.cols, generator);
        B.ReorderRows(rows);
        B.ReorderCols(cols);
        for (int j = 0; j < shape.cols; ++j) {
            for (int i = 0; i < shape.rows; ++i) EXPECT_EQ(B(rows[at(i)], cols[at(j)]), A(i, j));
        }
        B.ReorderCols(inverseOf(cols));
        B.ReorderRows(inverseOf(rows));
        EXPECT_TRUE(identical(A, B));
    }
}

TEST(MatrixEditing, PivotsOfAnotherLengthAreRefused)
{
    Matrix A = counted(3, 4);
    for (const int length : {0, 2, 5}) {
        const Pivots p(at(length));
        SCOPED_TRACE(length);
        expectRefusedUnallocated<SizeMismatchException>(kPivots, [&] { A.ReorderRows(p); });
        expectRefusedUnallocated<SizeMismatchException>(kPivots, [&] { A.ReorderCols(p); });
    }
    expectRefusedUnallocated<SizeMismatchException>(kPivots, [&] { A.ReorderRows({0, 1, 2, 3}); });
    expectRefusedUnallocated<SizeMismatchException>(kPivots, [&] { A.ReorderCols({0, 1, 2}); });
    EXPECT_TRUE(identical(A, counted(3, 4)));
}

TEST(MatrixEditing, PivotsThatAreNoPermutationAreRefusedWhenHardened)
{
    if constexpr (detail::kHardened) {
        Matrix A = counted(3, 3);
        for (const Pivots& p : {Pivots{0, 1, 3}, Pivots{0, 1, -1}, Pivots{0, 1, 1}}) {
            const auto refused =
                ThrowsMessage<InvalidOperationException>("The pivots are not a permutation.");
            EXPECT_THAT([&] { A.ReorderRows(p); }, refused);
            EXPECT_THAT([&] { A.ReorderCols(p); }, refused);
        }
        EXPECT_TRUE(identical(A, counted(3, 3)));
    } else { // a repeated place inside the block: some cells are undefined, nothing else is
        Matrix A{{1}, {2}, {3}};
        A.ReorderRows({0, 1, 1});
        EXPECT_EQ(A(0, 0), 1.0);
    }
}

// ---- deleting and inserting

TEST(MatrixEditing, DeletingTheOnlyRowOrColumnFails)
{
    Matrix A = counted(1, 5), B = counted(5, 1);
    expectRefusedUnallocated<IndexOutOfBoundsException>(kIndex, [&] { A.DeleteRow(0); });
    expectRefusedUnallocated<IndexOutOfBoundsException>(kIndex, [&] { B.DeleteColumn(0); });
    EXPECT_TRUE(identical(A, counted(1, 5)));
    EXPECT_TRUE(identical(B, counted(5, 1)));
}

TEST(MatrixEditing, DeleteRowOneOfTwoByTwoLeavesTheFirstRow)
{
    Matrix A{{1, 2}, {3, 4}};
    A.DeleteRow(1);
    EXPECT_TRUE(identical(A, Matrix{{1, 2}}));
}

TEST(MatrixEditing, InsertRowAtTheEndAppendsAndPastItFails)
{
    Matrix A{{1, 2}, {3, 4}};
    A.InsertRow(A.Rows());
    EXPECT_TRUE(identical(A, Matrix{{1, 2}, {3, 4}, {0, 0}}));
    EXPECT_THAT([&] { A.InsertRow(A.Rows() + 1); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
    A.InsertColumn(A.Cols());
    EXPECT_TRUE(identical(A, Matrix{{1, 2, 0}, {3, 4, 0}, {0, 0, 0}}));
    EXPECT_THAT([&] { A.InsertColumn(A.Cols() + 1); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
}

TEST(MatrixEditing, DeleteRemovesOneLineAndMovesNoOther)
{
    for (const Shape& shape : allShapes()) {
        const Matrix A = randomOf(shape);
        for (int r = 0; shape.rows > 1 && r < shape.rows; r += 1 + shape.rows / 8) {
            Matrix B(A);
            B.DeleteRow(r);
            EXPECT_TRUE(identical(
                B, built(shape.rows - 1, shape.cols, [&](int i, int j) { return A(i < r ? i : i + 1, j); })))
                << shape << ", row " << r;
        }
        for (int c = 0; shape.cols > 1 && c < shape.cols; c += 1 + shape.cols / 8) {
            Matrix B(A);
            B.DeleteColumn(c);
            EXPECT_TRUE(identical(
                B, built(shape.rows, shape.cols - 1, [&](int i, int j) { return A(i, j < c ? j : j + 1); })))
                << shape << ", column " << c;
        }
    }
}

TEST(MatrixEditing, InsertPutsALineOfZerosAndMovesNoOther)
{
    for (const Shape& shape : allShapes()) {
        const Matrix A = randomOf(shape);
        for (int r = 0; r <= shape.rows; r += 1 + shape.rows / 8) {
            soilMemory((shape.rows + 1) * shape.cols);
            Matrix B(A);
            B.InsertRow(r);
            EXPECT_TRUE(
                identical(B, built(shape.rows + 1, shape.cols,
                                   [&](int i, int j) { return i == r ? 0.0 : A(i < r ? i : i - 1, j); })))
                << shape << ", row " << r;
            B.DeleteRow(r);
            EXPECT_TRUE(identical(A, B));
        }
        for (int c = 0; c <= shape.cols; c += 1 + shape.cols / 8) {
            soilMemory(shape.rows * (shape.cols + 1));
            Matrix B(A);
            B.InsertColumn(c);
            EXPECT_TRUE(
                identical(B, built(shape.rows, shape.cols + 1,
                                   [&](int i, int j) { return j == c ? 0.0 : A(i, j < c ? j : j - 1); })))
                << shape << ", column " << c;
            B.DeleteColumn(c);
            EXPECT_TRUE(identical(A, B));
        }
    }
}

TEST(MatrixEditing, DeletingToTheLastRowKeepsTheRightOne)
{
    Matrix A = counted(4, 3);
    A.DeleteRow(3);
    A.DeleteRow(0);
    A.DeleteRow(1);
    EXPECT_TRUE(identical(A, Matrix{{2, 6, 10}}));
    EXPECT_THROW(A.DeleteRow(0), IndexOutOfBoundsException);
    A.DeleteColumn(1);
    A.DeleteColumn(1);
    EXPECT_TRUE(identical(A, Matrix{{2}}));
}

// ---- sizes past 32 bits

TEST(MatrixJoining, ResultsOfMoreCellsThanABlockHoldsAreRefused)
{
    const Matrix column(65536, 1), row(1, 65536);
    expectRefusedByTheAllocator([&] { Matrix::Concatenate(column, row); }); // 65536 x 65537
    expectRefusedByTheAllocator(
        [&] { Matrix::Concatenate(row, column, ConcatenateMode::Vertically); }); // 65537 x 65536
}

// What the hardened build refuses to make: rows times columns wraps to 0, or to 1.
TEST(MatrixJoining, SizesWhoseSumPassesTheLargestAreRefused)
{
    const auto halfOfAll = [] { return Matrix(1 << 30, 4); };
    if constexpr (detail::kHardened) {
        EXPECT_THROW(halfOfAll(), InvalidOperationException);
    } else {
        const Matrix A = halfOfAll(), wide(4, 1 << 30);
        expectRefusedByTheAllocator([&] { Matrix::Concatenate(A, A, ConcatenateMode::Vertically); });
        expectRefusedByTheAllocator([&] { Matrix::Concatenate(wide, wide); });
    }
}

TEST(MatrixInserting, ARowOrColumnPastTheLargestSizeIsRefused)
{
    const auto largest = [] { return Matrix(INT32_MAX, INT32_MAX); };
    if constexpr (detail::kHardened) {
        EXPECT_THROW(largest(), InvalidOperationException);
    } else {
        Matrix A = largest();
        for (const std::int32_t index : {0, 7, INT32_MAX}) {
            expectRefusedByTheAllocator([&] { A.InsertRow(index); });
            expectRefusedByTheAllocator([&] { A.InsertColumn(index); });
        }
        EXPECT_THAT([&] { A.InsertRow(-1); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
        EXPECT_EQ(A.Rows(), INT32_MAX);
        EXPECT_EQ(A.Cols(), INT32_MAX);
    }
}

} // namespace
} // namespace Velmar::Lintrix
