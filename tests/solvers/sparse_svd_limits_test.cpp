// What happens at the limits. The normal build goes on as told, the hardened build raises.

#include "tests/solvers/svd_support.h"

#include <lintrix/services/system_allocator.h>

#include <atomic>
#include <cstdlib>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using detail::kHardened;

constexpr const char* kDividesByZero =
    "The Lanczos vectors span an invariant subspace, or the matrix is zero "
    "or not finite: the next step divides by zero.";
constexpr const char* kOutOfReach = "The tolerance is out of reach.";

bool allNaN(const Matrix& A)
{
    for (int c = 0; c < A.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) {
            if (!std::isnan(A(r, c))) return false;
        }
    }
    return true;
}

void expectNaNs(const SparseMatrix& A, int count)
{
    if (kHardened) {
        expectFailure<InvalidOperationException>([&] { return SparseSVD(A, count, 1e-6); }, kDividesByZero);
        return;
    }
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const SparseSVD svd(A, count, 1e-6);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(allNaN(svd.U()));
    EXPECT_TRUE(allNaN(svd.V()));
    for (const double value : numbersOf(svd.S())) EXPECT_TRUE(std::isnan(value));
    EXPECT_EQ(svd.LastPass().pass, 1);
    EXPECT_TRUE(std::isnan(svd.LastPass().residual));
}

/// A run that is stopped after `passes` failed tests.
SparseSVD stoppedAfter(int passes, const SparseMatrix& A, int count, double tolerance)
{
    LanczosObserver observer;
    observer.afterPass = [passes](const LanczosPass& pass) { return pass.pass < passes; };
    return SparseSVD(A, count, tolerance, observer);
}

TEST(SparseSvdLimits, ZeroMatrixEndsWithNaNsAndNoFailure)
{
    expectNaNs(SparseMatrix(12, 9), 2);
    SparseMatrix stored(9, true); // a diagonal of stored zeros
    expectNaNs(stored, 3);
    expectNaNs(SparseMatrix(100, 60), 20); // a bidiagonal matrix of order above 25
}

// A single step: the bidiagonal matrix is zero, and finite.
TEST(SparseSvdLimits, LastValueOfExactlyZeroEndsTheRunByANaN)
{
    const SparseMatrix A(1, 2);
    if (kHardened) {
        expectFailure<InvalidOperationException>([&] { return SparseSVD(A, 1, 1e-6); }, kDividesByZero);
        return;
    }
    const SparseSVD svd(A, 1, 1e-6);
    EXPECT_EQ(svd.LastPass().pass, 1);
    EXPECT_TRUE(std::isnan(svd.LastPass().residual));
    EXPECT_EQ(svd.S()[0], 0.0);
    EXPECT_TRUE(allNaN(svd.U()));
    EXPECT_TRUE(allNaN(svd.V()));
}

TEST(SparseSvdLimits, MatrixThatIsNotFiniteEndsWithNaNs)
{
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        SparseMatrix A = scatteredSparse({20, 15}, 1);
        A(3, 3) = bad;
        expectNaNs(A, 2);
    }
}

// One row: the left space has dimension 1, and the first beta is exactly zero or rounding noise.
TEST(SparseSvdLimits, OneRowIsAnInvariantSubspace)
{
    SparseMatrix A(1, 4);
    A(0, 1) = 3.0;
    A(0, 3) = 4.0;
    if (kHardened) {
        EXPECT_THROW(SparseSVD(A, 1, 1e-6), InvalidOperationException);
        return;
    }
    const SparseSVD svd = stoppedAfter(3, A, 1, 1e-6);
    EXPECT_TRUE(std::isnan(svd.S()[0]) || std::abs(svd.S()[0] - 5.0) < 1e-12) << svd.S()[0];
}

TEST(SparseSvdLimits, CountUpToTheRankOfADeficientMatrixIsFound)
{
    const SparseMatrix A = ReadMatrixMarket(dataFile("relat4.mtx")); // rank 5
    const std::vector<double> dense = denseValues(A);
    const SparseSVD svd(A, 2, 1e-10);
    for (int i = 0; i < 2; ++i) {
        EXPECT_NEAR(svd.S()[i], dense[static_cast<std::size_t>(i)], valueError(A, dense[0]));
    }
}

// What the passes past the smaller side hold is noise, in the leading values too.
TEST(SparseSvdLimits, CountAboveTheRankGoesOnPastTheSmallerSide)
{
    const SparseMatrix A = lowRank({30, 20}, 3, 0.0, 2);
    if (kHardened) {
        EXPECT_THROW(stoppedAfter(6, A, 5, 1e-10), InvalidOperationException);
        return;
    }
    const SparseSVD svd = stoppedAfter(6, A, 5, 1e-10);
    EXPECT_GT(svd.LastPass().residual, 1e-10);
    EXPECT_EQ(svd.LastPass().pass, 6);
    EXPECT_EQ(svd.LastPass().steps, 88); // 10, 16, 25, 38, 58, 88
    EXPECT_TRUE(std::isfinite(svd.S()[4]));
}

// Of condition 1e12, the last triplet cannot be had to 14 digits.
TEST(SparseSvdLimits, ToleranceOutOfReachGoesOnUntilSomebodyStopsIt)
{
    std::vector<double> cells;
    for (int i = 0; i < 16; ++i) cells.push_back(std::pow(10.0, -0.8 * i));
    const SparseMatrix A = diagonalSparse(cells);
    if (kHardened) {
        expectFailure<InvalidOperationException>([&] { return stoppedAfter(5, A, 16, 0.0); }, kOutOfReach);
        return;
    }
    const SparseSVD svd = stoppedAfter(5, A, 16, 0.0);
    EXPECT_EQ(svd.LastPass().pass, 5);
    EXPECT_GT(svd.LastPass().residual, 1e-14);
    for (int i = 0; i < 8; ++i) EXPECT_NEAR(svd.S()[i], cells[static_cast<std::size_t>(i)], 1e-13);
}

#if defined(LINTRIX_HARDENED) // undefined in the other builds
TEST(SparseSvdLimits, HardenedBuildRefusesWhatTheInterfaceLeavesToTheCaller)
{
    const SparseMatrix A = scatteredSparse({20, 10}, 3);
    expectFailure<InvalidOperationException>([&] { return SparseSVD(A, 11, 1e-6); },
                                             "The matrix has fewer singular values than are wanted.");
    SparseMatrix wide = scatteredSparse({10, 20}, 3);
    wide.Symmetric(true);
    expectFailure<InvalidOperationException>([&] { return SparseSVD(wide, 2, 1e-6); },
                                             "A symmetric matrix must be square.");
}
#endif

TEST(SparseSvdLimits, AllocationThatFailsInTheFirstPassLeavesNothingBehind)
{
    const SparseMatrix A = lowRank({40, 30}, 3, 1e-3, 4);
    const SparseMatrix copy = A;
    const int requests = failEachAllocation([&] { SparseSVD(A, 2, 1e-6); }, [&] { return A.IsEqual(copy); });
    EXPECT_GT(requests, 15);
}

// ---- later passes resize blocks; the memory total is then too low, so blocks are counted instead

std::atomic<int> liveBlocks{0}, budget{0};

void* countingMalloc(std::size_t size)
{
    if (budget.fetch_sub(1) <= 0) return nullptr;
    ++liveBlocks;
    return std::malloc(size);
}
void* countingCalloc(std::size_t count, std::size_t size)
{
    if (budget.fetch_sub(1) <= 0) return nullptr;
    ++liveBlocks;
    return std::calloc(count, size);
}
void* countingRealloc(void* block, std::size_t size)
{
    if (budget.fetch_sub(1) <= 0) return nullptr;
    if (block == nullptr) ++liveBlocks;
    return std::realloc(block, size);
}
void countingFree(void* block)
{
    if (block != nullptr) --liveBlocks;
    std::free(block);
}

TEST(SparseSvdLimits, AllocationThatFailsInALaterPassLeavesNoBlockBehind)
{
    std::vector<double> cells;
    for (int i = 0; i < 100; ++i) cells.push_back(1.0 + 0.01 * i);
    const SparseMatrix A = diagonalSparse(cells);
    const SparseSVD sound(A, 1, 1e-10);
    ASSERT_GT(sound.LastPass().pass, 2);
    bool passed = false;
    int failures = 0;
    for (int k = 0; !passed && k < 200; ++k) {
        SystemAllocatorSlots() = {countingMalloc, countingCalloc, countingRealloc, countingFree};
        liveBlocks = 0;
        budget = k;
        try {
            SparseSVD(A, 1, 1e-10);
            passed = true;
        } catch (const NotEnoughMemoryException&) {
            ++failures;
        }
        SystemAllocatorSlots() = {std::malloc, std::calloc, std::realloc, std::free};
        EXPECT_EQ(liveBlocks, 0) << k;
    }
    EXPECT_TRUE(passed);
    EXPECT_GT(failures, 25);
}

} // namespace
} // namespace Velmar::Lintrix::testing
