#pragma once
/// @file
/// Threads that work while the interpreter goes on.

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace Velmar::Lintrix::python {

/// A piece of work on a thread of its own, and how it ended.
class Job {
public:
    explicit Job(std::function<void()> work) : work_(std::move(work)) {}

    void run() noexcept;
    /// @return  whether it has ended by then
    bool waitUntil(std::chrono::steady_clock::time_point moment);
    /// What the work has thrown, or nothing; the job keeps none of it. An exception of Python's must end in a
    /// thread that holds the interpreter's lock, and the thread of the work may be the last one to leave the
    /// job.
    /// @pre it has ended
    std::exception_ptr takeFailure() noexcept { return std::exchange(failure_, nullptr); }

private:
    std::function<void()> work_;
    std::mutex ending_{};
    std::condition_variable ended_{};
    bool isDone_ = false;
    std::exception_ptr failure_{};
};

/// Begins `work` on a thread that has none, or on a new one. Threads are kept, since each has a team of
/// OpenMP threads behind it; there are never more of them than pieces of work at once. In the child of a fork
/// there are none at first, so that it never meets a team that stayed with its parent.
/// @throws std::system_error, std::bad_alloc  nothing was begun
std::shared_ptr<Job> begin(std::function<void()> work);

} // namespace Velmar::Lintrix::python
