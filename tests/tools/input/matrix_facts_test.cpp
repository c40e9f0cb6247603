// Facts of small matrices whose answers are seen at sight.

#include <tools/input/matrix_facts.h>

#include <tests/systems/complex_matrix.h>

#include <lintrix/sparse/sparse_assembler.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;

MatrixFacts facts(std::int32_t rows, std::int32_t cols, const std::vector<SparseTriplet>& triplets)
{
    SparseAssembler entries(rows, cols);
    entries.Add(triplets);
    return factsOf(entries.Assemble());
}

std::string wordsFor(std::int32_t size, const std::vector<SparseTriplet>& triplets)
{
    return std::string(symmetryInWords(facts(size, size, triplets), size, size));
}

TEST(MatrixFacts, CountsNormsAndBandwidths)
{
    // | 1 -2  . |
    // | .  0  3 |
    // | 4  .  . |
    const MatrixFacts found = facts(3, 3, {{2, 0, 4}, {0, 0, 1}, {1, 1, 0}, {0, 1, -2}, {1, 2, 3}});
    EXPECT_EQ(found.entries, 5);
    EXPECT_EQ(found.storedZeros, 1);
    EXPECT_EQ(found.diagonal, 2);
    EXPECT_EQ(found.lowerBandwidth, 2);
    EXPECT_EQ(found.upperBandwidth, 1);
    EXPECT_EQ(found.oneNorm, 5.0);
    EXPECT_EQ(found.infinityNorm, 4.0);
    EXPECT_DOUBLE_EQ(found.frobeniusNorm, std::sqrt(30.0));
    EXPECT_EQ(found.largestMagnitude, 4.0);
    EXPECT_EQ(found.smallestMagnitude, 1.0);
}

TEST(MatrixFacts, SymmetryIsToldByPatternAndValues)
{
    EXPECT_EQ(wordsFor(3, {{0, 1, 2}, {1, 0, 2}, {2, 2, 5}}), "symmetric");
    EXPECT_EQ(wordsFor(3, {{0, 1, 2}, {1, 0, -2}}), "skew-symmetric");
    EXPECT_EQ(wordsFor(3, {{0, 1, 2}, {1, 0, 3}}), "unsymmetric with a symmetric pattern");
    EXPECT_EQ(wordsFor(3, {}), "symmetric");
}

TEST(MatrixFacts, PatternsThatDifferAnywhereAreUnsymmetric)
{
    EXPECT_EQ(wordsFor(3, {{0, 1, 2}}), "unsymmetric");
    EXPECT_EQ(wordsFor(3, {{1, 0, 2}}), "unsymmetric");
    EXPECT_EQ(wordsFor(3, {{0, 1, 2}, {2, 0, 2}, {1, 2, 2}}), "unsymmetric") << "a cycle";
    EXPECT_EQ(wordsFor(4, {{0, 1, 2}, {1, 0, 2}, {3, 2, 1}}), "unsymmetric") << "an entry more below";
    EXPECT_EQ(wordsFor(4, {{0, 1, 2}, {1, 0, 2}, {2, 3, 1}}), "unsymmetric") << "an entry more above";
    EXPECT_EQ(wordsFor(4, {{0, 3, 1}, {3, 0, 1}, {1, 3, 1}, {3, 2, 1}}), "unsymmetric");
}

TEST(MatrixFacts, SkewSymmetryNeedsOppositeValuesAndAnEmptyOrZeroDiagonal)
{
    EXPECT_TRUE(facts(2, 2, {{1, 0, 2}, {0, 1, -2}}).skewSymmetric);
    EXPECT_TRUE(facts(2, 2, {{0, 0, 0}, {1, 0, 2}, {0, 1, -2}}).skewSymmetric);
    const MatrixFacts diagonal = facts(2, 2, {{0, 0, 1}, {1, 0, 2}, {0, 1, -2}});
    EXPECT_FALSE(diagonal.skewSymmetric);
    EXPECT_TRUE(diagonal.symmetricPattern);
}

TEST(MatrixFacts, FrobeniusNormOfHugeEntriesDoesNotOverflow)
{
    EXPECT_DOUBLE_EQ(facts(2, 2, {{0, 0, 3e200}, {1, 0, 4e200}}).frobeniusNorm, 5e200);
}

TEST(MatrixFacts, OfAComplexMatrixAreOfItsMagnitudes)
{
    // | 5    3-4i |
    // | 3+4i 0    |
    MatrixMarketTriplets triplets{
        2,         2,         MatrixMarketField::ComplexNumber,    MatrixMarketSymmetry::Hermitian,
        {0, 1, 1}, {0, 0, 1}, {{5.0, 0.0}, {3.0, 4.0}, {0.0, 0.0}}};
    const MatrixFacts found = factsOf(matrixOf(triplets));
    EXPECT_EQ(found.entries, 4);
    EXPECT_EQ(found.storedZeros, 1);
    EXPECT_DOUBLE_EQ(found.oneNorm, 10.0);
    EXPECT_DOUBLE_EQ(found.infinityNorm, 10.0);
    EXPECT_DOUBLE_EQ(found.frobeniusNorm, std::sqrt(75.0));
    EXPECT_EQ(symmetryInWords(found, 2, 2), "hermitian");
    triplets.symmetry = MatrixMarketSymmetry::Symmetric;
    EXPECT_EQ(symmetryInWords(factsOf(matrixOf(triplets)), 2, 2), "symmetric");
    triplets = {2,   2,           MatrixMarketField::ComplexNumber, MatrixMarketSymmetry::SkewSymmetric, {1},
                {0}, {{3.0, 4.0}}};
    EXPECT_EQ(symmetryInWords(factsOf(matrixOf(triplets)), 2, 2), "skew-symmetric");
}

TEST(MatrixFacts, RectangularMatricesAreCalledSo)
{
    EXPECT_EQ(symmetryInWords(facts(2, 3, {{0, 0, 1}}), 2, 3), "rectangular");
}

} // namespace
} // namespace Velmar::Lintrix::testing
