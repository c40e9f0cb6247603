// Storage for each road, the traits of the values, and sizes that do not fit.

#include <tools/input/sparse_system.h>

#include <tools/support/input_error.h>

#include <lintrix/sparse/sparse_assembler.h>

#include <gtest/gtest.h>

#include <random>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;

SparseMatrix randomMatrix(std::int32_t size, bool symmetric, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    SparseAssembler entries(size, size);
    for (std::int32_t k = 0; k < 3 * size; ++k) {
        const auto i = static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(size));
        const auto j = static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(size));
        const double value = static_cast<double>(generator() % 100) - 50.0;
        entries.Add(i, j, value);
        if (symmetric && i != j) entries.Add(j, i, value);
    }
    return entries.Assemble();
}

bool equal(const Matrix& A, const Matrix& B)
{
    return A.Rows() == B.Rows() && A.Cols() == B.Cols() && A.IsEqual(B, 0.0);
}

TEST(SparseSystem, TriangleAndWholeMatrixStandForEachOther)
{
    for (const std::int32_t size : {1, 2, 3, 10, 57}) {
        for (std::uint64_t seed = 0; seed < 20; ++seed) {
            const SparseMatrix whole = randomMatrix(size, true, seed);
            SparseSystem system(whole);
            ASSERT_TRUE(system.traits().symmetric);
            const SparseMatrix upper = system.upper();
            EXPECT_TRUE(upper.Symmetric());
            EXPECT_EQ(upper.Rows(), size);
            EXPECT_EQ(upper.Cols(), size);
            EXPECT_TRUE(equal(upper.ToDense(), whole.ToDense())) << size << ", " << seed;
            for (std::int32_t i = 0; i < size; ++i) {
                const auto first =
                    static_cast<std::size_t>(upper.RowPointers()[static_cast<std::size_t>(i)] - 1);
                EXPECT_EQ(upper.ColumnIndices()[first], i + 1) << "a row begins with its diagonal";
            }
            SparseSystem back(upper);
            EXPECT_TRUE(back.traits().symmetric);
            EXPECT_TRUE(equal(back.full().ToDense(), whole.ToDense())) << size << ", " << seed;
            EXPECT_FALSE(back.full().Symmetric());
        }
    }
}

TEST(SparseSystem, AnUnsymmetricMatrixStaysAsItIs)
{
    const SparseMatrix A = randomMatrix(30, false, 1);
    SparseSystem system(A);
    EXPECT_FALSE(system.traits().symmetric);
    EXPECT_EQ(system.size(), 30);
    EXPECT_TRUE(equal(system.full().ToDense(), A.ToDense()));
    EXPECT_EQ(&system.matrix(), &system.full());
}

TEST(SparseSystem, AMatrixWithFewElementsThatIsNotDiagonalGetsItsDiagonal)
{
    SparseMatrix cycle(3, 3), diagonal(3, 3);
    for (int i = 0; i < 3; ++i) {
        cycle.Item(i, (i + 1) % 3, 1.0);
        diagonal.Item(i, i, 1.0);
    }
    EXPECT_EQ(SparseSystem(cycle).full().NumElements(), 6);
    EXPECT_EQ(SparseSystem(diagonal).full().NumElements(), 3);
    EXPECT_EQ(SparseSystem(SparseMatrix(4, 4)).full().NumElements(), 4);
    EXPECT_EQ(SparseSystem(SparseMatrix(4, 4)).upper().NumElements(), 4);
}

std::string refusalOf(std::int32_t size, std::int64_t stored, double memory, bool complex = false)
{
    MatrixMarketHeader header;
    header.file = "a.mtx";
    header.sizeLine = 7;
    header.rows = header.cols = size;
    header.stored = stored;
    try {
        requireSparseRoom(header, memory, complex);
    } catch (const InputError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(RequireSparseRoom, ElementsAndVectorsMustFit)
{
    // 28 bytes an element, 64 a row.
    EXPECT_EQ(refusalOf(1000, 5000, 204000.0), "accepted");
    EXPECT_EQ(refusalOf(1000, 5000, 203999.0),
              "a.mtx:7: a sparse 1000 x 1000 system takes 204.0 kB of memory before it is factorized, more "
              "than the 204.0 kB there are");
    EXPECT_NE(refusalOf(2147483647, 1, 1e11), "accepted");
    // Complex: 44 bytes an element, 112 a row.
    EXPECT_EQ(refusalOf(1000, 5000, 332000.0, true), "accepted");
    EXPECT_NE(refusalOf(1000, 5000, 331999.0, true), "accepted");
}

TEST(RequireSparseRoom, RightHandSidesMustFitTheMatrixAndTheMemory)
{
    MatrixMarketHeader matrix, rightHands;
    matrix.rows = matrix.cols = 1000;
    rightHands.file = "b.mtx";
    rightHands.sizeLine = 2;
    const auto refusal = [&](std::int32_t rows, std::int32_t cols) -> std::string {
        rightHands.rows = rows;
        rightHands.cols = cols;
        try {
            requireSparseRoomBeside(matrix, rightHands, 1e6);
        } catch (const InputError& error) {
            return error.what();
        }
        return "accepted";
    };
    EXPECT_EQ(refusal(1000, 40), "accepted");
    EXPECT_EQ(refusal(1000, 41),
              "b.mtx:2: 41 right-hand sides of a 1000 x 1000 matrix do not fit into memory");
    EXPECT_EQ(refusal(999, 1), "b.mtx:2: the right-hand side has 999 rows, the matrix 1000");
}

} // namespace
} // namespace Velmar::Lintrix::testing
