// By fact and not by trust: how many threads of the operating system a process has after a BLAS call.

#include "tests/services/probe_runner.h"
#include "tests/support/sanitized.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::ProbeAnswers;
using Velmar::Lintrix::testing::Variables;

namespace {

long osThreadsAfter(const std::vector<std::string>& arguments, const Variables& variables = {})
{
    return askProbe(arguments, variables)["os-threads"];
}

TEST(BlasThreads, ASetCountOfOneRunsAProductOnOneThread)
{
    EXPECT_EQ(osThreadsAfter({"set-threads=1", "gemm=500"}), 1);
    EXPECT_EQ(osThreadsAfter({"set-dynamic=0", "set-threads=1", "gemm=500"}), 1);
}

TEST(BlasThreads, ASetCountOfTwoRunsAProductOnTwoThreads)
{
    EXPECT_EQ(osThreadsAfter({"set-dynamic=0", "set-threads=2", "gemm=500"}), 2);
}

TEST(BlasThreads, TheCountMayRiseAgain)
{
    EXPECT_EQ(osThreadsAfter({"set-dynamic=0", "set-threads=1", "gemm=500", "set-threads=2", "gemm=500"}), 2);
}

TEST(BlasThreads, TheCountOfTheProgramHoldsAgainstTheRuntimesOwnVariables)
{
    const std::vector<std::string> two{"set-dynamic=0", "set-threads=2", "gemm=500"};
    EXPECT_EQ(osThreadsAfter(two, {{"OMP_NUM_THREADS", "1"}}), 2);
    EXPECT_EQ(osThreadsAfter(two, {{"OPENBLAS_NUM_THREADS", "1"}}), 2);
    const std::vector<std::string> one{"set-threads=1", "gemm=500"};
    EXPECT_EQ(osThreadsAfter(one, {{"OMP_NUM_THREADS", "2"}}), 1);
    EXPECT_EQ(osThreadsAfter(one, {{"OPENBLAS_NUM_THREADS", "2"}}), 1);
}

TEST(BlasThreads, TheEnvironmentsCountOfOneRunsAProductOnOneThread)
{
    EXPECT_EQ(osThreadsAfter({"gemm=500"}, {{"MKL_NUM_THREADS", "1"}}), 1);
    EXPECT_EQ(osThreadsAfter({"gemm=500"}, {{"MKL_NUM_THREADS", "1"}, {"OMP_NUM_THREADS", "2"}}), 1);
}

TEST(BlasThreads, TheEnvironmentsCountOfTwoRunsAProductOnTwoThreads)
{
    EXPECT_EQ(osThreadsAfter({"gemm=500"}, {{"MKL_NUM_THREADS", "2"}, {"MKL_DYNAMIC", "FALSE"}}), 2);
}

TEST(BlasThreads, ProductsInsideAnActiveRegionStartNoFurtherThreads)
{
    const std::vector<std::string> bare{"set-dynamic=0", "set-threads=2", "region"};
    EXPECT_EQ(osThreadsAfter(bare), 2);
    const std::vector<std::string> products{"set-dynamic=0", "set-threads=2", "region-gemm=500"};
    EXPECT_EQ(osThreadsAfter(products), 2);
    // Even where the runtime would allow a second level of teams.
    EXPECT_EQ(osThreadsAfter(products, {{"OMP_MAX_ACTIVE_LEVELS", "3"}}), 2);
}

// With the dynamic flag on the runtime gives a region fewer threads while the machine is busy.
TEST(BlasThreads, ProductsInsideARegionOfDynamicSizeStartNoFurtherThreads)
{
    const std::vector<std::string> products{"set-dynamic=1", "set-threads=2", "region-gemm=500"};
    EXPECT_LE(osThreadsAfter(products), 2);
    EXPECT_LE(osThreadsAfter(products, {{"OMP_MAX_ACTIVE_LEVELS", "3"}}), 2);
}

TEST(BlasThreads, TheCallersOwnCountStandsAgainAfterTheCall)
{
    EXPECT_EQ(askProbe({"set-dynamic=0", "set-threads=1", "set-omp=3", "gemm=500"})["omp-max"], 3);
    EXPECT_EQ(askProbe({"set-dynamic=0", "set-threads=2", "set-omp=3", "gemm=500"})["omp-max"], 3);
    EXPECT_EQ(askProbe({"set-dynamic=0", "set-threads=2", "set-omp=1", "gemm=500"})["omp-max"], 1);
    EXPECT_EQ(askProbe({"set-threads=2", "region-gemm=500"})["region-restored"], 1);
}

// The OpenMP runtime ends the process when it cannot start a thread of a team.
TEST(BlasThreads, ATeamThatTheMemoryIsMissingForIsSmaller)
{
    const Variables oneAtFirst{{"OMP_NUM_THREADS", "1"}, {"OMP_STACKSIZE", "8M"}};
    const ProbeAnswers told =
        askProbe({"set-dynamic=0", "gemm=500", "set-threads=64", "limit-memory=100", "gemm=500", "threads"},
                 oneAtFirst);
    EXPECT_EQ(told["blas"], 64);
    EXPECT_LE(told["os-threads"], LINTRIX_SANITIZED_MEMORY ? 64 : 8);
}

TEST(BlasThreads, AnAbsurdCountDoesNoHarm)
{
    const ProbeAnswers told = askProbe(
        {"threads", "gemm=500"}, {{"MKL_NUM_THREADS", "99999999999999999999"}, {"MKL_DYNAMIC", "FALSE"}});
    EXPECT_EQ(told["all"], 2147483647);
    EXPECT_GE(told["os-threads"], 2);
}

} // namespace
