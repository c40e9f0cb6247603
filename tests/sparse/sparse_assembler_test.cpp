// Assembly of sparse matrices from triplets, beside a map that does it one by one.

#include <lintrix/sparse/sparse_assembler.h>

#include <lintrix/foundation/configuration.h>
#include <lintrix/sparse/detail/sizes.h>

#include <tests/support/expect_failure.h>
#include <tests/support/failing_allocator.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <thread>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;

const char* const kRow = "Row index exceeds matrix size.";
const char* const kCol = "Column index exceeds matrix size.";

/// With many duplicates where the matrix is small.
std::vector<SparseTriplet> randomTriplets(std::int32_t rows, std::int32_t cols, int count, unsigned seed)
{
    std::mt19937 generator(seed);
    std::uniform_int_distribution<std::int32_t> row(0, rows - 1), col(0, cols - 1);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    std::vector<SparseTriplet> triplets;
    for (int k = 0; k < count; ++k) triplets.push_back({row(generator), col(generator), value(generator)});
    return triplets;
}

/// Key (row, col): the order of a map is that of compressed rows.
using Reference = std::map<std::pair<std::int32_t, std::int32_t>, double>;

Reference referenceOf(const std::vector<SparseTriplet>& triplets, std::int32_t rows,
                      const SparseAssemblerOptions& options)
{
    const bool symmetric = options.storage == AssemblyStorage::Symmetric;
    Reference cells;
    for (const SparseTriplet& t : triplets) {
        if (symmetric && t.row > t.col && options.lower == LowerEntries::Ignore) continue;
        const auto place = symmetric ? std::minmax({t.row, t.col}) : std::pair(t.row, t.col);
        const auto [found, isNew] = cells.try_emplace(place, t.value);
        if (isNew) continue;
        found->second = options.duplicates == DuplicateEntries::Add ? found->second + t.value : t.value;
    }
    for (std::int32_t i = 0; symmetric && i < rows; ++i) cells.try_emplace({i, i}, 0.0);
    return cells;
}

/// Bit by bit, with the format of the storage.
void expectMatches(const SparseMatrix& matrix, const Reference& cells)
{
    ASSERT_EQ(matrix.NumElements(), static_cast<std::int32_t>(cells.size()));
    EXPECT_EQ(matrix.Capacity(), matrix.NumElements() + 1);
    EXPECT_FLOAT_EQ(matrix.GrowFactor(), 1.2F);
    ASSERT_EQ(matrix.RowPointers()[0], 1);
    auto cell = cells.begin();
    for (std::int32_t row = 0; row < matrix.Rows(); ++row) {
        const auto r = static_cast<std::size_t>(row);
        for (std::int32_t k = matrix.RowPointers()[r]; k < matrix.RowPointers()[r + 1]; ++k, ++cell) {
            const auto slot = static_cast<std::size_t>(k - 1);
            ASSERT_EQ(cell->first, std::pair(row, matrix.ColumnIndices()[slot] - 1));
            ASSERT_EQ(cell->second, matrix.Values()[slot]);
        }
    }
    EXPECT_EQ(cell, cells.end());
}

bool identical(const SparseMatrix& A, const SparseMatrix& B)
{
    return std::ranges::equal(A.RowPointers(), B.RowPointers()) &&
           std::ranges::equal(A.ColumnIndices(), B.ColumnIndices()) &&
           std::ranges::equal(A.Values(), B.Values());
}

TEST(SparseAssembler, RandomEntriesAgreeWithAMap)
{
    for (const auto& [rows, cols] : {std::pair{1, 1}, {1, 50}, {50, 1}, {7, 5}, {40, 60}, {300, 200}}) {
        for (const int count : {0, 1, 10, 1000, 20000}) {
            for (const auto duplicates : {DuplicateEntries::Add, DuplicateEntries::KeepLast}) {
                SCOPED_TRACE(::testing::Message() << rows << " x " << cols << ", " << count);
                const auto triplets = randomTriplets(rows, cols, count, 17);
                const SparseAssemblerOptions options{.duplicates = duplicates};
                SparseAssembler entries(rows, cols, options);
                for (const SparseTriplet& t : triplets) entries.Add(t.row, t.col, t.value);
                EXPECT_EQ(entries.NumEntries(), count);
                const SparseMatrix matrix = entries.Assemble();
                EXPECT_FALSE(matrix.Symmetric());
                expectMatches(matrix, referenceOf(triplets, rows, options));
            }
        }
    }
}

TEST(SparseAssembler, SymmetricStorageAgreesWithAMap)
{
    for (const int size : {1, 2, 30, 200}) {
        for (const int count : {0, 1, 500, 5000}) {
            for (const auto lower : {LowerEntries::Ignore, LowerEntries::Mirror}) {
                for (const auto duplicates : {DuplicateEntries::Add, DuplicateEntries::KeepLast}) {
                    SCOPED_TRACE(::testing::Message() << size << ", " << count);
                    const auto triplets = randomTriplets(size, size, count, 3);
                    const SparseAssemblerOptions options{duplicates, AssemblyStorage::Symmetric, lower};
                    SparseAssembler entries(size, size, options);
                    entries.Add(triplets);
                    const SparseMatrix matrix = entries.Assemble();
                    EXPECT_TRUE(matrix.Symmetric());
                    expectMatches(matrix, referenceOf(triplets, size, options));
                }
            }
        }
    }
}

TEST(SparseAssembler, FullElementMatricesGiveTheirSumWithTheLowerHalfIgnored)
{
    // Two springs in a row: each brings [[1, -1], [-1, 1]].
    SparseAssembler entries(3, 3, {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Ignore});
    for (const int left : {0, 1}) {
        for (const int i : {0, 1}) {
            for (const int j : {0, 1}) entries.Add(left + i, left + j, i == j ? 1.0 : -1.0);
        }
    }
    const SparseMatrix K = entries.Assemble();
    EXPECT_THAT(K.RowPointers(), ElementsAre(1, 3, 5, 6));
    EXPECT_THAT(K.ColumnIndices(), ElementsAre(1, 2, 2, 3, 3));
    EXPECT_THAT(K.Values(), ElementsAre(1, -1, 2, -1, 1));
}

TEST(SparseAssembler, EmptyAssemblersGiveEmptyMatricesAndSymmetricOnesTheirDiagonal)
{
    EXPECT_EQ(SparseAssembler(3, 4).Assemble().NumElements(), 0);
    const SparseMatrix matrix = SparseAssembler(3, 3, {.storage = AssemblyStorage::Symmetric}).Assemble();
    EXPECT_THAT(matrix.ColumnIndices(), ElementsAre(1, 2, 3));
    EXPECT_THAT(matrix.Values(), ElementsAre(0, 0, 0));
}

TEST(SparseAssembler, ZerosAndSpecialValuesAreEntries)
{
    SparseAssembler entries(1, 3);
    entries.Add(0, 0, -0.0);
    entries.Add(0, 1, std::nan(""));
    entries.Add(0, 2, 1.0);
    entries.Add(0, 2, -1.0);
    const SparseMatrix matrix = entries.Assemble();
    ASSERT_EQ(matrix.NumElements(), 3);
    EXPECT_TRUE(std::signbit(matrix.Values()[0]));
    EXPECT_TRUE(std::isnan(matrix.Values()[1]));
    EXPECT_EQ(matrix.Values()[2], 0.0);
}

TEST(SparseAssembler, DuplicatesAreAddedInTheOrderOfEntry)
{
    SparseAssembler entries(1, 1);
    for (const double value : {1e16, 1.0, -1e16, 1.0}) entries.Add(0, 0, value);
    EXPECT_EQ(entries.Assemble().Values()[0], ((1e16 + 1.0) - 1e16) + 1.0);
}

TEST(SparseAssembler, TheMatrixCanBeWrittenOnThrough)
{
    SparseAssembler entries(2, 2);
    entries.Add(0, 0, 1.0);
    SparseMatrix matrix = entries.Assemble();
    matrix(0, 1) = 2.0; // fills the spare slot
    matrix(1, 0) = 3.0; // grows the arrays
    EXPECT_THAT(matrix.ColumnIndices(), ElementsAre(1, 2, 1));
    EXPECT_THAT(matrix.Values(), ElementsAre(1, 2, 3));
}

TEST(SparseAssembler, EntriesStayForAnotherMatrix)
{
    SparseAssembler entries(2, 2);
    entries.Reserve(10);
    entries.Add(0, 0, 1.0);
    EXPECT_TRUE(identical(entries.Assemble(), entries.Assemble()));
    entries.Reserve(1000);
    entries.Add(1, 0, 2.0);
    EXPECT_THAT(entries.Assemble().Values(), ElementsAre(1, 2));
    entries.Clear();
    EXPECT_EQ(entries.NumEntries(), 0);
    entries.Add(1, 1, 5.0);
    EXPECT_THAT(entries.Assemble().Values(), ElementsAre(5));
}

TEST(SparseAssembler, ThreadsFillTheirOwnAndTheJoinedResultIsTheSame)
{
    const int rows = 500, cols = 400, count = 40000;
    const auto triplets = randomTriplets(rows, cols, count, 23);
    SparseAssembler alone(rows, cols);
    alone.Add(triplets);
    const SparseMatrix expected = alone.Assemble();
    for (const int threads : {1, 2, 7}) {
        std::vector<SparseAssembler> parts(static_cast<std::size_t>(threads), SparseAssembler(rows, cols));
        std::vector<std::thread> workers;
        for (int t = 0; t < threads; ++t) {
            workers.emplace_back([&, t] {
                const auto begin = triplets.begin() + std::ptrdiff_t{count} * t / threads;
                const auto end = triplets.begin() + std::ptrdiff_t{count} * (t + 1) / threads;
                parts[static_cast<std::size_t>(t)].Add(std::span(begin, end));
            });
        }
        for (std::thread& worker : workers) worker.join();
        SparseAssembler all(rows, cols);
        for (SparseAssembler& part : parts) all.Append(std::move(part));
        EXPECT_EQ(all.NumEntries(), count);
        EXPECT_EQ(parts[0].NumEntries(), 0);
        EXPECT_TRUE(identical(all.Assemble(), expected)) << threads;
    }
}

TEST(SparseAssembler, AppendedEntriesComeLastAndFillingGoesOnBehindThem)
{
    const SparseAssemblerOptions options{.duplicates = DuplicateEntries::KeepLast};
    SparseAssembler first(1, 1, options), second(1, 1, options);
    first.Add(0, 0, 1.0);
    second.Add(0, 0, 2.0);
    first.Append(std::move(second));
    EXPECT_THAT(first.Assemble().Values(), ElementsAre(2));
    first.Add(0, 0, 3.0);
    EXPECT_THAT(first.Assemble().Values(), ElementsAre(3));
    first.Append(std::move(first));
    EXPECT_EQ(first.NumEntries(), 3);
    second.Add(0, 0, 4.0);
    EXPECT_EQ(second.NumEntries(), 1);
}

TEST(SparseAssembler, ManySmallAssemblersAreJoined)
{
    SparseAssembler all(1, 1);
    for (int k = 0; k < 100000; ++k) {
        SparseAssembler one(1, 1);
        one.Add(0, 0, 1.0);
        all.Append(std::move(one));
    }
    EXPECT_THAT(all.Assemble().Values(), ElementsAre(100000));
}

TEST(SparseAssembler, SizesAreCheckedRowsFirst)
{
    expectFailure<InvalidSizeException>([] { SparseAssembler(0, 0); }, "Invalid number of rows.");
    expectFailure<InvalidSizeException>([] { SparseAssembler(1, -1); }, "Invalid number of columns.");
    expectFailure<NotSquareMatrixException>(
        [] { SparseAssembler(2, 3, {.storage = AssemblyStorage::Symmetric}); }, "Matrix is not square.");
}

TEST(SparseAssembler, IndicesAreCheckedRowFirst)
{
    SparseAssembler entries(2, 3);
    expectFailure<IndexOutOfBoundsException>([&] { entries.Add(2, 3, 1.0); }, kRow);
    expectFailure<IndexOutOfBoundsException>([&] { entries.Add(-1, 0, 1.0); }, kRow);
    expectFailure<IndexOutOfBoundsException>([&] { entries.Add(1, 3, 1.0); }, kCol);
    expectFailure<IndexOutOfBoundsException>([&] { entries.Add(1, -1, 1.0); }, kCol);
    EXPECT_EQ(entries.NumEntries(), 0);
}

TEST(SparseAssembler, ASpanWithAWrongTripletIsNotTakenAtAll)
{
    SparseAssembler entries(2, 2);
    const std::vector<SparseTriplet> triplets{{0, 0, 1.0}, {1, 2, 1.0}};
    expectFailure<IndexOutOfBoundsException>([&] { entries.Add(triplets); }, kCol);
    EXPECT_EQ(entries.NumEntries(), 0);
}

TEST(SparseAssembler, EntriesBelowTheDiagonalAreRefusedUnlessToldOtherwise)
{
    SparseAssembler entries(2, 2, {.storage = AssemblyStorage::Symmetric});
    expectFailure<ArgumentException>([&] { entries.Add(1, 0, 1.0); },
                                     "The entry is below the diagonal of a symmetric matrix; choose "
                                     "LowerEntries::Ignore or LowerEntries::Mirror");
    entries.Add(0, 1, 1.0);
    EXPECT_EQ(entries.NumEntries(), 1);
}

TEST(SparseAssembler, OnlyAssemblersOfOneKindAreJoined)
{
    SparseAssembler entries(2, 2), wider(2, 3), other(2, 2, {.duplicates = DuplicateEntries::KeepLast});
    wider.Add(0, 0, 1.0);
    expectFailure<SizeMismatchException>([&] { entries.Append(std::move(wider)); },
                                         "Matrix sizes do not match.");
    expectFailure<ArgumentException>([&] { entries.Append(std::move(other)); },
                                     "Assemblers with different options cannot be joined");
    EXPECT_EQ(wider.NumEntries(), 1);
}

TEST(SparseAssembler, MoreElementsThanRowPointersCountAreRefused)
{
    EXPECT_NO_THROW(detail::requireElementCount(2147483646));
    expectFailure<NotSupportedException>([] { detail::requireElementCount(2147483647); },
                                         "A sparse matrix holds at most 2147483646 elements.");
}

TEST(SparseAssembler, FailingAllocationsLeaveTheEntries)
{
    SparseAssembler entries(3, 3, {.storage = AssemblyStorage::Symmetric});
    entries.Add(0, 1, 2.0);
    const int requests =
        failEachAllocation([&] { entries.Assemble(); }, [&] { return entries.NumEntries() == 1; });
    EXPECT_EQ(requests, 3); // values, row pointers, columns
}

} // namespace
} // namespace Velmar::Lintrix::testing
