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

/// What the runs of one system have in common.
class LINTRIX_TESTABLE RunControl {
public:
    explicit RunControl(const SystemOptions& options) : limits_(options.limits), progress_(options.progress)
    {
    }

    /// Of the runs that begin from now on.
    void limits(const RunLimits& limits);

private:
    friend class ControlledRun;

    RunLimits limits_;
    std::function<void(double, double)> progress_;
    std::mutex setting_{}, telling_{}; ///< the callback is told by one thread at a time
};

/// A run, while it lives: hears of what this thread starts. The callback is told of each thousandth; what it
/// throws ends the run and travels to who started it. Runs of several threads know nothing of each other.
class LINTRIX_TESTABLE ControlledRun final : public WorkListener {
public:
    /// @throws OperationFailedException  it has to end before it begins
    explicit ControlledRun(RunControl& control);

    void expect(double operations) noexcept override;
    bool hear(double operations) noexcept override;
    /// @throws OperationFailedException  "The operation was stopped." or "The deadline has passed."
    void require() const override;
    /// All is done. @throws what the callback does
    void finish();

private:
    enum class End { None, Stop, Deadline, Callback };

    bool goesOn() noexcept;
    void tell() noexcept;

    RunControl& control_;
    RunLimits limits_{};
    double done_ = 0.0, all_ = 0.0, told_ = 0.0;
    std::atomic<End> end_{End::None};
    std::exception_ptr thrown_{};
    WorkScope scope_;
};

} // namespace Velmar::Lintrix::detail
