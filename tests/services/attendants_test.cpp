// Threads beside a team: they do what there is, wake when called, and are gone at the end.

#include "tests/services/probe_runner.h"

#include <lintrix/services/attendants.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include <pthread.h>

using namespace Velmar::Lintrix::detail;
using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::environmentsThatBind;
using Velmar::Lintrix::testing::ProbeAnswers;
using Velmar::Lintrix::testing::Variables;

namespace {

/// So many pieces of work are there; who does one is noted.
struct Work {
    static bool serve(void* context)
    {
        auto& work = *static_cast<Work*>(context);
        int there = work.left;
        do { // never below 0, where work that comes meanwhile would be counted twice
            if (there == 0) return false;
        } while (!work.left.compare_exchange_weak(there, there - 1));
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        if (sigismember(&mask, SIGTERM) == 1) ++work.blockedSignals;
        ++work.done;
        return true;
    }
    /// Whether so many are done before a minute is over.
    bool reaches(int count) const
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (done < count && std::chrono::steady_clock::now() < end) std::this_thread::yield();
        return done == count;
    }

    std::atomic<int> left{0}, done{0}, blockedSignals{0};
};

TEST(Attendants, DoWhatTheyFindAndWhatTheyAreCalledFor)
{
    Work work;
    work.left = 10;
    Attendants attendants(2, Work::serve, &work);
    EXPECT_TRUE(work.reaches(10));
    work.left = 5;
    attendants.call();
    EXPECT_TRUE(work.reaches(15));
    EXPECT_EQ(work.blockedSignals, 15);
}

TEST(Attendants, ComeForWhatNobodyCalledThemFor)
{
    Work work;
    const Attendants attendants(1, Work::serve, &work);
    for (int piece = 1; piece <= 20; ++piece) {
        work.left = 1;
        EXPECT_TRUE(work.reaches(piece));
    }
}

TEST(Attendants, FinishWhatTheyAreAt)
{
    for (int k = 0; k < 200; ++k) {
        Work work;
        work.left = k;
        {
            const Attendants attendants(Attendants::kMost + 3, Work::serve, &work);
        }
        EXPECT_EQ(work.left + work.done, k);
    }
}

// A runtime that pins threads has pinned the one that starts them, too.
TEST(Attendants, HaveTheProcessorsOfTheProcess)
{
    const long all = askProbe({"attendant"})["processors-of-caller"];
    const ProbeAnswers unbound = askProbe({"attendant"}, {{"OMP_PROC_BIND", "false"}});
    EXPECT_EQ(unbound["processors-of-attendant"], all);
    for (const Variables& variables : environmentsThatBind()) {
        const ProbeAnswers bound = askProbe({"attendant"}, variables);
        EXPECT_EQ(bound["processors-of-attendant"], all) << variables.begin()->second;
    }
    const ProbeAnswers one = askProbe({"attendant"}, {{"OMP_PLACES", "{0}"}});
    EXPECT_EQ(one["processors-of-attendant"], 1);
}

TEST(Attendants, HaveAStackOfFixedSize)
{
    const long bytes = askProbe({"attendant"})["stack-of-attendant"];
    EXPECT_GE(bytes, static_cast<long>(kAttendantStackBytes));
    EXPECT_LE(bytes, static_cast<long>(kAttendantStackBytes) + (64 << 10));
}

TEST(Attendants, AreAFewBesideATeam)
{
    EXPECT_EQ(attendantsBeside(1), 1);
    EXPECT_EQ(attendantsBeside(2), 1);
    EXPECT_EQ(attendantsBeside(6), 3);
    EXPECT_EQ(attendantsBeside(64), Attendants::kMost);
}

} // namespace
