// Each road through the direct solver, and what is said of the answers.

#include <tests/systems/roads_from.h>

#include <lintrix/sparse/sparse_assembler.h>
#include <lintrix/systems/linear_system.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <regex>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

RoadsTaken<double> solved(const SparseMatrix& A, std::optional<Road> road = {},
                          const SystemOptions& options = {})
{
    SystemMatrix system(A);
    return takeRoads(system, road ? *road : firstRoad(system.Traits()), options);
}

SparseMatrix symmetricFrom(std::int32_t size, const std::vector<SparseTriplet>& triplets)
{
    SparseAssembler entries(size, size, {.storage = AssemblyStorage::Symmetric});
    entries.Add(triplets);
    return entries.Assemble();
}

SparseMatrix generalFrom(std::int32_t size, const std::vector<SparseTriplet>& triplets)
{
    SparseAssembler entries(size, size);
    entries.Add(triplets);
    return entries.Assemble();
}

/// A chain of unknowns with this diagonal.
SparseMatrix chain(std::int32_t size, double diagonal, double above, double below)
{
    std::vector<SparseTriplet> triplets;
    for (std::int32_t i = 0; i < size; ++i) {
        triplets.push_back({i, i, diagonal});
        if (i + 1 < size) triplets.push_back({i, i + 1, above});
        if (i + 1 < size) triplets.push_back({i + 1, i, below});
    }
    return generalFrom(size, triplets);
}

void expectAccurate(const RoadsTaken<double>& answer, Road road)
{
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
    EXPECT_EQ(answer.road, road) << answer.best.roadName;
    EXPECT_EQ(answer.reason, "");
    ASSERT_TRUE(answer.x);
    EXPECT_LT(largestDifference(*answer.x, onesOf<Matrix>(answer.x->Rows(), 1)), 1e-6);
}

TEST(FirstRoad, GoesByTheValues)
{
    const auto roadOf = [](const SparseMatrix& A) { return firstRoad(TraitsOf(A)); };
    EXPECT_EQ(roadOf(chain(5, 2.0, -1.0, -1.0)), Road::Cholesky) << "a general file with symmetric values";
    EXPECT_EQ(roadOf(symmetricFrom(2, {{0, 0, 2}, {1, 1, 3}, {0, 1, 1}})), Road::Cholesky);
    EXPECT_EQ(roadOf(symmetricFrom(2, {{0, 0, 2}, {1, 1, -3}})), Road::Symmetric) << "a negative diagonal";
    EXPECT_EQ(roadOf(symmetricFrom(2, {{0, 0, 2}, {0, 1, 1}})), Road::Symmetric) << "a zero diagonal";
    EXPECT_EQ(roadOf(symmetricFrom(2, {{0, 0, 1}, {1, 1, 1}, {0, 1, 1}})), Road::Symmetric) << "a minor of 0";
    EXPECT_EQ(roadOf(chain(5, 3.0, -1.0, -2.0)), Road::Unmatched) << "dominant";
    EXPECT_EQ(roadOf(chain(5, 2.9, -1.0, -2.0)), Road::Matched) << "not dominant";
    EXPECT_EQ(roadOf(chain(5, 2.0, -1.0, 1.0)), Road::Unmatched);
    EXPECT_EQ(roadOf(generalFrom(2, {{0, 0, 5}, {0, 1, 1}, {1, 1, 5}})), Road::Matched) << "pattern";
}

TEST(FirstRoad, ATypeThatTheValuesContradictIsNone)
{
    const MatrixTraits unsymmetric = TraitsOf(chain(5, 3.0, -1.0, -2.0));
    const MatrixTraits symmetric = TraitsOf(chain(5, 3.0, -1.0, -1.0));
    const MatrixTraits triangular = TraitsOf(generalFrom(2, {{0, 0, 5}, {0, 1, 1}, {1, 1, 5}}));
    EXPECT_EQ(firstRoad(MatrixType::PositiveDefinite, symmetric), Road::Cholesky);
    EXPECT_EQ(firstRoad(MatrixType::Indefinite, symmetric), Road::Symmetric);
    EXPECT_EQ(firstRoad(MatrixType::StructurallySymmetric, unsymmetric), Road::Unmatched);
    EXPECT_EQ(firstRoad(MatrixType::Unsymmetric, triangular), Road::Matched);
    EXPECT_EQ(firstRoad(MatrixType::PositiveDefinite, unsymmetric), std::nullopt);
    EXPECT_EQ(firstRoad(MatrixType::Indefinite, unsymmetric), std::nullopt);
    EXPECT_EQ(firstRoad(MatrixType::StructurallySymmetric, triangular), std::nullopt);
}

TEST(SparseRoads, EachIsTakenAndSolves)
{
    const SparseMatrix positive = chain(40, 2.5, -1.0, -1.0);
    for (const Road road : {Road::Cholesky, Road::Symmetric, Road::Delayed, Road::Unmatched, Road::Matched,
                            Road::Fronts, Road::Coarse, Road::Pivoted, Road::Dense}) {
        SCOPED_TRACE(nameOf(road, 11));
        const RoadsTaken<double> answer = solved(positive, road);
        expectAccurate(answer, road);
        EXPECT_THAT(answer.tried, IsEmpty());
        EXPECT_GE(answer.best.factorEntries, 79);
    }
}

TEST(SparseRoads, NotPositiveDefiniteLeadsToIndefinite)
{
    // Every minor of two is positive, the determinant is not.
    const SparseMatrix A =
        symmetricFrom(3, {{0, 0, 1}, {1, 1, 1}, {2, 2, 1}, {0, 1, 0.9}, {0, 2, 0.9}, {1, 2, -0.9}});
    const RoadsTaken<double> answer = solved(A);
    expectAccurate(answer, Road::Symmetric);
    EXPECT_THAT(answer.tried,
                ElementsAre(MatchesRegex("sparse Cholesky: not positive definite, pivot [1-3]")));
}

constexpr const char* kTwoReplaced =
    "sparse LDL'( by nested dissection)?: "
    "(singular: |no digit of a known solution came back, |scaled residual [0-9.e-]+, )+2 perturbed pivots";

TEST(SparseRoads, PivotsFromTheDiagonalThatAreNoneLeadToThoseThatWait)
{
    for (const double small : {1e-9, 1e-10, 1e-12}) {
        const SparseMatrix A = symmetricFrom(6, {{0, 1, small},
                                                 {1, 5, small},
                                                 {2, 2, 2.0},
                                                 {2, 3, 1.0},
                                                 {3, 3, 2.0},
                                                 {4, 4, 1.0},
                                                 {4, 5, 1.0},
                                                 {5, 5, -3.0}});
        const RoadsTaken<double> answer = solved(A);
        expectAccurate(answer, Road::Delayed);
        ASSERT_THAT(answer.tried, Not(IsEmpty()));
        EXPECT_THAT(answer.tried, Each(MatchesRegex(kTwoReplaced))) << small;
    }
}

TEST(SparseRoads, ATinyPairDoesNotTakeTheSymmetryOfAGrid)
{
    // The pair of the last test beside a grid in any order.
    constexpr std::int32_t kSide = 100, n = kSide * kSide;
    std::vector<std::int32_t> place(n);
    std::iota(place.begin(), place.end(), 0);
    std::ranges::shuffle(place, std::mt19937_64(5));
    std::vector<SparseTriplet> triplets{{n, n + 1, 1e-10}};
    const auto join = [&](std::int32_t i, std::int32_t j, double value) {
        triplets.push_back({std::min(place[i], place[j]), std::max(place[i], place[j]), value});
    };
    for (std::int32_t i = 0; i < n; ++i) {
        join(i, i, i % 2 == 0 ? 5.0 : -5.0);
        if (i % kSide + 1 < kSide) join(i, i + 1, 1.0);
        if (i + kSide < n) join(i, i + kSide, 1.0);
    }
    const RoadsTaken<double> answer = solved(symmetricFrom(n + 2, triplets));
    expectAccurate(answer, Road::Delayed);
    EXPECT_THAT(answer.tried, Each(MatchesRegex(kTwoReplaced)));
}

TEST(SparseRoads, AZeroPivotOnTheDiagonalLeadsToTheMatching)
{
    const SparseMatrix A = generalFrom(4, {{0, 1, 1}, {1, 0, 2}, {1, 2, 1}, {2, 1, 1}, {2, 3, 4}, {3, 2, 1}});
    const RoadsTaken<double> answer = solved(A, Road::Unmatched);
    expectAccurate(answer, Road::Matched);
    EXPECT_THAT(answer.tried, ElementsAre(MatchesRegex("sparse LU: singular: pivot [1-4] is zero")));
}

/// Two random signs a row, with the opposite ones mirrored.
SparseMatrix randomSigns(std::int32_t size, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    SparseAssembler entries(size, size);
    for (std::int32_t i = 0; i < size; ++i) {
        for (int k = 0; k < 2; ++k) {
            const auto j = static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(size));
            const double sign = (generator() & 1) != 0 ? 1.0 : -1.0;
            if (j == i) continue;
            entries.Add(i, j, sign);
            entries.Add(j, i, -sign);
        }
    }
    return entries.Assemble();
}

/// Whether LU with exchanges of rows gives x with all but a few digits.
bool isRegular(const SparseMatrix& A)
{
    const auto dense = LinearSystem(A.ToDense()).Solve(A * onesOf<Matrix>(A.Rows(), 1));
    return dense.x && *dense.probeError < 1e-9;
}

TEST(SparseRoads, NoSuccessIsFalse)
{
    // Skew, no diagonal: hard on a factorization that keeps its pivots within a supernode.
    int accurate = 0, delayed = 0;
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        const SparseMatrix A = randomSigns(30, seed);
        const RoadsTaken<double> sparse = solved(A);
        const bool regular = isRegular(A);
        SCOPED_TRACE(seed);
        if (sparse.verdict == Verdict::Accurate) {
            ++accurate;
            EXPECT_TRUE(regular);
            EXPECT_LT(largestDifference(*sparse.x, onesOf<Matrix>(A.Rows(), 1)), 1e-6);
        } else {
            EXPECT_NE(sparse.reason, "");
        }
        if (regular) {
            EXPECT_NE(sparse.verdict, Verdict::Failed) << sparse.reason;
        }
        if (sparse.road == Road::Fronts && sparse.verdict == Verdict::Accurate) ++delayed;
    }
    EXPECT_GT(accurate, 100);
    EXPECT_GT(delayed, 0) << "pivots that wait were needed";
}

/// "ROAD: ..., N perturbed pivots"
int replacedOf(const std::string& told)
{
    std::smatch found;
    return std::regex_search(told, found, std::regex("([0-9]+) perturbed")) ? std::stoi(found[1]) : 0;
}

TEST(SparseRoads, ManyReplacedPivotsOfAMatchingLeadToThoseThatWaitAtOnce)
{
    constexpr std::int32_t n = 30;
    int many = 0;
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        const RoadsTaken<double> answer = solved(randomSigns(n, seed), Road::Matched);
        if (answer.tried.empty() || replacedOf(answer.tried.front()) <= n / 8) continue;
        ++many;
        EXPECT_THAT(answer.tried, Each(Not(StartsWith("sparse LU with matching by")))) << seed;
    }
    EXPECT_GT(many, 0);
}

/// Neighbours on a grid are joined by a sign of their own in each direction; rows and columns in any order.
SparseMatrix signedGrid(std::int32_t side, std::uint64_t seed)
{
    const std::int32_t n = side * (side + 1);
    std::mt19937_64 generator(seed);
    std::vector<std::int32_t> rowOf(static_cast<std::size_t>(n));
    std::iota(rowOf.begin(), rowOf.end(), 0);
    std::vector<std::int32_t> colOf = rowOf;
    std::ranges::shuffle(rowOf, generator);
    std::ranges::shuffle(colOf, generator);
    std::vector<SparseTriplet> triplets;
    const auto join = [&](std::int32_t i, std::int32_t j) {
        for (const auto& [from, to] : {std::pair{i, j}, std::pair{j, i}})
            triplets.push_back({rowOf[static_cast<std::size_t>(from)], colOf[static_cast<std::size_t>(to)],
                                (generator() & 1) != 0 ? 1.0 : -1.0});
    };
    for (std::int32_t i = 0; i < n; ++i) {
        if (i % side + 1 < side) join(i, i + 1);
        if (i + side < n) join(i, i + side);
    }
    return generalFrom(n, triplets);
}

TEST(SparseRoads, WhatExchangesOfRowsCanSolveIsSolvedSo)
{
    // So many of the pivots cancel that were matched, that raising them leads nowhere.
    int delayed = 0;
    for (std::uint64_t seed = 0; seed < 4; ++seed) {
        const SparseMatrix A = signedGrid(40, seed);
        if (!isRegular(A)) continue;
        SCOPED_TRACE(seed);
        const RoadsTaken<double> answer = solved(A);
        expectAccurate(answer, answer.road);
        if (answer.road != Road::Fronts) continue;
        ++delayed;
        EXPECT_EQ(answer.best.roadName, "sparse LU with delayed pivots");
        EXPECT_EQ(answer.best.perturbed, 0);
        EXPECT_THAT(answer.tried.back(), ::testing::StartsWith("sparse LU with matching"));
    }
    EXPECT_GT(delayed, 0) << "exchanges of rows were needed";
}

// Rows 1 and 2 are the same: the engine replaces a pivot and finds the matrix singular by that.
/// D*S*D with S of condition 120, and units d of 2^12, 2^-26 and 2^-52: no digit comes back of a known
/// solution but in the units of a fit.
TEST(SparseRoads, AFactorizationAheadOfTheFirstRightHandSideKeepsNothingFromBeingTried)
{
    const SparseMatrix A = symmetricFrom(3, {{0, 1, -0x1.c819eacf9ef24p-14},
                                             {0, 2, -0x1.dda9c69859ddcp-64},
                                             {1, 2, -0x1.57391f3460e98p-23},
                                             {2, 2, -0x1.8c60565e5416p-72}});
    for (const TransposeMode op : {TransposeMode::NotTransposed, TransposeMode::Transposed}) {
        LinearSystem<double> ahead(A), atOnce(A);
        ahead.Factorize();
        const Vector b{0.8, -0.8, 0.9};
        EXPECT_EQ(atOnce.Solve(b, op).verdict, Verdict::Accurate);
        EXPECT_EQ(ahead.Solve(b, op).verdict, Verdict::Accurate);
    }
}

TEST(SparseRoads, TheEngineExplainsWhatHasNoPivot)
{
    const SparseMatrix A = generalFrom(
        4, {{0, 0, 2}, {0, 1, 1}, {1, 1, 3}, {1, 2, 1}, {2, 1, 3}, {2, 2, 1}, {3, 0, 1}, {3, 3, 5}});
    const RoadsTaken<double> answer = solved(A, Road::Pivoted);
    EXPECT_EQ(answer.verdict, Verdict::Failed);
    EXPECT_EQ(answer.road, Road::Matched);
    EXPECT_EQ(answer.reason, "singular: 1 perturbed pivot");
    EXPECT_THAT(answer.tried,
                ElementsAre(MatchesRegex(
                    "sparse LU with partial pivoting: singular: column [23] of block [1-3] has no pivot")));
}

TEST(SparseRoads, AMatrixThatIsSingularIsToldSo)
{
    const RoadsTaken<double> answer = solved(generalFrom(2, {{0, 0, 1}, {0, 1, 2}, {1, 0, 3}, {1, 1, 6}}));
    EXPECT_EQ(answer.verdict, Verdict::Failed);
    EXPECT_EQ(answer.reason, "singular: 1 perturbed pivot");
}

TEST(SparseRoads, APermutationIsNotTakenForADiagonalMatrix)
{
    // As many elements as rows, one in each: the engine would solve row i with the i-th of them.
    const RoadsTaken<double> answer = solved(generalFrom(3, {{0, 2, 2}, {1, 0, 3}, {2, 1, 5}}));
    expectAccurate(answer, Road::Matched);
    const RoadsTaken<double> diagonal = solved(generalFrom(3, {{0, 0, 2}, {1, 1, 3}, {2, 2, -5}}));
    EXPECT_EQ(diagonal.verdict, Verdict::Accurate);
    EXPECT_EQ(diagonal.best.factorEntries, 0);
}

TEST(SparseRoads, AnIllConditionedMatrixIsDegraded)
{
    std::vector<SparseTriplet> hilbert;
    for (std::int32_t i = 0; i < 9; ++i) {
        for (std::int32_t j = 0; j < 9; ++j) hilbert.push_back({i, j, 1.0 / (i + j + 1)});
    }
    const RoadsTaken<double> answer = solved(generalFrom(9, hilbert));
    EXPECT_EQ(answer.verdict, Verdict::Degraded);
    EXPECT_THAT(answer.reason, ::testing::HasSubstr("ill-conditioned"));
    EXPECT_LT(answer.best.quality->residual, 1e-12);
}

TEST(SparseRoads, SettingsReachTheEngine)
{
    const SparseMatrix A = chain(3000, 3.0, -1.0, -2.0);
    SystemOptions options;
    options.ordering = FillInReducingMethod::NestedDissection;
    options.engine.refine = -2;
    const RoadsTaken<double> refined = solved(A, Road::Matched, options);
    EXPECT_EQ(refined.best.ordering, FillInReducingMethod::NestedDissection);
    EXPECT_EQ(refined.best.steps, 2);
    options = SystemOptions();
    options.engine.strategy = FactorizationStrategy::ComputeWhenNeeded;
    const RoadsTaken<double> iterated = solved(A, Road::Matched, options);
    expectAccurate(iterated, Road::Matched);
    EXPECT_EQ(iterated.best.steps, 0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
