// Text form, byte form, archive and identity of CVector.

#include "tests/complex/complex_support.h"
#include "tests/support/comma_locale.h"
#include "tests/support/expect_failure.h"

#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/number_format.h>

#include <bit>
#include <climits>
#include <sstream>
#include <unordered_set>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;

const std::vector<Complex> kNone;

std::vector<std::byte> bytesOf(std::int32_t length, const std::vector<double>& parts)
{
    std::vector<std::byte> data(sizeof(length) + parts.size() * sizeof(double));
    std::memcpy(data.data(), &length, sizeof(length));
    if (!parts.empty())
        std::memcpy(data.data() + sizeof(length), parts.data(), parts.size() * sizeof(double));
    return data;
}

// ---- text

TEST(CVectorText, DefaultsPrintPairsBetweenBars)
{
    EXPECT_EQ((CVector{{1, 2}, {3, -4.5}}.ToString()), "| ( 1.000, 2.000i) ( 3.000,-4.500i) |\n");
    EXPECT_EQ(CVector(1, kI).ToString(), "| (0.000,1.000i) |\n");
}

TEST(CVectorText, AllPartsShareOneWidth)
{
    EXPECT_EQ((CVector{{1, 1000}, {-2, kNaN}}.ToString("F0", ";")), "| (   1,1000i);(  -2, NaNi) |\n");
    EXPECT_EQ((CVector{{-kInf, kInf}}.ToString("F0")), "| (-Infinity, Infinityi) |\n");
}

TEST(CVectorText, TheSixFormsDifferInWhatIsGivenAlone)
{
    const CVector x{{1, 2}, 3};
    const std::string expected = "| (1.000,2.000i) (3.000,0.000i) |\n";
    EXPECT_EQ(x.ToString(), expected);
    EXPECT_EQ(x.ToString("F3"), expected);
    EXPECT_EQ(x.ToString("F3", " "), expected);
    EXPECT_EQ(x.ToString("F3", " ", "| ", " |", "\n"), expected);
    EXPECT_EQ(x.ToString(std::locale(), "F3"), expected);
    EXPECT_EQ(x.ToString(std::locale(), "F3", " ", "| ", " |", "\n"), expected);
    EXPECT_EQ(x.ToString("F1", ", ", "[", "];", "]"), "[(1.0,2.0i), (3.0,0.0i)];]");
}

TEST(CVectorText, TheProviderGivesTheDecimalSign)
{
    const CVector x{{1.5, -2}};
    EXPECT_EQ(x.ToString(comma(), "F2"), "| ( 1,50,-2,00i) |\n");
    const std::locale before = std::locale::global(comma());
    const std::string text = x.ToString();
    std::locale::global(before);
    EXPECT_EQ(text, "| ( 1,500,-2,000i) |\n");
}

TEST(CVectorText, AnEmptyVectorPrintsItsBordersAlone)
{
    EXPECT_EQ(CVector(kNone).ToString(), "|  |\n");
}

TEST(CVectorText, UnknownFormatFails)
{
    expectFailure<FormatException>([] { CVector().ToString("Z"); }, "Format specifier was invalid.");
}

TEST(CVectorText, TheBufferIsSizedOnce)
{
    const std::string text = CVector(100, 1.0).ToString();
    EXPECT_EQ(text.size(), 2u + 100 * (2 * 5 + 4) + 99 + 2 + 1);
    EXPECT_EQ(text.capacity(), text.size());
}

TEST(CVectorText, StreamsPrintTheDefaultForm)
{
    std::ostringstream out;
    out << CVector{kI};
    EXPECT_EQ(out.str(), "| (0.000,1.000i) |\n");
}

// ---- bytes

TEST(CVectorData, IsTheLengthAndTheInterleavedParts)
{
    EXPECT_EQ((CVector{{1.5, -0.0}, {kNaN, kInf}}.Data()), bytesOf(2, {1.5, -0.0, kNaN, kInf}));
    EXPECT_EQ(CVector(3).Data().size(), 4u + 3 * 16);
    EXPECT_EQ(CVector(kNone).Data(), bytesOf(0, {}));
}

TEST(CVectorData, ReadFromOneAndWrittenToAnotherMakesThemEqual)
{
    std::mt19937_64 generator(1);
    for (const int size : kLengths) {
        const CVector x = randomComplex(size, generator);
        for (const int other : {1, size, 40}) {
            CVector y(other);
            y.Data(x.Data());
            EXPECT_EQ(bitsOf(y), bitsOf(x));
        }
    }
}

TEST(CVectorData, SurplusIsIgnored)
{
    CVector x(1);
    x.Data(bytesOf(1, {1, 2, 3}));
    EXPECT_THAT(blockOf(x), ElementsAre(Complex(1, 2)));
}

TEST(CVectorData, WithoutAHeaderOrWithABadLengthNothingHasChanged)
{
    CVector x = countedComplex(3);
    const std::intptr_t address = x.DataPtr();
    for (const std::size_t size : {0u, 1u, 3u}) {
        const std::vector<std::byte> data(size);
        EXPECT_THROW(x.Data(data), IndexOutOfRangeException);
    }
    for (const std::int32_t length : {0, -1, INT_MIN}) {
        expectFailure<InvalidSizeException>(
            [&] {
                x.Data(bytesOf(length, {1, 2}));
            },
            "Invalid number of rows or columns.");
    }
    EXPECT_EQ(x, countedComplex(3));
    EXPECT_EQ(x.DataPtr(), address);
    for (const std::int32_t length : {2, 3, 4}) {
        const int requests = failEachAllocation([&] { x.Data(bytesOf(length, std::vector<double>(8))); },
                                                [&] { return x == countedComplex(3); });
        EXPECT_EQ(requests, 1);
        x = countedComplex(3);
    }
}

TEST(CVectorData, AShortArrayFailsResizedAndPartlyWritten)
{
    CVector x = countedComplex(3);
    EXPECT_THROW(x.Data(bytesOf(4, {7, 8, 9})), IndexOutOfRangeException);
    EXPECT_THAT(blockOf(x), ElementsAre(Complex(7, 8), Complex(9, 20), Complex(3, 30), Complex()));
}

TEST(CVectorData, TheFormIsCountedIn32Bits)
{
    EXPECT_EQ(detail::mostCellsInByteForm<Complex>(1), (INT_MAX - 4) / 16);
    EXPECT_EQ(detail::mostCellsInByteForm<Complex>(2), (INT_MAX - 8) / 16);
    const std::int32_t sizes[] = {INT_MAX / 16 + 1};
    expectFailure<NotSupportedException>([&] { detail::toBytes<Complex>(sizes, nullptr, sizes[0]); },
                                         "The byte form holds at most 2147483647 bytes.");
}

// ---- archive

SerializationInfo archiveOf(std::int32_t size, std::vector<double> data)
{
    SerializationInfo info;
    info.AddValue("Size", size);
    info.AddValue("Data", std::move(data));
    return info;
}

TEST(CVectorArchive, WritesSizeAndDataInThisOrder)
{
    const SerializationInfo info = ToArchive(CVector{{1, 2}, {3, 4}});
    ASSERT_EQ(info.Values().size(), 2u);
    EXPECT_EQ(info.Values()[0].first, "Size");
    EXPECT_EQ(info.Values()[1].first, "Data");
    EXPECT_EQ(info.GetInt32("Size"), 2);
    EXPECT_THAT(info.GetDoubleArray("Data"), ElementsAre(1, 2, 3, 4));
    SerializationInfo taken;
    taken.AddValue("Data", 0.0);
    EXPECT_THROW(CVector().GetObjectData(taken, StreamingContext()), SerializationException);
    EXPECT_EQ(taken.GetInt32("Size"), 3);
}

TEST(CVectorArchive, WhatWasWrittenIsRestored)
{
    const CVector x(kOddCells);
    EXPECT_EQ(bitsOf(FromArchive<CVector>(ToArchive(x))), bitsOf(x));
    EXPECT_EQ(FromArchive<CVector>(ToArchive(CVector(kNone))).Length(), 0);
    const SerializationInfo info = ToArchive(x);
    expectAllocations(1, x, [&] { FromArchive<CVector>(info); });
}

TEST(CVectorArchive, TheSizeIsNotCheckedButAllocated)
{
    for (const std::int32_t size : {-1, INT_MIN}) {
        expectFailure<NotEnoughMemoryException>(
            [&] {
                FromArchive<CVector>(archiveOf(size, {1, 2}));
            },
            "There is not enough memory to continue the execution.");
    }
}

TEST(CVectorArchive, ShortDataFailSurplusIsIgnoredAndKeysMustBeThere)
{
    EXPECT_THROW(FromArchive<CVector>(archiveOf(2, {1, 2, 3})), IndexOutOfRangeException);
    EXPECT_THAT(blockOf(FromArchive<CVector>(archiveOf(1, {1, 2, 3}))), ElementsAre(Complex(1, 2)));
    SerializationInfo sizeAlone, mistyped;
    sizeAlone.AddValue("Size", 1);
    mistyped.AddValue("Size", 1.0);
    EXPECT_THROW(FromArchive<CVector>(SerializationInfo()), SerializationException);
    EXPECT_THROW(FromArchive<CVector>(sizeAlone), SerializationException);
    EXPECT_THROW(FromArchive<CVector>(mistyped), SerializationException);
}

// ---- identity

TEST(CVectorIdentity, NullEqualsNullAlone)
{
    const CVector x{1};
    const CVector* const null = nullptr;
    EXPECT_TRUE(CVector::Equals(null, null));
    EXPECT_FALSE(CVector::Equals(&x, null));
    EXPECT_FALSE(CVector::Equals(null, &x));
    EXPECT_TRUE(CVector::Equals(&x, &x));
    EXPECT_FALSE(x.Equals(null));
}

TEST(CVectorIdentity, EqualsIsFalseForAnythingElse)
{
    const CVector x{1, 2};
    EXPECT_FALSE(x.Equals(Vector{1, 2}));
    EXPECT_FALSE(x.Equals(CMatrix{{1}, {2}}));
    EXPECT_FALSE(x.Equals(17));
    EXPECT_FALSE(x.Equals(std::any()));
    EXPECT_FALSE(x.Equals(std::any(Vector{1, 2})));
    EXPECT_FALSE(x.Equals(std::optional<CVector>()));
    EXPECT_TRUE(x.Equals(std::any(CVector{1, 2})));
    EXPECT_TRUE(x.Equals(std::optional<CVector>(x)));
    EXPECT_TRUE(x.Equals(CVector{1, 2}));
}

TEST(CVectorIdentity, LengthsMustAgreeAndOnePartDecides)
{
    EXPECT_FALSE(CVector(2) == CVector(3));
    for (int i = 0; i < 9; ++i) {
        for (const Complex& step : {Complex(0x1p-50), Complex(0, 0x1p-50)}) {
            CVector x(9, {1, 1}), y = x;
            y[i] += step;
            EXPECT_FALSE(x == y);
            EXPECT_TRUE(x != y);
        }
    }
}

TEST(CVectorIdentity, ANanIsNotEvenEqualToItselfAndZerosOfBothSignsAre)
{
    for (const Complex& nan : {Complex(kNaN, 0), Complex(0, kNaN)}) {
        const CVector x{nan};
        const CVector& self = x;
        EXPECT_FALSE(x == self);
        EXPECT_TRUE(x != self);
        EXPECT_FALSE(x.Equals(self));
    }
    const CVector zero{{0.0, -0.0}}, other{{-0.0, 0.0}};
    EXPECT_TRUE(zero == other);
    EXPECT_EQ(zero.GetHashCode(), other.GetHashCode());
}

std::int32_t folded(double x)
{
    const auto bits = std::bit_cast<std::uint64_t>(x);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits ^ (bits >> 32)));
}

TEST(CVectorIdentity, TheHashIsTheLengthWithTheHalvesOfEveryPart)
{
    EXPECT_EQ(CVector(7).GetHashCode(), 7);
    EXPECT_EQ((CVector{{1.5, -0.1}, {1e300, 2}}.GetHashCode()),
              2 ^ folded(1.5) ^ folded(-0.1) ^ folded(1e300) ^ folded(2));
    EXPECT_EQ((CVector{{3.7, 3.7}}.GetHashCode()), 1);
    std::unordered_set<CVector> set{CVector{kI}, CVector{1}, CVector{kI}};
    EXPECT_EQ(set.size(), 2u);
}

} // namespace
} // namespace Velmar::Lintrix
