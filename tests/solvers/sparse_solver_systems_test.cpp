// SparseSolver with the engine behind it: systems are solved, and what goes wrong is told and leaves nothing.

#include <lintrix/solvers/sparse_solver.h>

#include "tests/solvers/engine_recorder.h"
#include "tests/solvers/grids.h"
#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/files.h"

#include <lintrix/services/hardening.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/matrix_market.h>

#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::SparseAccess;
using ::testing::ElementsAre;

constexpr double kRounding = 1e-14; // of a scaled residual
constexpr double kGrowth = 1e-12; // the same where pivots are taken from the diagonal, whatever stands there
constexpr const char* kAnalysisFailed = "Error during matrix analysis phase.";
constexpr const char* kPatternChanged =
    "The pattern of a solver's matrix must not change after its analysis.";
constexpr const char* kFactorizationFailed = "Error during matrix factorization and solve phase.";

struct Setting {
    double wind, shift;
    Lintrix::MatrixType type;
    FillInReducingMethod ordering;
    FactorizationStrategy strategy;
};

std::vector<Setting> settings()
{
    std::vector<Setting> all;
    for (const auto ordering : {FillInReducingMethod::MinimumDegree, FillInReducingMethod::NestedDissection,
                                FillInReducingMethod::ParallelNestedDissection}) {
        for (const auto strategy :
             {FactorizationStrategy::ComputeAlways, FactorizationStrategy::ComputeWhenNeeded}) {
            all.push_back({0.0, 0.0, MatrixType::PositiveDefinite, ordering, strategy});
            all.push_back({0.0, -2.3, MatrixType::Indefinite, ordering, strategy});
            all.push_back({0.4, 0.0, MatrixType::Unsymmetric, ordering, strategy});
            all.push_back({0.4, 0.0, MatrixType::StructurallySymmetric, ordering, strategy});
        }
    }
    return all;
}

TEST(SparseSolverSystems, EverySettingSolves)
{
    for (const Setting& s : settings()) {
        SCOPED_TRACE(::testing::Message()
                     << "type " << static_cast<int>(s.type) << ", ordering " << static_cast<int>(s.ordering)
                     << ", strategy " << static_cast<int>(s.strategy));
        const SparseMatrix A = gridMatrix(23, s.wind, s.shift);
        SparseSolver solver(A);
        solver.MatrixType(s.type);
        solver.FillInReducingMethod(s.ordering);
        solver.FactorizationStrategy(s.strategy);
        const Vector b = someVector(A.Rows());
        const double limit = s.type == MatrixType::Indefinite ? kGrowth : kRounding;
        EXPECT_LT(scaledResidual(A, solver.Solve(b), b), limit);
        EXPECT_EQ(solver.Status(), SolverStatus::Success);
        EXPECT_LT(scaledResidual(A, solver.Solve(b), b), limit) << "again";
    }
}

TEST(SparseSolverSystems, EveryColumnIsSolvedAsIfAlone)
{
    for (const double wind : {0.0, 0.4}) {
        const SparseMatrix A = gridMatrix(9, wind);
        SparseSolver solver(A), alone(A);
        Matrix B(A.Rows(), 5);
        for (int j = 0; j < 5; ++j) {
            const Vector b = someVector(A.Rows(), j);
            for (int i = 0; i < A.Rows(); ++i) B(i, j) = b[i];
        }
        const Matrix X = solver.Solve(B);
        for (int j = 0; j < 5; ++j) {
            const Vector x = alone.Solve(someVector(A.Rows(), j));
            for (int i = 0; i < A.Rows(); ++i) EXPECT_NEAR(X(i, j), x[i], 1e-12);
        }
    }
}

TEST(SparseSolverSystems, OrdersOneToThreeAreSolved)
{
    for (int n = 1; n <= 3; ++n) {
        for (const bool symmetric : {false, true}) {
            SparseMatrix A = symmetric ? SparseMatrix(n, true) : SparseMatrix(n, n);
            for (int i = 0; i < n; ++i) {
                A.Item(i, i, 3.0 + i);
                if (i + 1 < n) A.Item(i, i + 1, 1.0);
            }
            SparseSolver solver(A);
            const Vector b = someVector(n);
            EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kRounding) << n;
        }
    }
}

TEST(SparseSolverSystems, RefinementInExtendedPrecisionReachesRounding)
{
    const SparseMatrix A = gridMatrix(20, 0.4);
    SparseSolver solver(A);
    solver.FactorizationStrategy(FactorizationStrategy::ComputeAlways);
    solver.RefinementSteps(-3);
    const Vector b = someVector(A.Rows());
    EXPECT_LT(scaledResidual(A, solver.Solve(b), b), 2e-16);
}

TEST(SparseSolverSystems, SlowlyChangingValuesAreSolvedWithOneAnalysis)
{
    for (const auto strategy :
         {FactorizationStrategy::ComputeWhenNeeded, FactorizationStrategy::ComputeAlways}) {
        EngineRecorder engine(true);
        SparseMatrix A = gridMatrix(25, 0.4);
        SparseSolver solver(A);
        solver.FactorizationStrategy(strategy);
        const Vector b = someVector(A.Rows());
        const bool iterates = strategy == FactorizationStrategy::ComputeWhenNeeded;
        for (int step = 0; step < 6; ++step) {
            for (int i = 0; i < A.Rows(); ++i) A.Item(i, i, 4.0 + 0.01 * step * (i % 3));
            EXPECT_LT(scaledResidual(A, solver.Solve(b), b), iterates ? 1e-5 : kRounding);
        }
        EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23, 23, 23, 23, 23));
    }
}

double euclideanNorm(const Vector& x)
{
    double squared = 0.0;
    for (int i = 0; i < x.Length(); ++i) squared += x[i] * x[i];
    return std::sqrt(squared);
}

// The iteration stops where its correction is 1e-6 of the solution, or 1e-12 where the matrix is not
// symmetric. The error is that correction times at most ||inv(A)*M||, below 2 for these changes.
TEST(SparseSolverSystems, ChangedValuesAreSolvedToTheToldDigits)
{
    for (const double wind : {0.0, 0.4}) {
        SparseMatrix A = gridMatrix(25, wind);
        SparseSolver solver(A);
        const Vector exact = someVector(A.Rows());
        for (int step = 0; step < 6; ++step) {
            for (int i = 0; i < A.Rows(); ++i) A.Item(i, i, 4.0 + 0.01 * step * (i % 3));
            const Vector x = solver.Solve(A * exact);
            const double digits = step == 0 || wind != 0.0 ? 1e-12 : 1e-6;
            EXPECT_LT(euclideanNorm(x - exact), 2.0 * digits * euclideanNorm(exact)) << step;
        }
    }
}

TEST(SparseSolverSystems, ADiagonalMatrixIsSolvedAndWhatItBecomesIsNotTakenForSolved)
{
    SparseMatrix A(3, 3);
    for (int i = 0; i < 3; ++i) A.Item(i, i, 2.0 + i);
    SparseSolver solver(A);
    EXPECT_EQ(solver.Solve(Vector(3, 12.0))[1], 4.0);
    A.Item(0, 2, 1.0);
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { solver.Solve(Vector(3)); }, kPatternChanged);
        return;
    }
    expectFailure<OperationFailedException>([&] { solver.Solve(Vector(3)); }, kFactorizationFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::InputInconsistent);
}

TEST(SparseSolverSystems, ZeroRightHandSidesHaveZeroSolutionsAloneAndAmongOthers)
{
    for (const auto strategy :
         {FactorizationStrategy::ComputeWhenNeeded, FactorizationStrategy::ComputeAlways}) {
        for (const double wind : {0.0, 0.4}) {
            const SparseMatrix A = gridMatrix(12, wind);
            SparseSolver solver(A);
            solver.FactorizationStrategy(strategy);
            EXPECT_EQ(largest(solver.Solve(Vector(A.Rows()))), 0.0);
            Matrix B(A.Rows(), 20);
            for (int j = 0; j < 20; j += 2) {
                for (int i = 0; i < A.Rows(); ++i) B(i, j) = 1.0 + i % (j + 2);
            }
            const Matrix X = solver.Solve(B);
            for (int j = 0; j < 20; ++j) {
                const Vector b = B.ColVector(j), x = X.ColVector(j);
                if (j % 2 == 0)
                    EXPECT_LT(scaledResidual(A, x, b), kRounding) << j;
                else
                    EXPECT_EQ(largest(x), 0.0) << j;
            }
        }
    }
}

TEST(SparseSolverSystems, AFactorThatNoLongerServesIsReplacedWithinTheCall)
{
    for (const double wind : {0.0, 0.4}) {
        EngineRecorder engine(true);
        SparseMatrix A = gridMatrix(25, wind);
        SparseSolver solver(A);
        const Vector b = someVector(A.Rows());
        solver.Solve(b);
        for (int i = 0; i < A.Rows(); ++i) A.Item(i, i, 4.0 + 1e6 * (i % 7));
        EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kGrowth);
        EXPECT_EQ(solver.Status(), SolverStatus::Success);
        EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
    }
}

// The pattern is the caller's duty: what was analysed is factorized, and the iteration sees the matrix.
TEST(SparseSolverSystems, AMatrixThatHasGrownIsNotAnalysedAgain)
{
    EngineRecorder engine(true);
    SparseMatrix A = gridMatrix(10, 0.4);
    SparseSolver solver(A);
    const Vector b = someVector(A.Rows());
    solver.Solve(b);
    const int before = A.NumElements();
    A.Item(3, 70, 1e-9); // an element more, and all behind it have moved
    ASSERT_EQ(A.NumElements(), before + 1);
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { solver.Solve(b); }, kPatternChanged);
        return;
    }
    try {
        solver.Solve(b);
    } catch (const OperationFailedException&) {
        EXPECT_EQ(solver.Status(), SolverStatus::ZeroPivot);
    }
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
    EXPECT_EQ(engine.calls.back().a, SparseAccess::values(A));
}

TEST(SparseSolverSystems, AMatrixThatHasLostElementsIsRefusedWhereAFactorIsMade)
{
    SparseMatrix A = gridMatrix(10, 0.4);
    SparseSolver solver(A);
    solver.FactorizationStrategy(FactorizationStrategy::ComputeAlways);
    const Vector b = someVector(A.Rows());
    solver.Solve(b);
    A = SparseMatrix(100, 100);
    for (int i = 0; i < 100; ++i) A.Item(i, i, 2.0);
    A.Item(0, 1, 1.0);
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { solver.Solve(b); }, kPatternChanged);
    } else {
        expectFailure<OperationFailedException>([&] { solver.Solve(b); }, kFactorizationFailed);
        EXPECT_EQ(solver.Status(), SolverStatus::InputInconsistent);
    }
    A = gridMatrix(10, 0.4);
    EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kRounding);
}

TEST(SparseSolverSystems, TheSymmetricFlagCountsWhenTheSolverIsMade)
{
    SparseMatrix A = gridMatrix(10);
    const Vector b = someVector(A.Rows());
    SparseSolver solver(A);
    const Vector x = solver.Solve(b);
    A.Symmetric(false);
    EXPECT_EQ(solver.MatrixType(), MatrixType::Indefinite);
    EXPECT_EQ(largest(solver.Solve(b) - x), 0.0);
    SparseSolver upper(A); // now the triangle is the matrix
    EXPECT_EQ(upper.MatrixType(), MatrixType::Unsymmetric);
    EXPECT_LT(scaledResidual(A, upper.Solve(b), b), kRounding);
}

// --- Failures ---

TEST(SparseSolverSystems, AnIndefiniteMatrixIsNoPositiveDefiniteOneAndTheTypeCanBeChanged)
{
    const SparseMatrix A = gridMatrix(12, 0.0, -2.3);
    SparseSolver solver(A);
    solver.MatrixType(MatrixType::PositiveDefinite);
    const Vector b = someVector(A.Rows());
    expectFailure<OperationFailedException>([&] { solver.Solve(b); }, kFactorizationFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::ZeroPivot);
    EXPECT_FALSE(solver.Stopped());
    solver.MatrixType(MatrixType::Indefinite);
    EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kGrowth);
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
}

TEST(SparseSolverSystems, AStructurallySingularMatrixFailsInTheAnalysis)
{
    SparseMatrix A(3, 3);
    for (int i = 0; i < 3; ++i) {
        A.Item(i, 0, 1.0);
        A.Item(i, 1, 2.0 + i);
    }
    SparseSolver solver(A);
    expectFailure<OperationFailedException>([&] { solver.Solve(Vector(3)); }, kAnalysisFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::OtherError);
}

TEST(SparseSolverSystems, ABadOrderingFailsInTheAnalysisAndAGoodOneThenServes)
{
    const SparseMatrix A = gridMatrix(5);
    SparseSolver solver(A);
    solver.FillInReducingMethod(static_cast<FillInReducingMethod>(4));
    const Vector b = someVector(A.Rows());
    expectFailure<OperationFailedException>([&] { solver.Solve(b); }, kAnalysisFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::InputInconsistent);
    solver.FillInReducingMethod(FillInReducingMethod::MinimumDegree);
    EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kRounding);
}

TEST(SparseSolverSystems, AnyAllocationMayFailAndTheNextRunSucceeds)
{
    const SparseMatrix A = gridMatrix(6, 0.4);
    const Vector b = someVector(A.Rows());
    const std::int64_t before = TrellConfiguration::TotalMemory();
    for (int k = 0;; ++k) {
        ASSERT_LT(k, 1000) << "the run never passes";
        SparseSolver solver(A);
        bool failed = false;
        {
            const FailingAllocator allocator(k);
            try {
                solver.Solve(b);
            } catch (const NotEnoughMemoryException&) {
                failed = true;
            } catch (const OperationFailedException&) {
                failed = true;
                EXPECT_EQ(solver.Status(), SolverStatus::OutOfMemory) << "request " << k;
            }
            EXPECT_TRUE(failed || !allocator.hasFailed()) << "request " << k;
        }
        EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kRounding) << "request " << k;
        if (!failed) break;
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

// --- Progress ---

TEST(SparseSolverSystems, ProgressRisesFromZeroToHundred)
{
    for (const double wind : {0.0, 0.4}) {
        const SparseMatrix A = gridMatrix(30, wind);
        SparseSolver solver(A);
        std::vector<int> heard;
        solver.Progress([&heard](int percent) {
            heard.push_back(percent);
            return true;
        });
        solver.Solve(someVector(A.Rows()));
        ASSERT_GT(heard.size(), 10U);
        EXPECT_EQ(heard.front(), 0);
        EXPECT_EQ(heard.back(), 100);
        EXPECT_TRUE(std::ranges::is_sorted(heard));
        solver.Progress({});
        const std::size_t before = heard.size();
        solver.Solve(someVector(A.Rows()));
        EXPECT_EQ(heard.size(), before) << "an empty listener hears nothing";
    }
}

TEST(SparseSolverSystems, AfterAStopTheSolverIsUsableAgain)
{
    for (const auto strategy :
         {FactorizationStrategy::ComputeWhenNeeded, FactorizationStrategy::ComputeAlways}) {
        for (const int stopAt : {0, 1, 50, 100}) {
            EngineRecorder engine(true);
            const SparseMatrix A = gridMatrix(25, 0.4);
            SparseSolver solver(A);
            solver.FactorizationStrategy(strategy);
            solver.Progress([stopAt](int percent) { return percent < stopAt; });
            const Vector b = someVector(A.Rows());
            expectFailure<OperationFailedException>([&] { solver.Solve(b); }, kFactorizationFailed);
            EXPECT_TRUE(solver.Stopped());
            EXPECT_EQ(solver.Status(), SolverStatus::ZeroPivot) << "the engine has no number of its own";
            solver.Progress({});
            EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kRounding) << "stopped at " << stopAt;
            EXPECT_FALSE(solver.Stopped());
            EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
        }
    }
}

TEST(SparseSolverSystems, AStopWhileAFactorIsReplacedLeavesTheSolverUsable)
{
    SparseMatrix A = gridMatrix(25, 0.4);
    SparseSolver solver(A);
    const Vector b = someVector(A.Rows());
    solver.Solve(b);
    for (int i = 0; i < A.Rows(); ++i) A.Item(i, i, 4.0 + 1e6 * (i % 7));
    int heard = -1;
    solver.Progress([&heard](int percent) { return (heard = percent) < 50; });
    expectFailure<OperationFailedException>([&] { solver.Solve(b); }, kFactorizationFailed);
    EXPECT_TRUE(solver.Stopped());
    EXPECT_GE(heard, 50);
    solver.Progress({});
    EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kGrowth);
    EXPECT_FALSE(solver.Stopped());
}

TEST(SparseSolverSystems, WhatTheListenerThrowsStopsTheRunAndIsThrownOn)
{
    const SparseMatrix A = gridMatrix(25);
    SparseSolver solver(A);
    const Vector b = someVector(A.Rows());
    solver.Progress([](int percent) {
        if (percent >= 30) throw std::runtime_error("enough");
        return true;
    });
    expectFailure<std::runtime_error>([&] { solver.Solve(b); }, "enough");
    EXPECT_TRUE(solver.Stopped());
    solver.Progress({});
    EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kRounding);
}

TEST(SparseSolverSystems, SolversInSeveralThreadsHearOnlyThemselves)
{
    constexpr int kThreads = 4;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &wrong] {
            const SparseMatrix A = gridMatrix(18 + t, 0.4);
            SparseSolver solver(A);
            solver.FactorizationStrategy(FactorizationStrategy::ComputeAlways);
            const Vector b = someVector(A.Rows());
            for (int round = 0; round < 5; ++round) {
                int last = -1;
                const bool stops = t % 2 == 0;
                solver.Progress([&](int percent) {
                    if (percent < last) ++wrong;
                    last = percent;
                    return !stops || percent < 40;
                });
                try {
                    if (scaledResidual(A, solver.Solve(b), b) > kRounding) ++wrong;
                    if (stops || last != 100) ++wrong;
                } catch (const OperationFailedException&) {
                    if (!stops || !solver.Stopped() || last < 40) ++wrong;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

// --- Real matrices ---

struct RealMatrix {
    const char* file;
    bool positiveDefinite;
};

TEST(SparseSolverSystems, RealMatricesAreSolved)
{
    for (const auto& [file, positiveDefinite] : {RealMatrix{"662_bus.mtx", true},
                                                 {"bcsstk04.mtx", true},
                                                 {"Trefethen_500.mtx", true},
                                                 {"jagmesh7.mtx", false},
                                                 {"pde225.mtx", false},
                                                 {"jpwh_991.mtx", false},
                                                 {"sherman4.mtx", false},
                                                 {"bfw782a.mtx.gz", false},
                                                 {"west0479.mtx", false},
                                                 {"lnsp_131.mtx", false},
                                                 {"fs_183_1.mtx", false},
                                                 {"mcca.mtx", false}}) {
        const SparseMatrix A = ReadMatrixMarket(dataFile(file));
        SparseSolver solver(A);
        solver.FactorizationStrategy(FactorizationStrategy::ComputeAlways);
        if (positiveDefinite) solver.MatrixType(MatrixType::PositiveDefinite);
        solver.RefinementSteps(-2);
        const Vector b = A * someVector(A.Rows());
        EXPECT_LT(scaledResidual(A, solver.Solve(b), b), 1e-12) << file;
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
