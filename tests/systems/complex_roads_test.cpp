// Each road through the direct solver with complex matrices.

#include <tests/systems/complex_matrix.h>
#include <tests/systems/roads_from.h>

#include <gmock/gmock.h>

#include <random>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using Symmetry = MatrixMarketSymmetry;

RoadsTaken<Complex> solved(const MatrixMarketTriplets& triplets, std::optional<Road> road = {})
{
    SystemMatrix system(matrixOf(triplets));
    return takeRoads(system, road ? *road : firstRoad(system.Traits()), {});
}

double errorOf(const RoadsTaken<Complex>& answer)
{
    return largestDifference(*answer.x, onesOf<CMatrix>(answer.x->Rows(), 1));
}

/// A grid of 12 x 12 unknowns with this diagonal, and couplings of size 1 and any phase.
MatrixMarketTriplets grid(Symmetry symmetry, Complex diagonal)
{
    std::mt19937_64 generator(7);
    std::uniform_real_distribution<double> phase(0.0, 6.28);
    MatrixMarketTriplets grid{144, 144, MatrixMarketField::ComplexNumber, symmetry, {}, {}, {}};
    const auto add = [&grid](int row, int col, Complex value) {
        grid.rowIndices.push_back(row);
        grid.colIndices.push_back(col);
        grid.values.push_back(value);
    };
    const auto couple = [&](int row, int col) {
        add(row, col, std::polar(1.0, phase(generator)));
        if (symmetry == Symmetry::General) add(col, row, std::polar(1.0, phase(generator)));
    };
    for (int i = 0; i < 144; ++i) {
        add(i, i, diagonal);
        if (i % 12 > 0) couple(i, i - 1);
        if (i >= 12) couple(i, i - 12);
    }
    return grid;
}

void expectAllFrom(Road first, const MatrixMarketTriplets& triplets)
{
    for (std::optional<Road> road = first; road != Road::Dense; road = roadAfter(*road)) {
        const RoadsTaken<Complex> answer = solved(triplets, road);
        SCOPED_TRACE(answer.best.roadName);
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
        EXPECT_EQ(answer.road, *road);
        EXPECT_THAT(answer.tried, ::testing::IsEmpty());
        EXPECT_LT(errorOf(answer), 1e-12);
        EXPECT_LT(answer.best.quality->residual, 1e-14);
    }
    const RoadsTaken<Complex> answer = solved(triplets, Road::Unmatched);
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
    EXPECT_EQ(answer.road, Road::Unmatched);
}

TEST(ComplexRoads, EachIsTakenAndSolves)
{
    expectAllFrom(Road::Cholesky, grid(Symmetry::Hermitian, 5.0));
    expectAllFrom(Road::Symmetric, grid(Symmetry::Hermitian, -5.0));
    expectAllFrom(Road::Symmetric, grid(Symmetry::Symmetric, {3.0, 4.0}));
    expectAllFrom(Road::Matched, grid(Symmetry::General, {3.0, 4.0}));
}

TEST(ComplexRoads, FirstRoadsGoByTheValues)
{
    const auto roadOf = [](Symmetry symmetry, Complex diagonal) {
        return firstRoad(TraitsOf(matrixOf(grid(symmetry, diagonal))));
    };
    EXPECT_EQ(roadOf(Symmetry::Hermitian, 5.0), Road::Cholesky);
    EXPECT_EQ(roadOf(Symmetry::Hermitian, -5.0), Road::Symmetric);
    EXPECT_EQ(roadOf(Symmetry::Symmetric, 5.0), Road::Symmetric) << "positive definite is for hermitian ones";
    EXPECT_EQ(roadOf(Symmetry::General, {3.0, 4.0}), Road::Unmatched) << "dominant";
    EXPECT_EQ(roadOf(Symmetry::General, {1.0, 1.0}), Road::Matched);
    const auto roadFor = [](MatrixType type, Symmetry symmetry) {
        return firstRoad(type, TraitsOf(matrixOf(grid(symmetry, 5.0))));
    };
    EXPECT_EQ(roadFor(MatrixType::PositiveDefinite, Symmetry::Hermitian), Road::Cholesky);
    EXPECT_EQ(roadFor(MatrixType::PositiveDefinite, Symmetry::Symmetric), std::nullopt);
    EXPECT_EQ(roadFor(MatrixType::Indefinite, Symmetry::Symmetric), Road::Symmetric);
    EXPECT_EQ(roadFor(MatrixType::Indefinite, Symmetry::General), std::nullopt);
    EXPECT_EQ(roadFor(MatrixType::StructurallySymmetric, Symmetry::General), Road::Unmatched);
}

/// No diagonal, and two random entries a row.
MatrixMarketTriplets hollow(Symmetry symmetry, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> phase(0.0, 6.28);
    MatrixMarketTriplets matrix{30, 30, MatrixMarketField::ComplexNumber, symmetry, {}, {}, {}};
    for (std::int32_t i = 1; i < 30; ++i) {
        for (int k = 0; k < 2; ++k) {
            matrix.rowIndices.push_back(i);
            matrix.colIndices.push_back(
                static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(i)));
            matrix.values.push_back(std::polar(1.0, phase(generator)));
        }
    }
    return matrix;
}

TEST(ComplexRoads, NoSuccessIsFalse)
{
    int accurate = 0;
    for (const Symmetry symmetry : {Symmetry::Hermitian, Symmetry::Symmetric, Symmetry::SkewSymmetric}) {
        for (std::uint64_t seed = 0; seed < 100; ++seed) {
            const RoadsTaken<Complex> answer = solved(hollow(symmetry, seed));
            SCOPED_TRACE(seed);
            EXPECT_EQ(answer.verdict == Verdict::Accurate, answer.reason.empty());
            if (answer.verdict != Verdict::Accurate) continue;
            EXPECT_LT(errorOf(answer), 1e-6);
            ++accurate;
        }
    }
    EXPECT_GT(accurate, 150);
}

} // namespace
} // namespace Velmar::Lintrix::testing
