// Whole rows and columns of CMatrix.

#include "tests/complex/complex_support.h"

#include <climits>
#include <functional>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr const char* kRowIndex = "Row index exceeds matrix size.";
constexpr const char* kColumnIndex = "Column index exceeds matrix size.";
constexpr const char* kEditIndex = "Row or column index exceeds matrix size.";

using Places = std::vector<std::int32_t>;

// ---- indices

struct Indexed {
    const char* name;
    const char* text;
    int limit; ///< the first bad index of a 3 x 4 matrix
    std::function<void(CMatrix&, int)> operation;
};

const std::vector<Indexed>& indexedOperations()
{
    static const CVector x = countedComplex(2);
    static const std::vector<Indexed> operations{
        {"SetRow vector", kRowIndex, 3, [](CMatrix& A, int i) { A.SetRow(i, x); }},
        {"SetRow array", kRowIndex, 3, [](CMatrix& A, int i) { A.SetRow(i, countedCells(2)); }},
        {"SetRow literal", kRowIndex, 3,
         [](CMatrix& A, int i) {
             A.SetRow(i, {1, kI});
         }},
        {"SetRow ramp", kRowIndex, 3, [](CMatrix& A, int i) { A.SetRow(i, 1.0, kI); }},
        {"SetRow value", kRowIndex, 3, [](CMatrix& A, int i) { A.SetRow(i, kI); }},
        {"SetColumn vector", kColumnIndex, 4, [](CMatrix& A, int i) { A.SetColumn(i, x); }},
        {"SetColumn array", kColumnIndex, 4, [](CMatrix& A, int i) { A.SetColumn(i, countedCells(2)); }},
        {"SetColumn literal", kColumnIndex, 4,
         [](CMatrix& A, int i) {
             A.SetColumn(i, {1, kI});
         }},
        {"SetColumn ramp", kColumnIndex, 4, [](CMatrix& A, int i) { A.SetColumn(i, 1.0, kI); }},
        {"SetColumn value", kColumnIndex, 4, [](CMatrix& A, int i) { A.SetColumn(i, kI); }},
        {"RowVector", kRowIndex, 3, [](CMatrix& A, int i) { A.RowVector(i); }},
        {"ColVector", kColumnIndex, 4, [](CMatrix& A, int i) { A.ColVector(i); }},
        {"SwapRows first", kRowIndex, 3, [](CMatrix& A, int i) { A.SwapRows(i, 0); }},
        {"SwapRows second", kRowIndex, 3, [](CMatrix& A, int i) { A.SwapRows(0, i); }},
        {"SwapCols first", kColumnIndex, 4, [](CMatrix& A, int i) { A.SwapCols(i, 0); }},
        {"SwapCols second", kColumnIndex, 4, [](CMatrix& A, int i) { A.SwapCols(0, i); }},
        {"SubMatrix row 1", kRowIndex, 3, [](CMatrix& A, int i) { A.SubMatrix(i, 0, 9, 9); }},
        {"SubMatrix row 2", kRowIndex, 3, [](CMatrix& A, int i) { A.SubMatrix(0, i, 9, 9); }},
        {"SubMatrix column 1", kColumnIndex, 4, [](CMatrix& A, int i) { A.SubMatrix(0, 0, i, 0); }},
        {"SubMatrix column 2", kColumnIndex, 4, [](CMatrix& A, int i) { A.SubMatrix(0, 0, 0, i); }},
        {"DeleteRow", kEditIndex, 3, [](CMatrix& A, int i) { A.DeleteRow(i); }},
        {"DeleteColumn", kEditIndex, 4, [](CMatrix& A, int i) { A.DeleteColumn(i); }},
        {"InsertRow", kEditIndex, 4, [](CMatrix& A, int i) { A.InsertRow(i); }},
        {"InsertColumn", kEditIndex, 5, [](CMatrix& A, int i) { A.InsertColumn(i); }},
    };
    return operations;
}

TEST(CMatrixEditing, BadIndexIsRefusedBeforeAnythingHappens)
{
    for (const Indexed& indexed : indexedOperations()) {
        for (const int bad : {-1, indexed.limit, INT_MIN, INT_MAX}) {
            SCOPED_TRACE(std::string(indexed.name) + " " + std::to_string(bad));
            CMatrix A = countedComplex(3, 4);
            const std::intptr_t address = A.DataPtr();
            expectRefusedUnallocated<IndexOutOfBoundsException>(indexed.text,
                                                                [&] { indexed.operation(A, bad); });
            EXPECT_EQ(A.DataPtr(), address);
            EXPECT_EQ(A, countedComplex(3, 4));
        }
    }
}

TEST(CMatrixEditing, LastIndexIsGood)
{
    for (const Indexed& indexed : indexedOperations()) {
        if (std::string_view(indexed.name).starts_with("SubMatrix row")) continue; // their columns are bad
        CMatrix A = countedComplex(3, 4);
        EXPECT_NO_THROW(indexed.operation(A, indexed.limit - 1)) << indexed.name;
    }
}

// ---- blocks and memory

TEST(CMatrixEditing, WritingAndSwappingTakeNoBlockAndTheOthersTakeOne)
{
    for (const Indexed& indexed : indexedOperations()) {
        const std::string_view name = indexed.name;
        if (name.starts_with("SubMatrix row")) continue;
        SCOPED_TRACE(name);
        const bool inPlace = name.starts_with("S") && !name.starts_with("SubMatrix");
        const bool replaces = name.starts_with("Delete") || name.starts_with("Insert");
        CMatrix A = countedComplex(3, 4);
        const std::intptr_t address = A.DataPtr();
        const std::int64_t before = TrellConfiguration::TotalMemory();
        expectAllocations(inPlace ? 0 : 1, A, [&] { indexed.operation(A, 1); });
        EXPECT_EQ(A.DataPtr() != address, replaces);
        EXPECT_EQ(TrellConfiguration::TotalMemory() - before, (A.Rows() * A.Cols() - 12) * 16);
    }
    CMatrix A = countedComplex(3, 4);
    expectAllocations(1, A, [&] { A.Diagonal(); });
    expectAllocations(1, A, [&] { CMatrix::Concatenate(A, A); });
    expectAllocations(1, A, [&] { CMatrix::Concatenate(A, A, ConcatenateMode::Vertically); });
    expectAllocations(1, A, [&] { A.ReorderRows({0, 1, 2}); });
    expectAllocations(1, A, [&] { A.ReorderCols({0, 1, 2, 3}); });
}

// ---- writing and reading

TEST(CMatrixEditing, RowFormsWriteTheirRowAndNoOtherCell)
{
    CMatrix A = countedComplex(2, 3);
    A.SetRow(1, CVector{kI, 2, 3, 4}); // the excess is ignored
    EXPECT_EQ(A, (CMatrix{{{1, 10}, {3, 30}, {5, 50}}, {kI, 2, 3}}));
    A.SetRow(0, std::vector<Complex>{7}); // a shorter one leaves the rest
    EXPECT_EQ(A, (CMatrix{{7, {3, 30}, {5, 50}}, {kI, 2, 3}}));
    A.SetRow(0, {8, 9}); // two cells, and not one number
    EXPECT_EQ(A, (CMatrix{{8, 9, {5, 50}}, {kI, 2, 3}}));
    A.SetRow(0, {8, kI});
    EXPECT_EQ(A, (CMatrix{{8, kI, {5, 50}}, {kI, 2, 3}}));
    A.SetRow(1, Complex(1, -1), Complex(0.5, 2));
    EXPECT_EQ(A, (CMatrix{{8, kI, {5, 50}}, {{1, -1}, {1.5, 1}, {2, 3}}}));
    A.SetRow(0, Complex(4, 4));
    EXPECT_EQ(A, (CMatrix{{{4, 4}, {4, 4}, {4, 4}}, {{1, -1}, {1.5, 1}, {2, 3}}}));
    A.SetRow(0, 2.0);
    EXPECT_THAT(blockOf(A.RowVector(0)), Each(Complex(2)));
}

TEST(CMatrixEditing, ColumnFormsWriteTheirColumnAndNoOtherCell)
{
    CMatrix A = countedComplex(3, 2);
    A.SetColumn(1, CVector{kI, 2, 3, 4});
    EXPECT_EQ(A.ColVector(1), (CVector{kI, 2, 3}));
    A.SetColumn(1, std::vector<Complex>{7});
    EXPECT_EQ(A.ColVector(1), (CVector{7, 2, 3}));
    A.SetColumn(1, {8, kI});
    EXPECT_EQ(A.ColVector(1), (CVector{8, kI, 3}));
    A.SetColumn(1, 1.0, 2.0 * kI);
    EXPECT_EQ(A.ColVector(1), (CVector{1, {1, 2}, {1, 4}}));
    A.SetColumn(1, kI);
    EXPECT_EQ(A.ColVector(1), (CVector{kI, kI, kI}));
    EXPECT_EQ(A.ColVector(0), countedComplex(3));
    A.SetColumn(0, CVector(std::vector<Complex>{})); // nothing to write
    EXPECT_EQ(A.ColVector(0), countedComplex(3));
}

TEST(CMatrixEditing, RampIsComputedFreshForEachCell)
{
    CMatrix A(1, 11), B(11, 1);
    A.SetRow(0, {0.1, -0.1}, {0.1, 0.3});
    B.SetColumn(0, {0.1, -0.1}, {0.1, 0.3});
    for (int i = 0; i < 11; ++i) {
        EXPECT_EQ(A(0, i), Complex(i * 0.1 + 0.1, i * 0.3 - 0.1));
        EXPECT_EQ(B(i, 0), A(0, i));
    }
}

TEST(CMatrixEditing, LinesOfAnyShapeAreCopiesToTheBit)
{
    std::mt19937_64 generator(1);
    for (const Shape& shape : allShapes()) {
        SCOPED_TRACE(shape);
        const CMatrix A = randomComplex(shape, generator);
        const int r = shape.rows / 2, c = shape.cols - 1;
        const CVector row = A.RowVector(r), column = A.ColVector(c), diagonal = A.Diagonal();
        ASSERT_EQ(row.Length(), shape.cols);
        ASSERT_EQ(column.Length(), shape.rows);
        ASSERT_EQ(diagonal.Length(), std::min(shape.rows, shape.cols));
        for (int j = 0; j < shape.cols; ++j) EXPECT_EQ(row[j], A(r, j));
        for (int i = 0; i < shape.rows; ++i) EXPECT_EQ(column[i], A(i, c));
        for (int i = 0; i < diagonal.Length(); ++i) EXPECT_EQ(diagonal[i], A(i, i));
    }
}

TEST(CMatrixEditing, SwapExchangesTwoLinesAndNoOtherCell)
{
    std::mt19937_64 generator(2);
    for (const Shape& shape : allShapes()) {
        const CMatrix before = randomComplex(shape, generator);
        CMatrix A = before;
        A.SwapRows(0, shape.rows - 1);
        A.SwapCols(shape.cols - 1, 0);
        const auto swapped = [](int i, int n) { return i == 0 ? n - 1 : i == n - 1 ? 0 : i; };
        bool right = true;
        for (int c = 0; c < shape.cols; ++c) {
            for (int r = 0; r < shape.rows; ++r) {
                right = right && A(r, c) == before(swapped(r, shape.rows), swapped(c, shape.cols));
            }
        }
        EXPECT_TRUE(right) << shape;
        A = before;
        A.SwapRows(0, 0);
        A.SwapCols(shape.cols - 1, shape.cols - 1);
        EXPECT_EQ(bitsOf(A), bitsOf(before));
    }
}

// ---- cutting and joining

TEST(CMatrixEditing, SubMatrixCutsInAllFourDirections)
{
    const CMatrix A = countedComplex(4, 5);
    for (const auto& [r0, r1] : {std::pair(0, 3), {3, 0}, {1, 2}, {2, 2}}) {
        for (const auto& [c0, c1] : {std::pair(0, 4), {4, 0}, {3, 1}, {1, 1}}) {
            const CMatrix part = A.SubMatrix(r0, r1, c0, c1);
            ASSERT_EQ(part.Rows(), std::abs(r1 - r0) + 1);
            ASSERT_EQ(part.Cols(), std::abs(c1 - c0) + 1);
            for (int i = 0; i < part.Rows(); ++i) {
                for (int j = 0; j < part.Cols(); ++j) {
                    EXPECT_EQ(part(i, j), A(r1 < r0 ? r0 - i : r0 + i, c1 < c0 ? c0 - j : c0 + j));
                }
            }
        }
    }
}

TEST(CMatrixEditing, ConcatenateFillsWithZeros)
{
    const CMatrix A{{1, kI}, {3, 4}}, B{{5}, {6}, {{7, 7}}};
    EXPECT_EQ(CMatrix::Concatenate(A, B), (CMatrix{{1, kI, 5}, {3, 4, 6}, {0, 0, {7, 7}}}));
    EXPECT_EQ(CMatrix::Concatenate(A, B, ConcatenateMode::Horizontally), CMatrix::Concatenate(A, B));
    EXPECT_EQ(CMatrix::Concatenate(A, B, ConcatenateMode::Vertically),
              (CMatrix{{1, kI}, {3, 4}, {5, 0}, {6, 0}, {{7, 7}, 0}}));
    const FailingAllocator allocator(0);
    EXPECT_FALSE(CMatrix::Concatenate(A, B, static_cast<ConcatenateMode>(7)).has_value());
    EXPECT_FALSE(allocator.hasFailed());
}

TEST(CMatrixEditing, ResultsOfMoreCellsThanABlockHoldsAreRefused)
{
    const CMatrix tall(70000, 1), wide(1, 70000);
    expectRefusedByTheAllocator([&] { CMatrix::Concatenate(tall, wide); });
    expectRefusedByTheAllocator([&] { CMatrix::Concatenate(tall, wide, ConcatenateMode::Vertically); });
}

// ---- reordering

TEST(CMatrixEditing, LineIMovesToPlacePivotsI)
{
    CMatrix A = countedComplex(3, 2), B = countedComplex(2, 3);
    A.ReorderRows({2, 0, 1});
    EXPECT_EQ(A, (CMatrix{{{2, 20}, {5, 50}}, {{3, 30}, {6, 60}}, {{1, 10}, {4, 40}}}));
    A.ReorderRows(Places{1, 2, 0});
    EXPECT_EQ(A, countedComplex(3, 2));
    B.ReorderCols({2, 0, 1});
    EXPECT_EQ(B, (CMatrix{{{3, 30}, {5, 50}, {1, 10}}, {{4, 40}, {6, 60}, {2, 20}}}));
}

TEST(CMatrixEditing, PivotsOfAnotherLengthAreRefused)
{
    CMatrix A = countedComplex(3, 2);
    for (const Places& places : {Places{}, Places{0, 1}, Places{0, 1, 2, 3}}) {
        expectRefusedUnallocated<SizeMismatchException>("Array size does not match.",
                                                        [&] { A.ReorderRows(places); });
    }
    expectRefusedUnallocated<SizeMismatchException>("Array size does not match.", [&] {
        A.ReorderCols({0, 1, 2});
    });
    if constexpr (detail::kHardened) {
        EXPECT_THAT(
            [&] {
                A.ReorderCols({0, 0});
            },
            ThrowsMessage<InvalidOperationException>("The pivots are not a permutation."));
    }
    EXPECT_EQ(A, countedComplex(3, 2));
}

// ---- deleting and inserting

TEST(CMatrixEditing, DeleteRemovesOneLineAndMovesNoOther)
{
    for (const Shape& shape : {Shape{1, 1}, Shape{1, 4}, Shape{4, 1}, Shape{3, 4}, Shape{17, 33}}) {
        const CMatrix A = countedComplex(shape.rows, shape.cols);
        for (int line = 0; line < shape.rows; ++line) {
            CMatrix B = A;
            B.DeleteRow(line);
            ASSERT_EQ(B.Rows(), shape.rows - 1);
            ASSERT_EQ(B.Cols(), shape.cols);
            for (int r = 0; r < B.Rows(); ++r) EXPECT_EQ(B.RowVector(r), A.RowVector(r < line ? r : r + 1));
        }
        for (int line = 0; line < shape.cols; ++line) {
            CMatrix B = A;
            B.DeleteColumn(line);
            ASSERT_EQ(B.Rows(), shape.rows);
            ASSERT_EQ(B.Cols(), shape.cols - 1);
            for (int c = 0; c < B.Cols(); ++c) EXPECT_EQ(B.ColVector(c), A.ColVector(c < line ? c : c + 1));
        }
    }
}

TEST(CMatrixEditing, InsertPutsALineOfZerosAndMovesNoOther)
{
    for (const Shape& shape : {Shape{1, 1}, Shape{3, 4}, Shape{17, 33}}) {
        const CMatrix A = countedComplex(shape.rows, shape.cols);
        for (int line = 0; line <= shape.rows; ++line) {
            soilMemory(2 * (shape.rows + 1) * shape.cols);
            CMatrix B = A;
            B.InsertRow(line);
            EXPECT_THAT(bitsOf(B.RowVector(line)), Each(0u));
            B.DeleteRow(line);
            EXPECT_EQ(B, A);
        }
        for (int line = 0; line <= shape.cols; ++line) {
            soilMemory(2 * shape.rows * (shape.cols + 1));
            CMatrix B = A;
            B.InsertColumn(line);
            EXPECT_THAT(bitsOf(B.ColVector(line)), Each(0u));
            B.DeleteColumn(line);
            EXPECT_EQ(B, A);
        }
    }
}

// A matrix of 0 cells is nothing to compute with, but it neither reads nor writes what it has not.
TEST(CMatrixEditing, AnEmptiedMatrixHoldsASmallestBlockAndTakesPartInEverything)
{
    for (const bool rows : {true, false}) {
        CMatrix A = rows ? countedComplex(1, 3) : countedComplex(3, 1);
        const std::int64_t others = TrellConfiguration::TotalMemory() - 48;
        rows ? A.DeleteRow(0) : A.DeleteColumn(0);
        EXPECT_EQ(TrellConfiguration::TotalMemory() - others, 16);
        const int m = A.Rows(), n = A.Cols();
        EXPECT_EQ(m * n, 0);
        EXPECT_EQ(CMatrix(A), A);
        EXPECT_EQ((A + A).Rows(), m);
        EXPECT_EQ((-A).Cols(), n);
        EXPECT_EQ((A * kI).Cols(), n);
        EXPECT_EQ(A.Transpose().Rows(), n);
        EXPECT_EQ(A.Adjoint().Cols(), m);
        EXPECT_EQ(A.Conjugate().Rows(), m);
        EXPECT_EQ(A.Real().Rows(), m);
        EXPECT_EQ(A.ToArray().Cols(), n);
        EXPECT_EQ((A.Adjoint() * A).Rows(), n);
        EXPECT_THAT(bitsOf(A.Adjoint() * A), Each(0u));
        EXPECT_THAT(bitsOf(A * A.Adjoint()), Each(0u));
        EXPECT_EQ(A.Trace(), Complex());
        EXPECT_EQ(A.Diagonal().Length(), 0);
        for (const int type : {0, 1, 2, 3}) EXPECT_EQ(A.Norm(static_cast<NormType>(type)), 0.0);
        for (const int mode : {0, 1, 2}) {
            A.NormalizeCols(static_cast<NormalizeMode>(mode));
            A.NormalizeRows(static_cast<NormalizeMode>(mode));
        }
        EXPECT_TRUE(A.IsFinite() && !A.HasINFs() && !A.HasNaNs());
        EXPECT_FALSE(A.IsSymmetric());
        EXPECT_EQ(A.ToString("F0", " ", "[", "]", "end"), rows ? "end" : "[][][end");
        A.Clear();
        A.FillRandom();
        A.Data(std::as_const(A).Data());
        const auto filled = rows ? A : A.Transpose(); // 0 x 3
        CMatrix B = filled;
        B.DeleteColumn(1);
        EXPECT_EQ(B.Cols(), 2);
        B.InsertRow(0);
        EXPECT_EQ(B, CMatrix(1, 2));
        CMatrix C = filled.Transpose(); // 3 x 0
        for (int left = 3; left > 0; --left) C.DeleteRow(left - 1);
        EXPECT_EQ(C.Rows() + C.Cols(), 0);
        EXPECT_THAT([&] { C.DeleteRow(0); }, ThrowsMessage<IndexOutOfBoundsException>(kEditIndex));
        EXPECT_THAT([&] { C.DeleteColumn(0); }, ThrowsMessage<IndexOutOfBoundsException>(kEditIndex));
        C.InsertColumn(0);
        C.InsertRow(0);
        EXPECT_EQ(C, CMatrix(1, 1));
        A.Resize(2, 2);
        EXPECT_EQ(A, CMatrix(2, 2));
    }
}

} // namespace
} // namespace Velmar::Lintrix
