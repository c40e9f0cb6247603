#include <lintrix/services/attendants.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>

namespace Velmar::Lintrix::detail {

namespace {

/// What is read and written stands elsewhere.
constexpr std::size_t kStackBytes = 256 << 10;

/// While it lives, a thread that is started inherits a mask of all signals.
class AllSignalsBlocked {
public:
    AllSignalsBlocked() noexcept
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~AllSignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t before_;
};

} // namespace

Attendants::Attendants(int threads, Serve serve, void* context) noexcept : serve_(serve), context_(context)
{
    const AllSignalsBlocked blocked;
    const int wanted = std::min(threads, kMost);
    pthread_attr_t small;
    if (::pthread_attr_init(&small) != 0) return;
    ::pthread_attr_setstacksize(&small, kStackBytes);
    while (count_ < wanted && ::pthread_create(&threads_[count_], &small, run, this) == 0) ++count_;
    ::pthread_attr_destroy(&small);
}

Attendants::~Attendants()
{
    ends_ = true;
    call();
    for (int k = 0; k < count_; ++k) ::pthread_join(threads_[k], nullptr);
}

// Under the lock, so that nobody who is about to rest misses it.
void Attendants::call() noexcept
{
    {
        const std::lock_guard lock(mutex_);
        ++calls_;
    }
    called_.notify_all();
}

void* Attendants::run(void* self)
{
    static_cast<Attendants*>(self)->attend();
    return nullptr;
}

void Attendants::attend() noexcept
{
    while (!ends_) {
        const unsigned heard = calls_;
        if (!serve_(context_)) rest(heard);
    }
}

void Attendants::rest(unsigned callsHeard) noexcept
{
    std::unique_lock lock(mutex_);
    called_.wait_for(lock, std::chrono::milliseconds(1), [&] { return calls_ != callsHeard; });
}

} // namespace Velmar::Lintrix::detail
