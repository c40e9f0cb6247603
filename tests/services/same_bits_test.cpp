// Work that is cut the same way whatever the number of threads, and who takes the pieces.

#include <lintrix/services/same_bits.h>
#include <lintrix/services/team.h>
#include <lintrix/services/thread_scope.h>
#include <lintrix/services/threads.h>

#include "tests/support/thread_setting.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <atomic>
#include <optional>
#include <thread>

namespace Velmar::Lintrix::testing {
namespace {

using detail::kThreadsOfSameBits;

int teamFor(int threads)
{
    std::atomic<int> members{0};
    detail::runTeam(threads, [&](const detail::TeamMember&) { ++members; });
    return members;
}

TEST(SameBitsScope, AnswersTheSameCountWhateverIsSet)
{
    const ThreadSetting setting(3);
    for (const int threads : {1, 2, 5, 100}) {
        MKL_Set_Num_Threads(threads);
        const SameBitsScope scope;
        EXPECT_EQ(MKL_Get_Max_Threads(), kThreadsOfSameBits);
        EXPECT_EQ(detail::threadsInForce(), threads);
    }
    EXPECT_EQ(MKL_Get_Max_Threads(), 100);
}

TEST(SameBitsScope, IsThatOfItsThreadAlone)
{
    const ThreadSetting setting(3);
    const SameBitsScope scope;
    int elsewhere = 0;
    std::thread([&] { elsewhere = MKL_Get_Max_Threads(); }).join();
    EXPECT_EQ(elsewhere, 3);
    EXPECT_EQ(MKL_Get_Max_Threads(), kThreadsOfSameBits);
}

TEST(SameBitsScope, LastsUntilTheOutermostEnds)
{
    const ThreadSetting setting(3);
    std::optional<SameBitsScope> outer(std::in_place);
    {
        const SameBitsScope inner;
    }
    EXPECT_TRUE(detail::keepsSameBits());
    outer.reset();
    EXPECT_FALSE(detail::keepsSameBits());
}

TEST(SameBitsScope, GivesPiecesToNoMoreThreadsThanAreInForce)
{
    const ThreadSetting setting(3);
    const SameBitsScope scope;
    EXPECT_EQ(teamFor(kThreadsOfSameBits), 3);
    EXPECT_EQ(teamFor(2), 2);
    MKL_Set_Num_Threads(1);
    EXPECT_EQ(teamFor(kThreadsOfSameBits), 1);
}

TEST(SameBitsScope, LeavesBlasOnTheCallingThread)
{
    const ThreadSetting setting(3);
    const SameBitsScope scope;
    const detail::BlasThreadScope blas;
    EXPECT_EQ(omp_get_max_threads(), 1);
}

} // namespace
} // namespace Velmar::Lintrix::testing
