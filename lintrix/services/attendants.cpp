#include <lintrix/services/attendants.h>

#include <lintrix/services/topology.h>

#include <algorithm>
#include <chrono>
#include <csignal>

#include <sched.h>

namespace Velmar::Lintrix::detail {

namespace {

/// How attendants are started. A thread inherits the processors of the one that starts it: where the OpenMP
/// runtime has pinned that to one, all would share it, so they get those of the whole runtime.
class StartAttributes {
public:
    StartAttributes() noexcept
    {
        isMade_ = ::pthread_attr_init(&attributes_) == 0;
        if (!isMade_) return;
        ::pthread_attr_setstacksize(&attributes_, kAttendantStackBytes);
        const ProcessorSet processors = processorsOfRuntime();
        if (processors.none()) return;
        const ProcessorMask mask = maskOf(processors);
        ::pthread_attr_setaffinity_np(&attributes_, sizeof mask,
                                      reinterpret_cast<const cpu_set_t*>(mask.data()));
    }
    ~StartAttributes()
    {
        if (isMade_) ::pthread_attr_destroy(&attributes_);
    }
    StartAttributes(const StartAttributes&) = delete;
    StartAttributes& operator=(const StartAttributes&) = delete;

    /// Null, and no thread can be started, where there is no memory for them.
    const pthread_attr_t* get() const noexcept { return isMade_ ? &attributes_ : nullptr; }

private:
    pthread_attr_t attributes_;
    bool isMade_;
};

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
    const StartAttributes attributes;
    const int wanted = attributes.get() != nullptr ? std::min(threads, kMost) : 0;
    while (count_ < wanted && ::pthread_create(&threads_[count_], attributes.get(), run, this) == 0) ++count_;
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
