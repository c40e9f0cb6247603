#include <lintrix/systems/run_control.h>

#include <lintrix/foundation/failures.h>

#include <algorithm>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kGrain = 1e-3; // of all, that is worth telling

} // namespace

void RunWatch::limits(const RunLimits& limits)
{
    const std::lock_guard lock(setting_);
    limits_ = limits;
}

RunLimits RunWatch::limits() const
{
    const std::lock_guard lock(setting_);
    return limits_;
}

RunControl::RunControl(const RunWatch& watch)
    : progress_(watch.progress()), limits_(watch.limits()), outer_(WorkScope::listener())
{
    if (!goesOn()) require();
}

void RunControl::finish()
{
    const std::lock_guard lock(telling_);
    all_ = done_ = std::max(all_, done_);
    if (told_ < all_) tell();
    if (thrown_) std::rethrow_exception(thrown_);
}

void RunControl::expect(double operations) noexcept
{
    const std::lock_guard lock(telling_);
    all_ = std::max(all_, done_ + operations);
}

bool RunControl::hear(double operations) noexcept
{
    if (operations > 0.0) {
        const std::lock_guard lock(telling_);
        done_ += operations;
        all_ = std::max(all_, done_);
        if (done_ - told_ >= kGrain * all_ && goesOn()) tell();
    }
    return goesOn();
}

void RunControl::tell() noexcept
{
    told_ = done_;
    if (!progress_) return;
    try {
        progress_(done_, all_);
    } catch (...) {
        thrown_ = std::current_exception();
        end_ = End::Callback;
    }
}

/// What has ended it first stands.
bool RunControl::goesOn() noexcept
{
    End now = End::None;
    if (limits_.stop.stop_requested())
        now = End::Stop;
    else if (outer_ != nullptr && !outer_->hear(0.0))
        now = End::Outer;
    else if (limits_.deadline && std::chrono::steady_clock::now() >= *limits_.deadline)
        now = End::Deadline;
    End before = End::None;
    if (now != End::None) end_.compare_exchange_strong(before, now);
    return end_ == End::None;
}

void RunControl::require() const
{
    switch (end_) {
    case End::None:
        return;
    case End::Stop:
        throw OperationFailedException("The operation was stopped.");
    case End::Deadline:
        throw OperationFailedException("The deadline has passed.");
    case End::Outer:
        outer_->require();
        return;
    case End::Callback:
        std::rethrow_exception(thrown_);
    }
}

} // namespace Velmar::Lintrix::detail
