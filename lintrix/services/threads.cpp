#include <lintrix/services/threads.h>

#include <lintrix/services/blas_kernels.h>
#include <lintrix/services/same_bits.h>
#include <lintrix/services/service_lock.h>
#include <lintrix/services/team_memory.h>
#include <lintrix/services/thread_scope.h>
#include <lintrix/services/thread_settings.h>
#include <lintrix/services/topology.h>

#include <omp.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <utility>

namespace Velmar::Lintrix {

namespace {

using detail::Domain;
using detail::ThreadSettings;

/// What a program may change at any moment, -1 for not set. Each word stands for itself, so relaxed order is
/// enough: a change takes effect at the next question.
constinit std::array<std::atomic<int>, 4> domainSettings{-1, -1, -1,
                                                         -1}; // by Domain; Domain::All is the global one
constinit std::atomic<int> dynamicFlag{-1};

std::atomic<int>& settingOf(Domain domain)
{
    return domainSettings[static_cast<std::size_t>(domain)];
}

/// A value that the program set before the environment was read stays.
void adopt(std::atomic<int>& setting, int value)
{
    int unset = -1;
    setting.compare_exchange_strong(unset, value, std::memory_order_relaxed);
}

/// The environment's settings, read at the first question. Those that a program may change go to their
/// places; the others are used from here.
const ThreadSettings& environmentSettings()
{
    static constinit detail::FoundOnce<ThreadSettings> settings;
    return settings.get([] {
        const ThreadSettings read = detail::parseThreadSettings(detail::readEnvironment);
        adopt(settingOf(Domain::All), read.global);
        adopt(settingOf(Domain::Blas), read.blas);
        adopt(settingOf(Domain::Fft), read.fft);
        adopt(settingOf(Domain::Vml), read.vml);
        adopt(dynamicFlag, read.dynamic);
        return read;
    });
}

} // namespace

void MKL_Set_Num_Threads(const int& n)
{
    if (n > 0) settingOf(Domain::All).store(n, std::memory_order_relaxed);
}

int MKL_Get_Max_Threads()
{
    return detail::domainThreads(Domain::All);
}

void MKL_Set_Dynamic(const int& flag)
{
    dynamicFlag.store(flag != 0 ? 1 : 0, std::memory_order_relaxed);
}

int MKL_Get_Dynamic()
{
    environmentSettings();
    return dynamicFlag.load(std::memory_order_relaxed);
}

namespace detail {

namespace {

int askedThreads(Domain domain)
{
    const ThreadSettings& environment = environmentSettings();
    ThreadQuestion question;
    question.domain = settingOf(domain).load(std::memory_order_relaxed);
    question.global = settingOf(Domain::All).load(std::memory_order_relaxed);
    question.runtime = omp_get_max_threads();
    question.dynamic = dynamicFlag.load(std::memory_order_relaxed) != 0;
    question.inActiveRegion = omp_in_parallel() != 0;
    question.openmp = environment.openmp;
    question.processesPerNode = environment.processesPerNode;
    question.mpiThreadLevel = environment.mpiThreadLevel;
    // Cores bound a count, or are shared among processes. They stand in files of the system: the first small
    // matrix of a process that asks for one thread is solved in less time than it takes to read these.
    if (question.processesPerNode > 0 || threadCount(question) > 1) question.cores = machineTopology().cores;
    return threadCount(question);
}

thread_local bool sequentialBlas = false;

} // namespace

int domainThreads(Domain domain)
{
    if (!keepsSameBits()) return askedThreads(domain);
    return domain == Domain::Blas ? 1 : kThreadsOfSameBits;
}

int threadsInForce()
{
    return askedThreads(Domain::All);
}

// The runtime keeps its maximum per thread, so that setting it here touches no other thread of the program.
BlasThreadScope::BlasThreadScope() noexcept : callersCount_(0)
{
    // A team inside a team is never wanted, whatever the dynamic flag says.
    const bool alone = sequentialBlas || omp_in_parallel() != 0;
    const int wanted = alone ? 1 : affordableTeam(domainThreads(Domain::Blas));
    const int current = omp_get_max_threads();
    if (wanted == current) return;
    omp_set_num_threads(wanted);
    callersCount_ = current;
}

BlasThreadScope::~BlasThreadScope()
{
    if (callersCount_ != 0) omp_set_num_threads(callersCount_);
}

SequentialBlasScope::SequentialBlasScope() noexcept : outer_(std::exchange(sequentialBlas, true))
{
}

SequentialBlasScope::SequentialBlasScope(double multiplications) noexcept : outer_(sequentialBlas)
{
    // Of a factorization they take two milliseconds on one thread.
    constexpr double kRepaid = 2e7;
    if (multiplications < kRepaid) sequentialBlas = true;
}

SequentialBlasScope::~SequentialBlasScope()
{
    sequentialBlas = outer_;
}

namespace {

// When the library is loaded, before anybody can be inside BLAS, and ahead of a static program's own objects.
// It stands here since whoever calls BLAS through this library needs the scope above: out of a static library
// a program takes no object that nothing refers to.
[[gnu::constructor(101)]] void adjustBlasAtLoad()
{
    blasKernels();
}

} // namespace

} // namespace detail
} // namespace Velmar::Lintrix
