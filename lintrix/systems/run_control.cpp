#include <lintrix/systems/run_control.h>

#include <lintrix/foundation/failures.h>

#include <algorithm>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kGrain = 1e-3; // of all, that is worth telling

} // namespace

void RunControl::limits(const RunLimits& limits)
{
    const std::lock_guard lock(setting_);
    limits_ = limits;
}

ControlledRun::ControlledRun(RunControl& control) : control_(control), scope_(*this)
{
    {
        const std::lock_guard lock(control_.setting_);
        limits_ = control_.limits_;
    }
    if (!goesOn()) require();
}

void ControlledRun::finish()
{
    const std::lock_guard lock(control_.telling_);
    all_ = done_ = std::max(all_, done_);
    if (told_ < all_) tell();
    if (thrown_) std::rethrow_exception(thrown_);
}

void ControlledRun::expect(double operations) noexcept
{
    const std::lock_guard lock(control_.telling_);
    all_ = std::max(all_, done_ + operations);
}

bool ControlledRun::hear(double operations) noexcept
{
    if (operations > 0.0) {
        const std::lock_guard lock(control_.telling_);
        done_ += operations;
        all_ = std::max(all_, done_);
        if (done_ - told_ >= kGrain * all_ && goesOn()) tell();
    }
    return goesOn();
}

void ControlledRun::tell() noexcept
{
    told_ = done_;
    if (!control_.progress_) return;
    try {
        control_.progress_(done_, all_);
    } catch (...) {
        thrown_ = std::current_exception();
        end_ = End::Callback;
    }
}

/// What has ended it first stands.
bool ControlledRun::goesOn() noexcept
{
    End now = End::None;
    if (limits_.stop.stop_requested())
        now = End::Stop;
    else if (limits_.deadline && std::chrono::steady_clock::now() >= *limits_.deadline)
        now = End::Deadline;
    End before = End::None;
    if (now != End::None) end_.compare_exchange_strong(before, now);
    return end_ == End::None;
}

void ControlledRun::require() const
{
    switch (end_) {
    case End::None:
        return;
    case End::Stop:
        throw OperationFailedException("The operation was stopped.");
    case End::Deadline:
        throw OperationFailedException("The deadline has passed.");
    case End::Callback:
        std::rethrow_exception(thrown_);
    }
}

} // namespace Velmar::Lintrix::detail
