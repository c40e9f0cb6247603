#include <lintrix/services/team.h>

#include <lintrix/services/same_bits.h>
#include <lintrix/services/team_memory.h>
#include <lintrix/services/threads.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include <omp.h>

namespace Velmar::Lintrix::detail {

namespace {

// Nanoseconds of work, of which a team saves a part. Work in small pieces may be over when it has added up,
// so that much more of it is waited for.
constexpr double kCall = 20e3, kStart = 6e6, kStartInAll = 1e8;

/// Of work for which a team would have been called. Infinite once there is one.
thread_local double withoutTeam = 0.0;

constexpr double kInfinite = std::numeric_limits<double>::infinity();

/// Whether the processors have other work to do, as far as a thread sees of it. Where they have, each call
/// waits until the system has given all threads of the team their turn, which takes milliseconds whatever
/// the call is for; and since those that are done wait without leaving their processor, the others wait for
/// that. A call that took several times as long as one thread would have is such a one. Work that one would
/// have done sooner then goes without a team, until so much of it has been done that another trial costs a
/// small part of it.
class BusyProcessors {
public:
    /// Whether work of this kind goes without a team.
    bool defer(double nanoseconds) noexcept
    {
        if (!(deferred_ > 0.0) || nanoseconds >= lateCall_) return false;
        deferred_ -= nanoseconds;
        return true;
    }
    /// The next call is for so much. Of longer ones other reasons may make as much of a difference.
    void expect(double nanoseconds) noexcept { expected_ = nanoseconds <= kShort ? nanoseconds : kInfinite; }
    double takeExpected() noexcept { return std::exchange(expected_, kInfinite); }
    void judge(double expected, double taken) noexcept
    {
        if (!(taken > kLate * expected)) return;
        lateCall_ = std::min(taken, kLongestWait);
        deferred_ = kTrials * lateCall_;
    }

private:
    // No system lets a thread wait longer for its turn: a process that was stopped for a while tells nothing
    // of what comes behind.
    static constexpr double kShort = 1e7, kLate = 4.0, kTrials = 16.0, kLongestWait = 1e8;

    double expected_ = kInfinite; ///< nanoseconds, as all here
    double lateCall_ = 0.0, deferred_ = 0.0;
};

thread_local BusyProcessors busyProcessors;

double nanosecondsNow() noexcept
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double, std::nano>(now).count();
}

} // namespace

int repaidTeam(int threads, double nanoseconds) noexcept
{
    if (threads <= 1 || !(nanoseconds >= kCall)) return 1;
    const bool isThere = withoutTeam == kInfinite;
    withoutTeam += nanoseconds;
    if (!isThere) return nanoseconds >= kStart || withoutTeam >= kStartInAll ? threads : 1;
    if (busyProcessors.defer(nanoseconds)) return 1;
    busyProcessors.expect(nanoseconds);
    return threads;
}

void TeamMember::meet() const noexcept
{
    // Alone there may be no region of this library's, and the barrier would be that of the caller's team.
    if (threads == 1) return;
#pragma omp barrier
}

void runTeam(int threads, void (*work)(const void* context, const TeamMember& member), const void* context)
{
    if (keepsSameBits()) threads = std::min(threads, threadsInForce()); // asked for were pieces
    const int team = threads > 1 ? affordableTeam(threads) : 1;
    const double expected = busyProcessors.takeExpected();
    if (team == 1) return work(context, {0, 1});
    withoutTeam = kInfinite;
    const bool isJudged = expected != kInfinite;
    const double begun = isJudged ? nanosecondsNow() : 0.0;
#pragma omp parallel num_threads(team)
    work(context, {omp_get_thread_num(), omp_get_num_threads()});
    if (isJudged) busyProcessors.judge(expected, nanosecondsNow() - begun);
}

} // namespace Velmar::Lintrix::detail
