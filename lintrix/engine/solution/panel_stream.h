#pragma once
/// @file
/// A factor in files as a solve goes through it: chunk after chunk, upwards and downwards.

#include <lintrix/engine/factorization/panel_feed.h>
#include <lintrix/engine/solution/substitution.h>
#include <lintrix/services/attendants.h>
#include <lintrix/services/export.h>
#include <lintrix/services/team.h>

#include <atomic>

namespace Velmar::Lintrix::detail::engine {

/// Holds as many panels at a time as its room does, and of these the halves that a pass needs. What one pass
/// ends with the next begins with, so a factor that fits is read once. While chunks are worked with, threads
/// beside the team read those behind them.
template <class T>
class LINTRIX_TESTABLE PanelStream {
public:
    /// The chunks of the schedule pass through `room`, a block of PanelFeed::roomOf() it.
    PanelStream(FactorStore<T>& store, const PanelSchedule& schedule, const StoredFactor<T>& factor, T* room,
                int threads) noexcept;

    /// Calls visit(part, factor, range) with these halves of the panels of the range in memory, for each
    /// part 0 .. parts-1: the ranges of one in their order, on one thread. Threads of the team that have no
    /// part read, and then those beside it rest. After a failure, which stays, there are no more calls.
    template <class Visit>
    void upwards(Halves halves, int parts, const Visit& visit)
    {
        run(PanelPass::upwards(schedule_), 0, halves, parts, visit);
    }
    template <class Visit>
    void downwards(Halves halves, int parts, const Visit& visit)
    {
        run(PanelPass::downwards(schedule_), chunks_ - 1, halves, parts, visit);
    }

    Failure failure() const { return feed_.failure(); }

private:
    template <class Visit>
    void run(const PanelPass& pass, int number, Halves halves, int parts, const Visit& visit)
    {
        feed_.begin(pass, number, halves, parts);
        teamReads_ = threads_ > parts;
        callAttendants();
        runTeam(threads_, [&](const TeamMember& member) {
            if (member.thread == 0 && teamReads_ && member.threads <= parts) teamReads_ = false;
            if (member.thread >= parts) return feed_.serveToEnd();
            StoredFactor<T> factor = factor_;
            auto chunk = feed_.first();
            while (const Factor<T>* const panels = feed_.hold(chunk)) {
                factor.panels = *panels;
                member.takeTurns(parts, [&](int part) {
                    visit(part, factor, SupernodeRange{chunk.panels.first, chunk.panels.last});
                    if (feed_.leave(chunk)) callAttendants();
                });
                chunk = feed_.after(chunk);
            }
        });
        feed_.end();
    }

    static bool serve(void* self)
    {
        auto& own = *static_cast<PanelStream*>(self);
        return !own.teamReads_ && own.feed_.serve();
    }
    void callAttendants()
    {
        if (!teamReads_) attendants_.call();
    }

    const PanelSchedule& schedule_;
    StoredFactor<T> factor_;
    int threads_, chunks_ = 0;
    std::atomic<bool> teamReads_{false};
    PanelFeed<T> feed_;
    Attendants attendants_; // the first to go: they use the feed
};

} // namespace Velmar::Lintrix::detail::engine
