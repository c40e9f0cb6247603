// Many threads at once: a buffer belongs to one holder at a time, and nothing is lost.

#include "tests/services/slot_recorder.h"

#include <lintrix/services/buffer_pool.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <random>
#include <thread>
#include <utility>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail;
using Velmar::Lintrix::testing::SlotRecorder;

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 2000;

struct Held {
    std::uint32_t* cells;
    std::size_t count;
    std::uint32_t mark;
};

/// Takes a buffer and writes the mark into every cell of it.
Held take(std::size_t count, std::uint32_t mark)
{
    auto* const cells = static_cast<std::uint32_t*>(poolAllocate(count * sizeof mark, 64));
    std::fill_n(cells, count, mark);
    return {cells, count, mark};
}

/// Every cell must still bear the mark: nobody else had the buffer meanwhile.
void giveBack(const Held& held)
{
    const auto marked = std::count(held.cells, held.cells + held.count, held.mark);
    ASSERT_EQ(static_cast<std::size_t>(marked), held.count);
    poolRelease(held.cells);
}

/// Where threads leave buffers for others to release.
class Exchange {
public:
    void leave(const Held& held)
    {
        const std::lock_guard guard(mutex_);
        left_.push_back(held);
    }

    std::vector<Held> collect()
    {
        const std::lock_guard guard(mutex_);
        return std::exchange(left_, {});
    }

private:
    std::mutex mutex_;
    std::vector<Held> left_;
};

void work(int thread, Exchange& exchange)
{
    std::mt19937 random(static_cast<std::uint32_t>(thread));
    std::vector<Held> mine;
    for (int round = 0; round < kRounds; ++round) {
        const std::uint32_t mark =
            static_cast<std::uint32_t>(thread) << 24 | static_cast<std::uint32_t>(round);
        mine.push_back(take(1 + 16 * (random() % 20), mark));
        while (mine.size() > random() % 7) {
            if (random() % 3 == 0) {
                exchange.leave(mine.back());
            } else {
                giveBack(mine.back());
            }
            mine.pop_back();
        }
        for (const Held& held : exchange.collect()) giveBack(held);
    }
    for (const Held& held : mine) giveBack(held);
}

TEST(BufferPoolUnderLoad, HandsEachBufferToOneHolderAtATime)
{
    MKL_FreeBuffers();
    SlotRecorder slots;
    Exchange exchange;
    std::atomic<bool> over{false};
    std::thread freer([&] {
        while (!over) {
            MKL_FreeBuffers();
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) workers.emplace_back(work, t, std::ref(exchange));
    for (std::thread& worker : workers) worker.join();
    over = true;
    freer.join();
    for (const Held& held : exchange.collect()) giveBack(held);
    MKL_FreeBuffers();
    EXPECT_EQ(slots.live(), 0U);
}

TEST(BufferPoolUnderLoad, TakesUpThePoolsOfThreadsThatComeAndGo)
{
    MKL_FreeBuffers();
    SlotRecorder slots;
    std::atomic<bool> over{false};
    std::thread freer([&] {
        while (!over) {
            MKL_FreeBuffers();
            std::this_thread::yield();
        }
    });
    for (std::uint32_t generation = 0; generation < 300; ++generation) {
        std::vector<std::thread> shortLived;
        for (std::uint32_t t = 0; t < kThreads; ++t) {
            shortLived.emplace_back([=] {
                const Held first = take(100, generation * kThreads + t);
                const Held second = take(200 + t, ~(generation * kThreads + t));
                giveBack(first);
                giveBack(second);
            });
        }
        for (std::thread& thread : shortLived) thread.join();
    }
    over = true;
    freer.join();
    MKL_FreeBuffers();
    EXPECT_EQ(slots.live(), 0U);
}

} // namespace
