#include "watched_run.h"

#include "interpreter_lock.h"
#include "work_threads.h"

#include <lintrix/foundation/failures.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace Velmar::Lintrix::python {

namespace {

/// How long a signal may wait for its handler.
constexpr auto kSignalInterval = std::chrono::milliseconds(20);

bool isMainThread()
{
    const auto ident = py::module_::import("threading").attr("main_thread")().attr("ident");
    return !ident.is_none() && ident.cast<unsigned long>() == PyThread_get_thread_ident();
}

bool wasStopped(const OperationFailedException& failure)
{
    return failure.Message() == "The operation was stopped.";
}

/// What one thread does until its work has ended.
class Waiting {
public:
    Waiting(const std::function<void()>& stop, std::optional<Moment> deadline)
        : stop_(stop), deadline_(deadline), handlesSignals_(isMainThread())
    {
    }

    /// Without the interpreter's lock.
    void waitFor(Job& job)
    {
        while (!job.waitUntil(nextLook())) {
            if (deadline_ && !isExpired_ && std::chrono::steady_clock::now() >= *deadline_) {
                isExpired_ = true;
                stop_();
            }
            if (handlesSignals_ && !raised_) handleSignals();
        }
    }

    /// With the lock again: what there is to raise.
    void settle(Job& job)
    {
        const std::exception_ptr failure = job.takeFailure();
        if (raised_) throw *std::move(raised_);
        if (!failure) return;
        if (!isExpired_) std::rethrow_exception(failure);
        try {
            std::rethrow_exception(failure);
        } catch (const OperationFailedException& stopped) {
            if (!wasStopped(stopped)) throw;
            throw OperationFailedException("The deadline has passed.");
        }
    }

private:
    Moment nextLook() const
    {
        const Moment usual = std::chrono::steady_clock::now() + kSignalInterval;
        return deadline_ && !isExpired_ ? std::min(usual, *deadline_) : usual;
    }

    void handleSignals()
    {
        const WithLock own;
        if (PyErr_CheckSignals() == 0) return;
        raised_.emplace();
        stop_();
    }

    const std::function<void()>& stop_;
    const std::optional<Moment> deadline_;
    const bool handlesSignals_;
    bool isExpired_ = false;
    std::optional<py::error_already_set> raised_{};
};

} // namespace

std::optional<Moment> momentAfter(std::optional<double> seconds)
{
    if (!seconds) return std::nullopt;
    if (!(*seconds >= 0.0)) throw ArgumentException("The deadline is no number of seconds.", "deadline");
    constexpr double kCentury = 3e9; // further moments leave the range of the clock
    const auto span = std::chrono::duration<double>(std::min(*seconds, kCentury));
    return std::chrono::steady_clock::now() +
           std::chrono::duration_cast<std::chrono::steady_clock::duration>(span);
}

void runWatched(std::function<void()> work, const std::function<void()>& stop, std::optional<Moment> deadline)
{
    if (deadline && std::chrono::steady_clock::now() >= *deadline)
        throw OperationFailedException("The deadline has passed.");
    Waiting waiting(stop, deadline);
    std::shared_ptr<Job> job;
    {
        const WithoutLock others;
        job = begin(std::move(work));
        waiting.waitFor(*job);
    }
    waiting.settle(*job);
}

class SharedStop::Share {
public:
    explicit Share(SharedStop& all) : all_(all)
    {
        const std::lock_guard turn(all_.setting_);
        if (all_.running_ == 0 || all_.stop_.stop_requested()) {
            all_.stop_ = std::stop_source();
            all_.tell_({.stop = all_.stop_.get_token()});
        }
        source_ = all_.stop_;
        ++all_.running_;
    }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;
    ~Share()
    {
        const std::lock_guard turn(all_.setting_);
        --all_.running_;
    }

    /// A run takes the setting of the moment when it begins, which may be a later one.
    void stop()
    {
        source_.request_stop();
        all_.stopAll();
    }

private:
    SharedStop& all_;
    std::stop_source source_{};
};

void SharedStop::stopAll()
{
    const std::lock_guard turn(setting_);
    stop_.request_stop();
}

void SharedStop::run(const std::function<void()>& work, std::optional<Moment> deadline)
{
    for (;;) {
        Share share(*this);
        try {
            return runWatched(
                work, [&] { share.stop(); }, deadline);
        } catch (const OperationFailedException& failure) {
            if (!wasStopped(failure)) throw; // else by another call: this one goes on
        }
    }
}

std::function<void(double, double)> listenerOf(const py::object& callable)
{
    if (callable.is_none()) return {};
    const auto release = [](py::object* held) {
        const WithLock own;
        delete held;
    };
    const std::shared_ptr<py::object> shared(new py::object(callable), release);
    return [shared](double done, double all) {
        const WithLock own;
        callInPython(*shared, py::make_tuple(done, all));
    };
}

} // namespace Velmar::Lintrix::python
