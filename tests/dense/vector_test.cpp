// Life, access, reductions and normalization of Vector.

#include "tests/dense/dense_support.h"

#include <lintrix/dense/access.h>
#include <lintrix/foundation/array2d.h>
#include <lintrix/foundation/configuration.h>

#include <array>
#include <climits>
#include <cmath>
#include <functional>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

constexpr const char* kInvalidSize = "Invalid number of rows or columns.";
constexpr const char* kIndex = "Index exceeds vector size.";
constexpr const char* kNoMemory = "There is not enough memory to continue the execution.";
constexpr const char* kReleased = "The object was used after its release.";

constexpr NormalizeMode kModes[] = {NormalizeMode::ZScores, NormalizeMode::UnitLength,
                                    NormalizeMode::MaximumOne};

const std::vector<double> kNone;

// ---- construction

TEST(Vector, DefaultIsThreeZeros)
{
    soilMemory(3);
    const Vector x;
    EXPECT_EQ(x.Length(), 3);
    EXPECT_THAT(bitsOf(x), ElementsAre(0u, 0u, 0u));
}

TEST(Vector, SizeGivesZerosAlsoInUsedMemory)
{
    for (const int length : kLengths) {
        soilMemory(length);
        const Vector x(length);
        ASSERT_EQ(x.Length(), length);
        EXPECT_THAT(bitsOf(x), Each(0u));
    }
}

TEST(Vector, SizeAndValueGiveCopiesOfTheValue)
{
    for (const int length : kLengths) {
        const Vector x(length, -2.5);
        ASSERT_EQ(x.Length(), length);
        EXPECT_THAT(blockOf(x), Each(-2.5));
    }
}

TEST(Vector, SizeBelowOneIsRefusedBeforeAnythingIsAllocated)
{
    for (const int size : {0, -1, INT_MIN}) {
        SCOPED_TRACE(size);
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { return Vector(size); });
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { return Vector(size, 1.0); });
    }
}

TEST(Vector, LargestSizePassesTheCheckAndMeetsTheAllocator)
{
    const FailingAllocator allocator(0);
    EXPECT_THAT([] { return Vector(INT_MAX); }, ThrowsMessage<NotEnoughMemoryException>(kNoMemory));
    EXPECT_THAT([] { return Vector(INT_MAX, 1.0); }, ThrowsMessage<NotEnoughMemoryException>(kNoMemory));
    EXPECT_TRUE(allocator.hasFailed());
}

TEST(Vector, ArrayAboveTheLargestSizeIsRefusedAndOneOfThatSizeMeetsTheAllocator)
{
    const double value = 1.0; // never read: the length alone is looked at
    const std::size_t limit = INT_MAX;
    const std::span<const double> fits(&value, limit), exceeds(&value, limit + 1),
        wraps(&value, 2 * limit + 3);
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { return Vector(exceeds); });
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { return Vector(wraps); });
    const FailingAllocator allocator(0);
    EXPECT_THAT([&] { return Vector(fits); }, ThrowsMessage<NotEnoughMemoryException>(kNoMemory));
}

TEST(Vector, ArrayIsCopiedWhateverItsKind)
{
    std::vector<double> source{1, 2, 3};
    const double plain[] = {1, 2, 3};
    const std::array<double, 3> array{1, 2, 3};
    const Vector fromVector = source, fromSpan = std::span<const double>(source), fromList = {1, 2, 3},
                 fromPlain(plain), fromArray(array), braced{source};
    source[0] = 9;
    for (const Vector* x : {&fromVector, &fromSpan, &fromList, &fromPlain, &fromArray, &braced}) {
        EXPECT_THAT(blockOf(*x), ElementsAre(1, 2, 3));
    }
}

TEST(Vector, BracesHoldValuesAndRoundBracketsASize)
{
    EXPECT_THAT(blockOf(Vector(3)), ElementsAre(0, 0, 0));
    EXPECT_THAT(blockOf(Vector{3}), ElementsAre(3));
    EXPECT_THAT(blockOf(Vector(3, 2)), ElementsAre(2, 2, 2));
    EXPECT_THAT(blockOf(Vector{3, 2}), ElementsAre(3, 2));
    EXPECT_THAT(blockOf(Vector{}), ElementsAre(0, 0, 0));
    EXPECT_EQ(Vector({}).Length(), 0);
    static_assert(!std::is_convertible_v<int, Vector>); // a number is no vector: 1 + x, x * 2 stay scalar
}

TEST(Vector, EachConstructorTakesOneBlock)
{
    const Vector x = counted(5);
    expectAllocations(1, x, [] { return Vector(); });
    expectAllocations(1, x, [] { return Vector(5); });
    expectAllocations(1, x, [] { return Vector(5, 1.0); });
    expectAllocations(1, x, [] { return Vector{1, 2, 3}; });
    expectAllocations(1, x, [] { return Vector(kNone); });
    expectAllocations(1, x, [&] { return Vector(x); });
    expectAllocations(1, x, [&] { return x.Clone(); });
    expectAllocations(1, x, [&] { return x.ToMatrix(); });
    expectAllocations(0, x, [&] { return x.ToArray(); });
}

// ---- the empty vector

TEST(Vector, EmptyArrayGivesLengthZeroAndTheSmallestBlock)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    const Vector x(kNone);
    EXPECT_EQ(x.Length(), 0);
    EXPECT_NE(x.DataPtr(), 0);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 16);
    EXPECT_EQ(Vector(std::span<const double>()).Length(), 0);
    // Matrix refuses what Vector accepts.
    EXPECT_THAT([] { return Matrix(Array2D<double>(0, 0)); },
                ThrowsMessage<InvalidSizeException>(kInvalidSize));
}

TEST(Vector, EmptyVectorTakesPartInEverything)
{
    Vector x(kNone);
    EXPECT_EQ(Vector(x).Length(), 0);
    EXPECT_EQ(x.Clone().Length(), 0);
    EXPECT_THAT(x.ToArray(), IsEmpty());
    Matrix column = x;
    column.Resize(0, 1); // the size it has: returns before the sizes are checked
    EXPECT_EQ(column.Rows(), 0);
    EXPECT_EQ(column.Cols(), 1);
    EXPECT_EQ(x.Sum(), 0.0);
    EXPECT_EQ(x.AbsSum(), 0.0);
    EXPECT_EQ(x.Norm(), 0.0);
    EXPECT_EQ(x.DotProduct(x), 0.0);
    EXPECT_FALSE(x.HasINFs());
    EXPECT_FALSE(x.HasNaNs());
    EXPECT_TRUE(x.IsFinite());
    EXPECT_EQ((x + x).Length(), 0);
    EXPECT_EQ((x * 2.0).Length(), 0);
    EXPECT_EQ(x.ApplyFunction([](double t) { return t; }).Length(), 0);
    x.Clear();
    for (const NormalizeMode mode : kModes) x.Normalize(mode);
    x.FillRandom(0.0, 1.0, 99); // no cell, no rounding, no failure
    EXPECT_THAT([&] { return x.Item(0); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
    EXPECT_EQ(x.Length(), 0);
}

TEST(Vector, EmptyVectorResizesAndKeepsItsBlockAtLengthZero)
{
    Vector x(kNone);
    const std::intptr_t address = x.DataPtr();
    x.Resize(0); // the length it has: returns before the size is checked
    x.Length(0);
    EXPECT_EQ(x.DataPtr(), address);
    soilMemory(3);
    x.Resize(3);
    EXPECT_THAT(blockOf(x), ElementsAre(0, 0, 0));
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { x.Resize(0); });
}

// ---- raw blocks, inside the library

TEST(Vector, InternalPointerFormAdoptsWhereMatrixCopies)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        auto block = detail::Block<double>::zeroed(4);
        double* const cells = block.get();
        cells[3] = 5.0;
        const FailingAllocator allocator(0); // no allocation, no copy
        const Vector x = detail::DenseAccess::adopt(std::move(block), 4);
        EXPECT_EQ(x.DataPtr(), reinterpret_cast<std::intptr_t>(cells));
        EXPECT_EQ(x.Length(), 4);
        EXPECT_EQ(x(3), 5.0);
        EXPECT_FALSE(block);
        EXPECT_THROW(detail::DenseAccess::copyOf(cells, 2, 2), NotEnoughMemoryException);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before); // one owner, one release
}

TEST(Vector, StridedFormCopiesEveryStepThCell)
{
    const Matrix A{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    const auto* a = reinterpret_cast<const double*>(A.DataPtr());
    using detail::DenseAccess;
    EXPECT_THAT(blockOf(DenseAccess::strided(a + 1, 3, 3)), ElementsAre(4, 5, 6)); // row 1
    EXPECT_THAT(blockOf(DenseAccess::strided(a + 3, 3, 1)), ElementsAre(2, 5, 8)); // column 1
    EXPECT_THAT(blockOf(DenseAccess::strided(a, 3, 4)), ElementsAre(1, 5, 9));     // diagonal
    EXPECT_THAT(blockOf(DenseAccess::strided(a, 2, 4)), ElementsAre(1, 5));
    EXPECT_TRUE(identical(A, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}));
    expectAllocations(1, A, [&] { return DenseAccess::strided(a, 3, 4); });
}

// ---- value semantics

TEST(Vector, CopyIsIndependentAndEqualToTheBit)
{
    Vector x{1, kNaN, -0.0, kInf};
    const Vector copy(x), clone = x.Clone();
    Vector assigned;
    assigned = x;
    for (const Vector* other : {&copy, &clone, static_cast<const Vector*>(&assigned)}) {
        EXPECT_NE(other->DataPtr(), x.DataPtr());
        EXPECT_EQ(bitsOf(*other), bitsOf(x));
    }
    x(0) = 7;
    EXPECT_EQ(copy(0), 1);
    EXPECT_EQ(clone(0), 1);
    EXPECT_EQ(assigned(0), 1);
}

TEST(Vector, MoveHandsTheBlockOverAndLeavesTheSourceReleasedWithItsLength)
{
    static_assert(std::is_nothrow_move_constructible_v<Vector> && std::is_nothrow_move_assignable_v<Vector>);
    Vector x = counted(4);
    const std::intptr_t address = x.DataPtr();
    Vector y(std::move(x));
    EXPECT_EQ(y.DataPtr(), address);
    EXPECT_EQ(x.DataPtr(), 0);
    EXPECT_EQ(x.Length(), 4);
    Vector z;
    z = std::move(y);
    EXPECT_EQ(z.DataPtr(), address);
    EXPECT_EQ(z.Length(), 4);
    EXPECT_EQ(y.DataPtr(), 0);
    EXPECT_EQ(y.Length(), 4);
    x = z; // and lives again
    EXPECT_TRUE(identical(x, counted(4)));
}

TEST(Vector, SelfAssignmentKeepsTheElements)
{
    Vector x = counted(4);
    Vector& same = x;
    x = same;
    EXPECT_TRUE(identical(x, counted(4)));
    x = std::move(same);
    EXPECT_TRUE(identical(x, counted(4)));
}

TEST(Vector, DisposeReleasesAtOnceMayBeRepeatedAndKeepsTheLength)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    Vector x(7);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 56);
    for (int i = 0; i < 2; ++i) {
        x.Dispose();
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
        EXPECT_EQ(x.DataPtr(), 0);
        EXPECT_EQ(x.Length(), 7);
    }
}

TEST(Vector, UseAfterReleaseIsTheCallersFaultAndTheHardenedBuildTellsIt)
{
    Vector x(2);
    const Vector y = counted(2);
    x.Dispose();
    if constexpr (detail::kHardened) {
        const std::vector<std::function<void()>> uses{
            [&] { return x.Item(0); },
            [&] { x.Item(0, 1.0); },
            [&] { x[0] = 1.0; },
            [&] { return x.Clone(); },
            [&] { return Vector(x); },
            [&] { return x.ToArray(); },
            [&] { return x.ToMatrix(); },
            [&] { x.Clear(); },
            [&] { x.Resize(3); },
            [&] { x.FillRandom(); },
            [&] { x.Normalize(NormalizeMode::UnitLength); },
            [&] { return x.Sum(); },
            [&] { return x.AbsSum(); },
            [&] { return x.Norm(); },
            [&] { return x.DotProduct(y); },
            [&] { return x.IsFinite(); },
            [&] { return x + y; },
            [&] { return x * 2.0; },
            [&] { Vector::Add(1.0, y, x); },
        };
        for (const auto& use : uses) EXPECT_THAT(use, ThrowsMessage<InvalidOperationException>(kReleased));
    }
    x = y; // a value may always be assigned
    EXPECT_TRUE(identical(x, y));
}

// ---- access

TEST(Vector, ItemReadsAndWritesInEveryForm)
{
    Vector x(4);
    x.Item(0, 1.0);
    x(1) = 2.0;
    x[2] = 3.0;
    const Vector& constant = x;
    EXPECT_EQ(x.Item(0), 1.0);
    EXPECT_EQ(constant(1), 2.0);
    EXPECT_EQ(constant[2], 3.0);
    EXPECT_THAT(blockOf(x), ElementsAre(1, 2, 3, 0));
}

TEST(Vector, IndexOutsideIsRefusedAndAFailingWriteChangesNothing)
{
    Vector x = counted(3);
    const Vector& constant = x;
    for (const int index : {-1, 3, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_THAT([&] { return x.Item(index); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
        EXPECT_THAT([&] { x.Item(index, 9.0); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
        EXPECT_THAT([&] { x(index) = 9.0; }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
        EXPECT_THAT([&] { x[index] = 9.0; }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
        EXPECT_THAT([&] { return constant(index); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
        EXPECT_THAT([&] { return constant[index]; }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
    }
    EXPECT_TRUE(identical(x, counted(3)));
}

TEST(Vector, ToArrayAndTheConversionsCopyAllElements)
{
    static_assert(std::is_convertible_v<std::vector<double>, Vector>);
    static_assert(std::is_convertible_v<std::span<const double>, Vector>);
    static_assert(std::is_convertible_v<Vector, std::vector<double>>);
    static_assert(std::is_convertible_v<Vector, Matrix>);
    static_assert(!std::is_convertible_v<Matrix, Vector>);
    Vector x = counted(5);
    std::vector<double> array = x.ToArray(), assigned;
    const std::vector<double> converted = x, direct(x);
    assigned = x;
    const Matrix column = x;
    array[0] = 9;
    x(1) = 9;
    for (const std::vector<double>* copy :
         {&converted, &direct, static_cast<const std::vector<double>*>(&assigned)}) {
        EXPECT_THAT(*copy, ElementsAre(1, 2, 3, 4, 5));
    }
    EXPECT_THAT(blockOf(x), ElementsAre(1, 9, 3, 4, 5));
    EXPECT_TRUE(identical(column, {{1}, {2}, {3}, {4}, {5}}));
}

TEST(Vector, ToMatrixIsOneColumnWithABlockOfItsOwn)
{
    for (const int length : kLengths) {
        const Vector x = counted(length);
        const Matrix column = x.ToMatrix();
        ASSERT_EQ(column.Rows(), length);
        ASSERT_EQ(column.Cols(), 1);
        EXPECT_NE(column.DataPtr(), x.DataPtr());
        EXPECT_EQ(blockOf(column), blockOf(x));
    }
}

// ---- size

TEST(Vector, ClearZeroesTheElementsAndKeepsLengthAndBlock)
{
    Vector x{1, kNaN, -0.0};
    const std::intptr_t address = x.DataPtr();
    x.Clear();
    EXPECT_THAT(bitsOf(x), ElementsAre(0u, 0u, 0u));
    EXPECT_EQ(x.DataPtr(), address);
}

TEST(Vector, GrowingKeepsTheFrontAndAddsZerosShrinkingDropsTheTail)
{
    Vector x = counted(3);
    soilMemory(5);
    x.Resize(5);
    EXPECT_THAT(blockOf(x), ElementsAre(1, 2, 3, 0, 0));
    x.Resize(2);
    EXPECT_THAT(blockOf(x), ElementsAre(1, 2));
    x.Length(4);
    EXPECT_THAT(blockOf(x), ElementsAre(1, 2, 0, 0));
}

TEST(Vector, ResizeAccountsForTheNewBlockAlone)
{
    Vector x(100);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    x.Resize(10);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, -720);
}

TEST(Vector, ResizeToTheSameLengthKeepsTheBlock)
{
    Vector x = counted(3);
    expectAllocations(0, x, [&] { x.Resize(3); });
    expectAllocations(0, x, [&] { x.Length(3); });
    const std::intptr_t address = x.DataPtr();
    x.Resize(3);
    x.Length(3);
    EXPECT_EQ(x.DataPtr(), address);
}

TEST(Vector, ResizeBelowOneFailsAndChangesNothing)
{
    Vector x = counted(3);
    const std::intptr_t address = x.DataPtr();
    for (const int size : {0, -1, INT_MIN}) {
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { x.Resize(size); });
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { x.Length(size); });
    }
    EXPECT_EQ(x.DataPtr(), address);
    EXPECT_TRUE(identical(x, counted(3)));
}

TEST(Vector, RefusedResizeLeavesTheObjectAsItWas)
{
    Vector x = counted(3);
    expectAllocations(1, x, [&] { x.Resize(9); });
    expectAllocations(1, x, [&] { x.Length(2); });
    EXPECT_THAT(blockOf(x), ElementsAre(1, 2)); // each passed in the end
}

// ---- random fill

TEST(Vector, FillRandomDrawsFromTheFirstElementToTheLast)
{
    Vector x(50);
    const std::intptr_t address = x.DataPtr();
    const auto fillsWith = [&](double lower, double upper, int decimals, auto fill) {
        const std::vector<double> expected = valuesFromTheStart(50, lower, upper, decimals);
        fill();
        EXPECT_EQ(blockOf(x), expected);
    };
    fillsWith(0.0, 10.0, 0, [&] { x.FillRandom(); });
    fillsWith(-4.0, 4.0, 0, [&] { x.FillRandom(-4.0, 4.0); });
    fillsWith(5.0, 1.0, 2, [&] { x.FillRandom(5.0, 1.0, 2); });
    EXPECT_EQ(x.DataPtr(), address);
}

TEST(Vector, FillRandomWithBadDecimalsLeavesTheBlock)
{
    Vector x = counted(3);
    for (const int decimals : {-1, 16}) {
        EXPECT_THAT([&] { x.FillRandom(0.0, 1.0, decimals); },
                    ThrowsMessage<ArgumentOutOfRangeException>(
                        "Rounding digits must be between 0 and 15, inclusive."));
        EXPECT_TRUE(identical(x, counted(3)));
    }
}

// ---- reductions and tests

TEST(Vector, SumAndDotProductRunInIndexOrder)
{
    std::mt19937_64 generator(21);
    for (const int length : kLengths) {
        const Vector x = randomVector(length, generator), y = randomVector(length, generator);
        double sum = 0.0, product = 0.0;
        for (int i = 0; i < length; ++i) {
            sum += x(i);
            product += x(i) * y(i);
        }
        EXPECT_EQ(x.Sum(), sum) << length;
        EXPECT_EQ(x.DotProduct(y), product) << length;
        EXPECT_EQ(Vector::DotProduct(x, y), product) << length;
    }
    EXPECT_EQ((Vector{1e16, 1, 1, -1e16}.Sum()), 0.0); // another order would keep the ones
    EXPECT_EQ((Vector{1e16, 1, 1, -1e16}.DotProduct({1, 1, 1, 1})), 0.0);
}

TEST(Vector, AbsSumAndNormAreThoseOfTheDefinition)
{
    EXPECT_EQ((Vector{1, -2, 3}.AbsSum()), 6.0);
    EXPECT_EQ((Vector{3, -4}.Norm()), 5.0);
    EXPECT_EQ((Vector{-2}.Norm()), 2.0);
    EXPECT_EQ(Vector(5).Norm(), 0.0);
    std::mt19937_64 generator(22);
    for (const int length : kLengths) {
        const Vector x = randomVector(length, generator);
        double sum = 0.0, squares = 0.0;
        for (int i = 0; i < length; ++i) {
            sum += std::abs(x(i));
            squares += x(i) * x(i);
        }
        EXPECT_LE(std::abs(x.AbsSum() - sum), length * kEps * sum) << length;
        EXPECT_LE(std::abs(x.Norm() - std::sqrt(squares)), (length + 2) * kEps * std::sqrt(squares))
            << length;
    }
}

TEST(Vector, DotProductOfDifferentLengthsIsRefused)
{
    const Vector x = counted(3), y = counted(4);
    constexpr const char* text = "Vectors are not of the same size.";
    expectRefusedUnallocated<SizeMismatchException>(text, [&] { return x.DotProduct(y); });
    expectRefusedUnallocated<SizeMismatchException>(text, [&] { return y.DotProduct(x); });
    expectRefusedUnallocated<SizeMismatchException>(text, [&] { return Vector::DotProduct(x, y); });
}

TEST(Vector, InfinitiesAndNaNsAreFoundWhereverTheyStand)
{
    const Vector finite = counted(7);
    EXPECT_FALSE(finite.HasINFs());
    EXPECT_FALSE(finite.HasNaNs());
    EXPECT_TRUE(finite.IsFinite());
    for (int i = 0; i < 7; ++i) {
        for (const double infinity : {kInf, -kInf}) {
            Vector x = finite;
            x(i) = infinity;
            EXPECT_TRUE(x.HasINFs());
            EXPECT_FALSE(x.HasNaNs());
            EXPECT_FALSE(x.IsFinite());
        }
        Vector x = finite;
        x(i) = kNaN;
        EXPECT_FALSE(x.HasINFs());
        EXPECT_TRUE(x.HasNaNs());
        EXPECT_FALSE(x.IsFinite());
    }
    EXPECT_TRUE((Vector{1.7976931348623157e308, 0x1p-1074}.IsFinite()));
}

// ---- normalization

Vector normalized(Vector x, NormalizeMode mode)
{
    x.Normalize(mode);
    return x;
}

TEST(Vector, UnitLengthDividesByTheEuclideanNorm)
{
    const Vector x = normalized({3, -4}, NormalizeMode::UnitLength);
    EXPECT_EQ(x(0), 3 * (1.0 / 5.0));
    EXPECT_EQ(x(1), -4 * (1.0 / 5.0));
    std::mt19937_64 generator(23);
    for (const int length : kLengths) {
        const Vector y = randomVector(length, generator), unit = normalized(y, NormalizeMode::UnitLength);
        EXPECT_LE(std::abs(unit.Norm() - 1.0), (length + 4) * kEps) << length;
        EXPECT_LE(std::abs(unit(0) * y.Norm() - y(0)), (length + 4) * kEps * std::abs(y(0))) << length;
    }
}

TEST(Vector, UnitLengthAndMaximumOneLeaveAnAllZeroVectorAlone)
{
    const Vector zeros(4);
    EXPECT_TRUE(identical(normalized(zeros, NormalizeMode::UnitLength), zeros));
    EXPECT_TRUE(identical(normalized(zeros, NormalizeMode::MaximumOne), zeros));
    EXPECT_TRUE(identical(normalized(zeros, NormalizeMode::ZScores), zeros));
}

TEST(Vector, MaximumOneMultipliesByTheElementOfLargestMagnitude)
{
    EXPECT_TRUE(identical(normalized({2, 4}, NormalizeMode::MaximumOne), {8, 16}));
    EXPECT_TRUE(identical(normalized({1, -3}, NormalizeMode::MaximumOne), {-3, 9}));
    EXPECT_TRUE(
        identical(normalized({-2, 2, 1}, NormalizeMode::MaximumOne), {4, -4, -2})); // the first of equals
    EXPECT_TRUE(identical(normalized({2, -2, 1}, NormalizeMode::MaximumOne), {4, -4, 2}));
}

TEST(Vector, ZScoresScaleByTheLastCentredElementAlone)
{
    EXPECT_TRUE(
        identical(normalized({1, 2, 6}, NormalizeMode::ZScores), {-2 * (1.0 / 3), -1 * (1.0 / 3), 1}));
    EXPECT_TRUE(identical(normalized({1, 3, 2}, NormalizeMode::ZScores), {-1, 1, 0}));      // only centred
    EXPECT_TRUE(identical(normalized({6, 2, 1}, NormalizeMode::ZScores), {1.5, -0.5, -1})); // its magnitude
    EXPECT_TRUE(identical(normalized({5}, NormalizeMode::ZScores), {0}));
    std::mt19937_64 generator(24);
    for (const int length : kLengths) {
        if (length == 1) continue;
        const Vector x = randomVector(length, generator), z = normalized(x, NormalizeMode::ZScores);
        EXPECT_NEAR(std::abs(z(length - 1)), 1.0, 4 * kEps) << length;
    }
}

TEST(Vector, NormalizeWorksInPlaceAndOtherModesDoNothing)
{
    Vector x{1, kNaN, -3};
    const auto bits = bitsOf(x);
    for (const int mode : {3, -1, INT_MAX}) {
        x.Normalize(static_cast<NormalizeMode>(mode));
        EXPECT_EQ(bitsOf(x), bits);
    }
    Vector y = counted(5);
    for (const NormalizeMode mode : kModes) {
        const std::intptr_t address = y.DataPtr();
        expectAllocations(0, x, [&] { y.Normalize(mode); });
        EXPECT_EQ(y.DataPtr(), address);
    }
}

} // namespace
} // namespace Velmar::Lintrix
