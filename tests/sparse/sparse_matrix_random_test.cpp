// Random content of SparseMatrix.

#include "tests/sparse/sparse_support.h"

#include <lintrix/foundation/random.h>
#include <lintrix/foundation/rounding.h>

#include <climits>
#include <cmath>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using detail::Random;
using detail::RandomServer;
using detail::SparseAccess;

constexpr const char* kDensity = "The density is from 0 to 1.";
constexpr const char* kDecimals = "Rounding digits must be between 0 and 15, inclusive.";

int count(double x)
{
    return static_cast<int>(Round(x, 0));
}

/// The fill foretold step by step from the state of the shared generator. Slots that no row writes hold
/// column 0.
struct Foretold {
    Random random = RandomServer::GetRandom();
    double low, high;
    int decimals, capacity = 0;
    std::vector<int> starts, columns;
    std::vector<double> values;

    Foretold(double lowerBound, double upperBound, int digits)
        : low(lowerBound), high(upperBound), decimals(digits)
    {
    }

    double value() { return Round(random.NextDouble() * (high - low) + low, decimals); }

    void general(int rows, int cols, double density)
    {
        const int target = std::max(rows, count(rows * cols * density));
        capacity = target;
        columns.assign(static_cast<std::size_t>(target), 0);
        for (int i = 0; i <= rows; ++i) starts.push_back(count(i * (double(target) / rows)) + 1);
        for (int k = 0; k < target; ++k) values.push_back(value());
        for (int r = 0; r < rows; ++r) {
            int quota = starts[std::size_t(r) + 1] - starts[std::size_t(r)],
                position = starts[std::size_t(r)] - 1;
            for (int c = 0; c < cols; ++c) {
                if (random.Next(0, cols - c) < quota) {
                    columns[std::size_t(position++)] = c + 1;
                    --quota;
                }
            }
        }
    }

    void symmetric(int n, double density)
    {
        const int target = std::max(n, count(n * n * density * 0.5));
        capacity = n + target;
        columns.assign(std::size_t(capacity) + 1, 0);
        values.assign(std::size_t(capacity) + 1, 0.0);
        const int positions = (n + 1) * n / 2;
        const double p = double(target) / positions;
        double acc = 0.0;
        starts.push_back(1);
        for (int i = 1; i <= n; ++i) {
            acc = (n + 1 - i) * p + 1.0 + acc;
            starts.push_back(count(acc) + 1);
        }
        for (int r = 0; r < n; ++r) {
            int quota = starts[std::size_t(r) + 1] - starts[std::size_t(r)];
            auto position = std::size_t(starts[std::size_t(r)] - 1);
            for (int c = r; c < n; ++c) {
                if (c == r) {
                    columns[position] = c + 1;
                    const bool chosen = random.Next(0, positions) < target;
                    values[position++] = chosen ? value() : 0.0;
                    quota -= chosen ? 1 : 0;
                } else if (random.Next(0, n - c) < quota) {
                    columns[position] = c + 1;
                    values[position++] = value();
                    --quota;
                }
            }
        }
    }

    /// A row with more slots than columns ends behind its last column.
    void expectIn(const SparseMatrix& A) const
    {
        ASSERT_EQ(A.Capacity(), capacity);
        std::vector<int> startsLeft{1}, columnsLeft;
        std::vector<double> valuesLeft;
        for (std::size_t r = 0; r + 1 < starts.size(); ++r) {
            for (auto k = std::size_t(starts[r] - 1); k < std::size_t(starts[r + 1] - 1); ++k) {
                if (columns[k] == 0) continue;
                columnsLeft.push_back(columns[k]);
                valuesLeft.push_back(values[k]);
            }
            startsLeft.push_back(int(columnsLeft.size()) + 1);
        }
        ASSERT_EQ(startsOf(A), startsLeft);
        ASSERT_EQ(columnsOf(A), columnsLeft);
        ASSERT_EQ(valuesOf(A), valuesLeft);
    }
};

const std::vector<double> kDensities{0.0, 0.01, 0.1, 0.3, 0.5, 0.75, 1.0};

TEST(SparseMatrixFillRandom, GeneralFillFollowsTheSharedGenerator)
{
    for (const Shape& shape :
         {Shape{1, 1}, Shape{1, 30}, Shape{30, 1}, Shape{7, 13}, Shape{13, 7}, Shape{64, 65}}) {
        for (const double density : kDensities) {
            SCOPED_TRACE(::testing::Message() << shape << ' ' << density);
            SparseMatrix A(shape.rows, shape.cols);
            Foretold expected(-2.0, 3.0, 2);
            expected.general(shape.rows, shape.cols, density);
            A.FillRandom(density, -2.0, 3.0, 2);
            expected.expectIn(A);
            expectCompressedRows(A);
            EXPECT_EQ(RandomServer::GetRandom().NextDouble(),
                      expected.random.NextDouble()); // no draw too many
        }
    }
}

TEST(SparseMatrixFillRandom, SymmetricFillFollowsTheSharedGenerator)
{
    for (const int n : {1, 2, 3, 4, 5, 10, 31, 64, 100}) {
        for (const double density : kDensities) {
            for (int again = 0; again < 5; ++again) {
                SCOPED_TRACE(::testing::Message() << n << ' ' << density);
                SparseMatrix A(n, true);
                Foretold expected(1.0, 10.0, 0);
                expected.symmetric(n, density);
                A.FillRandom(density);
                expected.expectIn(A);
                expectCompressedRows(A);
                EXPECT_EQ(RandomServer::GetRandom().NextDouble(), expected.random.NextDouble());
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
