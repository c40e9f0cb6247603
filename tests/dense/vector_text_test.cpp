// Text form, byte form, archive and identity of Vector; where it differs from Matrix, on this side.

#include <lintrix/lintrix.h>

#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <any>
#include <bit>
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

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

class Comma : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
};

const std::locale& comma()
{
    static const std::locale locale(std::locale::classic(), new Comma);
    return locale;
}

std::vector<std::byte> bytesOf(std::int32_t size, const std::vector<double>& elements)
{
    std::vector<std::byte> data(4 + 8 * elements.size());
    std::memcpy(data.data(), &size, 4);
    if (!elements.empty()) std::memcpy(data.data() + 4, elements.data(), 8 * elements.size());
    return data;
}

// ---- text

TEST(VectorText, DefaultsPrintOneLineBetweenBars)
{
    EXPECT_EQ(Vector({1, 2}).ToString(), "| 1.000 2.000 |\n");
    EXPECT_EQ(Vector(1, 1.0).ToString(), "| 1.000 |\n");
}

TEST(VectorText, AllElementsShareOneWidth)
{
    EXPECT_EQ(Vector({-1, 10}).ToString("F0"), "| -1 10 |\n");
    EXPECT_EQ(Vector({1, 1000, kNaN}).ToString("F0", ","), "|    1,1000, NaN |\n");
}

TEST(VectorText, BothEndPiecesAlwaysAppear)
{
    EXPECT_EQ(Vector({1, 2}).ToString("F1", ", ", "[", "];", "]"), "[1.0, 2.0];]");
    EXPECT_EQ(Vector(1, 5.0).ToString("F1", ", ", "[", "];", "]"), "[5.0];]");
}

TEST(VectorText, TheSixFormsDifferInWhatIsGivenAlone)
{
    const Vector x{1, 2, 3};
    const std::string expected = x.ToString(std::locale(), "F3", " ", "| ", " |", "\n");
    EXPECT_EQ(expected, "| 1.000 2.000 3.000 |\n");
    EXPECT_EQ(x.ToString(), expected);
    EXPECT_EQ(x.ToString("F3"), expected);
    EXPECT_EQ(x.ToString("F3", " "), expected);
    EXPECT_EQ(x.ToString("F3", " ", "| ", " |", "\n"), expected);
    EXPECT_EQ(x.ToString(std::locale(), "F3"), expected);
}

TEST(VectorText, TheProviderGivesTheDecimalSign)
{
    const Vector x{1.5, -kInf};
    EXPECT_EQ(x.ToString(comma(), "F2"), "|      1,50 -Infinity |\n");
    EXPECT_EQ(x.ToString("F2"), "|      1.50 -Infinity |\n");
    const std::locale before = std::locale::global(comma());
    const std::string text = x.ToString();
    std::locale::global(before);
    EXPECT_EQ(text, "|     1,500 -Infinity |\n");
}

TEST(VectorText, AnEmptyVectorPrintsItsBordersAlone)
{
    EXPECT_EQ(Vector(std::vector<double>{}).ToString(), "|  |\n");
}

TEST(VectorText, UnknownFormatFails)
{
    EXPECT_THROW(Vector().ToString("Z"), FormatException);
}

TEST(VectorText, TheBufferIsSizedOnce)
{
    const std::string text = Vector(100, 1.0).ToString();
    EXPECT_EQ(text.size(), 2u + 100 * 5 + 99 + 2 + 1);
    EXPECT_EQ(text.capacity(), text.size());
}

TEST(VectorText, StreamsPrintTheDefaultForm)
{
    std::ostringstream out;
    out << Vector{1, 2};
    EXPECT_EQ(out.str(), "| 1.000 2.000 |\n");
}

// ---- bytes

TEST(VectorData, BeginsWithTheLength)
{
    const std::vector<std::byte> data = Vector(3).Data();
    ASSERT_EQ(data.size(), 28u);
    std::vector<int> numbers;
    for (const std::byte b : data) numbers.push_back(std::to_integer<int>(b));
    EXPECT_EQ(std::vector<int>(numbers.begin(), numbers.begin() + 4), (std::vector<int>{3, 0, 0, 0}));
    EXPECT_EQ(std::vector<int>(numbers.begin() + 4, numbers.end()), std::vector<int>(24, 0));
}

TEST(VectorData, HoldsTheRawElementsInOrder)
{
    EXPECT_EQ(Vector({1.5, -0.0, kNaN, kInf}).Data(), bytesOf(4, {1.5, -0.0, kNaN, kInf}));
}

TEST(VectorData, ReadFromOneAndWrittenToAnotherMakesThemEqual)
{
    for (const int size : {1, 2, 3, 100}) {
        Vector x(size);
        x.FillRandom(-5.0, 5.0, 15);
        for (Vector y : {Vector(), Vector(1), Vector(500)}) {
            y.Data(x.Data());
            EXPECT_TRUE(y == x);
        }
    }
}

TEST(VectorData, TheSameSizeKeepsTheBlockAndSurplusIsIgnored)
{
    Vector x{1, 2};
    const auto block = x.DataPtr();
    x.Data(bytesOf(2, {3, 4, 5}));
    EXPECT_EQ(x.DataPtr(), block);
    EXPECT_TRUE(x == (Vector{3, 4}));
}

TEST(VectorData, AnArrayShorterThanItsHeaderChangesNothing)
{
    for (std::size_t length = 0; length < 4; ++length) {
        Vector x{1, 2};
        EXPECT_THROW(x.Data(std::vector<std::byte>(length, std::byte{1})), IndexOutOfRangeException);
        EXPECT_TRUE(x == (Vector{1, 2}));
    }
}

TEST(VectorData, InvalidLengthsChangeNothing)
{
    for (const std::int32_t size : {0, -1, INT_MIN}) {
        Vector x{1, 2};
        try {
            x.Data(bytesOf(size, {7, 8, 9}));
            ADD_FAILURE() << "accepted " << size;
        } catch (const InvalidSizeException& e) {
            EXPECT_STREQ(e.what(), "Invalid number of rows or columns.");
        }
        EXPECT_TRUE(x == (Vector{1, 2}));
    }
}

TEST(VectorData, AValidLengthThatMemoryCannotHoldChangesNothing)
{
    for (const std::int32_t size : {INT_MAX, (INT_MAX - 4) / 8 + 1}) {
        Vector x{1, 2};
        {
            const testing::FailingAllocator none(0);
            EXPECT_THROW(x.Data(bytesOf(size, {})), NotEnoughMemoryException) << size;
        }
        EXPECT_TRUE(x == (Vector{1, 2}));
    }
}

TEST(VectorData, AShortArrayFailsResizedAndPartlyWritten)
{
    Vector x{1, 2, 3};
    EXPECT_THROW(x.Data(bytesOf(5, {10, 20})), IndexOutOfRangeException);
    EXPECT_TRUE(x == (Vector{10, 20, 3, 0, 0}));
}

TEST(VectorData, AnEmptyVectorGoesThroughItsBytes)
{
    Vector x(std::vector<double>{}), y = x;
    EXPECT_EQ(x.Data(), bytesOf(0, {}));
    y.Data(x.Data()); // the same size: nothing to resize
    EXPECT_EQ(y.Length(), 0);
}

TEST(VectorData, AFailingAllocatorLeavesTheObject)
{
    Vector x{1, 2};
    const int requests = testing::failEachAllocation(
        [&] {
            x.Data(bytesOf(3, {7, 8, 9}));
        },
        [&] {
            return x == (Vector{1, 2});
        });
    EXPECT_EQ(requests, 1);
    EXPECT_TRUE(x == (Vector{7, 8, 9}));
}

// ---- archive

TEST(VectorArchive, WritesSizeAndDataInThisOrder)
{
    const SerializationInfo info = ToArchive(Vector{1, 2, 3});
    ASSERT_EQ(info.Values().size(), 2u);
    EXPECT_EQ(info.Values()[0].first, "Size");
    EXPECT_EQ(info.Values()[1].first, "Data");
    EXPECT_EQ(info.GetInt32("Size"), 3);
    const auto data = info.GetDoubleArray("Data");
    EXPECT_EQ(std::vector<double>(data.begin(), data.end()), (std::vector<double>{1, 2, 3}));
}

// "Size" comes before the array is built.
TEST(VectorArchive, ATakenDataKeyFailsAfterSizeWasAdded)
{
    SerializationInfo info;
    info.AddValue("Data", 0.0);
    EXPECT_THROW(Vector().GetObjectData(info, StreamingContext()), SerializationException);
    EXPECT_EQ(info.GetInt32("Size"), 3);
}

SerializationInfo archiveOf(std::int32_t size, std::vector<double> data)
{
    SerializationInfo info;
    info.AddValue("Size", size);
    info.AddValue("Data", std::move(data));
    return info;
}

TEST(VectorArchive, WhatWasWrittenIsRestored)
{
    Vector x(50);
    x.FillRandom(-1.0, 1.0, 15);
    EXPECT_TRUE(FromArchive<Vector>(ToArchive(x)) == x);
    EXPECT_EQ(FromArchive<Vector>(ToArchive(Vector(std::vector<double>{}))).Length(), 0);
}

TEST(VectorArchive, TheSizeIsNotCheckedButAllocated)
{
    EXPECT_EQ(FromArchive<Vector>(archiveOf(0, {})).Length(), 0);
    for (const std::int32_t size : {-1, INT_MIN}) {
        try {
            FromArchive<Vector>(archiveOf(size, {1, 2}));
            ADD_FAILURE() << "accepted " << size;
        } catch (const NotEnoughMemoryException& e) {
            EXPECT_STREQ(e.what(), "There is not enough memory to continue the execution.");
        }
    }
}

TEST(VectorArchive, ShortDataFailAndSurplusIsIgnored)
{
    EXPECT_THROW(FromArchive<Vector>(archiveOf(3, {1, 2})), IndexOutOfRangeException);
    EXPECT_TRUE(FromArchive<Vector>(archiveOf(2, {1, 2, 3})) == (Vector{1, 2}));
}

TEST(VectorArchive, MissingAndMistypedKeysFail)
{
    SerializationInfo info;
    EXPECT_THROW(FromArchive<Vector>(info), SerializationException);
    info.AddValue("Size", std::int32_t{1});
    EXPECT_THROW(FromArchive<Vector>(info), SerializationException);
    info.AddValue("Data", std::string("1"));
    EXPECT_THROW(FromArchive<Vector>(info), SerializationException);
    EXPECT_THROW(FromArchive<Vector>(ToArchive(Matrix())), SerializationException);
}

// ---- identity

TEST(VectorIdentity, NullEqualsNullAlone)
{
    const Vector x;
    const Vector* const null = nullptr;
    EXPECT_TRUE(Vector::Equals(null, null));
    EXPECT_FALSE(Vector::Equals(&x, null));
    EXPECT_FALSE(Vector::Equals(null, &x));
    EXPECT_TRUE(Vector::Equals(&x, &x));
    EXPECT_FALSE(x.Equals(null));
    EXPECT_FALSE(x.Equals(nullptr));
}

TEST(VectorIdentity, EqualsIsFalseForAnythingElse)
{
    const Vector x{1, 2};
    EXPECT_TRUE(x.Equals(Vector{1, 2}));
    EXPECT_FALSE(x.Equals(Vector{1, 3}));
    EXPECT_FALSE(x.Equals(x.ToMatrix()));
    EXPECT_FALSE(x.Equals(x.ToArray()));
    EXPECT_FALSE(x.Equals(1));
}

TEST(VectorIdentity, LengthsMustAgreeAndOneElementDecides)
{
    EXPECT_FALSE((Vector{1, 2} == Vector{1, 2, 3}));
    EXPECT_TRUE((Vector{1, 2} != Vector{1, 2, 3}));
    EXPECT_FALSE((Vector{1, 2} == Vector{1, std::nextafter(2.0, 3.0)}));
    EXPECT_TRUE((Vector{1, 2} == Vector{1, 2}));
    EXPECT_TRUE(Vector(std::vector<double>{}) == Vector(std::vector<double>{}));
}

TEST(VectorIdentity, ANanIsNotEvenEqualToItself)
{
    const Vector x{1, kNaN};
    const Vector& self = x;
    EXPECT_FALSE(x == self);
    EXPECT_TRUE(x != self);
    EXPECT_FALSE(x.Equals(self));
    EXPECT_FALSE(Vector::Equals(&x, &x));
}

TEST(VectorIdentity, ZerosOfBothSignsAreEqualAndHashAlike)
{
    EXPECT_TRUE((Vector{0.0, 1.0} == Vector{-0.0, 1.0}));
    EXPECT_EQ((Vector{0.0, 1.0}.GetHashCode()), (Vector{-0.0, 1.0}.GetHashCode()));
}

TEST(VectorIdentity, TheHashStartsFromTheLength)
{
    EXPECT_EQ(Vector(5).GetHashCode(), 5);
    EXPECT_EQ((Vector{3.7, 3.7}.GetHashCode()), 2);
    const auto bits = std::bit_cast<std::uint64_t>(-0.1);
    EXPECT_EQ(Vector(1, -0.1).GetHashCode(),
              1 ^ static_cast<std::int32_t>(static_cast<std::uint32_t>(bits ^ (bits >> 32))));
    EXPECT_EQ((Vector{1, 2, 3}.GetHashCode()), (Vector{3, 1, 2}.GetHashCode()));
}

TEST(VectorIdentity, HashedContainersTakeVectors)
{
    const std::unordered_set<Vector> set{Vector{1, 2}, Vector{2, 1}, Vector{1, 2}};
    EXPECT_EQ(set.size(), 2u);
    EXPECT_TRUE(set.contains(Vector{2, 1}));
}

// ---- after release

TEST(VectorText, UseAfterReleaseIsRefusedInTheHardenedBuild)
{
    Vector x(2);
    x.Dispose();
    if constexpr (detail::kHardened) {
        EXPECT_THROW(x.ToString(), InvalidOperationException);
        EXPECT_THROW(std::as_const(x).Data(), InvalidOperationException);
        EXPECT_THROW(x.Data(Vector(2).Data()), InvalidOperationException);
        EXPECT_THROW(x.GetHashCode(), InvalidOperationException);
        EXPECT_THROW(ToArchive(x), InvalidOperationException);
        EXPECT_THROW(static_cast<void>(x == Vector(2)), InvalidOperationException);
    } else {
        EXPECT_FALSE(x == Vector(3)); // the length answers, and decides before an element is read
    }
}

TEST(VectorIdentity, EqualsLooksIntoWhatTheLibraryReturns)
{
    const Vector x{1, 2}, other{1, 3};
    EXPECT_TRUE(x.Equals(std::any(x)));
    EXPECT_FALSE(x.Equals(std::any(other)));
    EXPECT_FALSE(x.Equals(std::any(x.ToMatrix())));
    EXPECT_TRUE(x.Equals(std::optional<Vector>(x)));
    EXPECT_FALSE(x.Equals(std::optional<Vector>()));
    EXPECT_TRUE(x == x.ToArray());
    EXPECT_TRUE(x.ToArray() == x);
    EXPECT_FALSE(x != x.ToArray());
}

} // namespace
} // namespace Velmar::Lintrix
