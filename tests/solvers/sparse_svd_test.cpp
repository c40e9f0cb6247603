// The class: what it takes, what it shows, how it is released.

#include "tests/solvers/svd_support.h"

#include <limits>
#include <utility>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kInvalidSize = "Invalid number of rows or columns.";

bool identicalResults(const SparseSVD& x, const SparseSVD& y)
{
    return identical(x.U(), y.U()) && identical(x.V(), y.V()) && identical(x.S(), y.S());
}

TEST(SparseSVD, ResultsHaveTheSizesOfMatrixAndCount)
{
    for (const Shape& shape : {Shape{100, 50}, Shape{50, 100}, Shape{30, 30}}) {
        const SparseSVD svd(scatteredSparse(shape, 1), 4, 1e-8);
        EXPECT_EQ(svd.S().Length(), 4);
        EXPECT_EQ(svd.U().Rows(), shape.rows);
        EXPECT_EQ(svd.U().Cols(), 4);
        EXPECT_EQ(svd.V().Rows(), shape.cols);
        EXPECT_EQ(svd.V().Cols(), 4);
    }
}

TEST(SparseSVD, DiagonalMatrixGivesItsLargestEntriesInDescendingOrder)
{
    std::vector<double> cells;
    for (int i = 0; i < 30; ++i) cells.push_back((i * 7 % 30) + 1.0); // 1 to 30, mixed
    const SparseSVD svd(diagonalSparse(cells), 5, 1e-10);
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(svd.S()[i], 30.0 - i, 30 * kResidualLimit * 30 * kEps);
}

TEST(SparseSVD, TwoRunsAreIdentical)
{
    const SparseMatrix A = scatteredSparse({100, 50}, 2);
    EXPECT_TRUE(identicalResults(SparseSVD(A, 4, 1e-10), SparseSVD(A, 4, 1e-10)));
}

TEST(SparseSVD, ToleranceOf0AndOf1em20ActAs1em14AndASignDoesNotCount)
{
    std::vector<double> cells;
    for (int i = 0; i < 40; ++i) cells.push_back(i < 2 ? 4.0 - i : 1.0 + 0.01 * i);
    const SparseMatrix A = diagonalSparse(cells);
    const SparseSVD least = converged(A, 2, 1e-14);
    EXPECT_TRUE(identicalResults(converged(A, 2, 0.0), least));
    EXPECT_TRUE(identicalResults(converged(A, 2, 1e-20), least));
    EXPECT_TRUE(identicalResults(SparseSVD(A, 2, -1e-6), SparseSVD(A, 2, 1e-6)));
}

TEST(SparseSVD, LooserToleranceEndsSooner)
{
    std::vector<double> cells;
    for (int i = 0; i < 100; ++i) cells.push_back(1.0 + 0.01 * i);
    const SparseMatrix A = diagonalSparse(cells);
    const SparseSVD loose(A, 2, 0.5), tight(A, 2, 1e-10);
    EXPECT_LT(loose.LastPass().steps, tight.LastPass().steps);
    EXPECT_LE(loose.LastPass().residual, 0.5);
    EXPECT_LE(tight.LastPass().residual, 1e-10);
}

TEST(SparseSVD, SymmetricStorageGivesTheValuesOfItsGeneralCopy)
{
    SparseMatrix symmetric(40, true);
    std::mt19937_64 generator(4);
    for (int r = 0; r < 40; ++r) {
        for (int c = r; c < 40; ++c) {
            const double value = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
            if (generator() % 4 == 0) symmetric(r, c) = value;
        }
    }
    const SparseMatrix general(symmetric.ToDense());
    ASSERT_TRUE(symmetric.Symmetric());
    ASSERT_FALSE(general.Symmetric());
    const SparseSVD left = converged(symmetric, 4, kTight), right = converged(general, 4, kTight);
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(left.S()[i], right.S()[i], valueError(general, right.S()[0]));
    expectTriplets(symmetric, left, kTight);
}

TEST(SparseSVD, CountsThatMatrixRefusesFailWithItsWords)
{
    const SparseMatrix A = scatteredSparse({10, 8}, 5);
    for (const int count : {0, -1, std::numeric_limits<int>::min()}) {
        const std::int64_t before = TrellConfiguration::TotalMemory();
        expectFailure<InvalidSizeException>([&] { return SparseSVD(A, count, 1e-6); }, kInvalidSize);
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    }
}

TEST(SparseSVD, CountIsLookedAtBeforeAReleasedMatrix)
{
    SparseMatrix A = scatteredSparse({10, 8}, 5);
    A.Dispose();
    expectFailure<InvalidSizeException>([&] { return SparseSVD(A, 0, 1e-6); }, kInvalidSize);
    expectFailure<InvalidOperationException>([&] { return SparseSVD(A, 1, 1e-6); },
                                             "The object was used after its release.");
}

TEST(SparseSVD, MatrixStaysTheCallersAndMayGo)
{
    SparseMatrix A = scatteredSparse({20, 10}, 6);
    const SparseMatrix copy = A;
    const SparseSVD svd(A, 2, 1e-8);
    EXPECT_TRUE(A.IsEqual(copy));
    A.Dispose();
    expectTriplets(copy, svd, 1e-8);
}

TEST(SparseSVD, PropertiesAreTheObjectsThemselves)
{
    const SparseSVD svd(scatteredSparse({20, 10}, 6), 2, 1e-8);
    EXPECT_EQ(&svd.U(), &svd.U());
    EXPECT_EQ(&svd.V(), &svd.V());
    EXPECT_EQ(&svd.S(), &svd.S());
}

TEST(SparseSVD, DisposeReleasesTheResultsAndMayBeRepeated)
{
    const SparseMatrix A = scatteredSparse({20, 10}, 6);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    SparseSVD svd(A, 2, 1e-8);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before + (20 * 2 + 10 * 2 + 2) * 8);
    svd.Dispose();
    svd.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(SparseSVD, MoveHandsTheResultsOver)
{
    const SparseMatrix A = scatteredSparse({20, 10}, 6);
    SparseSVD svd(A, 2, 1e-8);
    const double largest = svd.S()[0];
    const SparseSVD moved = std::move(svd);
    EXPECT_EQ(moved.S()[0], largest);
}

TEST(SparseSVD, OneThreadOrManyAgreeToRounding)
{
    const SparseMatrix A = scatteredSparse({200, 90}, 7);
    const SparseSVD alone = converged(A, 4, kTight);
    MKL_Set_Dynamic(0);
    MKL_Set_Num_Threads(3);
    const SparseSVD team = converged(A, 4, kTight);
    MKL_Set_Num_Threads(1);
    MKL_Set_Dynamic(1);
    EXPECT_EQ(team.LastPass().steps, alone.LastPass().steps);
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(team.S()[i], alone.S()[i], valueError(A, alone.S()[0]));
    expectTriplets(A, team, kTight);
}

} // namespace
} // namespace Velmar::Lintrix::testing
