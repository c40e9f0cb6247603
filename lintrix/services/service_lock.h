#pragma once
/// @file
/// The one spin lock of the kernel services, and what is worked out once behind it.
///
/// The lock guards first readings (environment, topology, processor class) and the buffer pool's thread
/// table: work that is rare and short, so that it spins and never sleeps. It is not recursive.

#include <lintrix/services/export.h>
#include <lintrix/services/processor_family.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace Velmar::Lintrix::detail {

/// One word: taken by compare-and-exchange in a tight loop, released by a plain store. Meets BasicLockable,
/// so std::lock_guard is its guard.
class SpinLock {
public:
    void lock() noexcept
    {
        std::uint32_t open = kOpen;
        while (!word_.compare_exchange_weak(open, kTaken, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
            open = kOpen;
            processor_family::pause();
        }
    }

    void unlock() noexcept { word_.store(kOpen, std::memory_order_release); }

private:
    static constexpr std::uint32_t kOpen = 0;
    static constexpr std::uint32_t kTaken = 1;
    std::atomic<std::uint32_t> word_{kOpen};
};

/// The service lock itself.
LINTRIX_TESTABLE SpinLock& serviceLock() noexcept;

/// A value found once in the life of the process, under the service lock. Every later read is lock-free: one
/// acquire load. `find` must not take the service lock.
template <class Value>
class FoundOnce {
public:
    template <class Find>
    const Value& get(const Find& find)
    {
        if (!found_.load(std::memory_order_acquire)) findNow(find);
        return value_;
    }

private:
    template <class Find>
    void findNow(const Find& find)
    {
        const std::lock_guard guard(serviceLock());
        if (found_.load(std::memory_order_relaxed)) return; // another thread was faster
        value_ = find();
        found_.store(true, std::memory_order_release);
    }

    Value value_{};
    std::atomic<bool> found_{false};
};

} // namespace Velmar::Lintrix::detail
