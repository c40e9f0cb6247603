// Text form, byte form, archive and identity of CMatrix.

#include "tests/complex/complex_support.h"
#include "tests/support/comma_locale.h"
#include "tests/support/expect_failure.h"

#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/archive_stream.h>
#include <lintrix/foundation/number_format.h>

#include <bit>
#include <climits>
#include <sstream>
#include <unordered_set>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;

std::vector<std::byte> bytesOf(std::int32_t rows, std::int32_t cols, const std::vector<double>& parts = {})
{
    const std::int32_t sizes[] = {rows, cols};
    std::vector<std::byte> data(sizeof(sizes) + parts.size() * sizeof(double));
    std::memcpy(data.data(), sizes, sizeof(sizes));
    if (!parts.empty()) std::memcpy(data.data() + sizeof(sizes), parts.data(), parts.size() * sizeof(double));
    return data;
}

// ---- text

TEST(CMatrixText, DefaultsPrintRowsOfPairsBetweenBars)
{
    EXPECT_EQ((CMatrix{{1, {2, -1}}, {{3, 0.5}, 4}}.ToString()),
              "| ( 1.000, 0.000i) ( 2.000,-1.000i) |\n| ( 3.000, 0.500i) ( 4.000, 0.000i) |\n");
    EXPECT_EQ(CMatrix(1, 1, kI).ToString(), "| (0.000,1.000i) |\n");
}

TEST(CMatrixText, TheLastRowClosesWithTheEndAlone)
{
    EXPECT_EQ((CMatrix{{1}, {kI}}.ToString("F1", ", ", "[", "];", "]")), "[(1.0,0.0i)];[(0.0,1.0i)]");
}

TEST(CMatrixText, TheSixFormsDifferInWhatIsGivenAlone)
{
    const CMatrix A{{1, kI}};
    const std::string expected = "| (1.000,0.000i) (0.000,1.000i) |\n";
    EXPECT_EQ(A.ToString(), expected);
    EXPECT_EQ(A.ToString("F3"), expected);
    EXPECT_EQ(A.ToString("F3", " "), expected);
    EXPECT_EQ(A.ToString("F3", " ", "| ", " |\n", " |\n"), expected);
    EXPECT_EQ(A.ToString(std::locale(), "F3"), expected);
    EXPECT_EQ(A.ToString(std::locale(), "F3", " ", "| ", " |\n", " |\n"), expected);
    std::ostringstream out;
    out << A;
    EXPECT_EQ(out.str(), expected);
}

TEST(CMatrixText, TheCurrentCultureIsTheGlobalLocale)
{
    const CMatrix A{{{1.5, -2}}};
    const std::locale before = std::locale::global(comma());
    const std::string text = A.ToString();
    std::locale::global(before);
    EXPECT_EQ(text, "| ( 1,500,-2,000i) |\n");
    EXPECT_EQ(A.ToString(comma(), "F0"), "| ( 2,-2i) |\n");
    EXPECT_EQ((CMatrix{{{kNaN, -kInf}}}.ToString("F0")), "| (      NaN,-Infinityi) |\n");
}

TEST(CMatrixText, UnknownFormatFails)
{
    expectFailure<FormatException>([] { CMatrix().ToString("Z"); }, "Format specifier was invalid.");
}

// The layout told part by part, with two passes, against the result.
TEST(CMatrixText, LayoutIsThatOfThePlainAlgorithm)
{
    for (const auto& [rows, cols] : {std::pair(1, 1), {1, 9}, {9, 1}, {7, 5}, {30, 41}}) {
        CMatrix A(rows, cols);
        A.FillRandom(-1e4, 1e4, 4);
        for (const char* format : {"F3", "G", "E2", "N0", "P1"}) {
            const auto text = [&](double part) { return FormatNumber(part, format, comma()); };
            std::size_t width = 0;
            for (const double part : partsIn(A)) width = std::max(width, text(part).size());
            const auto padded = [&](double part) {
                return std::string(width - text(part).size(), ' ') + text(part);
            };
            std::string expected;
            for (int r = 0; r < rows; ++r) {
                expected += "<<";
                for (int c = 0; c < cols; ++c) {
                    expected += "(" + padded(A(r, c).real()) + "," + padded(A(r, c).imag()) + "i)";
                    if (c < cols - 1) expected += " ; ";
                }
                expected += r < rows - 1 ? ">>\n" : "end";
            }
            EXPECT_EQ(A.ToString(comma(), format, " ; ", "<<", ">>\n", "end"), expected);
        }
    }
}

TEST(CMatrixText, TheBufferIsSizedOnce)
{
    const std::string text = CMatrix(40, 30, 1.0).ToString();
    EXPECT_EQ(text.size(), 40u * (2 + 30 * (2 * 5 + 4) + 29 + 3));
    EXPECT_EQ(text.capacity(), text.size() + 3); // a right border is counted for the last row, too
}

// ---- bytes

TEST(CMatrixData, IsTheSizesAndTheInterleavedPartsColumnAfterColumn)
{
    EXPECT_EQ((CMatrix{{1, {3, -0.0}}, {{2, kInf}, {kNaN, 4}}}.Data()),
              bytesOf(2, 2, {1, 0, 2, kInf, 3, -0.0, kNaN, 4}));
    EXPECT_EQ(CMatrix(2, 2).Data(), bytesOf(2, 2, std::vector<double>(8)));
}

TEST(CMatrixData, ReadFromOneAndWrittenToAnotherMakesThemEqual)
{
    std::mt19937_64 generator(1);
    for (const Shape& shape : allShapes()) {
        const CMatrix A = randomComplex(shape, generator);
        CMatrix B(3, 4), same(shape.rows, shape.cols);
        const std::intptr_t address = same.DataPtr();
        B.Data(A.Data());
        same.Data(A.Data());
        EXPECT_EQ(bitsOf(B), bitsOf(A)) << shape;
        EXPECT_EQ(B, A);
        EXPECT_EQ(same, A);
        EXPECT_EQ(same.DataPtr(), address); // the same size keeps the block
    }
}

TEST(CMatrixData, WithoutAHeaderOrWithBadSizesNothingHasChanged)
{
    CMatrix A = countedComplex(2, 3);
    const std::intptr_t address = A.DataPtr();
    for (const std::size_t size : {0u, 1u, 7u}) {
        const std::vector<std::byte> data(size);
        EXPECT_THROW(A.Data(data), IndexOutOfRangeException);
    }
    for (const auto& [rows, cols] : {std::pair(0, 3), {3, 0}, {-1, 3}, {3, INT_MIN}, {65536, 65536}}) {
        expectFailure<InvalidSizeException>([&, r = rows, c = cols] { A.Data(bytesOf(r, c)); },
                                            "Invalid number of rows or columns.");
    }
    EXPECT_EQ(A, countedComplex(2, 3));
    EXPECT_EQ(A.DataPtr(), address);
    const CMatrix other = countedComplex(3, 3);
    const auto data = other.Data();
    EXPECT_EQ(failEachAllocation([&] { A.Data(data); }, [&] { return A == countedComplex(2, 3); }), 1);
    EXPECT_EQ(A, other);
}

TEST(CMatrixData, AShortArrayFailsResizedAndPartlyWrittenAndSurplusIsIgnored)
{
    CMatrix A{{{1, 10}, {2, 20}}};
    EXPECT_THROW(A.Data(bytesOf(2, 1, {7, 8, 9})), IndexOutOfRangeException);
    EXPECT_EQ(A, (CMatrix{{{7, 8}}, {{9, 0}}}));
    A.Data(bytesOf(1, 1, {1, 2, 3}));
    EXPECT_EQ(A, (CMatrix{{{1, 2}}}));
}

// ---- archive

SerializationInfo archiveOf(std::int32_t rows, std::int32_t cols, std::vector<double> data)
{
    SerializationInfo info;
    info.AddValue("Rows", rows);
    info.AddValue("Cols", cols);
    info.AddValue("Data", std::move(data));
    return info;
}

TEST(CMatrixArchive, WritesRowsColsAndDataInThisOrder)
{
    const SerializationInfo info = ToArchive(CMatrix{{{1, 2}}, {{3, 4}}});
    ASSERT_EQ(info.Values().size(), 3u);
    EXPECT_EQ(info.Values()[0].first, "Rows");
    EXPECT_EQ(info.Values()[1].first, "Cols");
    EXPECT_EQ(info.Values()[2].first, "Data");
    EXPECT_EQ(info.GetInt32("Rows"), 2);
    EXPECT_EQ(info.GetInt32("Cols"), 1);
    EXPECT_THAT(info.GetDoubleArray("Data"), ElementsAre(1, 2, 3, 4));
}

TEST(CMatrixArchive, WhatWasWrittenIsRestoredAlsoThroughAStream)
{
    const CMatrix A(kOddCells, 1, static_cast<std::int32_t>(kOddCells.size()));
    const SerializationInfo info = ToArchive(A);
    EXPECT_EQ(bitsOf(FromArchive<CMatrix>(info)), bitsOf(A));
    std::stringstream stream;
    WriteArchive(stream, info);
    EXPECT_EQ(bitsOf(FromArchive<CMatrix>(ReadArchive(stream))), bitsOf(A));
    expectAllocations(1, A, [&] { FromArchive<CMatrix>(info); });
}

TEST(CMatrixArchive, InvalidSizesAreRefused)
{
    for (const auto& [rows, cols] : {std::pair(0, 1), {1, 0}, {-1, 1}, {1, INT_MIN}, {65536, 65536}}) {
        expectFailure<InvalidSizeException>(
            [r = rows, c = cols] {
                FromArchive<CMatrix>(archiveOf(r, c, {1, 2}));
            },
            "Invalid number of rows or columns.");
    }
}

TEST(CMatrixArchive, ShortDataFailSurplusIsIgnoredAndKeysAreReadInOrder)
{
    EXPECT_THROW(FromArchive<CMatrix>(archiveOf(2, 1, {1, 2, 3})), IndexOutOfRangeException);
    EXPECT_EQ(FromArchive<CMatrix>(archiveOf(1, 1, {1, 2, 3})), (CMatrix{{{1, 2}}}));
    SerializationInfo none, rows, sizes;
    rows.AddValue("Rows", 1);
    sizes.AddValue("Rows", 1);
    sizes.AddValue("Cols", 1);
    const auto restore = [](const SerializationInfo& info) { return [&] { FromArchive<CMatrix>(info); }; };
    expectFailure<SerializationException>(restore(none), "Value 'Rows' was not found in the archive.");
    expectFailure<SerializationException>(restore(rows), "Value 'Cols' was not found in the archive.");
    expectFailure<SerializationException>(restore(sizes), "Value 'Data' was not found in the archive.");
}

// ---- identity

TEST(CMatrixIdentity, NullEqualsNullAlone)
{
    const CMatrix A{{1}};
    const CMatrix* const null = nullptr;
    EXPECT_TRUE(CMatrix::Equals(null, null));
    EXPECT_FALSE(CMatrix::Equals(&A, null));
    EXPECT_FALSE(CMatrix::Equals(null, &A));
    EXPECT_TRUE(CMatrix::Equals(&A, &A));
    EXPECT_FALSE(A.Equals(null));
}

TEST(CMatrixIdentity, EqualsIsFalseForAnythingElse)
{
    const CMatrix A{{1, 2}};
    EXPECT_FALSE(A.Equals(Matrix{{1, 2}}));
    EXPECT_FALSE(A.Equals(17));
    EXPECT_FALSE(A.Equals(std::any()));
    EXPECT_FALSE(A.Equals(std::any(Matrix{{1, 2}})));
    EXPECT_FALSE(A.Equals(std::optional<CMatrix>()));
    EXPECT_TRUE(A.Equals(A.CloneableClone()));
    EXPECT_TRUE(A.Equals(std::optional<CMatrix>(A)));
    EXPECT_TRUE(A.Equals(CMatrix{{1, 2}}));
}

TEST(CMatrixIdentity, ShapesMustAgreeAndOnePartDecides)
{
    EXPECT_FALSE(CMatrix(2, 3) == CMatrix(3, 2));
    EXPECT_FALSE(CMatrix(2, 3) == CMatrix(2, 4));
    for (int k = 0; k < 6; ++k) {
        for (const Complex& step : {Complex(0x1p-40), Complex(0, 0x1p-40)}) {
            const CMatrix A = countedComplex(2, 3);
            CMatrix B = A;
            B(k % 2, k / 2) += step;
            EXPECT_FALSE(A == B);
            EXPECT_TRUE(A != B);
        }
    }
}

TEST(CMatrixIdentity, AMatrixComparesWithArraysAndVectors)
{
    const CMatrix A{{1, kI}};
    Array2D<Complex> array(1, 2, 5, 5);
    array(5, 5) = 1.0;
    array(5, 6) = kI;
    EXPECT_TRUE(A == array);
    EXPECT_TRUE(array == A);
    array(5, 6) = 1.0;
    EXPECT_TRUE(A != array);
    EXPECT_FALSE(A == Array2D<Complex>(0, 2));
    EXPECT_TRUE(A.Transpose() == (CVector{1, kI}));
}

TEST(CMatrixIdentity, ANanIsNotEvenEqualToItselfAndZerosOfBothSignsAre)
{
    for (const Complex& nan : {Complex(kNaN, 0), Complex(0, kNaN)}) {
        const CMatrix A{{nan}};
        const CMatrix& self = A;
        EXPECT_FALSE(A == self);
        EXPECT_TRUE(A != self);
        EXPECT_FALSE(A.Equals(self));
    }
    const CMatrix zero{{{0.0, -0.0}}}, other{{{-0.0, 0.0}}};
    EXPECT_TRUE(zero == other);
    EXPECT_EQ(zero.GetHashCode(), other.GetHashCode());
}

std::int32_t folded(double x)
{
    const auto bits = std::bit_cast<std::uint64_t>(x);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits ^ (bits >> 32)));
}

TEST(CMatrixIdentity, TheHashIsTheSizesWithTheHalvesOfEveryPart)
{
    EXPECT_EQ(CMatrix(2, 3).GetHashCode(), 2 ^ 6);
    EXPECT_EQ((CMatrix{{{1.5, -0.1}, {1e300, 2}}}.GetHashCode()),
              1 ^ 2 ^ folded(1.5) ^ folded(-0.1) ^ folded(1e300) ^ folded(2));
    const CMatrix A = countedComplex(3, 3);
    EXPECT_EQ(A.GetHashCode(), A.Transpose().GetHashCode());
    std::unordered_set<CMatrix> set{CMatrix{{kI}}, CMatrix{{1}}, CMatrix{{kI}}};
    EXPECT_EQ(set.size(), 2u);
}

} // namespace
} // namespace Velmar::Lintrix
