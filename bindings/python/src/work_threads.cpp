#include "work_threads.h"

#include <pthread.h>

#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::python {

namespace {

/// A thread waits here for its next job.
struct Seat {
    std::condition_variable called{};
    std::shared_ptr<Job> job{};
};

/// Who has nothing to do. It is never destroyed, for at the end of the process threads still wait in it.
class Pool {
public:
    static Pool& get()
    {
        static Pool* const pool = create();
        return *pool;
    }

    void give(std::shared_ptr<Job> job)
    {
        const std::lock_guard turn(setting_);
        if (idle_.empty()) {
            idle_.reserve(++threads_); // taking a seat again cannot fail
            startThread(std::move(job));
            return;
        }
        Seat* const seat = idle_.back();
        idle_.pop_back();
        seat->job = std::move(job);
        seat->called.notify_one();
    }

private:
    static Pool* create()
    {
        const int refused = pthread_atfork([] { get().setting_.lock(); }, [] { get().setting_.unlock(); },
                                           [] { get().forgetThreads(); });
        if (refused != 0) throw std::system_error(refused, std::generic_category());
        return new Pool;
    }

    void startThread(std::shared_ptr<Job> job)
    {
        try {
            auto seat = std::make_unique<Seat>();
            seat->job = std::move(job);
            std::thread([this, own = std::move(seat)] { serve(*own); }).detach();
        } catch (...) {
            --threads_;
            throw;
        }
    }

    [[noreturn]] void serve(Seat& seat)
    {
        for (;;) {
            seat.job->run();
            std::unique_lock turn(setting_);
            seat.job.reset();
            idle_.push_back(&seat);
            seat.called.wait(turn, [&] { return seat.job != nullptr; });
        }
    }

    /// The child of a fork has one thread. Seats of the others are left where they are.
    void forgetThreads()
    {
        idle_.clear();
        threads_ = 0;
        setting_.unlock();
    }

    std::mutex setting_{};
    std::vector<Seat*> idle_{};
    std::size_t threads_ = 0;
};

} // namespace

void Job::run() noexcept
{
    std::exception_ptr failure;
    try {
        work_();
    } catch (...) {
        failure = std::current_exception();
    }
    work_ = nullptr;
    const std::lock_guard turn(ending_);
    failure_ = std::move(failure);
    isDone_ = true;
    ended_.notify_all();
}

bool Job::waitUntil(std::chrono::steady_clock::time_point moment)
{
    std::unique_lock turn(ending_);
    return ended_.wait_until(turn, moment, [&] { return isDone_; });
}

std::shared_ptr<Job> begin(std::function<void()> work)
{
    auto job = std::make_shared<Job>(std::move(work));
    Pool::get().give(job);
    return job;
}

} // namespace Velmar::Lintrix::python
