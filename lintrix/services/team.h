#pragma once
/// @file
/// Teams of threads: the one place where this library starts any that compute.

#include <lintrix/services/export.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// One thread of a team, as its work sees it.
struct TeamMember {
    int thread;  ///< from 0
    int threads; ///< in the team: those asked for, or fewer if the runtime has no more to give

    /// Returns when every thread of the team has come here.
    LINTRIX_TESTABLE void meet() const noexcept;

    /// This thread's range first .. behind-1 of 0 .. count-1, which the threads cut up in their order.
    struct Range {
        int first, behind;
    };
    Range shareOf(int count) const noexcept
    {
        const auto bound = [&](int at) { return static_cast<int>(std::int64_t{count} * at / threads); };
        return {bound(thread), bound(thread + 1)};
    }

    /// Calls work(part) for those of 0 .. parts-1 that fall to this thread, the same ones each time.
    template <class Work>
    void takeTurns(int parts, const Work& work) const
    {
        for (int part = thread; part < parts; part += threads) work(part);
    }
};

/// `threads`, or 1 where work that takes one thread so many nanoseconds does not repay a team: it must repay
/// the call of threads that wait; and before the calling thread has had any, their start, for which all work
/// is counted that went without. For what a start may take: the runtime waits for a new thread without
/// leaving the core to it, so that one which the system puts on the core of the caller is there some
/// milliseconds later. Likewise for a while where a call of this length took several times as long as one
/// thread would have: the processors have other work to do. What comes of it depends on work and calls
/// before: the pieces of work must not. The next call of `runTeam` by this thread is taken for that of this
/// work.
LINTRIX_TESTABLE int repaidTeam(int threads, double nanoseconds) noexcept;

/// Calls work(context, member) on each thread of a team and returns when all are done; on the calling thread
/// alone, and outside of any parallel region, unless `threads` is above 1 and there is memory for a team: the
/// runtime ends the process when it finds none.
LINTRIX_TESTABLE void runTeam(int threads, void (*work)(const void* context, const TeamMember& member),
                              const void* context);

/// Calls work(member) on each thread of a team. It must not throw.
template <class Work>
void runTeam(int threads, const Work& work)
{
    runTeam(
        threads,
        [](const void* context, const TeamMember& member) { (*static_cast<const Work*>(context))(member); },
        &work);
}

/// Calls work(part) for 0 .. parts-1, dealt out to at most `threads` threads and no more than there are
/// parts.
template <class Work>
void runParts(int parts, int threads, const Work& work)
{
    runTeam(std::min(parts, threads), [&](const TeamMember& member) { member.takeTurns(parts, work); });
}

/// Calls work(first, behind) for consecutive ranges that make up 0 .. count-1, one a thread and none empty.
template <class Work>
void runRanges(int count, int threads, const Work& work)
{
    runTeam(std::min(count, threads), [&](const TeamMember& member) {
        const auto [first, behind] = member.shareOf(count);
        work(first, behind);
    });
}

} // namespace Velmar::Lintrix::detail
