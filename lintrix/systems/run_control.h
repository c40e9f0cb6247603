#pragma once
/// @file
/// A run of a linear system as it is watched from outside: when it has to end, and how far it has come.

#include <lintrix/services/work.h>
#include <lintrix/systems/system_options.h>

#include <atomic>
#include <exception>
#include <functional>
#include <mutex>

namespace Velmar::Lintrix::detail {

/// In whose time an analysis of so many entries is done.
inline double analysisOperations(double entries) noexcept
{
    return 1000.0 * entries;
}

/// Hears of the operations of one run after another. The callback is told of each thousandth, by one thread
/// at a time; what it throws ends the run and travels to who started it.
class LINTRIX_TESTABLE RunControl final : public WorkListener {
public:
    explicit RunControl(const SystemOptions& options) : limits_(options.limits), progress_(options.progress)
    {
    }

    /// Of the runs that begin from now on.
    void limits(const RunLimits& limits);

    void expect(double operations) noexcept override;
    bool hear(double operations) noexcept override;
    /// @throws OperationFailedException  "The operation was stopped." or "The deadline has passed."
    void require() const override;

private:
    friend class ControlledRun;

    enum class End { None, Stop, Deadline, Callback };

    void begin();
    void finish();
    bool goesOn() noexcept;
    void tell() noexcept;

    RunLimits limits_, inForce_{};
    std::function<void(double, double)> progress_;
    std::mutex setting_{}, telling_{};
    double done_ = 0.0, all_ = 0.0, told_ = 0.0;
    std::atomic<End> end_{End::None};
    std::exception_ptr thrown_{};
};

/// While it lives, what this thread starts is told to the control, one run at a time.
class LINTRIX_TESTABLE ControlledRun {
public:
    /// @throws OperationFailedException  it has to end before it begins
    explicit ControlledRun(RunControl& control) : control_(control), scope_(control) { control_.begin(); }

    /// All is done. @throws what the callback does
    void finish() { control_.finish(); }

private:
    RunControl& control_;
    WorkScope scope_;
};

} // namespace Velmar::Lintrix::detail
