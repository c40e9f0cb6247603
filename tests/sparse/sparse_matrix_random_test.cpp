// Random content of SparseMatrix.

#include "tests/sparse/sparse_support.h"

#include <lintrix/foundation/random.h>
#include <lintrix/foundation/rounding.h>

#include <climits>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using detail::Random;
using detail::RandomServer;
using detail::SparseAccess;

constexpr const char* kDensity = "The density is from 0 to 1.";
constexpr const char* kDecimals = "Rounding digits must be between 0 and 15, inclusive.";

const std::vector<double> kDensities{0.0, 0.01, 0.1, 0.3, 0.5, 0.75, 1.0};

/// What a fill of a fresh process is: the arrays were worked out apart from this library, by a program that
/// follows the published generator and the rules of the fill.
struct Known {
    Shape shape;
    bool symmetric;
    double density, low, high;
    std::vector<std::int32_t> starts, columns;
    std::vector<double> values;
};
const Known kKnown[] = {
    {{3, 4}, false, 0.5, 1, 10, {1, 3, 5, 7}, {1, 2, 2, 3, 1, 4}, {9, 9, 1, 7, 5, 8}},
    {{2, 5}, false, 0.3, -9, 9, {1, 3, 4}, {2, 4, 4}, {7, 7, -8}},
    {{4, 4}, true, 0.3, 1, 10, {1, 4, 6, 8, 9}, {1, 2, 3, 2, 4, 3, 4, 4}, {0, 1, 5, 4, 3, 7, 5, 0}},
    {{5, 5},
     true,
     0.5,
     1,
     10,
     {1, 4, 7, 9, 11, 12},
     {1, 3, 4, 2, 3, 4, 3, 4, 4, 5, 5},
     {0, 7, 8, 8, 3, 7, 0, 3, 6, 5, 0}},
    // the last row has two slots and one column
    {{3, 3}, true, 1.0, 1, 10, {1, 4, 6, 7}, {1, 2, 3, 2, 3, 3}, {0, 1, 5, 0, 3, 8}},
};

TEST(SparseMatrixFillRandom, FillsOfSeedSeventeenAreTheKnownOnes)
{
    for (const Known& known : kKnown) {
        SCOPED_TRACE(::testing::Message() << known.shape << ' ' << known.density);
        SparseMatrix A(known.shape.rows, known.shape.cols);
        A.Symmetric(known.symmetric);
        RandomServer::GetRandom() = Random(17);
        A.FillRandom(known.density, known.low, known.high);
        EXPECT_EQ(startsOf(A), known.starts);
        EXPECT_EQ(columnsOf(A), known.columns);
        EXPECT_EQ(valuesOf(A), known.values);
    }
}

// One number of the shared generator for each element, all of them first, and then one for each cell.
TEST(SparseMatrixFillRandom, AGeneralFillDrawsItsValuesFirstAndThenOnceACell)
{
    for (const Shape& shape :
         {Shape{1, 1}, Shape{1, 30}, Shape{30, 1}, Shape{7, 13}, Shape{13, 7}, Shape{64, 65}}) {
        for (const double density : kDensities) {
            SCOPED_TRACE(::testing::Message() << shape << ' ' << density);
            Random foretold = RandomServer::GetRandom();
            SparseMatrix A(shape.rows, shape.cols);
            A.FillRandom(density, -2.0, 3.0, 2);
            expectCompressedRows(A);
            EXPECT_EQ(A.NumElements(), A.Capacity());
            for (const double value : valuesOf(A)) {
                EXPECT_EQ(value, Round(foretold.NextDouble() * 5.0 - 2.0, 2));
            }
            for (int cell = 0; cell < shape.rows * shape.cols; ++cell) foretold.NextDouble();
            EXPECT_EQ(RandomServer::GetRandom().NextDouble(), foretold.NextDouble());
        }
    }
}

TEST(SparseMatrixFillRandom, EachRowOfAGeneralFillHasItsShare)
{
    SparseMatrix A(40, 25);
    for (const double density : {0.05, 0.33, 0.5, 0.91}) {
        A.FillRandom(density);
        const double share = A.NumElements() / 40.0;
        for (int r = 1; r <= 40; ++r) {
            EXPECT_LE(std::abs(A.RowPointers()[std::size_t(r)] - 1 - r * share), 0.5) << density;
        }
    }
}

// Each choice of two columns of six turns up as often: of 6000 rows 400 each are expected, and the chi-square
// of 15 choices passes 50 for less than one seed in 100000.
TEST(SparseMatrixFillRandom, EveryChoiceOfColumnsIsAsLikely)
{
    RandomServer::GetRandom() = Random(4711);
    SparseMatrix A(6000, 6);
    A.FillRandom(2.0 / 6.0);
    ASSERT_EQ(A.NumElements(), 12000);
    std::map<std::pair<int, int>, int> chosen;
    for (std::size_t k = 0; k < 12000; k += 2) ++chosen[{A.ColumnIndices()[k], A.ColumnIndices()[k + 1]}];
    ASSERT_EQ(chosen.size(), 15u);
    double chiSquare = 0.0;
    for (const auto& [columns, times] : chosen) chiSquare += (times - 400.0) * (times - 400.0) / 400.0;
    EXPECT_LT(chiSquare, 50.0);
}

TEST(SparseMatrixFillRandom, SymmetricFillsAreUpperTrianglesWithTheWholeDiagonal)
{
    for (const int n : {1, 2, 3, 4, 5, 10, 31, 64, 100}) {
        for (const double density : kDensities) {
            SCOPED_TRACE(::testing::Message() << n << ' ' << density);
            SparseMatrix A(n, true);
            for (int again = 0; again < 5; ++again) {
                A.FillRandom(density);
                expectCompressedRows(A);
                EXPECT_LE(A.NumElements(), A.Capacity());
                for (int r = 0; r < n; ++r) {
                    const auto first = std::size_t(A.RowPointers()[std::size_t(r)]) - 1;
                    EXPECT_EQ(A.ColumnIndices()[first], r + 1);
                }
            }
        }
    }
}

TEST(SparseMatrixFillRandom, GeneralFillHasAsManyElementsAsDensitySaysButOneARowAtLeast)
{
    SparseMatrix A(40, 50);
    A.FillRandom(0.1);
    EXPECT_EQ(A.NumElements(), 200);
    EXPECT_EQ(A.Capacity(), 200);
    for (int r = 0; r < 40; ++r)
        EXPECT_EQ(A.RowPointers()[std::size_t(r) + 1] - A.RowPointers()[std::size_t(r)], 5);
    A.FillRandom(0.0);
    EXPECT_EQ(A.NumElements(), 40);
    A.FillRandom();
    EXPECT_EQ(A.NumElements(), 40); // 20 would be the hundredth part
    A.FillRandom(1.0);
    EXPECT_EQ(A.NumElements(), 2000);
}

TEST(SparseMatrixFillRandom, CountIsRoundedToEven)
{
    SparseMatrix A(1, 10);
    A.FillRandom(0.25); // 2.5
    EXPECT_EQ(A.NumElements(), 2);
    A.FillRandom(0.35); // 3.5
    EXPECT_EQ(A.NumElements(), 4);
}

TEST(SparseMatrixFillRandom, SymmetricFillKeepsTheWholeDiagonalAndTheFlag)
{
    SparseMatrix A(50, true);
    A.FillRandom(0.1);
    EXPECT_TRUE(A.Symmetric());
    EXPECT_EQ(A.Capacity(), 50 + 125);
    EXPECT_EQ(A.NumElements(), 50 + 125);
    int zeros = 0;
    for (int r = 0; r < 50; ++r) {
        const std::int32_t first = A.RowPointers()[std::size_t(r)] - 1;
        EXPECT_EQ(A.ColumnIndices()[std::size_t(first)], r + 1);
        zeros += A.Values()[std::size_t(first)] == 0.0 ? 1 : 0;
    }
    EXPECT_GT(zeros, 25); // about one in ten is chosen
    EXPECT_LT(zeros, 50);
}

TEST(SparseMatrixFillRandom, ShortFormsTakeOneToTenWithoutDecimals)
{
    SparseMatrix A(20, 20);
    const auto filled = [&A](auto... arguments) {
        const Random start = RandomServer::GetRandom();
        A.FillRandom(arguments...);
        const State state(A);
        RandomServer::GetRandom() = start;
        return state;
    };
    EXPECT_EQ(filled(), filled(0.01, 1.0, 10.0, 0));
    EXPECT_EQ(filled(0.2), filled(0.2, 1.0, 10.0, 0));
    EXPECT_EQ(filled(0.2, -5.0, 5.0), filled(0.2, -5.0, 5.0, 0));
    EXPECT_NE(filled(0.2, -5.0, 5.0), filled(0.2, -5.0, 5.0, 1));
    for (const double value : valuesOf(A)) EXPECT_EQ(value, std::nearbyint(value * 10) / 10);
}

TEST(SparseMatrixFillRandom, ReplacesEverythingButKeepsFactorAndSizes)
{
    SparseMatrix A(Matrix{{1, 2, 3}, {4, 5, 6}});
    A.FillRandom(0.5, 100.0, 200.0);
    EXPECT_EQ(A.NumElements(), 3);
    EXPECT_EQ(A.GrowFactor(), 0.0F);
    for (const double value : valuesOf(A)) EXPECT_GE(value, 100.0);
    A(0, 0) = 7;
    A(1, 2) = 8;
    expectCompressedRows(A);
}

TEST(SparseMatrixFillRandom, SymmetricFlagOnARectangularMatrixStaysWithinItsArrays)
{
    for (const Shape& shape : {Shape{1, 1000}, Shape{3, 8}, Shape{8, 3}, Shape{1000, 1}}) {
        for (const double density : kDensities) {
            SCOPED_TRACE(::testing::Message() << shape << ' ' << density);
            SparseMatrix A(shape.rows, shape.cols);
            A.Symmetric(true);
            A.FillRandom(density);
            expectCompressedRows(A);
        }
    }
}

TEST(SparseMatrixFillRandom, DensityIsNotCheckedAndTheHardenedBuildTellsIt)
{
    for (const bool symmetric : {false, true}) {
        for (const double density : {-0.5, -1e300, kNaN, 1.5, 3.0, 40.0, 1e300}) {
            SparseMatrix A(6, symmetric);
            const State state(A);
            if constexpr (detail::kHardened) {
                expectRefusedUnallocated<InvalidOperationException>([&] { A.FillRandom(density); }, kDensity);
                EXPECT_EQ(State(A), state);
            } else {
                A.FillRandom(density);
                expectCompressedRows(A);
                // A count that is none, or does not fit, counts as the smallest.
                const bool full = density > 1.0 && density < 1e9;
                const int stored = symmetric ? 21 : 36;
                EXPECT_EQ(A.NumElements() == stored, full) << density;
            }
        }
    }
}

// 2 252 800 000 cells, which wrap to a negative number: one element a row remains. The places of the upper
// triangle of so many rows are more than 2^31, too. The flag on a tall matrix keeps the fill short.
TEST(SparseMatrixFillRandom, ProductOfTheSizesWrapsAndTheHardenedBuildTellsIt)
{
    SparseMatrix A(1100000, 2048);
    A.Symmetric(true);
    if constexpr (detail::kHardened) {
        expectRefusedUnallocated<InvalidOperationException>(
            [&] { A.FillRandom(0.5); }, "The matrix would have more than 2147483647 cells.");
        EXPECT_EQ(A.NumElements(), 0);
    } else {
        A.FillRandom(0.5);
        EXPECT_EQ(A.Capacity(), 2200000);
        EXPECT_GE(A.NumElements(), 2048);
        expectCompressedRows(A);
    }
}

TEST(SparseMatrixFillRandom, CountBeyondItsNumberIsRefused)
{
    if constexpr (!detail::kHardened) {
        SparseMatrix A(2000, 1000000), S(40000, true);
        expectRefusedUnallocated<NotSupportedException>(
            [&] { A.FillRandom(1.07374182351); }, // up to 2^31 - 1
            "A sparse matrix holds at most 2147483646 elements.");
        expectRefusedUnallocated<NotSupportedException>([&] { S.FillRandom(2.68432); },
                                                        "A sparse matrix holds at most 2147483646 elements.");
    }
}

TEST(SparseMatrixFillRandom, BadDecimalsLeaveTheMatrixAsItWas)
{
    for (const bool symmetric : {false, true}) {
        SparseMatrix A(4, symmetric);
        A(0, 3) = 2;
        const State state(A);
        for (const int decimals : {-1, 16, INT_MAX, INT_MIN}) {
            expectFailure<ArgumentOutOfRangeException>([&] { A.FillRandom(0.5, 0.0, 1.0, decimals); },
                                                       kDecimals);
            EXPECT_EQ(State(A), state);
        }
    }
}

TEST(SparseMatrixFillRandom, RefusedMemoryLeavesTheMatrixAsItWas)
{
    for (const bool symmetric : {false, true}) {
        SparseMatrix A(8, symmetric);
        A(0, 3) = 2;
        const State state(A);
        EXPECT_EQ(failEachAllocation([&] { A.FillRandom(0.4); }, [&] { return State(A) == state; }), 3);
        EXPECT_NE(State(A), state);
    }
}

TEST(SparseMatrixFillRandom, SharesItsGeneratorWithTheDenseClasses)
{
    const Random start = RandomServer::GetRandom();
    SparseMatrix A(1, 6);
    A.FillRandom(1.0, 0.0, 1.0, 15);
    RandomServer::GetRandom() = start;
    Matrix B(1, 6);
    B.FillRandom(0.0, 1.0, 15);
    EXPECT_TRUE(identical(A.ToDense(), B));
}

} // namespace
} // namespace Velmar::Lintrix
