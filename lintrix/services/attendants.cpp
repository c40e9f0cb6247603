#include <lintrix/services/attendants.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>

#include <omp.h>
#include <sched.h>

namespace Velmar::Lintrix::detail {

namespace {

/// The processors that the OpenMP runtime has for its threads, none where it leaves them where they are. They
/// are those of the process at its start, unless somebody has given the runtime others: it pins the first
/// thread when it is loaded, so that nobody else can know.
cpu_set_t processorsOfRuntime() noexcept
{
    cpu_set_t all;
    CPU_ZERO(&all);
    if (::omp_get_proc_bind() == omp_proc_bind_false) return all;
    for (int place = 0; place < ::omp_get_num_places(); ++place) {
        std::array<int, CPU_SETSIZE> ids;
        const int count = ::omp_get_place_num_procs(place);
        if (count < 0 || count > CPU_SETSIZE) continue;
        ::omp_get_place_proc_ids(place, ids.data());
        for (int k = 0; k < count; ++k)
            CPU_SET(static_cast<std::size_t>(ids[static_cast<std::size_t>(k)]), &all);
    }
    return all;
}

/// How attendants are started. A thread inherits the processors of the one that starts it: where the OpenMP
/// runtime has pinned that to one, all would share it, so they get those of the whole runtime.
class StartAttributes {
public:
    StartAttributes() noexcept
    {
        isMade_ = ::pthread_attr_init(&attributes_) == 0;
        if (!isMade_) return;
        ::pthread_attr_setstacksize(&attributes_, kAttendantStackBytes);
        const cpu_set_t processors = processorsOfRuntime();
        if (CPU_COUNT(&processors) > 0)
            ::pthread_attr_setaffinity_np(&attributes_, sizeof processors, &processors);
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
