// The configuration singleton.

#include <lintrix/foundation/configuration.h>

#include <lintrix/foundation/allocators.h>

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

// In a process of its own this test is the first to ask, so the threads race for the creation.
TEST(TrellConfiguration, ThreadsThatAskAtOnceFindOneInstance)
{
    constexpr int kThreads = 8;
    std::atomic<int> waiting{kThreads};
    std::vector<const TrellConfiguration*> found(kThreads);
    std::vector<std::thread> threads;
    for (const TrellConfiguration*& mine : found) {
        threads.emplace_back([&] {
            --waiting;
            while (waiting > 0) std::this_thread::yield();
            EXPECT_EQ(TrellConfiguration::MaxSize(), 2147483647);
            mine = &TrellConfiguration::Instance();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set<const TrellConfiguration*>(found.begin(), found.end()).size(), 1u);
}

TEST(TrellConfiguration, IsNotForCallersToMakeOrCopy)
{
    static_assert(!std::is_default_constructible_v<TrellConfiguration>);
    static_assert(!std::is_copy_constructible_v<TrellConfiguration>);
    static_assert(!std::is_destructible_v<TrellConfiguration>);
}

TEST(TrellConfiguration, EverySizeOfTheTypeIsAllowed)
{
    EXPECT_EQ(TrellConfiguration::MaxSize(), 2147483647);
}

TEST(TrellConfiguration, TotalMemoryStartsAtZeroAndFollowsTheBlocks)
{
    EXPECT_EQ(TrellConfiguration::TotalMemory(), 0);
    double* block = detail::_malloc_double(1000);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), 8000);
    detail::_free_mem_int(block);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), 0);
}

TEST(TrellConfiguration, InstanceStaysWhenItIsDisposed)
{
    TrellConfiguration& instance = TrellConfiguration::Instance();
    instance.Dispose();
    instance.Dispose();
    EXPECT_EQ(&TrellConfiguration::Instance(), &instance);
    TrellConfiguration::FreeBuffers();
    EXPECT_EQ(TrellConfiguration::MaxSize(), 2147483647);
}

TEST(TrellConfiguration, ThreadCountIsSetAndValuesBelowOneAreIgnored)
{
    TrellConfiguration::SetNumThreads(1);
    EXPECT_EQ(TrellConfiguration::GetMaxThreads(), 1);
    for (const int ignored : {0, -1, INT32_MIN}) {
        TrellConfiguration::SetNumThreads(ignored);
        EXPECT_EQ(TrellConfiguration::GetMaxThreads(), 1);
    }
}

TEST(TrellConfiguration, DynamicFlagIsReadBack)
{
    const bool before = TrellConfiguration::DynamicThreads();
    for (const bool value : {false, true, before}) {
        TrellConfiguration::DynamicThreads(value);
        EXPECT_EQ(TrellConfiguration::DynamicThreads(), value);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
