#include "tests/services/probe_runner.h"

#include <lintrix/services/thread_scope.h>
#include <lintrix/services/threads.h>

#include <gtest/gtest.h>
#include <omp.h>

#include <climits>
#include <string>
#include <thread>
#include <vector>

using namespace Velmar::Lintrix;
using Velmar::Lintrix::detail::BlasThreadScope;
using Velmar::Lintrix::detail::Domain;
using Velmar::Lintrix::detail::domainThreads;
using Velmar::Lintrix::detail::SequentialBlasScope;
using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::ProbeAnswers;
using Velmar::Lintrix::testing::Variables;

namespace {

/// The counts as they are set: with the dynamic flag off, so that the machine's cores do not come in.
ProbeAnswers threadsUnder(Variables variables)
{
    variables.emplace("MKL_DYNAMIC", "FALSE");
    return askProbe({"threads"}, variables);
}

TEST(ThreadControl, TakesATextThatIsNoNumberForOneThread)
{
    EXPECT_EQ(threadsUnder({{"MKL_NUM_THREADS", "abc"}, {"OMP_NUM_THREADS", "5"}})["all"], 1);
}

TEST(ThreadControl, IgnoresACountOfZeroSoThatTheRuntimeStands)
{
    EXPECT_EQ(threadsUnder({{"MKL_NUM_THREADS", "0"}, {"OMP_NUM_THREADS", "5"}})["all"], 5);
}

TEST(ThreadControl, ReadsTheGlobalCountForEveryDomain)
{
    const ProbeAnswers told = threadsUnder({{"MKL_NUM_THREADS", "7"}});
    EXPECT_EQ(told["all"], 7);
    EXPECT_EQ(told["blas"], 7);
    EXPECT_EQ(told["fft"], 7);
    EXPECT_EQ(told["vml"], 7);
}

TEST(ThreadControl, ReadsCountsByDomain)
{
    const ProbeAnswers told = threadsUnder({{"MKL_DOMAIN_NUM_THREADS", "MKL_ALL=4, MKL_BLAS=2"}});
    EXPECT_EQ(told["all"], 4);
    EXPECT_EQ(told["blas"], 2);
    EXPECT_EQ(told["fft"], 4);
    EXPECT_EQ(told["vml"], 4);
}

TEST(ThreadControl, ReadsFftAndVmlCounts)
{
    const ProbeAnswers told =
        threadsUnder({{"MKL_DOMAIN_NUM_THREADS", "MKL_FFT=3;MKL_VML=5"}, {"OMP_NUM_THREADS", "2"}});
    EXPECT_EQ(told["all"], 2);
    EXPECT_EQ(told["blas"], 2);
    EXPECT_EQ(told["fft"], 3);
    EXPECT_EQ(told["vml"], 5);
}

TEST(ThreadControl, StaysDynamicOnAMixedSpelling)
{
    EXPECT_EQ(askProbe({"threads"}, {{"MKL_DYNAMIC", "False"}})["dynamic"], 1);
    EXPECT_EQ(askProbe({"threads"}, {{"MKL_DYNAMIC", "FALSE"}})["dynamic"], 0);
    EXPECT_EQ(askProbe({"threads"}, {{"MKL_DYNAMIC", "false"}})["dynamic"], 0);
    EXPECT_EQ(askProbe({"threads"})["dynamic"], 1);
}

TEST(ThreadControl, CountsAnOverlongValueAsAbsent)
{
    EXPECT_EQ(
        threadsUnder({{"MKL_NUM_THREADS", std::string(256, '0') + "3"}, {"OMP_NUM_THREADS", "5"}})["all"], 5);
    EXPECT_EQ(
        threadsUnder({{"MKL_NUM_THREADS", std::string(255, '0') + "3"}, {"OMP_NUM_THREADS", "5"}})["all"], 3);
}

TEST(ThreadControl, KeepsWhatTheProgramSetBeforeTheEnvironmentWasRead)
{
    const Variables variables{{"MKL_NUM_THREADS", "7"}, {"MKL_DYNAMIC", "TRUE"}};
    const ProbeAnswers told = askProbe({"set-dynamic=0", "set-threads=3", "threads"}, variables);
    EXPECT_EQ(told["all"], 3);
    EXPECT_EQ(told["dynamic"], 0);
    const ProbeAnswers on = askProbe({"set-dynamic=1", "threads"}, {{"MKL_DYNAMIC", "FALSE"}});
    EXPECT_EQ(on["dynamic"], 1);
}

TEST(ThreadControl, LetsTheProgramChangeWhatTheEnvironmentSaid)
{
    const Variables variables{{"MKL_NUM_THREADS", "7"}, {"MKL_DYNAMIC", "FALSE"}};
    EXPECT_EQ(askProbe({"threads", "set-threads=3", "threads"}, variables)["all"], 3);
    EXPECT_EQ(askProbe({"threads", "set-dynamic=2", "threads"}, variables)["dynamic"], 1);
}

TEST(ThreadControl, IgnoresASetCountBelowOne)
{
    for (const char* n : {"set-threads=0", "set-threads=-1", "set-threads=-2147483648"}) {
        EXPECT_EQ(askProbe({n, "threads"}, {{"MKL_NUM_THREADS", "7"}, {"MKL_DYNAMIC", "FALSE"}})["all"], 7)
            << n;
        EXPECT_EQ(askProbe({"set-dynamic=0", "set-threads=3", n, "threads"})["all"], 3) << n;
    }
}

TEST(ThreadControl, AsksTheRuntimeWhenNothingIsSet)
{
    EXPECT_EQ(threadsUnder({{"OMP_NUM_THREADS", "6"}})["all"], 6);
    EXPECT_EQ(askProbe({"set-dynamic=0", "set-omp=9", "threads"})["all"], 9);
}

TEST(ThreadControl, AnswersOneInsideAnActiveRegionWhateverWasSet)
{
    const ProbeAnswers told = askProbe({"set-threads=4", "region"});
    EXPECT_EQ(told["region-first"], 1);
    EXPECT_EQ(told["region-second"], 1);
}

TEST(ThreadControl, AnswersTheSettingInsideAnActiveRegionWithDynamicOff)
{
    const ProbeAnswers told = askProbe({"set-threads=4", "region"}, {{"MKL_DYNAMIC", "FALSE"}});
    EXPECT_EQ(told["region-first"], 4);
    EXPECT_EQ(told["region-second"], 4);
}

TEST(ThreadControl, GivesAnMpiProcessItsShareOfTheCores)
{
    const auto asProcessOf = [](const char* processes, const char* level) {
        return askProbe({"threads", "topology"}, {{"I_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE", processes},
                                                  {"I_MPI_THREAD_LEVEL", level}});
    };
    const ProbeAnswers alone = asProcessOf("1", "1");
    const ProbeAnswers crowded = asProcessOf("1000000", "3");
    const bool known = alone["cores"] != -1; // unknown to a process that may not run everywhere
    EXPECT_EQ(alone["all"], known ? alone["cores"] : alone["omp-max"]);
    EXPECT_EQ(crowded["all"], known ? 1 : crowded["omp-max"]);
    EXPECT_EQ(asProcessOf("1", "0")["all"], 1);
}

TEST(ThreadControl, GivesAnMpiProcessTheCountThatTheUserChose)
{
    const Variables chosen{{"I_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE", "1000000"},
                           {"OMP_NUM_THREADS", "1000"}};
    const ProbeAnswers told = askProbe({"threads", "topology"}, chosen);
    EXPECT_EQ(told["all"], told["cores"] == -1 ? told["omp-max"] : told["cores"]);
}

TEST(ThreadControl, StoresOneForEveryDynamicFlagButZero)
{
    for (const int flag : {1, 2, -1, INT_MIN}) {
        MKL_Set_Dynamic(0);
        MKL_Set_Dynamic(flag);
        EXPECT_EQ(MKL_Get_Dynamic(), 1) << flag;
    }
    MKL_Set_Dynamic(0);
    EXPECT_EQ(MKL_Get_Dynamic(), 0);
}

TEST(ThreadControl, TakesEffectAtTheNextQuestionOfAnyThread)
{
    MKL_Set_Dynamic(0);
    MKL_Set_Num_Threads(5);
    int told = 0;
    std::thread([&] { told = MKL_Get_Max_Threads(); }).join();
    EXPECT_EQ(told, 5);
    std::thread([] { MKL_Set_Num_Threads(6); }).join();
    EXPECT_EQ(MKL_Get_Max_Threads(), 6);
}

TEST(ThreadControl, AnswersManyThreadsWhileOneChangesTheSettings)
{
    MKL_Set_Dynamic(0);
    MKL_Set_Num_Threads(2);
    std::vector<std::thread> askers;
    for (int t = 0; t < 3; ++t) {
        askers.emplace_back([] {
            for (int i = 0; i < 20000; ++i) {
                const int threads = domainThreads(Domain::Fft);
                ASSERT_TRUE(threads == 2 || threads == 3) << threads;
            }
        });
    }
    for (int i = 0; i < 20000; ++i) MKL_Set_Num_Threads(2 + i % 2);
    for (std::thread& asker : askers) asker.join();
}

TEST(BlasThreadScope, BringsTheCountToTheRuntimeAndRestoresTheCallers)
{
    MKL_Set_Dynamic(0);
    for (const int callers : {1, 2, 3}) {
        for (const int wanted : {1, 2, 5}) {
            omp_set_num_threads(callers);
            MKL_Set_Num_Threads(wanted);
            {
                const BlasThreadScope scope;
                EXPECT_EQ(omp_get_max_threads(), wanted);
            }
            EXPECT_EQ(omp_get_max_threads(), callers);
        }
    }
}

TEST(BlasThreadScope, LeavesOtherThreadsAlone)
{
    MKL_Set_Dynamic(0);
    omp_set_num_threads(2);
    MKL_Set_Num_Threads(3);
    int before = 0, during = 0;
    std::thread([&] { before = omp_get_max_threads(); }).join();
    const BlasThreadScope scope;
    std::thread([&] { during = omp_get_max_threads(); }).join();
    EXPECT_EQ(omp_get_max_threads(), 3);
    EXPECT_EQ(during, before);
}

TEST(BlasThreadScope, AsksForOneThreadInsideAnActiveRegionEvenWithDynamicOff)
{
    MKL_Set_Num_Threads(4);
    for (const int dynamic : {0, 1}) {
        MKL_Set_Dynamic(dynamic);
        int told[2] = {};
#pragma omp parallel num_threads(2)
        {
            const BlasThreadScope scope;
            told[omp_get_thread_num()] = omp_get_max_threads();
        }
        EXPECT_EQ(told[0], 1) << "dynamic " << dynamic;
        EXPECT_EQ(told[1], 1) << "dynamic " << dynamic;
    }
}

TEST(BlasThreadScope, AsksForOneThreadWithinASequentialScopeOfItsThread)
{
    MKL_Set_Dynamic(0);
    MKL_Set_Num_Threads(3);
    const auto wanted = [] {
        const BlasThreadScope scope;
        return omp_get_max_threads();
    };
    {
        const SequentialBlasScope outer;
        {
            const SequentialBlasScope inner;
        }
        EXPECT_EQ(wanted(), 1);
        int elsewhere = 0;
        std::thread([&] { elsewhere = wanted(); }).join();
        EXPECT_EQ(elsewhere, 3);
    }
    EXPECT_EQ(wanted(), 3);
}

TEST(BlasThreadScope, AsksForOneThreadForWorkThatRepaysNoMore)
{
    MKL_Set_Dynamic(0);
    MKL_Set_Num_Threads(3);
    const auto wantedFor = [](double multiplications) {
        const SequentialBlasScope little(multiplications);
        const BlasThreadScope scope;
        return omp_get_max_threads();
    };
    EXPECT_EQ(wantedFor(0.0), 1);
    EXPECT_EQ(wantedFor(1e6), 1); // a matrix of order 144, factorized
    EXPECT_EQ(wantedFor(1e10), 3);
    const SequentialBlasScope outer;
    EXPECT_EQ(wantedFor(1e10), 1);
}

TEST(BlasThreadScope, FollowsTheBlasDomain)
{
    const ProbeAnswers told = askProbe(
        {"gemm=500"}, {{"MKL_DOMAIN_NUM_THREADS", "MKL_ALL=3 MKL_BLAS=1"}, {"MKL_DYNAMIC", "FALSE"}});
    EXPECT_EQ(told["os-threads"], 1);
}

} // namespace
