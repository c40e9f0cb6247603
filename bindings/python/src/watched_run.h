#pragma once
/// @file
/// Work of the library as Python calls it: without the interpreter's lock, and ended by its signals.

#include <lintrix/systems/system_options.h>

#include <pybind11/pybind11.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>

namespace Velmar::Lintrix::python {

namespace py = pybind11;

using Moment = std::chrono::steady_clock::time_point;

/// So many seconds from now on. @throws ArgumentException  no number, or negative
std::optional<Moment> momentAfter(std::optional<double> seconds);

/// Does `work` on another thread while this one waits without the interpreter's lock. In Python's main thread
/// signals are handled meanwhile: where a handler raises, as that of Ctrl-C does, `stop` is called, the end
/// of the work is waited for, and what was raised goes on. `stop` is also called when the deadline passes.
/// @throws OperationFailedException  "The deadline has passed."
/// @throws what `work` throws
void runWatched(std::function<void()> work, const std::function<void()>& stop,
                std::optional<Moment> deadline = {});

/// The stop token of runs on one object, which has one setting for all of them. Where one call ends a run,
/// those of other threads that it ended beside begin anew.
class SharedStop {
public:
    /// `tell` brings the limits of the runs to come to the object.
    explicit SharedStop(std::function<void(const RunLimits&)> tell) : tell_(std::move(tell)) {}

    void run(const std::function<void()>& work, std::optional<Moment> deadline);

private:
    /// While it lives, one more runs.
    class Share;
    void stopAll();

    std::function<void(const RunLimits&)> tell_;
    std::mutex setting_{};
    std::stop_source stop_{};
    int running_ = 0;
};

/// A callable of Python's as the listener of a run, called from any thread: what it raises travels through
/// the library as the end of the run, and comes back to Python as it was. An empty function for None.
std::function<void(double, double)> listenerOf(const py::object& callable);

} // namespace Velmar::Lintrix::python
