// The default strategy against ComputeAlways: a first Solve of the one is never worse than that of the other.

#include <lintrix/solvers/sparse_solver.h>

#include "tests/solvers/grids.h"
#include "tests/support/files.h"
#include "tests/support/thread_setting.h"

#include <lintrix/sparse/matrix_market.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

constexpr int kSides = 3;

/// Entry (i, j) is 1 / (i + j + 1). Of order 12 its condition is 2e16: no iteration gets better than its
/// start.
SparseMatrix hilbert(int n, AssemblyStorage storage)
{
    SparseAssemblerOptions options;
    options.storage = storage;
    options.lower = LowerEntries::Ignore;
    SparseAssembler entries(n, n, options);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) entries.Add(i, j, 1.0 / (i + j + 1));
    }
    return entries.Assemble();
}

/// Right-hand sides of solutions that are known.
Matrix rightHandSides(const SparseMatrix& A)
{
    Matrix B(A.Rows(), kSides);
    for (int j = 0; j < kSides; ++j) B.SetColumn(j, A * someVector(A.Cols(), j));
    return B;
}

/// ||b - A x|| / (||A|| ||x|| + ||b||): max |a_ij| is the norm of A where ||x|| is a sum of magnitudes and
/// those of residual and b are the largest one.
double backwardError(const SparseMatrix& A, const Vector& x, const Vector& b)
{
    double entry = 0.0, size = 0.0;
    for (const double value : A.Values()) entry = std::max(entry, std::abs(value));
    for (int i = 0; i < x.Length(); ++i) size += std::abs(x[i]);
    return largest(b - A * x) / (entry * size + largest(b));
}

struct Outcome {
    bool solved = false;
    std::vector<double> errors; ///< of the columns
};

Outcome firstSolve(const SparseMatrix& A, FactorizationStrategy strategy)
{
    SparseSolver solver(A);
    solver.FactorizationStrategy(strategy);
    const Matrix B = rightHandSides(A);
    Outcome outcome;
    try {
        const Matrix X = solver.Solve(B);
        outcome.solved = true;
        for (int j = 0; j < kSides; ++j)
            outcome.errors.push_back(backwardError(A, X.ColVector(j), B.ColVector(j)));
    } catch (const OperationFailedException&) {
        EXPECT_NE(solver.Status(), SolverStatus::Success);
    }
    return outcome;
}

/// Where ComputeAlways solves, so does the default, and no worse, in each column.
/// @return  whether ComputeAlways solves well
bool expectNoWorse(const SparseMatrix& A)
{
    constexpr double rounding = 1e-16, residualsAreRounded = 4.0, well = 1e-12;
    const Outcome always = firstSolve(A, FactorizationStrategy::ComputeAlways);
    const Outcome asDefault = firstSolve(A, FactorizationStrategy::ComputeWhenNeeded);
    if (!always.solved) return false;
    EXPECT_TRUE(asDefault.solved);
    if (!asDefault.solved) return false;
    for (std::size_t j = 0; j < kSides; ++j)
        EXPECT_LT(asDefault.errors[j], residualsAreRounded * always.errors[j] + rounding) << "column " << j;
    return *std::ranges::max_element(always.errors) < well;
}

TEST(SparseSolverStrategy, ByDefaultAHilbertMatrixIsSolvedAsWellAsAlways)
{
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads);
        SCOPED_TRACE(::testing::Message() << threads << " threads");
        EXPECT_TRUE(expectNoWorse(hilbert(12, AssemblyStorage::General)));
        expectNoWorse(hilbert(12, AssemblyStorage::Symmetric)); // with perturbed pivots
    }
}

TEST(SparseSolverStrategy, ByDefaultRealMatricesAreSolvedAsWellAsAlways)
{
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads);
        int good = 0;
        for (const char* file :
             {"662_bus.mtx",  "G51.mtx",      "Trefethen_500.mtx", "b1_ss.mtx",      "bcsstk04.mtx",
              "bcsstm01.mtx", "curtis54.mtx", "fs_183_1.mtx",      "bfw782a.mtx.gz", "jagmesh7.mtx",
              "jgl011.mtx",   "jpwh_991.mtx", "lnsp_131.mtx",      "mcca.mtx",       "kkt_MOSARQP1.mtx.gz",
              "pde225.mtx",   "plskz362.mtx", "sherman4.mtx",      "sphere2.mtx",    "west0156.mtx",
              "west0479.mtx"}) {
            SCOPED_TRACE(::testing::Message() << file << ", " << threads << " threads");
            if (expectNoWorse(ReadMatrixMarket(dataFile(file)))) ++good;
        }
        EXPECT_GE(good, 15) << "so many are regular and conditioned no worse than 1e15";
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
