// The entries of complex files as compressed rows and as columns.

#include <tools/input/triplets.h>

#include <tools/input/columns.h>

#include <gmock/gmock.h>

#include <random>
#include <sstream>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;
using ::testing::ElementsAre;
using Storage = MatrixMarketStorage;
using Symmetry = MatrixMarketSymmetry;

// (2, 1) twice, (3, 3), (1, 1), (3, 1)
MatrixMarketTriplets small(Symmetry symmetry)
{
    return {3,
            3,
            MatrixMarketField::ComplexNumber,
            symmetry,
            {1, 2, 0, 1, 2},
            {0, 2, 0, 0, 0},
            {{1.0, 2.0}, 5.0, 7.0, {10.0, 20.0}, {0.0, 3.0}}};
}

TEST(Triplets, ComeInOrderAndDuplicatesAreAddedUp)
{
    const auto rows = rowsOf(small(Symmetry::General), Storage::UpperTriangle);
    EXPECT_EQ(rows.below, Below::Stored);
    EXPECT_EQ(rows.cols, 3);
    EXPECT_THAT(rows.ia, ElementsAre(1, 2, 3, 5));
    EXPECT_THAT(rows.ja, ElementsAre(1, 1, 1, 3));
    EXPECT_THAT(rows.a, (std::vector<ComplexNumber>{7.0, {11.0, 22.0}, {0.0, 3.0}, 5.0}));
}

TEST(Triplets, ATriangleIsTurnedUpAndHasItsDiagonal)
{
    const auto symmetric = rowsOf(small(Symmetry::Symmetric), Storage::UpperTriangle);
    EXPECT_EQ(symmetric.below, Below::Mirrored);
    EXPECT_THAT(symmetric.ia, ElementsAre(1, 4, 5, 6));
    EXPECT_THAT(symmetric.ja, ElementsAre(1, 2, 3, 2, 3));
    EXPECT_EQ(symmetric.a, (std::vector<ComplexNumber>{7.0, {11.0, 22.0}, {0.0, 3.0}, 0.0, 5.0}));

    const auto hermitian = rowsOf(small(Symmetry::Hermitian), Storage::UpperTriangle);
    EXPECT_EQ(hermitian.below, Below::Conjugated);
    EXPECT_EQ(hermitian.ja, symmetric.ja);
    EXPECT_EQ(hermitian.a, (std::vector<ComplexNumber>{7.0, {11.0, -22.0}, {0.0, -3.0}, 0.0, 5.0}));
}

TEST(Triplets, BothTrianglesAreMirroredAsTheSymmetrySays)
{
    const auto hermitian = rowsOf(small(Symmetry::Hermitian), Storage::BothTriangles);
    EXPECT_EQ(hermitian.below, Below::Stored);
    EXPECT_THAT(hermitian.ia, ElementsAre(1, 4, 5, 7));
    EXPECT_THAT(hermitian.ja, ElementsAre(1, 2, 3, 1, 1, 3));
    EXPECT_EQ(hermitian.a,
              (std::vector<ComplexNumber>{7.0, {11.0, -22.0}, {0.0, -3.0}, {11.0, 22.0}, {0.0, 3.0}, 5.0}));

    const MatrixMarketTriplets skew{
        2, 2, MatrixMarketField::ComplexNumber, Symmetry::SkewSymmetric, {1}, {0}, {{1.0, 2.0}}};
    for (const Storage storage : {Storage::UpperTriangle, Storage::BothTriangles}) {
        const auto rows = rowsOf(skew, storage);
        EXPECT_EQ(rows.below, Below::Stored) << "a skew-symmetric matrix is a general one";
        EXPECT_EQ(rows.a, (std::vector<ComplexNumber>{{-1.0, -2.0}, {1.0, 2.0}}));
    }
}

TEST(Triplets, ATriangleAndItsWholeAreOneMatrix)
{
    std::mt19937_64 generator(3);
    for (const Symmetry symmetry : {Symmetry::Symmetric, Symmetry::Hermitian}) {
        MatrixMarketTriplets triplets{40, 40, MatrixMarketField::ComplexNumber, symmetry, {}, {}, {}};
        for (int k = 0; k < 200; ++k) {
            const auto i = static_cast<std::int32_t>(generator() % 40);
            const auto j = static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(i + 1));
            triplets.rowIndices.push_back(i);
            triplets.colIndices.push_back(j);
            triplets.values.emplace_back(k, i == j ? 0 : generator() % 9);
        }
        const auto both = rowsOf(triplets, Storage::BothTriangles);
        const auto again = bothTrianglesOf(rowsOf(triplets, Storage::UpperTriangle));
        EXPECT_EQ(withDiagonal(both, false).ja, again.ja);
        EXPECT_EQ(withDiagonal(both, false).a, again.a);
        std::stringstream file;
        WriteMatrixMarket(file, triplets);
        EXPECT_TRUE(ReadMatrixMarketComplexDense(file) == productOf(both, CMatrix(40, 40, 1.0)));
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
