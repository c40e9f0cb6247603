#pragma once
/// @file
/// A run of a linear system as it is watched from outside: when it has to end, and how far it has come.

#include <lintrix/services/same_bits.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/system_options.h>

#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>

namespace Velmar::Lintrix::detail {

/// In whose time an analysis of so many entries is done.
inline double analysisOperations(double entries) noexcept
{
    return 1000.0 * entries;
}

/// What a system is watched with, run after run, or several at once.
class LINTRIX_TESTABLE RunWatch {
public:
    explicit RunWatch(const SystemOptions& options)
        : limits_(options.limits), progress_(options.progress), sameBits_(options.sameBits)
    {
    }

    /// Of the runs that begin from now on.
    void limits(const RunLimits& limits);
    RunLimits limits() const;
    const std::function<void(double, double)>& progress() const noexcept { return progress_; }
    bool sameBits() const noexcept { return sameBits_; }

private:
    RunLimits limits_;
    std::function<void(double, double)> progress_;
    bool sameBits_;
    mutable std::mutex setting_{};
};

/// Hears of the operations of one run, which ends where the work ends whose part it is. The callback is told
/// of each thousandth, by one thread at a time; what it throws ends the run and travels to who started it.
class LINTRIX_TESTABLE RunControl final : public WorkListener {
public:
    /// The watch must outlive the run. @throws OperationFailedException  it has to end before it begins
    explicit RunControl(const RunWatch& watch);

    void expect(double operations) noexcept override;
    bool hear(double operations) noexcept override;
    /// @throws OperationFailedException  "The operation was stopped." or "The deadline has passed."
    void require() const override;
    /// All is done. @throws what the callback does
    void finish();

private:
    enum class End { None, Stop, Outer, Deadline, Callback };

    bool goesOn() noexcept;
    void tell() noexcept;

    const std::function<void(double, double)>& progress_;
    const RunLimits limits_;
    WorkListener* const outer_; ///< none: this is no part of other work
    std::mutex telling_{};
    double done_ = 0.0, all_ = 0.0, told_ = 0.0;
    std::atomic<End> end_{End::None};
    std::exception_ptr thrown_{};
};

/// While it lives, what this thread starts is a run.
class LINTRIX_TESTABLE ControlledRun {
public:
    /// @throws OperationFailedException  as `RunControl`
    explicit ControlledRun(const RunWatch& watch) : control_(watch), scope_(control_)
    {
        if (watch.sameBits()) sameBits_.emplace();
    }
    void finish() { control_.finish(); }

private:
    RunControl control_;
    WorkScope scope_;
    std::optional<SameBitsScope> sameBits_{};
};

} // namespace Velmar::Lintrix::detail
