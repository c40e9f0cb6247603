// The arrays that the sparse direct solver gets of a matrix.

#include <lintrix/systems/system_matrix.h>

#include <gmock/gmock.h>

#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;

// 2 1 0
// 1 0 0
// 0 0 3
SparseMatrix symmetric()
{
    return {{2.0, 1.0, 1.0, 3.0}, {1, 3, 4, 5}, {1, 2, 1, 3}};
}

template <class Value>
std::vector<Value> listOf(const Value* first, std::int32_t count)
{
    return {first, first + count};
}

TEST(EngineMatrix, OfASymmetricTypeIsTheUpperTriangleWithItsDiagonal)
{
    SystemMatrix system(symmetric());
    const EngineMatrix matrix = system.As(MatrixType::Indefinite);
    EXPECT_EQ(matrix.mtype, -2);
    EXPECT_EQ(matrix.n, 3);
    EXPECT_EQ(matrix.entries(), 4);
    EXPECT_TRUE(matrix.isTriangle());
    EXPECT_FALSE(matrix.isDiagonal());
    EXPECT_THAT(listOf(matrix.ia, 4), ElementsAre(1, 3, 4, 5));
    EXPECT_THAT(listOf(matrix.ja, 4), ElementsAre(1, 2, 2, 3));
    EXPECT_THAT(listOf(static_cast<const double*>(matrix.a), 4), ElementsAre(2.0, 1.0, 0.0, 3.0));
}

TEST(EngineMatrix, OfAnotherTypeHasAllEntriesAsTheyStand)
{
    SystemMatrix system(symmetric());
    const EngineMatrix matrix = system.As(MatrixType::Unsymmetric);
    EXPECT_EQ(matrix.mtype, 11);
    EXPECT_FALSE(matrix.isTriangle());
    EXPECT_THAT(listOf(matrix.ia, 4), ElementsAre(1, 3, 4, 5));
    EXPECT_THAT(listOf(matrix.ja, 4), ElementsAre(1, 2, 1, 3));
}

TEST(EngineMatrix, WithoutAnEntryOffTheDiagonalIsDiagonal)
{
    SystemMatrix system(SparseMatrix(3, 3));
    const EngineMatrix matrix = system.As(MatrixType::Unsymmetric);
    EXPECT_TRUE(matrix.isDiagonal());
    EXPECT_THAT(listOf(matrix.ja, 3), ElementsAre(1, 2, 3));
}

/// | 4    b |
/// | c    5 |
CSparseMatrix pair(Complex b, Complex c)
{
    return {{4.0, b, c, 5.0}, {1, 3, 5}, {1, 2, 1, 2}};
}

int strongestTypeOf(const CSparseMatrix& matrix)
{
    SystemMatrix system(matrix);
    return system.As(LikelyType(system.Traits())).mtype;
}

TEST(EngineMatrix, ComplexTypesGoByTheValues)
{
    EXPECT_EQ(strongestTypeOf(pair({1.0, 2.0}, {1.0, -2.0})), 4);
    EXPECT_EQ(strongestTypeOf(pair({3.0, 4.0}, {3.0, -4.0})), -4) << "the minor is not positive";
    EXPECT_EQ(strongestTypeOf(pair({1.0, 2.0}, {1.0, 2.0})), 6);
    EXPECT_EQ(strongestTypeOf(pair(1.0, 1.0)), 4) << "real: symmetric and hermitian";
    EXPECT_EQ(strongestTypeOf(pair(5.0, 5.0)), -4);
    EXPECT_EQ(strongestTypeOf(pair(7.0, {1.0, 2.0})), 3);
    CSparseMatrix hole = pair(7.0, {1.0, 2.0});
    hole(0, 0) = 0.0;
    EXPECT_EQ(strongestTypeOf(hole), 13) << "a zero on the diagonal";
}

TEST(EngineMatrix, OfAHermitianTypeIsTheUpperTriangleAsItStands)
{
    SystemMatrix system(pair({1.0, 2.0}, {1.0, -2.0}));
    const EngineMatrix matrix = system.As(MatrixType::Indefinite);
    EXPECT_EQ(matrix.mtype, -4);
    EXPECT_THAT(listOf(matrix.ia, 3), ElementsAre(1, 3, 4));
    EXPECT_THAT(listOf(matrix.ja, 3), ElementsAre(1, 2, 2));
    EXPECT_THAT(listOf(static_cast<const Complex*>(matrix.a), 3), ElementsAre(4.0, Complex(1.0, 2.0), 5.0));
}

TEST(EngineMatrix, TypesAreInWords)
{
    EXPECT_EQ(EngineTypeInWords(1), "real with a symmetric pattern");
    EXPECT_EQ(EngineTypeInWords(2), "real symmetric, may be positive definite");
    EXPECT_EQ(EngineTypeInWords(-2), "real symmetric indefinite");
    EXPECT_EQ(EngineTypeInWords(11), "real unsymmetric");
    EXPECT_EQ(EngineTypeInWords(3), "complex with a symmetric pattern");
    EXPECT_EQ(EngineTypeInWords(4), "hermitian, may be positive definite");
    EXPECT_EQ(EngineTypeInWords(-4), "hermitian indefinite");
    EXPECT_EQ(EngineTypeInWords(6), "complex symmetric");
    EXPECT_EQ(EngineTypeInWords(13), "complex unsymmetric");
}

} // namespace
} // namespace Velmar::Lintrix::testing
