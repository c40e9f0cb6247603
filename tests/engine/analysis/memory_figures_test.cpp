#include "tests/engine/engine_call.h"

#include <lintrix/engine/analysis/memory_figures.h>
#include <lintrix/engine/call/handle.h>

#include <gtest/gtest.h>

#include <numeric>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

constexpr std::int64_t kibibytes(std::int64_t bytes)
{
    return (bytes + 1023) / 1024;
}

/// The sizes of an analysis of order 1024 with 128 supernodes.
ControlBlock sizes(int mtype)
{
    ControlBlock control{};
    control[Word::Maxfct] = 1;
    control[Word::Mtype] = mtype;
    control[Word::Order] = 1024;
    control[Word::RightHandSides] = 2;
    control[Word::SymmetricStorage] = mtype % 2 == 0 ? 1 : 0;
    control[Word::ElementWidth] = mtype == 6 ? 2 : 1;
    control[Word::MappedEntries] = 4096;
    control[Word::StructureNonZeros] = 8192;
    control[Word::Subgraphs] = 3;
    control[Word::Supernodes] = 128;
    control[Word::TallestPanel] = 64;
    control[Word::WidestPanel] = 16;
    control.set(WideWord::FactorRowIndices, 2048);
    control.set(WideWord::LowerElements, 10240);
    control.set(WideWord::UpperElements, mtype % 2 == 0 ? 1 : 5120);
    control.set(WideWord::LargestUpdate, 256);
    return control;
}

TEST(MemoryFigures, KeptAreTheBlocksThatStay)
{
    const std::int64_t basic = kibibytes(sizeof(ControlBlock)) + kibibytes(sizeof(FactorEntry));
    const std::int64_t integers = kibibytes(4 * (3 * 1024 + 2 * 128 + 2 * 4096 + 4 * 3)), rows = 8;
    const std::int64_t threeTables = kibibytes(8 * 3 * 129), twoTables = kibibytes(8 * 2 * 129);
    EXPECT_EQ(forecastMemory(sizes(1), false).analysisKept, basic + integers + rows + threeTables + 1);
    EXPECT_EQ(forecastMemory(sizes(2), false).analysisKept, basic + integers + rows + twoTables);
    // Update lengths go with unsymmetric storage and with complex elements, a matching with its scaling.
    EXPECT_EQ(forecastMemory(sizes(6), false).analysisKept, basic + integers + rows + twoTables + 1);
    EXPECT_EQ(forecastMemory(sizes(11), true).analysisKept,
              basic + integers + rows + threeTables + 1 + 4 + 16);
    const std::int64_t pairs = kibibytes(4 * (2 * 1024 + 2 + 17)); // 512 bits in words of 31
    EXPECT_EQ(forecastMemory(sizes(-2), true).analysisKept, basic + integers + rows + twoTables + pairs + 16);
}

TEST(MemoryFigures, PeakAddsTheWorkOfTheAnalysis)
{
    const MemoryFigures figures = forecastMemory(sizes(11), false);
    const std::int64_t work = kibibytes(4 * (1025 + 8192)) + 8 + kibibytes(4 * (3 * 1024 + 1 + 8192)) +
                              kibibytes(4 * 2049) + kibibytes(8 * 1025);
    EXPECT_EQ(figures.analysisPeak, figures.analysisKept + work);
}

TEST(MemoryFigures, FactorsCountElementsAndTheWorkOfASolve)
{
    // Four blocks of work for negative types and 6, two for others.
    EXPECT_EQ(forecastMemory(sizes(11), false).factors, 80 + 40 + kibibytes(8 * (2 * 1024 + 2 * 256)));
    EXPECT_EQ(forecastMemory(sizes(-2), false).factors, 80 + 1 + kibibytes(8 * (2 * 1024 + 4 * 256)));
    EXPECT_EQ(forecastMemory(sizes(6), false).factors, 160 + 1 + kibibytes(16 * (2 * 1024 + 4 * 256)));
    ControlBlock single = sizes(11);
    single[Word::SinglePrecision] = 1;
    EXPECT_EQ(forecastMemory(single, false).factors, 40 + 20 + kibibytes(4 * (2 * 1024 + 2 * 256)));
}

TEST(MemoryFigures, LeastOutOfCoreIsTwoPanelsAndTheWork)
{
    const MemoryFigures figures = forecastMemory(sizes(11), false);
    EXPECT_EQ(figures.leastOutOfCore, figures.analysisKept + kibibytes(8 * (2 * 64 * 16 + 2 * 256)));
}

// A path in its own order: each column meets the next, and only the last two have the same rows below.
TEST(MemoryFigures, AreToldInTheParameters)
{
    EngineCall call(tridiagonal(300));
    std::iota(call.perm.begin(), call.perm.end(), 1);
    call.set(5, 1);
    call.set(18, -1);
    call.set(19, -1);
    ASSERT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(18), (299 + 300) + 299);
    EXPECT_EQ(call.iparm(19), 0); // far below a gigaflop
    // No less than the factor and the vectors of a solve, and no structure that is larger than all of A.
    EXPECT_GE(call.iparm(17), kibibytes(8 * 898) + kibibytes(8 * 300));
    EXPECT_GE(call.iparm(16), kibibytes(4 * 2 * 898)); // where each entry comes from, and where it goes
    EXPECT_GT(call.iparm(15), call.iparm(16));
    EXPECT_LT(call.iparm(15), 100);
    EXPECT_EQ(call.iparm(61), 1); // megabytes
    EXPECT_EQ(call.iparm(62), 1);
    EXPECT_EQ(call.iparm(63), 1);
}

TEST(MemoryFigures, GrowWithTheMatrixInTheParametersToo)
{
    EngineCall small(tridiagonal(300)), large(tridiagonal(30000));
    ASSERT_EQ(small.run(11), 0);
    ASSERT_EQ(large.run(11), 0);
    for (const int figure : {15, 16, 17}) {
        EXPECT_NEAR(static_cast<double>(large.iparm(figure)) / small.iparm(figure), 100.0, 25.0) << figure;
    }
    EXPECT_EQ(large.iparm(62), kibibytes(large.iparm(16)));
    EXPECT_EQ(large.iparm(61), kibibytes(large.iparm(16) + large.iparm(17)));
}

} // namespace
