#pragma once
/// @file
/// Where the time of one call goes.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

enum class Timer : int {
    FullAdjacency = 1,
    Reorder = 2,
    SymbolicFactorization = 3,
    ParallelLists = 4,
    Gather = 5,
    NumericFactorization = 6,
    Solve = 7,
    Iteration = 8,
    Allocation = 9, ///< and everything between the steps
    Total = 10,
};

inline constexpr int kTimers = 10;

/// What a call has read from the files of the out-of-core mode and written to them. Seconds are those of all
/// threads together.
struct FileTraffic {
    std::int64_t bytesRead = 0, bytesWritten = 0;
    double secondsReading = 0., secondsWriting = 0.;

    FileTraffic& operator+=(const FileTraffic& other) noexcept
    {
        bytesRead += other.bytesRead;
        bytesWritten += other.bytesWritten;
        secondsReading += other.secondsReading;
        secondsWriting += other.secondsWriting;
        return *this;
    }
};

/// Ten sums of wall-clock time, each with a flag that it was used. At any moment one timer runs: that of
/// the step at work, or Allocation between the steps.
class Timers {
public:
    Timers() noexcept : begin_(Clock::now()), lap_(begin_) { used_[at(Timer::Allocation)] = true; }

    double seconds(Timer timer) const noexcept { return inSeconds(sums_[at(timer)]); }
    bool used(Timer timer) const noexcept { return used_[at(timer)]; }
    /// Total minus all the others, without a rounding error: the clock counts in integers.
    double unaccounted() const noexcept
    {
        Clock::duration rest = sums_[at(Timer::Total)];
        for (std::size_t k = 0; k < at(Timer::Total); ++k) rest -= sums_[k];
        return inSeconds(rest);
    }

    /// From now on time counts for `timer`. @return  the timer that ran until now
    Timer switchTo(Timer timer) noexcept
    {
        const Clock::time_point now = Clock::now();
        sums_[at(running_)] += now - lap_;
        lap_ = now;
        used_[at(timer)] = true;
        return std::exchange(running_, timer);
    }
    const FileTraffic& files() const noexcept { return files_; }
    void add(const FileTraffic& traffic) noexcept { files_ += traffic; }
    /// The end of the call.
    void stop() noexcept
    {
        switchTo(Timer::Allocation);
        used_[at(Timer::Total)] = true;
        sums_[at(Timer::Total)] = lap_ - begin_;
    }

private:
    using Clock = std::chrono::steady_clock;
    static std::size_t at(Timer timer) noexcept { return static_cast<std::size_t>(timer) - 1; }
    static double inSeconds(Clock::duration time) noexcept
    {
        return std::chrono::duration<double>(time).count();
    }

    std::array<Clock::duration, kTimers> sums_{};
    std::array<bool, kTimers> used_{};
    Clock::time_point begin_, lap_;
    Timer running_ = Timer::Allocation;
    FileTraffic files_;
};

/// One step, timed while this lives.
class TimedStep {
public:
    TimedStep(Timers& timers, Timer timer) noexcept : timers_(timers), before_(timers.switchTo(timer)) {}
    ~TimedStep() { timers_.switchTo(before_); }
    TimedStep(const TimedStep&) = delete;
    TimedStep& operator=(const TimedStep&) = delete;

private:
    Timers& timers_;
    Timer before_;
};

} // namespace Velmar::Lintrix::detail::engine
