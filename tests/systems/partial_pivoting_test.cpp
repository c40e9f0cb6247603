// Partial pivoting as the road of a LinearSystem.

#include <lintrix/sparse/entries.h>
#include <lintrix/sparse/matrix_market.h>
#include <lintrix/sparse/sparse_assembler.h>
#include <lintrix/systems/linear_system.h>

#include "tests/support/files.h"
#include "tests/support/refused_memory.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <stdexcept>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

Matrix columns(std::int32_t rows, std::int32_t count)
{
    std::mt19937_64 generator(7);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    Matrix block(rows, count);
    for (std::int32_t j = 0; j < count; ++j)
        for (std::int32_t i = 0; i < rows; ++i) block(i, j) = uniform(generator);
    return block;
}

/// Each node is joined with the one before it and with one far away, and now and then in one direction only.
SparseMatrix networkOf(std::int32_t n)
{
    std::mt19937_64 generator(3);
    std::uniform_real_distribution<double> uniform(0.5, 1.0);
    SparseAssembler assembler(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        assembler.Add(i, i, 4.0 * uniform(generator));
        assembler.Add(i, (i + n - 1) % n, -uniform(generator));
        assembler.Add(i / 2, i, uniform(generator));
    }
    return assembler.Assemble();
}

/// Seven points in space, convection along x.
SparseMatrix cubeOf(std::int32_t side)
{
    const std::int32_t n = side * side * side;
    SparseAssembler assembler(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        assembler.Add(i, i, 7.0);
        for (const std::int32_t step : {1, side, side * side}) {
            if (i + step >= n) continue;
            assembler.Add(i, i + step, step == 1 ? -0.5 : -1.0);
            assembler.Add(i + step, i, -1.0);
        }
    }
    return assembler.Assemble();
}

TEST(PartialPivoting, IsTakenWhereSupernodesDoNotPay)
{
    const auto roadOf = [](const SparseMatrix& A, SystemOptions options = {}) {
        LinearSystem system(A, std::move(options));
        return std::string(system.SolveKnown(columns(A.Rows(), 1)).road);
    };
    const SparseMatrix network = networkOf(400);
    EXPECT_EQ(roadOf(network), "sparse LU with partial pivoting");
    EXPECT_EQ(roadOf(cubeOf(12)), "sparse LU") << "a body";
    EXPECT_EQ(roadOf(network, {.type = MatrixType::Unsymmetric}), "sparse LU with matching");
    EXPECT_EQ(roadOf(network, {.ordering = FillInReducingMethod::NestedDissection}),
              "sparse LU with matching");
    const EngineSettings iterates{.strategy = FactorizationStrategy::ComputeWhenNeeded};
    EXPECT_EQ(roadOf(network, {.engine = iterates}), "sparse LU with matching");
}

TEST(PartialPivoting, KeepsItsPivotsForOtherValues)
{
    SparseMatrix A = networkOf(60);
    LinearSystem system(A);
    system.Forecast();
    A(0, 0) *= 2.0; // before anything is factorized
    ASSERT_EQ(system.Update(A), SystemChange::Values);
    for (int change = 0; change < 3; ++change) {
        const auto answer = system.SolveKnown(columns(60, 2));
        EXPECT_EQ(answer.verdict, Verdict::Accurate);
        EXPECT_EQ(answer.road, "sparse LU with partial pivoting");
        EXPECT_EQ(system.Factorizations(), change + 1);
        A(5, 5) *= 1.5;
        ASSERT_EQ(system.Update(A), SystemChange::Values);
    }
    A(5, 5) = A(6, 6) = 1e-30; // other pivots
    ASSERT_EQ(system.Update(A), SystemChange::Values);
    EXPECT_EQ(system.SolveKnown(columns(60, 2)).verdict, Verdict::Accurate);
}

/// The network with its equations in another order, so that elements of the diagonal are missing.
SparseMatrix shuffledNetworkOf(std::int32_t n, double scale = 1.0)
{
    SparseAssembler assembler(n, n);
    ForEachEntry(networkOf(n), [&](std::int32_t i, std::int32_t j, double value) {
        assembler.Add((3 * i + 1) % n, j, scale * value);
    });
    return assembler.Assemble();
}

TEST(PartialPivoting, IsAnalysedOnceForAllValuesOfAPattern)
{
    LinearSystem system(shuffledNetworkOf(400));
    for (int change = 0; change < 3; ++change) {
        system.Update(shuffledNetworkOf(400, 1.0 + change));
        const auto answer = system.SolveKnown(columns(400, 2));
        EXPECT_EQ(answer.verdict, Verdict::Accurate);
        EXPECT_EQ(answer.road, "sparse LU with partial pivoting");
        EXPECT_EQ(system.Factorizations(), change + 1);
        EXPECT_EQ(system.Analyses(), 1);
    }
}

TEST(PartialPivoting, ValuesThatLeaveARowEmptyAreStructurallySingular)
{
    SparseMatrix A = shuffledNetworkOf(40);
    LinearSystem system(A);
    EXPECT_EQ(system.SolveKnown(columns(40, 1)).verdict, Verdict::Accurate);
    for (std::int32_t j = 0; j < 40; ++j)
        if (A.Item(7, j) != 0.0) A(7, j) = 0.0;
    ASSERT_EQ(system.Update(A), SystemChange::Values);
    EXPECT_EQ(system.SolveKnown(columns(40, 1)).reason, "structurally singular: 39 of 40 rows matched");
}

TEST(PartialPivoting, AForecastRunsOutOfMemoryInOneWay)
{
    const SparseMatrix A = shuffledNetworkOf(25);
    const int requests = refuseEachRequest([&] { return std::make_unique<LinearSystem<double>>(A); },
                                           [](auto& system) { system->Forecast(); },
                                           [](const auto& system) { return system->Factorizations(); },
                                           [] { EXPECT_THROW(throw, NotEnoughMemoryException); });
    EXPECT_GT(requests, 20);
}

TEST(PartialPivoting, IsStoppedFromOutside)
{
    int told = 0;
    SystemOptions options;
    options.progress = [&](double, double) {
        if (++told > 1) throw std::runtime_error("enough");
    };
    LinearSystem system(networkOf(3000), options);
    EXPECT_THROW(system.Solve(columns(3000, 1)), std::runtime_error);
    told = -1'000'000;
    const auto answer = system.Solve(columns(3000, 1));
    EXPECT_EQ(answer.verdict, Verdict::Accurate);
    EXPECT_EQ(answer.road, "sparse LU with partial pivoting");
}

// Pivots that cancel, in an order that no supernode can make good for.
TEST(PartialPivoting, ExchangesOfRowsAcrossTheMatrixAreFound)
{
    const SparseMatrix A = ReadMatrixMarket(dataFile("plskz362.mtx"));
    LinearSystem system(A);
    for (const TransposeMode op : {TransposeMode::NotTransposed, TransposeMode::Transposed}) {
        const auto answer = system.SolveKnown(columns(362, 2), op);
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
        EXPECT_LT(answer.knownError.value(), 1e-8);
        EXPECT_LT(answer.probeError.value(), 1e-8);
        EXPECT_EQ(answer.perturbedPivots, 0);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
