// Life, access, reductions and normalization of CVector.

#include "tests/complex/complex_support.h"

#include <lintrix/complex/access.h>

#include <climits>
#include <cmath>
#include <functional>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using detail::ComplexAccess;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

constexpr const char* kInvalidSize = "Invalid number of rows or columns.";
constexpr const char* kIndex = "Index exceeds vector size.";
constexpr const char* kDifferentLengths = "Vectors are not of the same size.";
constexpr const char* kReleased = "The object was used after its release.";
constexpr NormalizeMode kNormalizeModes[] = {NormalizeMode::ZScores, NormalizeMode::UnitLength,
                                             NormalizeMode::MaximumOne};
const std::vector<Complex> kNone;

// ---- construction

TEST(CVector, DefaultIsThreeZeros)
{
    soilMemory(6);
    EXPECT_THAT(bitsOf(CVector()), ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST(CVector, SizeGivesZerosAndAValueCopiesOfIt)
{
    for (const int size : kLengths) {
        soilMemory(2 * size);
        const CVector zeros(size), values(size, {1.5, -0.0});
        EXPECT_EQ(zeros.Length(), size);
        EXPECT_THAT(bitsOf(zeros), Each(0u));
        EXPECT_EQ(bitsOf(values),
                  bitsOfCells(std::vector<Complex>(static_cast<std::size_t>(size), {1.5, -0.0})));
    }
}

TEST(CVector, SizeBelowOneIsRefusedBeforeAnythingIsAllocated)
{
    for (const int size : {0, -1, INT_MIN}) {
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [size] { CVector(std::int32_t{size}); });
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [size] { CVector(size, kI); });
    }
}

TEST(CVector, LargestSizePassesTheCheckAndMeetsTheAllocator)
{
    const FailingAllocator allocator(0);
    EXPECT_THROW(CVector(INT_MAX, kI), NotEnoughMemoryException);
    EXPECT_TRUE(allocator.hasFailed());
}

TEST(CVector, ArrayAboveTheLargestSizeIsRefused)
{
    const std::span<const Complex> tooLong(static_cast<const Complex*>(nullptr), std::size_t{INT_MAX} + 1);
    expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { CVector{tooLong}; });
}

TEST(CVector, ArraysOfEveryKindAreCopied)
{
    const Complex raw[] = {{1, 2}, {-0.0, kInf}};
    const std::vector<Complex> values(raw, raw + 2);
    const CVector fromVector = values, fromSpan = std::span<const Complex>(raw), braces{{1, 2}, {-0.0, kInf}};
    EXPECT_EQ(bitsOf(fromVector), bitsOf(braces));
    EXPECT_EQ(bitsOf(fromSpan), bitsOf(braces));
    EXPECT_EQ((CVector{3}.Length()), 1); // braces hold values, round brackets a size
    EXPECT_EQ(CVector(3).Length(), 3);
    EXPECT_THAT(blockOf(CVector{1, 2.5}), ElementsAre(Complex(1), Complex(2.5)));
}

TEST(CVector, EachConstructorTakesOneBlockOfSixteenBytesAnElement)
{
    const CVector source = countedComplex(5);
    expectAllocations(1, source, [] { CVector(); });
    expectAllocations(1, source, [] { CVector(5); });
    expectAllocations(1, source, [] { CVector(5, kI); });
    expectAllocations(1, source, [] { CVector{1, kI}; });
    expectAllocations(1, source, [&] { CVector{source}; });
    expectAllocations(1, source, [&] { source.Clone(); });
    const std::int64_t before = TrellConfiguration::TotalMemory();
    const CVector x(5);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 80);
}

// ---- the empty vector

TEST(CVector, EmptyVectorTakesPartInEverything)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    CVector x(kNone);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 16);
    EXPECT_EQ(x.Length(), 0);
    EXPECT_EQ(CVector(x).Length(), 0);
    EXPECT_EQ(x.Clone().Length(), 0);
    EXPECT_THAT(x.ToArray(), IsEmpty());
    EXPECT_EQ(x.Real().Length(), 0);
    EXPECT_EQ(x.Imag().Length(), 0);
    EXPECT_EQ(x.ToCMatrix().Rows(), 0);
    EXPECT_EQ(x.ToCMatrix().Cols(), 1);
    EXPECT_EQ(x.Sum(), Complex());
    EXPECT_EQ(x.AbsSum(), 0.0);
    EXPECT_EQ(x.Norm(), 0.0);
    EXPECT_EQ(x.DotProduct(x), Complex());
    EXPECT_FALSE(x.HasINFs());
    EXPECT_FALSE(x.HasNaNs());
    EXPECT_TRUE(x.IsFinite());
    EXPECT_EQ((x + x).Length(), 0);
    EXPECT_EQ((x / kI).Length(), 0);
    EXPECT_EQ(x.ApplyFunction([](Complex z) { return z; }).Length(), 0);
    x.Clear();
    for (const NormalizeMode mode : kNormalizeModes) x.Normalize(mode);
    x.FillRandom(0.0, 1.0, 99); // no cell, no rounding, no failure
    EXPECT_THAT([&] { return x.Item(0); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
    x.Length(0);
    x.Resize(2);
    EXPECT_THAT(bitsOf(x), Each(0u));
}

// ---- raw blocks, inside the library

TEST(CVector, AdoptedBlockIsNotCopied)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        detail::Block<Complex> block(2);
        block[0] = {1, 2};
        block[1] = {3, 4};
        const auto address = reinterpret_cast<std::intptr_t>(block.get());
        const CVector x = ComplexAccess::adopt(std::move(block), 2);
        EXPECT_EQ(x.DataPtr(), address);
        EXPECT_THAT(blockOf(x), ElementsAre(Complex(1, 2), Complex(3, 4)));
        EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 32);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(CVector, StridedFormCopiesEveryStepThCell)
{
    const auto cells = countedCells(9);
    EXPECT_THAT(blockOf(ComplexAccess::strided(cells.data() + 1, 3, 3)),
                ElementsAre(Complex(2, 20), Complex(5, 50), Complex(8, 80)));
    EXPECT_THAT(blockOf(ComplexAccess::strided(cells.data(), 2, 4)),
                ElementsAre(Complex(1, 10), Complex(5, 50)));
    EXPECT_EQ(ComplexAccess::strided(cells.data(), 1, std::int64_t{INT_MAX} + 1)[0], Complex(1, 10));
}

// ---- life

TEST(CVector, CopyIsIndependentAndEqualToTheBit)
{
    CVector x(kOddCells);
    const CVector copy(x), clone = x.Clone();
    EXPECT_NE(copy.DataPtr(), x.DataPtr());
    const auto bits = bitsOf(x);
    x[0] = 17.0;
    EXPECT_EQ(bitsOf(copy), bits);
    EXPECT_EQ(bitsOf(clone), bits);
}

TEST(CVector, MoveHandsTheBlockOverAndAssignmentReleasesTheOld)
{
    CVector x = countedComplex(4);
    const std::intptr_t address = x.DataPtr();
    CVector moved(std::move(x));
    EXPECT_EQ(moved.DataPtr(), address);
    EXPECT_EQ(x.DataPtr(), 0); // NOLINT: a moved-from vector is released
    EXPECT_EQ(x.Length(), 4);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    moved = CVector(2, kI);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 32 - 64);
    CVector& self = moved;
    moved = self;
    EXPECT_THAT(blockOf(moved), ElementsAre(kI, kI));
    {
        const FailingAllocator allocator(0);
        const CVector& source = moved;
        CVector target = std::move(x);
        EXPECT_THROW(target = source, NotEnoughMemoryException);
    }
}

TEST(CVector, DisposeReleasesAtOnceMayBeRepeatedAndKeepsTheLength)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    CVector x(7);
    for (int time = 0; time < 2; ++time) {
        x.Dispose();
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
        EXPECT_EQ(x.Length(), 7);
        EXPECT_EQ(x.DataPtr(), 0);
    }
}

TEST(CVector, UseAfterReleaseIsTheCallersFaultAndTheHardenedBuildTellsIt)
{
    CVector x(2);
    const CVector y = countedComplex(2);
    x.Dispose();
    if constexpr (detail::kHardened) {
        const std::vector<std::function<void()>> uses{
            [&] { return x.Item(0); },
            [&] { x.Item(0, 1.0); },
            [&] { x[0] = 1.0; },
            [&] { return x.Clone(); },
            [&] { return CVector(x); },
            [&] { return x.ToArray(); },
            [&] { return x.ToCMatrix(); },
            [&] { return x.Real(); },
            [&] { return x.Imag(); },
            [&] { x.Clear(); },
            [&] { x.Resize(2); },
            [&] { x.FillRandom(); },
            [&] { x.Normalize(NormalizeMode::UnitLength); },
            [&] { return x.Sum(); },
            [&] { return x.AbsSum(); },
            [&] { return x.Norm(); },
            [&] { return x.DotProduct(y); },
            [&] { return x.IsFinite(); },
            [&] { return x + y; },
            [&] { return x * 2.0; },
            [&] { CVector::Add(1.0, y, x); },
            [&] { return x.ToString(); },
            [&] { return std::as_const(x).Data(); },
            [&] { return x.GetHashCode(); },
        };
        for (const auto& use : uses) EXPECT_THAT(use, ThrowsMessage<InvalidOperationException>(kReleased));
    }
    x = y; // a value may always be assigned
    EXPECT_EQ(x, y);
}

// ---- access

TEST(CVector, ItemReadsAndWritesInEveryForm)
{
    CVector x(3);
    x.Item(0, {1, 2});
    x(1) = 3.0;
    x[2] = kI;
    const CVector& read = x;
    EXPECT_EQ(read.Item(0), Complex(1, 2));
    EXPECT_EQ(read(1), Complex(3));
    EXPECT_EQ(read[2], kI);
}

TEST(CVector, IndexOutsideIsRefusedAndAFailingWriteChangesNothing)
{
    CVector x = countedComplex(3);
    const auto bits = bitsOf(x);
    for (const int index : {-1, 3, INT_MIN, INT_MAX}) {
        EXPECT_THAT([&] { return x.Item(index); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
        EXPECT_THAT([&] { x.Item(index, kI); }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
        EXPECT_THAT([&] { x(index) = kI; }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
        EXPECT_THAT([&] { x[index] = kI; }, ThrowsMessage<IndexOutOfBoundsException>(kIndex));
    }
    EXPECT_EQ(bitsOf(x), bits);
}

TEST(CVector, PartsAreTakenApartToTheBit)
{
    std::mt19937_64 generator(3);
    for (const int size : kLengths) {
        const CVector x = randomComplex(size, generator);
        const Vector re = x.Real(), im = x.Imag();
        ASSERT_EQ(re.Length(), size);
        ASSERT_EQ(im.Length(), size);
        for (int i = 0; i < size; ++i) EXPECT_EQ(Complex(re[i], im[i]), x[i]);
    }
    EXPECT_EQ(bitsOf(CVector{{-0.0, -kInf}}.Real()), bitsOf(Vector{-0.0}));
    EXPECT_EQ(bitsOf(CVector{{-0.0, -kInf}}.Imag()), bitsOf(Vector{-kInf}));
    const CVector x = countedComplex(4);
    expectAllocations(1, x, [&] { x.Real(); });
    expectAllocations(1, x, [&] { x.Imag(); });
}

TEST(CVector, ToArrayAndToCMatrixCopyAllElements)
{
    const CVector x(kOddCells);
    const std::vector<Complex> array = x.ToArray(), converted = x;
    EXPECT_EQ(bitsOfCells(array), bitsOf(x));
    EXPECT_EQ(bitsOfCells(converted), bitsOf(x));
    const CMatrix column = x;
    EXPECT_EQ(column.Rows(), x.Length());
    EXPECT_EQ(column.Cols(), 1);
    EXPECT_EQ(bitsOf(column), bitsOf(x));
    EXPECT_NE(column.DataPtr(), x.DataPtr());
    expectAllocations(1, x, [&] { x.ToCMatrix(); });
    expectAllocations(0, x, [&] { x.ToArray(); });
}

// ---- size

TEST(CVector, ResizeKeepsTheFrontAndAddsZeros)
{
    for (const int size : {1, 2, 3, 5, 33}) {
        for (const int target : {1, 2, 3, 5, 33}) {
            soilMemory(2 * target);
            CVector x = countedComplex(size);
            x.Resize(target);
            ASSERT_EQ(x.Length(), target);
            for (int i = 0; i < target; ++i) {
                EXPECT_EQ(x[i], i < size ? Complex(i + 1, 10 * (i + 1)) : Complex());
            }
        }
    }
    CVector x = countedComplex(2);
    x.Length(3);
    EXPECT_THAT(blockOf(x), ElementsAre(Complex(1, 10), Complex(2, 20), Complex()));
}

TEST(CVector, RefusedResizeLeavesTheObjectAsItWas)
{
    CVector x = countedComplex(4);
    for (const int size : {0, -1, INT_MIN}) {
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { x.Resize(size); });
        expectRefusedUnallocated<InvalidSizeException>(kInvalidSize, [&] { x.Length(size); });
    }
    for (const int size : {3, 4, 5}) {
        x = countedComplex(4);
        expectAllocations(1, x, [&] { x.Resize(size); });
    }
}

TEST(CVector, FillRandomDrawsTheRealPartFirst)
{
    const auto values = valuesFromTheStart(10, 0.0, 10.0, 0);
    CVector x(5);
    const std::intptr_t address = x.DataPtr();
    x.FillRandom();
    EXPECT_EQ(partsIn(x), values);
    EXPECT_EQ(x.DataPtr(), address);
    EXPECT_EQ(valuesFromTheStart(10, 5.0, 1.0, 0).size(), 10u);
    detail::RandomServer::GetRandom() = detail::Random(17);
    x.FillRandom(0.0, 1.0); // whole numbers by default
    for (const double part : partsIn(x)) EXPECT_TRUE(part == 0.0 || part == 1.0);
    const auto bits = bitsOf(x);
    for (const int decimals : {-1, 16}) {
        EXPECT_THROW(x.FillRandom(0.0, 1.0, decimals), ArgumentOutOfRangeException);
        EXPECT_EQ(bitsOf(x), bits);
    }
}

// ---- reductions and tests

TEST(CVector, SumRunsInIndexOrderPartByPart)
{
    // 2^53 + 1 + 1 from the left loses both ones, from the right it keeps them.
    EXPECT_EQ((CVector{{0x1p53, 1}, {1, 0x1p53}, {1, 1}}.Sum()), Complex(0x1p53, 0x1p53));
    EXPECT_EQ((CVector{{1, 1}, {1, 1}, {0x1p53, 0x1p53}}.Sum()), Complex(0x1p53 + 2, 0x1p53 + 2));
    EXPECT_EQ(bitsOfCells({CVector{{-0.0, -0.0}}.Sum()}), bitsOfCells({{0.0, 0.0}}));
}

TEST(CVector, AbsSumNormAndDotProductAreThoseOfTheDefinition)
{
    std::mt19937_64 generator(4);
    for (const int size : kLengths) {
        const CVector x = randomComplex(size, generator), y = randomComplex(size, generator);
        long double parts = 0, squares = 0, products = 0;
        Wide dot = 0;
        for (int i = 0; i < size; ++i) {
            parts += std::abs(static_cast<long double>(x[i].real())) +
                     std::abs(static_cast<long double>(x[i].imag()));
            squares += std::norm(Wide(x[i]));
            dot += Wide(x[i]) * Wide(y[i]);
            products += std::abs(Wide(x[i])) * std::abs(Wide(y[i]));
        }
        EXPECT_LT(std::abs(x.AbsSum() - parts) / (size * parts * kEps), kResidualLimit);
        EXPECT_LT(std::abs(x.Norm() - std::sqrt(squares)) / (size * std::sqrt(squares) * kEps),
                  kResidualLimit);
        EXPECT_LT(std::abs(Wide(x.DotProduct(y)) - dot) / (size * products * kEps), kResidualLimit);
        EXPECT_EQ(x.DotProduct(y), CVector::DotProduct(x, y));
    }
    EXPECT_EQ((CVector{{1, 2}, {3, 4}}.DotProduct(CVector{{5, 6}, {7, 8}})), Complex(-18, 68));
}

TEST(CVector, DotProductOfDifferentLengthsIsRefused)
{
    const CVector x(2), y(3);
    expectRefusedUnallocated<SizeMismatchException>(kDifferentLengths, [&] { x.DotProduct(y); });
    expectRefusedUnallocated<SizeMismatchException>(kDifferentLengths, [&] { CVector::DotProduct(y, x); });
}

TEST(CVector, NormNeitherOverflowsNorUnderflows)
{
    for (const double size : {0x1p1000, 0x1p-1000}) {
        EXPECT_NEAR((CVector{{3 * size, 0}, {0, 4 * size}}.Norm() / size), 5.0, 16 * kEps);
    }
}

TEST(CVector, InfinitiesAndNaNsAreFoundInEitherPartWhereverTheyStand)
{
    for (const int size : {1, 2, 9, 33}) {
        for (int i = 0; i < size; ++i) {
            for (const bool inImaginary : {false, true}) {
                const auto with = [&](double value) {
                    CVector x = countedComplex(size);
                    x[i] = inImaginary ? Complex(1, value) : Complex(value, 1);
                    return x;
                };
                const CVector infinite = with(-kInf), nan = with(kNaN), finite = with(1e308);
                EXPECT_TRUE(infinite.HasINFs() && !infinite.HasNaNs() && !infinite.IsFinite());
                EXPECT_TRUE(!nan.HasINFs() && nan.HasNaNs() && !nan.IsFinite());
                EXPECT_TRUE(!finite.HasINFs() && !finite.HasNaNs() && finite.IsFinite());
            }
        }
    }
}

// ---- normalization

TEST(CVector, UnitLengthMakesTheSumOfSquaresOne)
{
    std::mt19937_64 generator(5);
    for (const int size : kLengths) {
        CVector x = randomComplex(size, generator);
        const CVector before = x;
        const std::intptr_t address = x.DataPtr();
        const FailingAllocator allocator(0);
        x.Normalize(NormalizeMode::UnitLength);
        EXPECT_EQ(x.DataPtr(), address);
        long double squares = 0;
        Wide sum = 0;
        for (int i = 0; i < size; ++i) {
            sum += Wide(x[i]) * Wide(x[i]);
            squares += std::norm(Wide(x[i]));
        }
        EXPECT_LT(std::abs(sum - 1.0L) / (size * squares * kEps), kResidualLimit);
        const Complex factor = x[0] / before[0];
        for (int i = 0; i < size; ++i)
            EXPECT_LT(std::abs(x[i] - factor * before[i]), 64 * kEps * std::abs(x[i]));
    }
}

TEST(CVector, MaximumOneTakesTheFirstPartOfLargestMagnitudeWithItsSign)
{
    CVector first{{1, -4}, {4, 0}};
    first.Normalize(NormalizeMode::MaximumOne);
    EXPECT_THAT(blockOf(first), ElementsAre(Complex(-0.25, 1), Complex(-1, 0)));
    for (const int size : kLengths) {
        CVector x = countedComplex(size); // the largest part is the last imaginary one
        x.Normalize(NormalizeMode::MaximumOne);
        EXPECT_NEAR(x[size - 1].imag(), 1.0, kEps);
        EXPECT_NEAR(x[0].real(), 0.1 / size, kEps);
    }
}

TEST(CVector, ZScoresCentreAndDivideByTheNorm)
{
    std::mt19937_64 generator(6);
    for (const int size : kLengths) {
        if (size == 1) continue;
        CVector x = randomComplex(size, generator);
        const CVector before = x;
        x.Normalize(NormalizeMode::ZScores);
        EXPECT_NEAR(x.Norm(), 1.0, size * 8 * kEps);
        EXPECT_LT(std::abs(x.Sum()), size * 8 * kEps);
        Wide mean = 0;
        for (int i = 0; i < size; ++i) mean += Wide(before[i]) / static_cast<long double>(size);
        long double norm = 0;
        for (int i = 0; i < size; ++i) norm += std::norm(Wide(before[i]) - mean);
        for (int i = 0; i < size; ++i) {
            EXPECT_LT(std::abs(Wide(x[i]) - (Wide(before[i]) - mean) / std::sqrt(norm)), size * 16 * kEps);
        }
    }
}

TEST(CVector, ZeroAndConstantVectorsAndOtherModes)
{
    for (const NormalizeMode mode : kNormalizeModes) {
        CVector zeros(5);
        zeros.Normalize(mode);
        EXPECT_THAT(blockOf(zeros), Each(Complex()));
    }
    CVector constant(4, {2, -3});
    constant.Normalize(NormalizeMode::ZScores);
    EXPECT_THAT(blockOf(constant), Each(Complex()));
    for (const int mode : {-1, 3, INT_MAX}) {
        CVector x = countedComplex(3);
        x.Normalize(static_cast<NormalizeMode>(mode));
        EXPECT_EQ(x, countedComplex(3));
    }
}

TEST(CVector, NaNSpoilsANormalizedVector)
{
    for (const NormalizeMode mode : {NormalizeMode::ZScores, NormalizeMode::UnitLength}) {
        CVector x{{1, kNaN}, {2, 3}};
        x.Normalize(mode);
        EXPECT_FALSE(detail::ComplexAccess::cells(x)[1] == Complex(2, 3));
        EXPECT_TRUE(x.HasNaNs());
    }
}

} // namespace
} // namespace Velmar::Lintrix
