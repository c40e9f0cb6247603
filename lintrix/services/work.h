#pragma once
/// @file
/// Long work that tells how far it has come, and that can be ended from outside.
///
/// Who starts the work puts a listener in force for its thread; who does it makes a meter there, which the
/// threads of a team share. Between them nothing has to be handed on.

#include <lintrix/services/export.h>

#include <utility>

namespace Velmar::Lintrix::detail {

class LINTRIX_TESTABLE WorkListener {
public:
    WorkListener() = default;
    WorkListener(const WorkListener&) = delete;
    WorkListener& operator=(const WorkListener&) = delete;
    virtual ~WorkListener();

    /// So many operations are still to come.
    virtual void expect(double operations) noexcept = 0;
    /// So many have been done since the last call, which any thread of a team makes.
    /// @return false  the work has to end; from then on that is the answer
    virtual bool hear(double operations) noexcept = 0;
    /// Raises why the work has to end, where it has.
    virtual void require() const = 0;
};

/// While it lives, the work that this thread starts is told to `listener`; afterwards to the one before
/// again.
class LINTRIX_TESTABLE WorkScope {
public:
    explicit WorkScope(WorkListener& listener) noexcept;
    ~WorkScope();
    WorkScope(const WorkScope&) = delete;
    WorkScope& operator=(const WorkScope&) = delete;

    static WorkListener* listener() noexcept; ///< none: nobody is told
    static void expect(double operations) noexcept;
    /// Tells, and raises where the work has to end.
    static void tell(double operations = 0.0);
    static bool goesOn() noexcept;

private:
    WorkListener* before_;
};

/// While it lives, the work that this thread starts takes so many operations, in whatever units it counts.
class LINTRIX_TESTABLE WorkStep {
public:
    explicit WorkStep(double operations) noexcept;
    ~WorkStep();
    WorkStep(const WorkStep&) = delete;
    WorkStep& operator=(const WorkStep&) = delete;

    static double operations() noexcept;

private:
    double before_;
};

/// A piece of work of so many units, told to the listener that is in force where the meter is made.
class WorkMeter {
public:
    explicit WorkMeter(double units) noexcept
        : listener_(WorkScope::listener()), each_(units > 0.0 ? WorkStep::operations() / units : 0.0)
    {
    }

    /// @return false  the work has to end
    bool add(double units) const noexcept { return listener_ == nullptr || listener_->hear(units * each_); }
    bool goesOn() const noexcept { return add(0.0); }
    bool isHeard() const noexcept { return listener_ != nullptr; }

private:
    WorkListener* listener_;
    double each_; ///< operations of a unit
};

/// One thread's way to a meter: what it has done is told in portions of about a millisecond.
class WorkShare {
public:
    explicit WorkShare(const WorkMeter& meter) noexcept : meter_(meter) {}
    ~WorkShare() { meter_.add(untold_); }
    WorkShare(const WorkShare&) = delete;
    WorkShare& operator=(const WorkShare&) = delete;

    /// @return false  the work has to end
    bool add(double units) noexcept
    {
        untold_ += units;
        return untold_ < kPortion || meter_.add(std::exchange(untold_, 0.0));
    }

private:
    static constexpr double kPortion = 5e5; // multiplications

    const WorkMeter& meter_;
    double untold_ = 0.0;
};

} // namespace Velmar::Lintrix::detail
