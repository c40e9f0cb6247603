#pragma once
/// @file
/// How far the factorization has come, told to a listener that may stop it.

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

/// Hears each new percentage; an answer other than 0 stops the factorization, and it is not asked again.
struct ProgressListener {
    int (*step)(void* context, int thread, int percent) = nullptr;
    void* context = nullptr;
};

/// Adds up what the threads have done. The listener is called by one thread at a time, with rising
/// percentages: 0 at the start, at most 99 on the way, 100 at the end.
class Progress {
public:
    Progress(const ProgressListener& listener, std::int64_t total) : listener_(listener), total_(total) {}

    std::int64_t total() const { return total_; }

    bool start() { return tell(0, 0); }
    bool end() { return tell(0, 100); }

    /// @return false  the listener wants to stop
    bool add(int thread, std::int64_t done)
    {
        if (listener_.step == nullptr) return true;
        const std::int64_t sum = done_.fetch_add(done, std::memory_order_relaxed) + done;
        const auto percent =
            static_cast<int>(std::min(99.0, 100.0 * static_cast<double>(sum) / static_cast<double>(total_)));
        if (percent <= told_.load(std::memory_order_relaxed)) return true;
        const std::lock_guard lock(telling_);
        return percent <= told_.load(std::memory_order_relaxed) || tell(thread, percent);
    }

private:
    static constexpr int kNothingMore = 100;

    bool tell(int thread, int percent)
    {
        const bool goesOn =
            listener_.step == nullptr || listener_.step(listener_.context, thread, percent) == 0;
        told_.store(goesOn ? percent : kNothingMore, std::memory_order_relaxed);
        return goesOn;
    }

    ProgressListener listener_;
    std::int64_t total_;
    std::atomic<std::int64_t> done_{0};
    std::atomic<int> told_{0};
    std::mutex telling_;
};

/// One thread's way to the sum that all share. Beside others it is brought there in thousandths of the total:
/// with each small supernode the threads would wait for each other's cache line.
class ProgressShare {
public:
    ProgressShare(Progress& progress, int threads)
        : progress_(progress), least_(threads > 1 ? progress.total() / 1000 : 0)
    {
    }

    /// @return false  the listener wants to stop
    bool add(int thread, std::int64_t done)
    {
        untold_ += done;
        return untold_ <= least_ || progress_.add(thread, std::exchange(untold_, 0));
    }

private:
    Progress& progress_;
    std::int64_t least_, untold_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
