#include <lintrix/services/service_lock.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

using Velmar::Lintrix::detail::FoundOnce;
using Velmar::Lintrix::detail::serviceLock;
using Velmar::Lintrix::detail::SpinLock;

namespace {

constexpr int kThreads = 4;

void onThreads(const std::function<void(int)>& work)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(work, t);
    for (std::thread& thread : threads) thread.join();
}

TEST(SpinLock, LetsOneThreadInAtATime)
{
    SpinLock lock;
    int inside = 0, mostInside = 0;
    long entered = 0; // guarded by the lock, and no atomic
    onThreads([&](int) {
        for (int i = 0; i < 20000; ++i) {
            const std::lock_guard guard(lock);
            mostInside = std::max(mostInside, ++inside);
            ++entered;
            --inside;
        }
    });
    EXPECT_EQ(mostInside, 1);
    EXPECT_EQ(entered, 20000L * kThreads);
}

TEST(SpinLock, KeepsOthersOutUntilItIsReleased)
{
    SpinLock lock;
    std::atomic<bool> entered{false};
    lock.lock();
    std::thread other([&] {
        const std::lock_guard guard(lock);
        entered = true;
    });
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    EXPECT_FALSE(entered);
    lock.unlock();
    other.join();
    EXPECT_TRUE(entered);
}

TEST(ServiceLock, IsOneForTheWholeProcess)
{
    SpinLock* seen[kThreads] = {};
    onThreads([&](int t) { seen[t] = &serviceLock(); });
    for (SpinLock* lock : seen) EXPECT_EQ(lock, &serviceLock());
}

TEST(FoundOnce, SearchesOnceHoweverManyThreadsAsk)
{
    FoundOnce<std::vector<int>> value;
    std::atomic<int> searches{0};
    onThreads([&](int) {
        for (int i = 0; i < 1000; ++i) {
            const std::vector<int>& found = value.get([&] {
                ++searches;
                return std::vector<int>{1, 2, 3};
            });
            ASSERT_EQ(found.size(), 3U);
            ASSERT_EQ(found[2], 3);
        }
    });
    EXPECT_EQ(searches, 1);
}

TEST(FoundOnce, SearchesOnceForAllThreadsThatWaitAtTheLock)
{
    FoundOnce<int> value;
    std::atomic<int> asking{0}, searches{0};
    serviceLock().lock();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            ++asking;
            EXPECT_EQ(value.get([&] { return ++searches; }), 1);
        });
    }
    while (asking < kThreads) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // for them to reach the lock
    EXPECT_EQ(searches, 0);
    serviceLock().unlock();
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(searches, 1);
}

TEST(FoundOnce, TakesNoLockOnceFound)
{
    FoundOnce<int> value;
    value.get([] { return 7; });
    const std::lock_guard guard(serviceLock()); // not recursive: a second taking would hang
    EXPECT_EQ(value.get([] { return 8; }), 7);
}

} // namespace
