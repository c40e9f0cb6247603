// What CSparseMatrix has in common with its twin, by a case or two each, and what it refuses. The random runs
// of sparse_model_test.cpp go through all of its operations; what differs is in sparse_twins_test.cpp.

#include "tests/complex/complex_support.h"
#include "tests/sparse/sparse_support.h"
#include "tests/support/comma_locale.h"

#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/random.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/csparse_matrix.h>

#include <climits>
#include <functional>
#include <sstream>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using detail::SparseAccess;
using ::testing::ElementsAre;

constexpr auto N = TransposeMode::NotTransposed;
constexpr auto T = TransposeMode::Transposed;
constexpr auto H = TransposeMode::ConjugateTransposed;
constexpr const char* kSizeMismatch = "Matrix sizes do not match.";
constexpr const char* kSizes = "Invalid number of rows or columns.";
constexpr const char* kRowIndex = "Row index exceeds matrix size.";
constexpr const char* kColumnIndex = "Column index exceeds matrix size.";

// [ 1+i  .  2 ]
// [  .  3i  . ]
CSparseMatrix example()
{
    return CSparseMatrix({{1, 1}, 2, {0, 3}}, {0, 2, 3}, {0, 2, 1});
}

CMatrix denseExample()
{
    return CMatrix{{{1, 1}, 0, 2}, {0, {0, 3}, 0}};
}

/// All that can be seen of an object.
std::string looked(const CSparseMatrix& A)
{
    std::ostringstream text;
    text << A.Rows() << ' ' << A.Cols() << ' ' << A.Capacity() << ' ' << A.GrowFactor() << ' '
         << A.Hermitian();
    for (const std::int32_t start : A.RowPointers()) text << ' ' << start;
    for (const std::int32_t column : A.ColumnIndices()) text << ' ' << column;
    for (const Complex& x : A.Values()) text << ' ' << std::hexfloat << x;
    return text.str();
}

// ---- construction

TEST(CSparseMatrix, SizesAreRefusedRowsFirstBeforeAnythingIsAllocated)
{
    for (const int bad : {0, -1, INT_MIN}) {
        const std::function<void()> badRows[] = {
            [=] { CSparseMatrix(bad, bad); },
            [=] { CSparseMatrix(bad, 3, 9); },
            [=] { CSparseMatrix(bad, 3, 9, 2.0F); },
            [=] { CSparseMatrix(bad, true); },
            [=] { CSparseMatrix(bad, false, 9, 2.0F); },
        };
        for (const auto& construct : badRows) {
            expectRefusedUnallocated<InvalidSizeException>(construct, kInvalidRows);
        }
        expectRefusedUnallocated<InvalidSizeException>([=] { CSparseMatrix(3, bad); }, kInvalidColumns);
        expectRefusedUnallocated<InvalidSizeException>([=] { CSparseMatrix(3, bad, 9); }, kInvalidColumns);
    }
}

TEST(CSparseMatrix, CapacityAndGrowFactorAreBroughtIntoTheirBounds)
{
    EXPECT_EQ(CSparseMatrix(5, 5, 2).Capacity(), 5);
    EXPECT_EQ(CSparseMatrix(5, true, 2, 2.0F).Capacity(), 5);
    EXPECT_EQ(CSparseMatrix(5, 5).Capacity(), 100);
    EXPECT_EQ(CSparseMatrix(5, 5, 9, 9.0F).GrowFactor(), 4.0F);
    EXPECT_EQ(CSparseMatrix(5, 5, 9, 0.5F).GrowFactor(), 1.0F);
    CSparseMatrix A = example();
    A.Capacity(0);
    EXPECT_EQ(A.Capacity(), 3);
    A.Capacity(8);
    EXPECT_EQ(A.Capacity(), 8);
    A.GrowFactor(7.0F);
    EXPECT_EQ(A.GrowFactor(), 4.0F);
}

TEST(CSparseMatrix, ArraysFromEitherBaseMeanTheSame)
{
    const CSparseMatrix zero({1, kI}, {0, 1, 2}, {0, 3}), one({1, kI}, {1, 2, 3}, {1, 4});
    EXPECT_EQ(looked(zero), looked(one));
    EXPECT_EQ(one.Rows(), 2);
    EXPECT_EQ(one.Cols(), 4);
    EXPECT_EQ(one.GrowFactor(), 1.2F);
    EXPECT_EQ(one.Capacity(), 2);
}

TEST(CSparseMatrix, ArraysAreCheckedInOrder)
{
    struct Bad {
        std::vector<Complex> A;
        std::vector<std::int32_t> IA, JA;
        const char* text;
        const char* parameter;
    };
    const char* lengths = "Array JA should have equal size with array A";
    const char* base = "Arrays should be zero based or one based";
    const char* count = "Array IA defines different number of elements than array A";
    const Bad table[] = {{{1, 2}, {7}, {0}, lengths, "JA"},
                         {{1}, {2, 3}, {1}, base, "IA"},
                         {{1}, {-1, 0}, {0}, base, "IA"},
                         {{1}, {0, 2}, {0}, count, ""},
                         {{1}, {1, 1}, {1}, count, ""}};
    for (const Bad& bad : table) {
        const auto construct = [&] { CSparseMatrix(bad.A, bad.IA, bad.JA); };
        expectRefusedUnallocated<ArgumentException>(construct, bad.text);
        try {
            construct();
        } catch (const ArgumentException& e) {
            EXPECT_EQ(e.ParamName(), bad.parameter);
        }
    }
    expectRefusedUnallocated<InvalidSizeException>([] { CSparseMatrix({}, {1, 1}, {}); }, kInvalidColumns);
    expectRefusedUnallocated<InvalidSizeException>([] { CSparseMatrix({}, {0}, {}); }, kInvalidRows);
    EXPECT_EQ(CSparseMatrix({}, {0, 0}, {}).Cols(), 1);
    expectFailure<IndexOutOfRangeException>([] { CSparseMatrix({}, {}, {}); },
                                            IndexOutOfRangeException().what());
}

TEST(CSparseMatrix, DenseFormsGoThereAndBack)
{
    EXPECT_TRUE(identical(example().ToDense(), denseExample()));
    std::mt19937_64 generator(3);
    for (const Shape& shape : {Shape{1, 1}, {1, 8}, {8, 1}, {5, 9}, {30, 30}}) {
        const CMatrix dense = randomComplex(shape, generator);
        EXPECT_TRUE(identical(CSparseMatrix(dense).ToDense(), dense)) << shape;
    }
}

TEST(CSparseMatrix, ADenseResultOfMoreCellsThanAMatrixCountsIsRefused)
{
    const CSparseMatrix A(65536, 65536);
    expectRefusedUnallocated<InvalidSizeException>([&] { (void)A.ToDense(); }, kSizes);
}

TEST(CSparseMatrix, AMoveTakesTheArraysAndAReleasedMatrixIsRefused)
{
    CSparseMatrix A = example();
    const Complex* const address = SparseAccess::values(A);
    const CSparseMatrix B = std::move(A);
    EXPECT_EQ(SparseAccess::values(B), address);
    EXPECT_EQ(A.Rows(), 2);
    EXPECT_EQ(A.Cols(), 3);
    const std::function<void()> uses[] = {
        [&] { (void)A.NumElements(); }, [&] { (void)A.Item(0, 0); }, [&] { A(0, 0) = 1.0; },
        [&] { A.Capacity(100); },       [&] { A.Rows(5); },          [&] { A.Cols(1); },
        [&] { A.RemoveZeros(); },       [&] { A.FillRandom(); },     [&] { (void)A.ToDense(); },
        [&] { (void)A.Clone(); },       [&] { (void)A.Data(); },     [&] { (void)ToArchive(A); },
    };
    for (const auto& use : uses) expectFailure<InvalidOperationException>(use, kReleased);
    A = B;
    EXPECT_EQ(looked(A), looked(B));
}

TEST(CSparseMatrix, DisposeGivesTheMemoryBackAndMayBeRepeated)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    CSparseMatrix A(10, 20);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 11 * 4 + 100 * 4 + 100 * 16);
    A.Dispose();
    A.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

// ---- access and editing

TEST(CSparseMatrix, IndicesAreCheckedRowFirstAndAfterTheMirroring)
{
    const CSparseMatrix A(2, 3), F(3, true);
    expectFailure<IndexOutOfBoundsException>([&] { A.Item(2, 9); }, kRowIndex);
    expectFailure<IndexOutOfBoundsException>([&] { A.Item(-1, 0); }, kRowIndex);
    expectFailure<IndexOutOfBoundsException>([&] { A.Item(0, 3); }, kColumnIndex);
    expectFailure<IndexOutOfBoundsException>([&] { CSparseMatrix(2, 3).Item(0, -1, kI); }, kColumnIndex);
    expectFailure<IndexOutOfBoundsException>([&] { F.Item(7, 0); }, kColumnIndex);
    expectFailure<IndexOutOfBoundsException>([&] { F.Item(0, 7); }, kColumnIndex);
    expectFailure<IndexOutOfBoundsException>([&] { F.Item(-1, 0); }, kRowIndex);
}

TEST(CSparseMatrix, ElementsWrittenInAnyOrderStandInAscendingColumns)
{
    CSparseMatrix A(2, 4, 2);
    A(1, 3) = kI;
    A(0, 2) = 2.0;
    A(1, 0) = Complex(0.0, 0.0); // stored, too
    A(0, 0) = Complex(3, 4);
    A(0, 2) = Complex(5, 6);
    EXPECT_TRUE(std::ranges::equal(A.RowPointers(), std::vector{1, 3, 5}));
    EXPECT_TRUE(std::ranges::equal(A.ColumnIndices(), std::vector{1, 3, 1, 4}));
    EXPECT_TRUE(std::ranges::equal(A.Values(), std::vector<Complex>{{3, 4}, {5, 6}, 0, kI}));
    EXPECT_EQ(A.Capacity(), 4);
}

TEST(CSparseMatrix, SlotsOpenAndCloseAndRowPointersStay)
{
    CSparseMatrix A = example();
    SparseAccess::insertElement(A, 1);
    EXPECT_EQ(A.Capacity(), 4);
    EXPECT_EQ(A.NumElements(), 3) << "the row pointers are the caller's";
    EXPECT_EQ(SparseAccess::values(A)[0], Complex(1, 1));
    EXPECT_EQ(SparseAccess::values(A)[2], Complex(2, 0));
    EXPECT_EQ(SparseAccess::values(A)[3], Complex(0, 3));
    EXPECT_EQ(SparseAccess::columns(A)[3], 2);
    CSparseMatrix B = example();
    SparseAccess::deleteElement(B, 0);
    EXPECT_EQ(SparseAccess::values(B)[0], Complex(2, 0));
    EXPECT_EQ(SparseAccess::values(B)[1], Complex(0, 3));
    EXPECT_EQ(B.Capacity(), 3);
}

TEST(CSparseMatrix, SizesOfAFlaggedMatrixChangeTogether)
{
    CSparseMatrix A(3, true);
    A(0, 2) = kI;
    A.Rows(2);
    EXPECT_EQ(A.Cols(), 2);
    EXPECT_EQ(A.NumElements(), 2);
    A.Cols(4);
    EXPECT_EQ(A.Rows(), 4);
    EXPECT_EQ(A.NumElements(), 2) << "new rows have no diagonal";
    CSparseMatrix B = example();
    B.Rows(1);
    B.Rows(2);
    EXPECT_EQ(B.NumElements(), 2);
    B.Cols(2);
    EXPECT_EQ(B.NumElements(), 1);
}

TEST(CSparseMatrix, SizesBelowOneAreADutyOfTheCallerAndTheHardenedBuildTellsIt)
{
    CSparseMatrix A = example(), B = example();
    if constexpr (detail::kHardened) {
        EXPECT_THROW(A.Rows(0), InvalidOperationException);
        EXPECT_THROW(A.Cols(0), InvalidOperationException);
        EXPECT_EQ(looked(A), looked(example()));
    } else {
        A.Rows(0);
        EXPECT_EQ(A.NumElements(), 0);
        expectRefusedUnallocated<InvalidSizeException>([&] { (void)A.Clone(); }, kInvalidRows);
        A.Rows(2);
        EXPECT_EQ(A.NumElements(), 0);
        B.Cols(0);
        EXPECT_EQ(B.NumElements(), 0);
        expectRefusedUnallocated<InvalidSizeException>([&] { (void)B.Clone(); }, kInvalidColumns);
    }
}

TEST(CSparseMatrix, RemoveZerosOfAFreshFlaggedMatrixRemovesNothing)
{
    CSparseMatrix A(3, true);
    A.RemoveZeros();
    EXPECT_EQ(A.NumElements(), 3);
    A.RemoveZeros(1e-15, false);
    EXPECT_EQ(A.NumElements(), 0);
    EXPECT_EQ(A.Capacity(), 100);
}

// ---- arithmetic

TEST(CSparseMatrix, WhatCancelsStaysInSumsAndIsDroppedByTransposedProducts)
{
    const CSparseMatrix A = example(), difference = A - A;
    EXPECT_EQ(difference.NumElements(), 3);
    EXPECT_EQ(difference.Capacity(), 4);
    EXPECT_EQ(difference.GrowFactor(), 1.2F);
    EXPECT_THAT(std::vector<Complex>(difference.Values().begin(), difference.Values().end()),
                ::testing::Each(Complex()));
    const CSparseMatrix row({1, kI}, {0, 2, 2}, {0, 1}), column({1, kI}, {0, 1, 2}, {0, 0});
    EXPECT_EQ((row * column).NumElements(), 1) << "1 + i*i";
    EXPECT_EQ((row * column).Item(0, 0), Complex());
    EXPECT_EQ(CSparseMatrix::Multiply(T, column, column).NumElements(), 0);
    EXPECT_EQ(CSparseMatrix::Multiply(T, column, column).Capacity(), 1);
    EXPECT_EQ(CSparseMatrix::Multiply(H, column, column).Item(0, 0), Complex(2));
}

TEST(CSparseMatrix, OperandsOfWrongShapeAreRefusedAndTheTargetStays)
{
    const CSparseMatrix A = example(); // 2 x 3
    const auto none = static_cast<TransposeMode>(3);
    expectFailure<SizeMismatchException>([&] { (void)(A + CSparseMatrix(2, 2)); }, kSizeMismatch);
    expectFailure<SizeMismatchException>([&] { (void)CSparseMatrix::Add(A, 1.0, T, A); }, kSizeMismatch);
    expectFailure<SizeMismatchException>([&] { (void)CSparseMatrix::Add(A, 1.0, none, A); }, kSizeMismatch);
    expectFailure<InvalidSizeException>([&] { (void)(A * A); }, kSizes);
    expectFailure<InvalidSizeException>([&] { (void)CSparseMatrix::Multiply(none, A, A); }, kSizes);
    expectFailure<SizeMismatchException>([&] { (void)(A * CVector(2)); }, kSizeMismatch);
    expectFailure<SizeMismatchException>([&] { (void)(CVector(3) * A); }, kSizeMismatch);
    CVector y = countedComplex(3);
    expectFailure<SizeMismatchException>([&] { CSparseMatrix::Multiply(1.0, N, A, CVector(3), 0.0, y); },
                                         kSizeMismatch);
    expectFailure<SizeMismatchException>([&] { CSparseMatrix::Multiply(1.0, none, A, CVector(3), 0.0, y); },
                                         kSizeMismatch);
    EXPECT_EQ(bitsOf(y), bitsOf(countedComplex(3)));
    CMatrix C = countedComplex(2, 2);
    for (const auto& [rows, cols] : {std::pair{2, 2}, {3, 3}}) {
        const CMatrix B(rows, cols);
        expectFailure<InvalidSizeException>([&] { CSparseMatrix::Multiply(1.0, N, A, B, 0.0, C); }, kSizes);
    }
    EXPECT_EQ(bitsOf(C), bitsOf(countedComplex(2, 2)));
}

class Special : public CSparseMatrix {
public:
    using CSparseMatrix::CSparseMatrix;
};

TEST(CSparseMatrix, SumsOfDifferentClassesAreRefusedBeforeTheShapeIsLookedAt)
{
    const CSparseMatrix A(2, 2);
    const Special B(2, 2), wide(2, 3);
    constexpr const char* text = "Matrices are not of the same type";
    expectFailure<ArgumentException>([&] { (void)CSparseMatrix::Add(A, B); }, text);
    expectFailure<ArgumentException>([&] { (void)CSparseMatrix::Subtract(wide, A); }, text);
    EXPECT_NO_THROW((void)CSparseMatrix::Add(B, B));
}

TEST(CSparseMatrix, WithBetaZeroTheTargetIsNotRead)
{
    const CSparseMatrix A = example();
    CVector y(2, Complex(kNaN, kInf));
    CSparseMatrix::Multiply(1.0, N, A, CVector{1, 1, 1}, 0.0, y);
    EXPECT_THAT(blockOf(y), ElementsAre(Complex(3, 1), Complex(0, 3)));
    CVector z(2, Complex(kNaN, 0));
    CSparseMatrix::Multiply(1.0, N, A, CVector{1, 1, 1}, {0.0, 1.0}, z);
    EXPECT_FALSE(z.IsFinite()) << "only a zero in both parts is a zero";
}

TEST(CSparseMatrix, AnOperandAsTargetIsRefusedInTheHardenedBuild)
{
    if (!detail::kHardened) return; // the caller's duty there
    const CSparseMatrix A({1, kI}, {0, 1, 2}, {0, 1});
    CVector y = countedComplex(2);
    CMatrix C = countedComplex(2, 2);
    EXPECT_THROW(CSparseMatrix::Multiply(1.0, N, A, y, 0.0, y), InvalidOperationException);
    EXPECT_THROW(CSparseMatrix::Multiply(1.0, N, A, C, 0.0, C), InvalidOperationException);
}

// The columns of B and C are addressed Cols() and Rows() apart in every mode: of a rectangular matrix the
// addresses lead past the end of one of them, where nothing is read or written.
TEST(CSparseMatrix, ATransposedProductOfARectangularMatrixStaysInsideTheBlocks)
{
    for (const Shape& shape : {Shape{2, 3}, {3, 2}, {1, 5}, {5, 1}}) {
        CSparseMatrix A(shape.rows, shape.cols);
        for (int r = 0; r < shape.rows; ++r) A(r, r % shape.cols) = kI;
        for (const TransposeMode mode : {T, H}) {
            const CMatrix B = countedComplex(shape.rows, 4);
            CMatrix C = countedComplex(shape.cols, 4);
            const auto multiply = [&] { CSparseMatrix::Multiply(1.0, mode, A, B, 1.0, C); };
            if constexpr (detail::kHardened) {
                EXPECT_THROW(multiply(), InvalidOperationException);
            } else {
                EXPECT_NO_THROW(multiply());
            }
        }
    }
}

TEST(CSparseMatrix, LargeProductsOnAllThreadsAreThoseOfTheDenseMatrix)
{
    std::mt19937_64 generator(5);
    const int n = 600;
    CSparseMatrix A(n, n, 4 * n);
    CMatrix dense(n, n);
    for (int r = 0; r < n; ++r) {
        for (int k = 0; k < 4; ++k) {
            const int c = static_cast<int>(generator() % static_cast<unsigned>(n));
            const Complex x(static_cast<double>(generator() % 9) - 4.0, static_cast<double>(generator() % 9));
            A(r, c) = x;
            dense(r, c) = x;
        }
    }
    CVector x(n);
    for (int i = 0; i < n; ++i) x[i] = Complex(i % 7, i % 5 - 2);
    for (const TransposeMode mode : {N, T, H}) {
        const CMatrix op = applied(mode, dense);
        CVector y(n);
        CSparseMatrix::Multiply(kI, mode, A, x, 0.0, y);
        for (int r = 0; r < n; ++r) {
            Complex sum = 0.0;
            for (int c = 0; c < n; ++c) {
                if (op(r, c) != 0.0) sum += plainProduct(op(r, c), x[c]);
            }
            ASSERT_EQ(y[r], plainProduct(kI, sum)) << r; // integers: exact in any order
        }
    }
}

// ---- text

TEST(CSparseMatrixText, AStreamReceivesTheDefaultForm)
{
    std::ostringstream out;
    out << example();
    EXPECT_EQ(out.str(), "| (1.000,1.000i) (0.000,0.000i) (2.000,0.000i) |\n"
                         "| (0.000,0.000i) (0.000,3.000i) (0.000,0.000i) |\n");
    EXPECT_EQ(out.str(), example().ToString());
}

TEST(CSparseMatrixText, TheProviderGivesTheDecimalSign)
{
    EXPECT_EQ(CSparseMatrix({{1234.5, -0.25}}, {0, 1}, {0}).ToString(comma(), "N2"),
              "| (1.234,50,   -0,25i)|\n");
    EXPECT_EQ(example().ToString("F0", ";"), "| (1,1i);(0,0i);(2,0i) |\n| (0,0i);(0,3i);(0,0i) |\n");
    expectFailure<FormatException>([] { example().ToString("Z"); }, "Format specifier was invalid.");
}

TEST(CSparseMatrixText, AnElementWithoutMirrorImageFails)
{
    CSparseMatrix A(3, 2);
    A.Hermitian(true);
    expectFailure<IndexOutOfBoundsException>([&] { A.ToString(); }, kColumnIndex);
}

// ---- byte form and archive

TEST(CSparseMatrixData, FlagAndGrowFactorOfTheTargetStay)
{
    CSparseMatrix F(2, true, 9, 3.0F);
    F(1, 0) = kI;
    CSparseMatrix target;
    target.Data(F.Data());
    EXPECT_FALSE(target.Hermitian());
    EXPECT_EQ(target.GrowFactor(), 1.2F);
    EXPECT_EQ(target.Capacity(), 3);
    EXPECT_EQ(target.Item(0, 1), -kI);
    EXPECT_EQ(target.Item(1, 0), Complex());
    F.Data(example().Data());
    EXPECT_TRUE(F.Hermitian());
    EXPECT_EQ(F.GrowFactor(), 3.0F);
    EXPECT_EQ(F.Cols(), 3);
}

TEST(CSparseMatrixData, EveryShortFormIsRefusedAndASurplusIgnored)
{
    const std::vector<std::byte> form = example().Data();
    CSparseMatrix A(3, true);
    const std::string before = looked(A);
    for (std::size_t length = 0; length < form.size(); ++length) {
        expectFailure<IndexOutOfRangeException>(
            [&] {
                A.Data({form.data(), length});
            },
            IndexOutOfRangeException().what());
        ASSERT_EQ(looked(A), before) << length;
    }
    auto more = form;
    more.push_back(std::byte{1});
    A.Data(more);
    EXPECT_EQ(A.Data(), form);
}

TEST(CSparseMatrixData, WrongContentsAreRefusedAndLeaveTheMatrix)
{
    const auto with = [](std::size_t offset, std::int32_t value) {
        std::vector<std::byte> form = example().Data();
        std::memcpy(&form[offset], &value, 4);
        return form;
    };
    constexpr std::size_t columns = 4 * (2 + 3) + 16 * 3;
    CSparseMatrix A(3, true);
    const std::string before = looked(A);
    for (const auto& form : {with(8, 0), with(8, 2), with(12, 5), with(12, 0), with(columns, 0),
                             with(columns, 4), with(columns + 8, -1)}) {
        expectFailure<IndexOutOfRangeException>([&] { A.Data(form); }, IndexOutOfRangeException().what());
        EXPECT_EQ(looked(A), before);
    }
    for (const int bad : {0, -1, INT_MIN}) { // the sizes of a refused form stay
        CSparseMatrix B = example();
        expectFailure<InvalidSizeException>([&] { B.Data(with(0, bad)); }, kInvalidRows);
        EXPECT_EQ(B.Rows(), bad);
        CSparseMatrix C = example();
        expectFailure<InvalidSizeException>([&] { C.Data(with(4, bad)); }, kInvalidColumns);
        EXPECT_EQ(C.Cols(), bad);
    }
}

TEST(CSparseMatrixData, OrderWithinARowIsLeftToTheMakerAndTheHardenedBuildTellsIt)
{
    std::vector<std::byte> form = example().Data();
    constexpr std::size_t columns = 4 * (2 + 3) + 16 * 3;
    std::swap_ranges(form.begin() + columns, form.begin() + columns + 4, form.begin() + columns + 4);
    CSparseMatrix A;
    const auto arrays = [] { CSparseMatrix({1, 2}, {0, 2}, {1, 0}); };
    if constexpr (detail::kHardened) {
        EXPECT_THROW(A.Data(form), InvalidOperationException);
        EXPECT_THROW(arrays(), InvalidOperationException);
    } else {
        EXPECT_NO_THROW(A.Data(form));
        EXPECT_NO_THROW(arrays());
    }
}

TEST(CSparseMatrixArchive, KeysAndTypesInOrder)
{
    const SerializationInfo info = ToArchive(example());
    std::vector<std::string> keys;
    for (const auto& [key, value] : info.Values()) keys.push_back(key);
    EXPECT_THAT(keys, ElementsAre("mRows", "mCols", "growFactor", "herm", "_IA", "_A", "_JA"));
    EXPECT_EQ(info.GetInt32("mRows"), 2);
    EXPECT_EQ(info.GetInt32("mCols"), 3);
    EXPECT_EQ(info.GetSingle("growFactor"), 1.2F);
    EXPECT_FALSE(info.GetBoolean("herm"));
    EXPECT_TRUE(std::ranges::equal(info.GetDoubleArray("_A"), std::vector<double>{1, 1, 2, 0, 0, 3}));
}

TEST(CSparseMatrixArchive, RoundTripKeepsAllButTheSpareCapacity)
{
    CSparseMatrix A(3, true, 50, 2.5F);
    A(2, 0) = Complex(1, -2);
    const auto B = FromArchive<CSparseMatrix>(ToArchive(A));
    A.Capacity(0);
    EXPECT_EQ(looked(B), looked(A));
    EXPECT_EQ(B(2, 0), Complex(1, -2));
}

SerializationInfo archiveWith(std::int32_t rows, std::vector<std::int32_t> IA, std::vector<double> A,
                              std::vector<std::int32_t> JA, const char* omitted = "")
{
    SerializationInfo info;
    const auto add = [&](const char* name, SerializationInfo::Value value) {
        if (std::string_view(name) != omitted) info.AddValue(name, std::move(value));
    };
    add("mRows", rows);
    add("mCols", std::int32_t{3});
    add("growFactor", 1.5F);
    add("herm", true);
    add("_IA", std::move(IA));
    add("_A", std::move(A));
    add("_JA", std::move(JA));
    return info;
}

TEST(CSparseMatrixArchive, MissingKeysAreNamedAndWrongArraysRefused)
{
    const auto restore = [](const SerializationInfo& info) { return FromArchive<CSparseMatrix>(info); };
    EXPECT_TRUE(restore(archiveWith(2, {1, 2, 3}, {1, 2, 3, 4}, {1, 2})).Hermitian());
    for (const char* key : {"mRows", "mCols", "growFactor", "herm", "_IA", "_A", "_JA"}) {
        expectFailure<SerializationException>(
            [&] {
                restore(archiveWith(2, {1, 2, 3}, {1, 2, 3, 4}, {1, 2}, key));
            },
            std::string("Value '") + key + "' was not found in the archive.");
    }
    const std::int64_t before = TrellConfiguration::TotalMemory();
    for (const auto& info :
         {archiveWith(2, {1, 2}, {1, 2, 3, 4}, {1, 2}), archiveWith(2, {1, 2, 3}, {1, 2, 3}, {1, 2}),
          archiveWith(2, {1, 2, 3}, {1, 2}, {1, 2}), archiveWith(2, {1, 2, 3}, {1, 2, 3, 4}, {1}),
          archiveWith(2, {1, 2, 3}, {1, 2, 3, 4}, {1, 4}), archiveWith(2, {1, 2, 3}, {1, 2, 3, 4}, {0, 1}),
          archiveWith(2, {2, 2, 3}, {1, 2, 3, 4}, {1, 2})}) {
        expectFailure<IndexOutOfRangeException>([&] { restore(info); }, IndexOutOfRangeException().what());
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    expectFailure<InvalidSizeException>([&] { restore(archiveWith(-1, {}, {}, {})); }, kInvalidRows);
    EXPECT_EQ(restore(archiveWith(2, {1, 2, 3}, {1, 2, 3, 4, 5}, {1, 2, 7})).Item(1, 1), Complex(3, 4))
        << "a surplus is ignored";
}

// ---- random content

TEST(CSparseMatrixFillRandom, WhatIsRefusedLeavesTheMatrix)
{
    for (const bool flagged : {false, true}) {
        CSparseMatrix A(4, flagged);
        A(0, 3) = kI;
        const std::string before = looked(A);
        for (const int decimals : {-1, 16}) {
            expectFailure<ArgumentOutOfRangeException>(
                [&] { A.FillRandom(0.5, 0.0, 1.0, decimals); },
                "Rounding digits must be between 0 and 15, inclusive.");
            EXPECT_EQ(looked(A), before);
        }
        if constexpr (detail::kHardened) {
            expectFailure<InvalidOperationException>([&] { A.FillRandom(1.5); },
                                                     "The density is from 0 to 1.");
            EXPECT_EQ(looked(A), before);
        }
    }
}

TEST(CSparseMatrixElements, AreCalculatedWithAsNumbers)
{
    CSparseMatrix A(2, 2);
    const Complex x(1, 2), y(3, -1);
    A(0, 0) = x;
    A(0, 1) = y;
    EXPECT_EQ(A(0, 0) + A(0, 1), x + y);
    EXPECT_EQ(A(0, 0) - y, x - y);
    EXPECT_EQ(x * A(0, 1), x * y);
    EXPECT_EQ(A(0, 0) / 2.0, x / 2.0);
    EXPECT_EQ(2 - A(0, 0), 2.0 - x);
    EXPECT_EQ(-A(0, 1), -y);
    EXPECT_TRUE(A(0, 0) == x && x == A(0, 0) && A(0, 0) != A(0, 1) && A(1, 1) == 0.0);
    A(1, 1) = A(0, 0) * A(0, 1);
    A(1, 1) += A(0, 0);
    EXPECT_EQ(A.Item(1, 1), x * y + x);
}

} // namespace
} // namespace Velmar::Lintrix
