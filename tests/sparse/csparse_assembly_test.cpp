// Complex sparse matrices from entries in any order, beside a dense matrix that takes them one by one.

#include "tests/sparse/sparse_support.h"

#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <utility>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using namespace std::complex_literals;

/// Whole numbers, so that sums are exact in any order.
std::vector<CSparseTriplet> randomTriplets(std::int32_t rows, std::int32_t cols, int count, unsigned seed)
{
    std::mt19937 generator(seed);
    std::uniform_int_distribution<std::int32_t> row(0, rows - 1), col(0, cols - 1), part(-9, 9);
    std::vector<CSparseTriplet> triplets;
    for (int k = 0; k < count; ++k) {
        const double real = part(generator), imaginary = part(generator);
        triplets.push_back({row(generator), col(generator), {real, imaginary}});
    }
    return triplets;
}

TEST(CSparseAssembler, RandomEntriesAgreeWithADenseMatrix)
{
    for (const auto duplicates : {DuplicateEntries::Add, DuplicateEntries::KeepLast}) {
        for (const unsigned seed : {1U, 2U, 3U}) {
            const auto triplets = randomTriplets(7, 11, 120, seed);
            CMatrix expected(7, 11);
            for (const auto& t : triplets) {
                Complex& cell = expected(t.row, t.col);
                cell = duplicates == DuplicateEntries::Add ? cell + t.value : t.value;
            }
            CSparseAssembler entries(7, 11, {.duplicates = duplicates});
            entries.Add(triplets);
            const CSparseMatrix A = entries.Assemble();
            EXPECT_TRUE(A.ToDense() == expected);
            EXPECT_FALSE(A.Hermitian());
            EXPECT_EQ(A.Capacity(), A.NumElements() + 1);
            EXPECT_FLOAT_EQ(A.GrowFactor(), 1.2F);
        }
    }
}

TEST(CSparseAssembler, MirroredEntriesAreConjugatedAndTheWholeMatrixIsHermitian)
{
    const auto triplets = randomTriplets(9, 9, 60, 4);
    CSparseAssembler entries(9, 9, {.storage = AssemblyStorage::Hermitian, .lower = LowerEntries::Mirror});
    CMatrix expected(9, 9);
    for (const auto& t : triplets) {
        entries.Add(t.row, t.col, t.value);
        expected(t.row, t.col) += t.value;
        if (t.row != t.col) expected(t.col, t.row) += std::conj(t.value);
    }
    const CSparseMatrix A = entries.Assemble();
    EXPECT_TRUE(A.Hermitian());
    EXPECT_TRUE(A.ToDense() == expected);
}

TEST(CSparseAssembler, HermitianStorageHasItsWholeDiagonalAndRefusesLowerEntriesUnlessToldOtherwise)
{
    CSparseAssembler entries(3, 3, {.storage = AssemblyStorage::Hermitian});
    entries.Add(0, 2, 1.0 + 2i);
    expectFailure<ArgumentException>([&] { entries.Add(2, 0, 1.0); },
                                     "The entry is below the diagonal of a symmetric matrix; choose "
                                     "LowerEntries::Ignore or LowerEntries::Mirror");
    const CSparseMatrix A = entries.Assemble();
    EXPECT_THAT(std::vector(A.RowPointers().begin(), A.RowPointers().end()), ElementsAre(1, 3, 4, 5));
    EXPECT_THAT(std::vector(A.ColumnIndices().begin(), A.ColumnIndices().end()), ElementsAre(1, 3, 2, 3));
    EXPECT_EQ(A.Item(2, 0), 1.0 - 2i);

    CSparseAssembler ignoring(2, 2, {.storage = AssemblyStorage::Hermitian, .lower = LowerEntries::Ignore});
    ignoring.Add(1, 0, 5i);
    EXPECT_EQ(ignoring.NumEntries(), 0);
}

TEST(CSparseAssembler, AppendedEntriesComeLast)
{
    CSparseAssembler first(2, 2, {.duplicates = DuplicateEntries::KeepLast}), second = first;
    first.Add(0, 0, 1i);
    second.Add(0, 0, 2i);
    first.Append(std::move(second));
    EXPECT_EQ(first.NumEntries(), 2);
    EXPECT_EQ(first.Assemble().Item(0, 0), 2i);
}

} // namespace
} // namespace Velmar::Lintrix::testing
