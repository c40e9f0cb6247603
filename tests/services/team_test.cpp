#include "tests/services/probe_runner.h"

#include <lintrix/services/team.h>

#include <gtest/gtest.h>
#include <omp.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <numeric>
#include <thread>
#include <vector>

using namespace Velmar::Lintrix::detail;
using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::ProbeAnswers;

namespace {

TEST(Team, OfOneIsTheCallerOutsideOfAnyRegion)
{
    for (const int threads : {-1, 0, 1}) {
        int calls = 0;
        runTeam(threads, [&](const TeamMember& member) {
            ++calls;
            EXPECT_EQ(omp_get_level(), 0);
            EXPECT_EQ(member.thread, 0);
            EXPECT_EQ(member.threads, 1);
            member.meet();
        });
        EXPECT_EQ(calls, 1) << threads;
    }
}

TEST(Team, OfSeveralRunsOnEachOfThem)
{
    std::atomic<int> calls{0}, sum{0};
    runTeam(3, [&](const TeamMember& member) {
        ++calls;
        sum += member.thread;
        EXPECT_EQ(member.threads, omp_get_num_threads());
    });
    EXPECT_EQ(sum, calls * (calls - 1) / 2);
}

TEST(Team, MeetsBeforeAnybodyGoesOn)
{
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> arrived{0};
        runTeam(4, [&](const TeamMember& member) {
            ++arrived;
            member.meet();
            EXPECT_EQ(arrived, member.threads);
        });
    }
}

// A barrier of a team of one must not be one of the caller's team, whose other threads never come to it.
TEST(Team, OfOneWithinTheCallersRegionMeetsNobody)
{
    std::atomic<int> calls{0};
#pragma omp parallel num_threads(2)
    if (omp_get_thread_num() == 0) {
        runTeam(1, [&](const TeamMember& member) {
            member.meet();
            ++calls;
        });
    }
    EXPECT_EQ(calls, 1);
}

TEST(Team, DoesEachPartOnce)
{
    for (const int parts : {0, 1, 2, 7, 100}) {
        for (const int threads : {1, 2, 5}) {
            std::vector<std::atomic<int>> done(static_cast<std::size_t>(parts));
            runParts(parts, threads, [&](int part) { ++done[static_cast<std::size_t>(part)]; });
            for (const auto& times : done) EXPECT_EQ(times, 1);
        }
    }
}

TEST(Team, CutsARangeIntoAShareForEachThread)
{
    for (const int count : {0, 1, 2, 7, 100}) {
        for (const int threads : {1, 2, 5}) {
            std::vector<std::atomic<int>> done(static_cast<std::size_t>(count));
            runRanges(count, threads, [&](int first, int behind) {
                EXPECT_TRUE(first < behind || count == 0);
                for (int i = first; i < behind; ++i) ++done[static_cast<std::size_t>(i)];
            });
            for (const auto& times : done) EXPECT_EQ(times, 1);
        }
    }
    EXPECT_EQ((TeamMember{1, 2}.shareOf(2147483647).behind), 2147483647);
}

// The answers of thread control are literal, the teams are not.
TEST(Team, HasNoMoreThreadsThanThereIsWorkFor)
{
    const ProbeAnswers product = askProbe({"set-dynamic=0", "set-threads=300", "sparse-product=3"});
    EXPECT_LE(product["os-threads"], 3);
    const ProbeAnswers solve = askProbe({"set-dynamic=0", "set-threads=300", "direct-solve=3"});
    EXPECT_EQ(solve["engine-threads"], 300);
    EXPECT_LE(solve["os-threads"], 3);
    EXPECT_EQ(
        askProbe({"set-dynamic=0", "set-threads=300", "direct-solve=1", "sparse-product=1"})["os-threads"],
        1);
}

/// In a thread that has called no team yet.
template <class Work>
void inFreshThread(const Work& work)
{
    std::thread(work).join();
}

TEST(Team, IsRepaidByMuchWorkAtOnce)
{
    inFreshThread([] {
        EXPECT_EQ(repaidTeam(4, 1e9), 4);
        EXPECT_EQ(repaidTeam(1, 1e9), 1);
        EXPECT_EQ(repaidTeam(0, 1e9), 1);
    });
}

TEST(Team, IsStartedWhenWorkThatWentWithoutHasAddedUp)
{
    inFreshThread([] {
        constexpr double kEach = 1e6;
        EXPECT_EQ(repaidTeam(4, kEach), 1);
        int times = 1;
        while (times < 1000 && repaidTeam(4, kEach) == 1) ++times;
        EXPECT_GT(times, 1);
        EXPECT_LT(times, 1000);
        EXPECT_EQ(repaidTeam(4, kEach), 4);
    });
}

TEST(Team, IsNotRepaidByItsCallAlone)
{
    inFreshThread([] {
        for (int times = 0; times < 100000; ++times) ASSERT_EQ(repaidTeam(4, 1e3), 1);
        EXPECT_EQ(repaidTeam(4, 1e6), 1); // none of that work would have had a team
        EXPECT_EQ(repaidTeam(4, NAN), 1);
    });
}

TEST(Team, HasToBeStartedOnce)
{
    inFreshThread([] {
        EXPECT_EQ(repaidTeam(2, 1e6), 1);
        bool isAlone = true;
        runTeam(2, [&](const TeamMember& member) {
            if (member.thread == 0) isAlone = member.threads == 1;
        });
        EXPECT_EQ(repaidTeam(2, 1e6), isAlone ? 1 : 2);
        EXPECT_EQ(repaidTeam(2, 1e3), 1);
    });
}

/// A thread that comes late stands for one that has to wait for a processor.
TEST(Team, IsNotCalledForAWhileWhereAShortCallTookLong)
{
    inFreshThread([] {
        constexpr double kShort = 1e5;
        bool isAlone = true;
        const auto call = [&isAlone](int milliseconds) {
            runTeam(2, [&](const TeamMember& member) {
                if (member.thread == 0)
                    isAlone = member.threads == 1;
                else
                    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
            });
        };
        call(0);
        if (isAlone) return; // one processor: there is never a team
        ASSERT_EQ(repaidTeam(2, kShort), 2);
        call(20);
        EXPECT_EQ(repaidTeam(2, kShort), 1);
        EXPECT_EQ(repaidTeam(2, 1e12), 2) << "what takes long repays the delay";
        double withoutTeam = kShort;
        while (withoutTeam < 1e12 && repaidTeam(2, kShort) == 1) withoutTeam += kShort;
        EXPECT_GT(withoutTeam, 2e7) << "several times the 20 milliseconds";
        EXPECT_LT(withoutTeam, 1e12) << "another trial";
    });
}

/// A process that is stopped for minutes in the middle of a call must not go on with one thread for hours.
TEST(Team, IsCalledAgainSoonAfterACallThatStoodStill)
{
    inFreshThread([] {
        constexpr double kShort = 1e5, kLong = 2e8;
        bool isAlone = true;
        const auto call = [&isAlone](const TeamMember& member) {
            if (member.thread == 0) isAlone = member.threads == 1;
        };
        runTeam(2, call);
        if (isAlone) return; // one processor: there is never a team
        ASSERT_EQ(repaidTeam(2, kShort), 2);
        runTeam(2, [](const TeamMember&) { std::this_thread::sleep_for(std::chrono::milliseconds(400)); });
        EXPECT_EQ(repaidTeam(2, kLong), 2) << "longer than any turn is waited for";
        runTeam(2, call);
        double withoutTeam = 0.0;
        while (withoutTeam < 1e12 && repaidTeam(2, kShort) == 1) withoutTeam += kShort;
        EXPECT_GT(withoutTeam, 0.0);
        EXPECT_LT(withoutTeam, 4e9) << "several times the 400 milliseconds";
    });
}

TEST(Team, ALongCallOrOneOfWorkThatNobodyHasToldOfIsNotJudged)
{
    inFreshThread([] {
        constexpr double kShort = 1e5;
        runTeam(2, [](const TeamMember&) {});
        const int team = repaidTeam(2, kShort);
        const auto late = [](const TeamMember&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        };
        repaidTeam(2, 1e9);
        runTeam(2, late);
        EXPECT_EQ(repaidTeam(2, 1e9), team);
        runTeam(1, [](const TeamMember&) {});
        runTeam(2, late);
        EXPECT_EQ(repaidTeam(2, kShort), team);
    });
}

TEST(Team, IsNotStartedForALittleSystem)
{
    const ProbeAnswers told =
        askProbe({"set-dynamic=0", "set-threads=4", "direct-solve=500", "sparse-product=500"});
    EXPECT_EQ(told["engine-threads"], 4);
    EXPECT_EQ(told["os-threads"], 1);
}

} // namespace
