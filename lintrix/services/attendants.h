#pragma once
/// @file
/// Threads beside a team, which move data while the team computes.

#include <lintrix/services/export.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>

#include <pthread.h>

namespace Velmar::Lintrix::detail {

/// Of each attendant, beside what the accounts of memory tell.
inline constexpr std::size_t kAttendantStackBytes = 256 << 10;

/// Each calls serve() again and again. When that finds nothing to do it sleeps, until somebody calls or for a
/// millisecond: not every event that makes work has to tell. As many threads are there as the system gives,
/// perhaps none, so nothing may depend on them. They take no signals. Where the OpenMP runtime pins its
/// threads they run on any of its processors.
class LINTRIX_TESTABLE Attendants {
public:
    static constexpr int kMost = 4;
    /// A piece of work. @return  whether there was any
    using Serve = bool (*)(void* context);

    Attendants(int threads, Serve serve, void* context) noexcept;
    /// What they are at is finished first.
    ~Attendants();
    Attendants(const Attendants&) = delete;
    Attendants& operator=(const Attendants&) = delete;

    /// There is work again.
    void call() noexcept;

private:
    static void* run(void* self);
    void attend() noexcept;
    void rest(unsigned callsHeard) noexcept;

    Serve serve_;
    void* context_;
    std::mutex mutex_;
    std::condition_variable called_;
    std::atomic<unsigned> calls_{0};
    std::atomic<bool> ends_{false};
    std::array<pthread_t, kMost> threads_{};
    int count_ = 0;
};

/// As many as a team of so many threads takes beside itself.
constexpr int attendantsBeside(int threads) noexcept
{
    return std::clamp(threads / 2, 1, Attendants::kMost);
}

} // namespace Velmar::Lintrix::detail
