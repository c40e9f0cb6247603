// The arrays that the sparse direct solver gets of a matrix.

#include <tools/input/engine_matrix.h>

#include <gmock/gmock.h>

#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;
using ::testing::ElementsAre;

// 2 1 0
// 1 0 0
// 0 0 3
CompressedRows<double> symmetric()
{
    return rowsOf(SparseMatrix({2.0, 1.0, 1.0, 3.0}, {1, 3, 4, 5}, {1, 2, 1, 3}));
}

template <class Value>
std::vector<Value> listOf(const Value* first, std::int32_t count)
{
    return {first, first + count};
}

TEST(EngineMatrix, OfASymmetricTypeIsTheUpperTriangleWithItsDiagonal)
{
    SparseSystem system(symmetric());
    const EngineMatrix matrix = engineMatrixOf(system, Assumption::Symmetric);
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
    SparseSystem system(symmetric());
    const EngineMatrix matrix = engineMatrixOf(system, Assumption::Nothing);
    EXPECT_EQ(matrix.mtype, 11);
    EXPECT_FALSE(matrix.isTriangle());
    EXPECT_THAT(listOf(matrix.ia, 4), ElementsAre(1, 3, 4, 5));
    EXPECT_THAT(listOf(matrix.ja, 4), ElementsAre(1, 2, 1, 3));
}

TEST(EngineMatrix, WithoutAnEntryOffTheDiagonalIsDiagonal)
{
    SparseSystem system(rowsOf(SparseMatrix(3, 3)));
    const EngineMatrix matrix = engineMatrixOf(system, Assumption::Nothing);
    EXPECT_TRUE(matrix.isDiagonal());
    EXPECT_THAT(listOf(matrix.ja, 3), ElementsAre(1, 2, 3));
}

/// | 4    b |
/// | b*   5 |  with a conjugate below the diagonal, or without
CompressedRows<ComplexNumber> pair(Below below, ComplexNumber b)
{
    return {below, 2, {1, 3, 4}, {1, 2, 2}, {4.0, b, 5.0}};
}

int typeOfBoth(const CompressedRows<ComplexNumber>& triangle)
{
    SparseSystem half(triangle), whole(bothTrianglesOf(triangle));
    const int type = engineMatrixOf(half, assumptionOf(half.traits())).mtype;
    EXPECT_EQ(engineMatrixOf(whole, assumptionOf(whole.traits())).mtype, type);
    EXPECT_EQ(whole.upper().below, half.upper().below);
    EXPECT_EQ(whole.upper().a, half.upper().a);
    return type;
}

TEST(EngineMatrix, ComplexTypesAreFoundInEitherStorage)
{
    EXPECT_EQ(typeOfBoth(pair(Below::Conjugated, {1.0, 2.0})), 4);
    EXPECT_EQ(typeOfBoth(pair(Below::Conjugated, {3.0, 4.0})), -4) << "the minor is not positive";
    EXPECT_EQ(typeOfBoth(pair(Below::Mirrored, {1.0, 2.0})), 6);
    EXPECT_EQ(typeOfBoth(pair(Below::Mirrored, 1.0)), 4) << "real: symmetric and hermitian";
    EXPECT_EQ(typeOfBoth(pair(Below::Conjugated, 5.0)), -4);
}

TEST(EngineMatrix, ComplexTypesOfUnsymmetricValues)
{
    CompressedRows<ComplexNumber> rows = bothTrianglesOf(pair(Below::Mirrored, {1.0, 2.0}));
    rows.a[1] = 7.0;
    SparseSystem pattern(rows);
    EXPECT_EQ(engineMatrixOf(pattern, assumptionOf(pattern.traits())).mtype, 3);
    rows.a[0] = 0.0;
    SparseSystem hole(rows);
    EXPECT_EQ(engineMatrixOf(hole, assumptionOf(hole.traits())).mtype, 13) << "a zero on the diagonal";
}

TEST(EngineMatrix, TypesAreInWords)
{
    EXPECT_EQ(tools::typeInWords(1), "real with a symmetric pattern");
    EXPECT_EQ(tools::typeInWords(2), "real symmetric, may be positive definite");
    EXPECT_EQ(tools::typeInWords(-2), "real symmetric indefinite");
    EXPECT_EQ(tools::typeInWords(11), "real unsymmetric");
    EXPECT_EQ(tools::typeInWords(3), "complex with a symmetric pattern");
    EXPECT_EQ(tools::typeInWords(4), "hermitian, may be positive definite");
    EXPECT_EQ(tools::typeInWords(-4), "hermitian indefinite");
    EXPECT_EQ(tools::typeInWords(6), "complex symmetric");
    EXPECT_EQ(tools::typeInWords(13), "complex unsymmetric");
}

} // namespace
} // namespace Velmar::Lintrix::testing
