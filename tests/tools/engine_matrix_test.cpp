// The arrays that the sparse direct solver gets of a matrix.

#include <tools/engine_matrix.h>

#include <gmock/gmock.h>

#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using tools::EngineMatrix;
using tools::engineMatrixOf;

// 2 1 0
// 1 0 0
// 0 0 3
SparseMatrix symmetric()
{
    return SparseMatrix({2.0, 1.0, 1.0, 3.0}, {1, 3, 4, 5}, {1, 2, 1, 3});
}

TEST(EngineMatrix, OfASymmetricTypeIsTheUpperTriangleWithItsDiagonal)
{
    const EngineMatrix matrix = engineMatrixOf(symmetric(), -2);
    EXPECT_EQ(matrix.n(), 3);
    EXPECT_THAT(matrix.ia, ElementsAre(1, 3, 4, 5));
    EXPECT_THAT(matrix.ja, ElementsAre(1, 2, 2, 3));
    EXPECT_THAT(matrix.a, ElementsAre(2.0, 1.0, 0.0, 3.0));
    EXPECT_FALSE(matrix.isDiagonal());
}

TEST(EngineMatrix, OfAnotherTypeHasAllEntriesAndItsDiagonalInItsPlace)
{
    const EngineMatrix matrix = engineMatrixOf(symmetric(), 11);
    EXPECT_THAT(matrix.ia, ElementsAre(1, 3, 5, 6));
    EXPECT_THAT(matrix.ja, ElementsAre(1, 2, 1, 2, 3));
    EXPECT_THAT(matrix.a, ElementsAre(2.0, 1.0, 1.0, 0.0, 3.0));
}

TEST(EngineMatrix, WithoutAnEntryOffTheDiagonalIsDiagonal)
{
    const SparseMatrix empty(3, 3);
    const EngineMatrix matrix = engineMatrixOf(empty, 11);
    EXPECT_TRUE(matrix.isDiagonal());
    EXPECT_THAT(matrix.ja, ElementsAre(1, 2, 3));
}

TEST(EngineMatrix, TypesAreInWords)
{
    EXPECT_EQ(tools::typeInWords(1), "real with a symmetric pattern");
    EXPECT_EQ(tools::typeInWords(2), "real symmetric, may be positive definite");
    EXPECT_EQ(tools::typeInWords(-2), "real symmetric indefinite");
    EXPECT_EQ(tools::typeInWords(11), "real unsymmetric");
}

} // namespace
} // namespace Velmar::Lintrix::testing
