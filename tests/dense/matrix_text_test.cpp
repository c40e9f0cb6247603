// Text form, byte form, archive and identity of Matrix.

#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/lintrix.h>

#include "tests/support/comma_locale.h"
#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <bit>
#include <cfenv>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

namespace Velmar::Lintrix {
namespace {

using testing::comma;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::vector<std::byte> header(std::int32_t rows, std::int32_t cols)
{
    std::vector<std::byte> data(8);
    std::memcpy(data.data(), &rows, 4);
    std::memcpy(data.data() + 4, &cols, 4);
    return data;
}

void append(std::vector<std::byte>& data, double value)
{
    data.resize(data.size() + 8);
    std::memcpy(data.data() + data.size() - 8, &value, 8);
}

std::vector<int> asNumbers(const std::vector<std::byte>& data)
{
    std::vector<int> numbers;
    for (const std::byte b : data) numbers.push_back(std::to_integer<int>(b));
    return numbers;
}

// ---- text

TEST(MatrixText, DefaultsPrintRowsBetweenBars)
{
    const Matrix A{{1, 2}, {3, 4}};
    EXPECT_EQ(A.ToString(), "| 1.000 2.000 |\n| 3.000 4.000 |\n");
}

TEST(MatrixText, OneCellIsOneLine)
{
    EXPECT_EQ(Matrix({{1}}).ToString(), "| 1.000 |\n");
}

TEST(MatrixText, AllCellsShareOneWidth)
{
    EXPECT_EQ(Matrix({{-1, 10}}).ToString("F0"), "| -1 10 |\n");
    EXPECT_EQ(Matrix({{-1}, {10}}).ToString("F0"), "| -1 |\n| 10 |\n");
    EXPECT_EQ(Matrix({{1, 2}, {3, 1000}}).ToString("F0"), "|    1    2 |\n|    3 1000 |\n");
    EXPECT_EQ(Matrix({{-100, 2, 3}}).ToString("F0", ","), "| -100,   2,   3 |\n");
}

TEST(MatrixText, TheLastRowClosesWithTheEndAlone)
{
    const Matrix A{{1, 2}, {3, 4}};
    EXPECT_EQ(A.ToString("F1", ", ", "[", "];", "]"), "[1.0, 2.0];[3.0, 4.0]");
    EXPECT_EQ(Matrix({{5}}).ToString("F1", ", ", "[", "];", "]"), "[5.0]");
}

TEST(MatrixText, TheSixFormsDifferInWhatIsGivenAlone)
{
    const Matrix A{{1, 2}, {3, 4}};
    const std::string expected = A.ToString(std::locale(), "F3", " ", "| ", " |\n", " |\n");
    EXPECT_EQ(A.ToString(), expected);
    EXPECT_EQ(A.ToString("F3"), expected);
    EXPECT_EQ(A.ToString("F3", " "), expected);
    EXPECT_EQ(A.ToString("F3", " ", "| ", " |\n", " |\n"), expected);
    EXPECT_EQ(A.ToString(std::locale(), "F3"), expected);
}

TEST(MatrixText, TheProviderGivesTheDecimalSign)
{
    const Matrix A{{1.5, 1234.25}};
    EXPECT_EQ(A.ToString(comma(), "F2"), "|    1,50 1234,25 |\n");
    EXPECT_EQ(A.ToString(comma(), "N2", ";", "", "", "!"), "    1,50;1.234,25!");
    EXPECT_EQ(A.ToString("F2"), "|    1.50 1234.25 |\n");
}

TEST(MatrixText, TheCurrentCultureIsTheGlobalLocale)
{
    const std::locale before = std::locale::global(comma());
    const std::string text = Matrix({{1.5}}).ToString();
    std::locale::global(before);
    EXPECT_EQ(text, "| 1,500 |\n");
}

TEST(MatrixText, NanAndInfinitiesHaveTheirWords)
{
    EXPECT_EQ(Matrix({{kNaN, kInf, -kInf}}).ToString(), "|       NaN  Infinity -Infinity |\n");
}

TEST(MatrixText, UnknownFormatFails)
{
    const Matrix A;
    try {
        A.ToString("Z");
        ADD_FAILURE() << "accepted";
    } catch (const FormatException& e) {
        EXPECT_STREQ(e.what(), "Format specifier was invalid.");
    }
}

// The layout told cell by cell, with two passes, against the result.
TEST(MatrixText, LayoutIsThatOfThePlainAlgorithm)
{
    for (const auto& [rows, cols] : {std::pair(1, 1), {1, 9}, {9, 1}, {7, 5}, {30, 41}}) {
        Matrix A(rows, cols);
        A.FillRandom(-1e4, 1e4, 4);
        for (const char* format : {"F3", "G", "E2", "N0", "P1"}) {
            std::size_t width = 0;
            for (int c = 0; c < cols; ++c) {
                for (int r = 0; r < rows; ++r)
                    width = std::max(width, FormatNumber(A(r, c), format, comma()).size());
            }
            std::string expected;
            for (int r = 0; r < rows; ++r) {
                expected += "<<";
                for (int c = 0; c < cols; ++c) {
                    const std::string cell = FormatNumber(A(r, c), format, comma());
                    expected += std::string(width - cell.size(), ' ') + cell + (c < cols - 1 ? " ; " : "");
                }
                expected += r < rows - 1 ? ">>\n" : "end";
            }
            EXPECT_EQ(A.ToString(comma(), format, " ; ", "<<", ">>\n", "end"), expected);
        }
    }
}

TEST(MatrixText, TheBufferIsSizedOnce)
{
    const Matrix A(40, 30, 1.0);
    const std::string text = A.ToString();
    EXPECT_EQ(text.size(), 40u * (2 + 30 * 5 + 29 + 3));
    EXPECT_EQ(text.capacity(), text.size() + 3); // a right border is counted for the last row, too
}

TEST(MatrixText, StreamsPrintTheDefaultForm)
{
    std::ostringstream out;
    out << Matrix{{1, 2}, {3, 4}};
    EXPECT_EQ(out.str(), "| 1.000 2.000 |\n| 3.000 4.000 |\n");
}

// ---- bytes

TEST(MatrixData, BeginsWithTheTwoSizes)
{
    const std::vector<std::byte> data = Matrix(2, 2).Data();
    ASSERT_EQ(data.size(), 40u);
    const std::vector<int> numbers = asNumbers(data);
    EXPECT_EQ(std::vector<int>(numbers.begin(), numbers.begin() + 8),
              (std::vector<int>{2, 0, 0, 0, 2, 0, 0, 0}));
    EXPECT_EQ(std::vector<int>(numbers.begin() + 8, numbers.end()), std::vector<int>(32, 0));
}

TEST(MatrixData, HoldsTheRawCellsColumnAfterColumn)
{
    std::vector<std::byte> expected = header(2, 3);
    for (const double cell : {1.0, 4.0, -0.0, 5.0, kNaN, kInf}) append(expected, cell);
    EXPECT_EQ(Matrix({{1, -0.0, kNaN}, {4, 5, kInf}}).Data(), expected);
}

TEST(MatrixData, ReadFromOneAndWrittenToAnotherMakesThemEqual)
{
    for (const auto& [rows, cols] : {std::pair(1, 1), {2, 3}, {3, 2}, {40, 17}}) {
        Matrix A(rows, cols);
        A.FillRandom(-5.0, 5.0, 15);
        for (Matrix B : {Matrix(), Matrix(2, 3), Matrix(50, 50), Matrix(1, 1)}) {
            B.Data(A.Data());
            EXPECT_TRUE(B == A);
        }
    }
}

TEST(MatrixData, TheSameSizeKeepsTheBlock)
{
    Matrix A(2, 2), B(2, 2, 7.0);
    const auto block = A.DataPtr();
    A.Data(B.Data());
    EXPECT_EQ(A.DataPtr(), block);
    EXPECT_TRUE(A == B);
}

TEST(MatrixData, SurplusBytesAreIgnored)
{
    Matrix A{{1, 2}};
    std::vector<std::byte> data = A.Data();
    data.resize(data.size() + 13, std::byte{0xff});
    Matrix B;
    B.Data(data);
    EXPECT_TRUE(B == A);
}

TEST(MatrixData, AnArrayShorterThanItsHeaderChangesNothing)
{
    const Matrix before{{1, 2}, {3, 4}};
    for (std::size_t length = 0; length < 8; ++length) {
        Matrix A = before;
        const std::vector<std::byte> data(length, std::byte{1});
        try {
            A.Data(data);
            ADD_FAILURE() << "accepted";
        } catch (const IndexOutOfRangeException& e) {
            EXPECT_STREQ(e.what(), "Index was outside the bounds of the array.");
        }
        EXPECT_TRUE(A == before);
    }
}

TEST(MatrixData, InvalidSizesChangeNothing)
{
    const Matrix before{{1, 2}, {3, 4}};
    const std::pair<std::int32_t, std::int32_t> sizes[] = {
        {0, 1},
        {1, 0},
        {-1, 2},
        {2, -1},
        {INT_MIN, INT_MIN},
        {0, 0},
        // products that a 32-bit count does not hold: -2036334592, 65536 (both fit into what is there), 2^31
        {47461, 47461},
        {65536, 65537},
        {65536, 32768},
        {INT_MAX, INT_MAX}};
    for (const auto& [rows, cols] : sizes) {
        Matrix A = before;
        std::vector<std::byte> data = header(rows, cols);
        data.resize(4096);
        try {
            A.Data(data);
            ADD_FAILURE() << "accepted " << rows << " x " << cols;
        } catch (const InvalidSizeException& e) {
            EXPECT_STREQ(e.what(), "Invalid number of rows or columns.");
        }
        EXPECT_TRUE(A == before);
    }
}

// Sizes are looked at one by one; whether there is memory for them, the allocator says.
TEST(MatrixData, ValidSizesThatMemoryCannotHoldChangeNothing)
{
    const Matrix before{{1, 2}, {3, 4}};
    for (const auto& [rows, cols] :
         {std::pair<std::int32_t, std::int32_t>(INT_MAX, 1), {1, INT_MAX}, {16384, 16385}, {40000, 40000}}) {
        Matrix A = before;
        {
            const testing::FailingAllocator none(0);
            EXPECT_THROW(A.Data(header(rows, cols)), NotEnoughMemoryException) << rows << " x " << cols;
        }
        EXPECT_TRUE(A == before);
    }
}

// The size that is there already is not looked at.
TEST(MatrixData, AMatrixWithoutRowsGoesThroughItsBytes)
{
    const Matrix none = Vector(std::vector<double>{}).ToMatrix();
    Matrix same = none, other(2, 2);
    same.Data(none.Data());
    EXPECT_EQ(same.Rows(), 0);
    EXPECT_EQ(same.Cols(), 1);
    EXPECT_THROW(other.Data(none.Data()), InvalidSizeException);
    EXPECT_EQ(other.Rows(), 2);
}

TEST(MatrixText, WithoutRowsOrColumnsTheBordersAreLeft)
{
    const Matrix none = Vector(std::vector<double>{}).ToMatrix();
    EXPECT_EQ(none.ToString(), " |\n");
    EXPECT_EQ(none.Transpose().ToString("F1", ", ", "[", "];", "]"), "[]");
}

TEST(MatrixData, AShortArrayFailsResizedAndPartlyWritten)
{
    std::vector<std::byte> data = header(3, 2);
    for (const double cell : {10.0, 20.0, 30.0, 40.0}) append(data, cell);
    Matrix A{{1, 2}, {3, 4}};
    EXPECT_THROW(A.Data(data), IndexOutOfRangeException);
    // what the array has, then what Resize left
    EXPECT_TRUE(A == (Matrix{{10, 40}, {20, 4}, {30, 0}}));

    Matrix B{{1, 2}, {3, 4}};
    EXPECT_THROW(B.Data(header(2, 1)), IndexOutOfRangeException);
    EXPECT_TRUE(B == (Matrix{{1}, {3}}));
}

TEST(MatrixData, AShortArrayIsWrittenToItsLastByte)
{
    std::vector<std::byte> data = header(1, 1);
    data.resize(8 + 7);
    Matrix A{{-1.0}}; // sign and exponent are in the last two bytes: bf f0
    EXPECT_THROW(A.Data(data), IndexOutOfRangeException);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(A(0, 0)), 0xbf00000000000000u);
}

// A block of that size is more than a test can have; the limit is looked at before a cell is.
TEST(MatrixData, TheFormIsCountedIn32Bits)
{
    EXPECT_EQ(detail::mostCellsInByteForm<double>(2), (INT_MAX - 8) / 8);
    EXPECT_EQ(detail::mostCellsInByteForm<double>(1), (INT_MAX - 4) / 8);
    const std::int32_t sizes[] = {1, (INT_MAX - 8) / 8 + 1};
    try {
        detail::toBytes<double>(sizes, nullptr, sizes[1]);
        ADD_FAILURE() << "accepted";
    } catch (const NotSupportedException& e) {
        EXPECT_STREQ(e.what(), "The byte form holds at most 2147483647 bytes.");
    }
}

TEST(MatrixData, AFailingAllocatorLeavesTheObject)
{
    Matrix A{{1, 2}, {3, 4}};
    const Matrix before = A;
    const std::vector<std::byte> data = Matrix(3, 3, 1.0).Data();
    const int requests = testing::failEachAllocation([&] { A.Data(data); }, [&] { return A == before; });
    EXPECT_EQ(requests, 1);
    EXPECT_TRUE(A == Matrix(3, 3, 1.0));
}

// ---- archive

TEST(MatrixArchive, WritesRowsColsAndDataInThisOrder)
{
    SerializationInfo info;
    Matrix({{1, 2, 3}, {4, 5, 6}}).GetObjectData(info, StreamingContext());
    ASSERT_EQ(info.Values().size(), 3u);
    EXPECT_EQ(info.Values()[0].first, "Rows");
    EXPECT_EQ(info.Values()[1].first, "Cols");
    EXPECT_EQ(info.Values()[2].first, "Data");
    EXPECT_EQ(info.GetInt32("Rows"), 2);
    EXPECT_EQ(info.GetInt32("Cols"), 3);
    const auto data = info.GetDoubleArray("Data");
    EXPECT_EQ(std::vector<double>(data.begin(), data.end()), (std::vector<double>{1, 4, 2, 5, 3, 6}));
}

TEST(MatrixArchive, TheDataAreACopy)
{
    Matrix A{{1}};
    const SerializationInfo info = ToArchive(A);
    A(0, 0) = 2.0;
    EXPECT_EQ(info.GetDoubleArray("Data")[0], 1.0);
}

TEST(MatrixArchive, WhatWasWrittenIsRestored)
{
    Matrix A(7, 4);
    A.FillRandom(-1.0, 1.0, 15);
    EXPECT_TRUE(FromArchive<Matrix>(ToArchive(A)) == A);
}

SerializationInfo archiveOf(std::int32_t rows, std::int32_t cols, std::vector<double> data)
{
    SerializationInfo info;
    info.AddValue("Rows", rows);
    info.AddValue("Cols", cols);
    info.AddValue("Data", std::move(data));
    return info;
}

TEST(MatrixArchive, InvalidSizesAreRefused)
{
    for (const auto& [rows, cols] : {std::pair<std::int32_t, std::int32_t>(0, 1),
                                     {1, 0},
                                     {-3, -3},
                                     {INT_MIN, 1},
                                     {65536, 65537},
                                     {47461, 47461},
                                     {INT_MAX, INT_MAX}}) {
        try {
            FromArchive<Matrix>(archiveOf(rows, cols, {1, 2, 3}));
            ADD_FAILURE() << "accepted " << rows << " x " << cols;
        } catch (const InvalidSizeException& e) {
            EXPECT_STREQ(e.what(), "Invalid number of rows or columns.");
        }
    }
}

TEST(MatrixArchive, ShortDataFailAndSurplusIsIgnored)
{
    EXPECT_THROW(FromArchive<Matrix>(archiveOf(2, 2, {1, 2, 3})), IndexOutOfRangeException);
    EXPECT_THROW(FromArchive<Matrix>(archiveOf(1, 1, {})), IndexOutOfRangeException);
    EXPECT_TRUE(FromArchive<Matrix>(archiveOf(2, 1, {1, 2, 3})) == (Matrix{{1}, {2}}));
}

TEST(MatrixArchive, MissingAndMistypedKeysFail)
{
    const auto failureOf = [](const SerializationInfo& info) -> std::string {
        try {
            FromArchive<Matrix>(info);
        } catch (const SerializationException& e) {
            return e.what();
        }
        return "none";
    };
    SerializationInfo info;
    EXPECT_EQ(failureOf(info), "Value 'Rows' was not found in the archive.");
    info.AddValue("Rows", std::int32_t{1});
    EXPECT_EQ(failureOf(info), "Value 'Cols' was not found in the archive.");
    info.AddValue("Cols", std::int32_t{1});
    EXPECT_EQ(failureOf(info), "Value 'Data' was not found in the archive.");
    info.AddValue("Data", std::vector<std::int32_t>{1});
    EXPECT_EQ(failureOf(info), "Value 'Data' in the archive is of another type.");

    SerializationInfo mistyped;
    mistyped.AddValue("Rows", std::int64_t{1});
    EXPECT_EQ(failureOf(mistyped), "Value 'Rows' in the archive is of another type.");
}

// ---- identity

TEST(MatrixIdentity, NullEqualsNullAlone)
{
    const Matrix A;
    const Matrix* const null = nullptr;
    EXPECT_TRUE(Matrix::Equals(null, null));
    EXPECT_FALSE(Matrix::Equals(&A, null));
    EXPECT_FALSE(Matrix::Equals(null, &A));
    EXPECT_TRUE(Matrix::Equals(&A, &A));
    EXPECT_FALSE(A.Equals(null));
    EXPECT_FALSE(A.Equals(nullptr));
}

TEST(MatrixIdentity, EqualsIsFalseForAnythingElse)
{
    const Matrix A(3, 1, 0.0);
    const Vector x(3);
    EXPECT_FALSE(A.Equals(x));
    EXPECT_FALSE(A.Equals(&x));
    EXPECT_FALSE(A.Equals(A.ToArray()));
    EXPECT_FALSE(A.Equals(0.0));
    EXPECT_FALSE(A.Equals("| 0.000 |"));
    EXPECT_TRUE(A.Equals(x.ToMatrix()));
}

TEST(MatrixIdentity, EqualsIsTrueForEqualMatricesAndTheirAddresses)
{
    const Matrix A{{1, 2}}, same{{1, 2}};
    Matrix other{{1, 3}};
    EXPECT_TRUE(A.Equals(same));
    EXPECT_TRUE(A.Equals(&same));
    EXPECT_FALSE(A.Equals(other));
    EXPECT_FALSE(A.Equals(&other));
    class Derived : public Matrix {
    } derived;
    EXPECT_TRUE(Matrix().Equals(derived));
    EXPECT_TRUE(Matrix().Equals(&derived));
}

TEST(MatrixIdentity, EqualsLooksIntoWhatTheLibraryReturns)
{
    const Matrix A{{1, 2}, {3, 4}}, other{{1, 2}, {3, 5}};
    EXPECT_TRUE(A.Equals(A.CloneableClone()));
    EXPECT_FALSE(A.Equals(other.CloneableClone()));
    EXPECT_FALSE(A.Equals(std::any(Vector{1, 2})));
    EXPECT_FALSE(A.Equals(std::any()));
    const Matrix left{{1}, {3}}, right{{2}, {4}};
    EXPECT_TRUE(A.Equals(Matrix::Concatenate(left, right, ConcatenateMode::Horizontally)));
    EXPECT_FALSE(other.Equals(Matrix::Concatenate(left, right, ConcatenateMode::Horizontally)));
    EXPECT_FALSE(A.Equals(Matrix::Concatenate(left, right, static_cast<ConcatenateMode>(7))));
    EXPECT_FALSE(A.Equals(std::optional<Vector>(Vector{1, 2})));
    EXPECT_FALSE(A.Equals(std::nullopt));
}

TEST(MatrixIdentity, AMatrixComparesWithArrays)
{
    const Matrix A{{1, 2}, {3, 4}};
    EXPECT_TRUE(A == A.ToArray());
    EXPECT_TRUE(A.ToArray() == A);
    EXPECT_FALSE(A != A.ToArray());
    EXPECT_FALSE(A == Matrix(2, 2).ToArray());
    EXPECT_FALSE((A == Array2D<double>{{1, 2, 3, 4}}));
    EXPECT_FALSE(A == Array2D<double>(0, 2)); // no such matrix, and no failure
    Array2D<double> shifted(2, 2, -1, 5);
    std::copy_n(A.ToArray().Row(0), 4, shifted.Row(0));
    EXPECT_TRUE(A == shifted);
}

TEST(MatrixIdentity, ShapesMustAgree)
{
    EXPECT_FALSE((Matrix{{1, 2}} == Matrix{{1}, {2}}));
    EXPECT_TRUE((Matrix{{1, 2}} != Matrix{{1}, {2}}));
    EXPECT_FALSE(Matrix(2, 3) == Matrix(2, 4));
    EXPECT_TRUE(Matrix(2, 3) == Matrix(2, 3));
}

TEST(MatrixIdentity, OneCellDecides)
{
    const Matrix A(5, 5, 1.0);
    for (int c = 0; c < 5; ++c) {
        for (int r = 0; r < 5; ++r) {
            Matrix B = A;
            B(r, c) = std::nextafter(B(r, c), 2.0);
            EXPECT_FALSE(A == B);
            EXPECT_TRUE(A != B);
        }
    }
}

TEST(MatrixIdentity, ANanIsNotEvenEqualToItself)
{
    const Matrix A{{1, kNaN}};
    const Matrix& self = A;
    EXPECT_FALSE(A == self);
    EXPECT_TRUE(A != self);
    EXPECT_FALSE(A.Equals(self));
    EXPECT_FALSE(Matrix::Equals(&A, &A));
}

TEST(MatrixIdentity, ZerosOfBothSignsAreEqualAndHashAlike)
{
    const Matrix A{{0.0, 1.0}}, B{{-0.0, 1.0}};
    for (const int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
        std::fesetround(mode);
        const bool equal = A == B;
        const std::int32_t hashes[] = {A.GetHashCode(), B.GetHashCode()};
        std::fesetround(FE_TONEAREST);
        EXPECT_TRUE(equal);
        EXPECT_EQ(hashes[0], hashes[1]) << "rounding mode " << mode;
    }
}

TEST(MatrixIdentity, TheHashIsTheFoldOfSizesAndHalves)
{
    const auto half = [](double x) {
        const auto bits = std::bit_cast<std::uint64_t>(x);
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits ^ (bits >> 32)));
    };
    EXPECT_EQ(Matrix(2, 3).GetHashCode(), 2 ^ 6);
    EXPECT_EQ(Matrix({{1.5, -0.1, 1e300}}).GetHashCode(), 1 ^ 3 ^ half(1.5) ^ half(-0.1) ^ half(1e300));
}

TEST(MatrixIdentity, EqualPairsCancelInTheHash)
{
    EXPECT_EQ(Matrix({{3.7, 3.7}}).GetHashCode(), 1 ^ 2);
    EXPECT_EQ(Matrix({{3.7, 1.0, 3.7}}).GetHashCode(), Matrix({{1.0, 0.0, 0.0}}).GetHashCode());
}

TEST(MatrixIdentity, ATransposeHashesAlikeAndIsEqualIfSymmetric)
{
    Matrix A(6, 6);
    A.FillRandom(0.0, 1.0, 15);
    EXPECT_EQ(A.Transpose().GetHashCode(), A.GetHashCode());
    EXPECT_FALSE(A.Transpose() == A);
    const Matrix S = A + A.Transpose();
    EXPECT_EQ(S.Transpose().GetHashCode(), S.GetHashCode());
    EXPECT_TRUE(S.Transpose() == S);
}

TEST(MatrixIdentity, HashedContainersTakeMatrices)
{
    std::unordered_set<Matrix> set{Matrix{{1, 2}}, Matrix{{2, 1}}, Matrix{{1, 2}}};
    EXPECT_EQ(set.size(), 2u);
    EXPECT_TRUE(set.contains(Matrix{{2, 1}}));
    EXPECT_FALSE(set.contains(Matrix{{1}, {2}}));
}

// ---- after release

TEST(MatrixText, UseAfterReleaseIsRefusedInTheHardenedBuild)
{
    if constexpr (detail::kHardened) {
        Matrix A(2, 2);
        A.Dispose();
        EXPECT_THROW(A.ToString(), InvalidOperationException);
        EXPECT_THROW(std::as_const(A).Data(), InvalidOperationException);
        EXPECT_THROW(A.Data(Matrix(2, 2).Data()), InvalidOperationException);
        EXPECT_THROW(A.GetHashCode(), InvalidOperationException);
        EXPECT_THROW(ToArchive(A), InvalidOperationException);
        EXPECT_THROW(static_cast<void>(A == Matrix(2, 2)), InvalidOperationException);
    } else {
        Matrix A(2, 2);
        A.Dispose();
        EXPECT_FALSE(A == Matrix(3, 3)); // the sizes answer, and decide before a cell is read
    }
}

} // namespace
} // namespace Velmar::Lintrix
