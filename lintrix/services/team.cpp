#include <lintrix/services/team.h>

#include <lintrix/services/same_bits.h>
#include <lintrix/services/team_memory.h>
#include <lintrix/services/threads.h>

#include <algorithm>
#include <limits>

#include <omp.h>

namespace Velmar::Lintrix::detail {

namespace {

// Nanoseconds of work, of which a team saves a part. Work in small pieces may be over when it has added up,
// so that much more of it is waited for.
constexpr double kCall = 20e3, kStart = 6e6, kStartInAll = 1e8;

/// Of work for which a team would have been called. Infinite once there is one.
thread_local double withoutTeam = 0.0;

} // namespace

int repaidTeam(int threads, double nanoseconds) noexcept
{
    if (threads <= 1 || !(nanoseconds >= kCall)) return 1;
    withoutTeam += nanoseconds;
    return nanoseconds >= kStart || withoutTeam >= kStartInAll ? threads : 1;
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
    if (team == 1) return work(context, {0, 1});
    withoutTeam = std::numeric_limits<double>::infinity();
#pragma omp parallel num_threads(team)
    work(context, {omp_get_thread_num(), omp_get_num_threads()});
}

} // namespace Velmar::Lintrix::detail
