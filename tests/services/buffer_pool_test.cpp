#include "tests/services/probe_runner.h"
#include "tests/services/slot_recorder.h"

#include <lintrix/services/buffer_pool.h>
#include <lintrix/services/buffer_records.h>

#include <gmock/gmock.h>
#include <pthread.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::SlotRecorder;
using Velmar::Lintrix::testing::Variables;

namespace {

std::string mallocOf(std::size_t size)
{
    return "malloc " + std::to_string(size);
}

/// The call that takes the memory for a thread's records.
const std::string kNewPool = mallocOf(sizeof(BufferRecords));

bool isAligned(const void* address, std::size_t alignment)
{
    return reinterpret_cast<std::uintptr_t>(address) % alignment == 0;
}

/// A thread that does one job after the other, and so keeps its identity between them.
class Worker {
public:
    Worker() : thread_([this] { run(); }) {}
    ~Worker()
    {
        hand({});
        thread_.join();
    }

    void does(const std::function<void()>& job)
    {
        hand(job);
        std::unique_lock lock(mutex_);
        change_.wait(lock, [this] { return !pending_; });
    }

private:
    void hand(std::function<void()> job)
    {
        {
            const std::lock_guard lock(mutex_);
            job_ = std::move(job);
            pending_ = true;
        }
        change_.notify_all();
    }

    void run()
    {
        std::unique_lock lock(mutex_);
        for (;;) {
            change_.wait(lock, [this] { return pending_; });
            if (!job_) return;
            job_();
            pending_ = false;
            change_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable change_;
    std::function<void()> job_;
    bool pending_ = false;
    std::thread thread_;
};

/// Starts and ends without a pool, and nothing may be out at the end.
class BufferPool : public ::testing::Test {
protected:
    void TearDown() override
    {
        slots.failFrom(-1);
        slots.beforeMalloc(nullptr);
        MKL_FreeBuffers();
        EXPECT_EQ(slots.live(), 0U);
    }

    void release(std::vector<void*>& buffers)
    {
        for (void* buffer : buffers) poolRelease(buffer);
        buffers.clear();
    }

    SlotRecorder slots;
    std::vector<void*> held;
};

TEST_F(BufferPool, GivesNullForSizeZero)
{
    EXPECT_EQ(poolAllocate(0, 64), nullptr);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST_F(BufferPool, IgnoresTheReleaseOfNull)
{
    poolRelease(nullptr);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST_F(BufferPool, TakesOnePoolAThreadAndOneBlockABuffer)
{
    void* const first = poolAllocate(100, 0);
    void* const second = poolAllocate(200, 0);
    EXPECT_THAT(slots.calls(), ElementsAre(kNewPool, "malloc 100", "malloc 200"));
    poolRelease(first);
    poolRelease(second);
    EXPECT_THAT(slots.calls(), IsEmpty()); // kept
}

TEST_F(BufferPool, ServesARepeatRequestWithoutASystemCall)
{
    void* const first = poolAllocate(1000, 128);
    poolRelease(first);
    slots.calls();
    for (int i = 0; i < 100; ++i) {
        void* const again = poolAllocate(1000, 128);
        EXPECT_EQ(again, first);
        poolRelease(again);
    }
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST_F(BufferPool, HonoursPowersOfTwoFromFourOn)
{
    for (const std::size_t alignment : {4U, 8U, 64U, 128U, 4096U, 1048576U}) {
        void* const buffer = poolAllocate(100, alignment);
        EXPECT_TRUE(isAligned(buffer, alignment)) << alignment;
        EXPECT_EQ(slots.calls().back(), mallocOf(100 + alignment));
        poolRelease(buffer);
        MKL_FreeBuffers();
    }
}

TEST_F(BufferPool, TakesSixtyFourForOtherAlignmentsFromFourOn)
{
    for (const std::size_t alignment : {5U, 6U, 7U, 12U, 100U, 129U}) {
        void* const buffer = poolAllocate(100, alignment);
        EXPECT_TRUE(isAligned(buffer, 64)) << alignment;
        EXPECT_EQ(slots.calls().back(), mallocOf(100 + 64));
        poolRelease(buffer);
        MKL_FreeBuffers();
    }
}

TEST_F(BufferPool, AlignsNothingBelowFour)
{
    for (const std::size_t alignment : {0U, 1U, 2U, 3U}) {
        void* const buffer = poolAllocate(100, alignment);
        EXPECT_EQ(slots.sizeOf(buffer), 100U) << alignment; // the block itself
        poolRelease(buffer);
        MKL_FreeBuffers();
    }
}

TEST_F(BufferPool, AlignsALargerBlockAnewForTheRequest)
{
    void* const large = poolAllocate(10000, 0);
    poolRelease(large);
    slots.calls();
    void* const aligned = poolAllocate(1000, 4096);
    EXPECT_TRUE(isAligned(aligned, 4096));
    EXPECT_THAT(slots.calls(), IsEmpty());
    EXPECT_GE(aligned, large);
    poolRelease(aligned);
    EXPECT_EQ(poolAllocate(10000, 0), large); // of its real size still
    poolRelease(large);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST_F(BufferPool, ReplacesTheFirstSmallerBlockWhenFiveAreIdle)
{
    std::vector<void*> buffers;
    for (const std::size_t size : {100U, 101U, 102U, 103U, 104U}) buffers.push_back(poolAllocate(size, 0));
    release(buffers);
    slots.calls();
    void* const large = poolAllocate(1000, 0);
    EXPECT_THAT(slots.calls(), ElementsAre("free", "malloc 1000"));
    for (const std::size_t size : {101U, 102U, 103U, 104U}) held.push_back(poolAllocate(size, 0));
    EXPECT_THAT(slots.calls(), IsEmpty()); // 100 was the one to go
    release(held);
    poolRelease(large);
}

TEST_F(BufferPool, SendsASixthBufferToTheSystemAndBack)
{
    for (int i = 0; i < 5; ++i) held.push_back(poolAllocate(100, 64));
    slots.calls();
    void* const sixth = poolAllocate(100, 64);
    EXPECT_THAT(slots.calls(), ElementsAre("malloc 100")); // no padding
    EXPECT_EQ(slots.sizeOf(sixth), 100U);
    poolRelease(sixth);
    EXPECT_THAT(slots.calls(), ElementsAre("free"));
    release(held);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST_F(BufferPool, PoolsFortyMebibytesAndNotAByteMore)
{
    void* const largest = poolAllocate(41943040, 0);
    poolRelease(largest);
    EXPECT_THAT(slots.calls(), ElementsAre(kNewPool, "malloc 41943040"));
    void* const beyond = poolAllocate(41943041, 128);
    poolRelease(beyond);
    EXPECT_THAT(slots.calls(), ElementsAre("malloc 41943041", "free"));
}

TEST_F(BufferPool, SendsAnAddressThatNoPoolKnowsToTheSystem)
{
    void* const strange = poolAllocate(41943041, 0);
    held.push_back(poolAllocate(10, 0));
    poolRelease(strange);
    EXPECT_EQ(slots.calls().back(), "free");
    release(held);
}

TEST_F(BufferPool, IsOffWhenEitherVariableIsPresentWhateverItsValue)
{
    // A pool and a block for the first of three requests; without the pool a block for each.
    EXPECT_EQ(askProbe({"pool"})["pool-system-calls"], 2);
    for (const char* name : {"MKL_DISABLE_FAST_MM", "MKL_MM_DISABLE"}) {
        for (const std::string& value :
             {std::string("0"), std::string("1"), std::string("no"), std::string(), std::string(1000, 'x')}) {
            EXPECT_EQ(askProbe({"pool"}, {{name, value}})["pool-system-calls"], 3) << name << '=' << value;
        }
    }
}

TEST_F(BufferPool, FreesEverythingWhenNothingIsInUse)
{
    Worker other;
    other.does([] { poolRelease(poolAllocate(100, 0)); });
    poolRelease(poolAllocate(200, 0));
    EXPECT_EQ(slots.live(), 4U); // two blocks, two pools
    MKL_FreeBuffers();
    EXPECT_EQ(slots.live(), 0U);
    MKL_FreeBuffers();
    EXPECT_EQ(slots.live(), 0U);
    other.does([] { poolRelease(poolAllocate(100, 0)); }); // both threads start afresh
    poolRelease(poolAllocate(200, 0));
    EXPECT_EQ(slots.live(), 4U);
}

TEST_F(BufferPool, FreesIdleBlocksOfAllAndKeepsAllPoolsWhileOneBufferIsHeld)
{
    Worker other;
    std::vector<void*> others;
    other.does([&] {
        for (const std::size_t size : {100U, 200U, 300U}) others.push_back(poolAllocate(size, 0));
        poolRelease(others[0]);
        poolRelease(others[1]);
    });
    poolRelease(poolAllocate(400, 0));
    EXPECT_EQ(slots.live(), 6U);
    MKL_FreeBuffers();
    EXPECT_EQ(slots.live(), 3U); // the held block, two pools
    EXPECT_EQ(slots.sizeOf(others[2]), 300U);
    slots.calls();
    poolRelease(poolAllocate(400, 0)); // this thread's pool is still there
    EXPECT_THAT(slots.calls(), ElementsAre("malloc 400"));
    other.does([&] { poolRelease(others[2]); });
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST_F(BufferPool, TakesABufferBackFromAnotherThread)
{
    void* const buffer = poolAllocate(100, 0);
    slots.calls();
    Worker().does([&] { poolRelease(buffer); });
    EXPECT_THAT(slots.calls(), IsEmpty());
    EXPECT_EQ(poolAllocate(100, 0), buffer);
    poolRelease(buffer);
}

TEST_F(BufferPool, TakesBackABufferWhoseThreadHasEnded)
{
    void* buffer = nullptr;
    std::thread([&] { buffer = poolAllocate(100, 0); }).join();
    MKL_FreeBuffers();
    EXPECT_EQ(slots.live(), 2U);
    slots.calls();
    poolRelease(buffer);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST_F(BufferPool, OfAnEndedThreadIsTakenUpByTheNextWithItsIdentifier)
{
    pthread_t ended{};
    void* left = nullptr;
    std::thread([&] {
        ended = pthread_self();
        poolRelease(left = poolAllocate(100, 0));
    }).join();
    slots.calls();
    // The runtime hands an identifier out again soon, since the stack of an ended thread is used again.
    bool reused = false;
    for (int attempt = 0; attempt < 100 && !reused; ++attempt) {
        std::thread([&] {
            reused = pthread_equal(pthread_self(), ended) != 0;
            if (!reused) return;
            EXPECT_EQ(poolAllocate(100, 0), left);
            poolRelease(left);
        }).join();
    }
    EXPECT_TRUE(reused);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST_F(BufferPool, GoesToTheSystemWhenItsRecordsCannotBeHad)
{
    slots.failOnly(0);
    void* const buffer = poolAllocate(100, 64);
    EXPECT_THAT(slots.calls(), ElementsAre(kNewPool, "malloc 100"));
    poolRelease(buffer);
    EXPECT_THAT(slots.calls(), ElementsAre("free"));
    void* const pooled = poolAllocate(100, 64); // the next request tries again
    EXPECT_THAT(slots.calls(), ElementsAre(kNewPool, "malloc 164"));
    poolRelease(pooled);
}

TEST_F(BufferPool, GivesNullWhenTheSystemHasNoMemory)
{
    slots.failFrom(0);
    EXPECT_EQ(poolAllocate(100, 64), nullptr);
    slots.failFrom(1);
    EXPECT_EQ(poolAllocate(100, 64), nullptr);
    slots.failFrom(0);
    EXPECT_EQ(poolAllocate(kLargestPooled + 1, 64), nullptr);
    slots.failFrom(-1);
    for (int i = 0; i < 5; ++i) held.push_back(poolAllocate(100, 64));
    for (void* buffer : held) EXPECT_NE(buffer, nullptr);
    slots.failFrom(0);
    EXPECT_EQ(poolAllocate(100, 64), nullptr); // a sixth
    release(held);
}

TEST_F(BufferPool, LosesOnlyTheReplacedBlockWhenTheNewOneCannotBeHad)
{
    std::vector<void*> buffers;
    for (int i = 0; i < 5; ++i) buffers.push_back(poolAllocate(100, 0));
    release(buffers);
    slots.calls();
    slots.failOnly(0);
    EXPECT_EQ(poolAllocate(1000, 0), nullptr);
    EXPECT_THAT(slots.calls(), ElementsAre("free", "malloc 1000"));
    for (int i = 0; i < 4; ++i) held.push_back(poolAllocate(100, 0));
    EXPECT_THAT(slots.calls(), IsEmpty());
    held.push_back(poolAllocate(1000, 0)); // the empty record is filled
    EXPECT_THAT(slots.calls(), ElementsAre("malloc 1000"));
    release(held);
    EXPECT_THAT(slots.calls(), IsEmpty());
}

TEST_F(BufferPool, LeaksNothingWhereverARequestFails)
{
    for (int k = 0; k < 12; ++k) {
        slots.failOnly(k);
        for (const std::size_t size : {100U, 200U, 300U, 400U, 500U, 600U, 50U}) {
            void* const buffer = poolAllocate(size, 32);
            if (buffer != nullptr) held.push_back(buffer);
        }
        release(held);
        held.push_back(poolAllocate(10000, 8));
        release(held);
        MKL_FreeBuffers();
        EXPECT_EQ(slots.live(), 0U) << "request " << k;
    }
}

TEST_F(BufferPool, MayBeFreedByTheHostsAllocatorInAShortage)
{
    slots.beforeMalloc([] { MKL_FreeBuffers(); });
    for (int round = 0; round < 3; ++round) {
        for (const std::size_t size : {100U, 200U, 300U, 400U, 500U, 600U})
            held.push_back(poolAllocate(size, 16));
        for (void* buffer : held) EXPECT_NE(buffer, nullptr);
        release(held);
    }
}

TEST_F(BufferPool, HasRoomForOneThousandTwentyFourThreads)
{
    // Each thread holds a buffer, and with it its entry, until all are there and the table has been tried.
    constexpr int kRoom = 1024;
    std::latch full(kRoom);
    std::latch tried(1);
    std::vector<std::thread> threads;
    for (int t = 0; t < kRoom; ++t) {
        threads.emplace_back([&] {
            void* const buffer = poolAllocate(10, 0);
            full.count_down();
            tried.wait();
            poolRelease(buffer);
        });
    }
    full.wait();
    EXPECT_EQ(slots.live(), 2U * kRoom);
    slots.calls();
    for (int i = 0; i < 2; ++i) {
        void* const buffer = poolAllocate(100, 64); // no entry left for this thread
        EXPECT_THAT(slots.calls(), ElementsAre("malloc 100"));
        poolRelease(buffer);
        EXPECT_THAT(slots.calls(), ElementsAre("free"));
    }
    tried.count_down();
    for (std::thread& thread : threads) thread.join();
    MKL_FreeBuffers();
    slots.calls();
    poolRelease(poolAllocate(100, 64));
    EXPECT_THAT(slots.calls(), ElementsAre(kNewPool, "malloc 164"));
}

} // namespace
