// Storage for each type, and the traits of the values.

#include <lintrix/systems/system_matrix.h>

#include <lintrix/sparse/sparse_assembler.h>

#include <gtest/gtest.h>

#include <random>

namespace Velmar::Lintrix::testing {
namespace {

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

TEST(SystemMatrix, TriangleAndWholeMatrixStandForEachOther)
{
    for (const std::int32_t size : {1, 2, 3, 10, 57}) {
        for (std::uint64_t seed = 0; seed < 20; ++seed) {
            const SparseMatrix whole = randomMatrix(size, true, seed);
            SystemMatrix system(whole);
            ASSERT_TRUE(system.Traits().symmetric);
            const SparseMatrix upper = system.Upper();
            EXPECT_TRUE(upper.Symmetric());
            EXPECT_EQ(upper.Rows(), size);
            EXPECT_EQ(upper.Cols(), size);
            EXPECT_TRUE(equal(upper.ToDense(), whole.ToDense())) << size << ", " << seed;
            for (std::int32_t i = 0; i < size; ++i) {
                const auto first =
                    static_cast<std::size_t>(upper.RowPointers()[static_cast<std::size_t>(i)] - 1);
                EXPECT_EQ(upper.ColumnIndices()[first], i + 1) << "a row begins with its diagonal";
            }
            SystemMatrix back(upper);
            EXPECT_TRUE(back.Traits().symmetric);
            EXPECT_TRUE(equal(back.Full().ToDense(), whole.ToDense())) << size << ", " << seed;
            EXPECT_FALSE(back.Full().Symmetric());
        }
    }
}

TEST(SystemMatrix, AnUnsymmetricMatrixStaysAsItIs)
{
    const SparseMatrix A = randomMatrix(30, false, 1);
    SystemMatrix system(A);
    EXPECT_FALSE(system.Traits().symmetric);
    EXPECT_EQ(system.Size(), 30);
    EXPECT_TRUE(equal(system.Full().ToDense(), A.ToDense()));
    EXPECT_EQ(&system.Matrix(), &system.Full());
}

TEST(SystemMatrix, AMatrixWithFewElementsThatIsNotDiagonalGetsItsDiagonal)
{
    SparseMatrix cycle(3, 3), diagonal(3, 3);
    for (int i = 0; i < 3; ++i) {
        cycle.Item(i, (i + 1) % 3, 1.0);
        diagonal.Item(i, i, 1.0);
    }
    EXPECT_EQ(SystemMatrix(cycle).Full().NumElements(), 6);
    EXPECT_EQ(SystemMatrix(diagonal).Full().NumElements(), 3);
    EXPECT_EQ(SystemMatrix(SparseMatrix(4, 4)).Full().NumElements(), 4);
    EXPECT_EQ(SystemMatrix(SparseMatrix(4, 4)).Upper().NumElements(), 4);
}

} // namespace
} // namespace Velmar::Lintrix::testing
