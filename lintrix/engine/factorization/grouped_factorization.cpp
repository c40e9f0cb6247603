#include <lintrix/engine/factorization/grouped_factorization.h>

#include <lintrix/engine/factorization/elimination.h>
#include <lintrix/engine/factorization/panel_writer.h>
#include <lintrix/services/attendants.h>
#include <lintrix/services/team.h>
#include <lintrix/services/thread_scope.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <complex>
#include <optional>

namespace Velmar::Lintrix::detail::engine {

namespace {

// After a failure every thread goes on to the end and does nothing more: all of them meet the same number of
// times.
template <class T>
class GroupedFactorization {
public:
    GroupedFactorization(const FactorPlan& plan, const FactorRules& rules, const T* values,
                         const Factor<T>& exchanges, FactorStore<T>& store, const PanelSchedule& schedule,
                         T* room, const ProgressListener& listener)
        : plan_(plan), rules_(rules), values_(values), exchanges_(exchanges), store_(store),
          schedule_(schedule), room_(room), team_(plan, listener), writer_(store, team_),
          feed_(store, schedule, exchanges, room + FactorStore<T>::roomFor(schedule.groupRoom()),
                &team_.work),
          attendants_(attendantsBeside(plan.threads), serve, this)
    {
    }

    FactorResult run()
    {
        if (!team_) return {outOfMemory(BlockCode::RealWork, team_.missingBytes()), {}};
        if (!team_.progress.start()) return {stopped(), {}};
        runTeam(busyThreads(plan_, static_cast<int>(plan_.runs.size())),
                [&](const TeamMember& member) { work(member); });
        if (!team_.hasFailed() && !team_.progress.end()) team_.fail(stopped());
        return {team_.failure(), pivots_};
    }

private:
    static bool serve(void* self)
    {
        auto& own = *static_cast<GroupedFactorization*>(self);
        return own.writer_.serve() || own.feed_.serve();
    }

    void work(const TeamMember& member)
    {
        std::optional<SequentialBlasScope> sequential;
        if (plan_.threads > 1) sequential.emplace();
        Eliminator<T> eliminator(plan_, rules_, values_, panels_, team_);
        if (!eliminator) team_.fail(outOfMemory(BlockCode::RealWork, eliminator.missingBytes()));
        const int supernodes = plan_.structure.supernodes();
        for (PositionRange group = schedule_.groupFrom(0);; group = schedule_.groupFrom(group.last + 1)) {
            workAt(group, member, eliminator);
            if (group.last == supernodes - 1) break;
        }
#pragma omp critical(lintrix_engine_pivots)
        pivots_ += eliminator.pivots();
        member.meet(); // as in a factorization in memory
    }

    // What is read for a group may come while the group before is at work, what was finished goes meanwhile.
    void workAt(PositionRange group, const TeamMember& member, Eliminator<T>& eliminator)
    {
        if (member.thread == 0) begin(group);
        member.meet();
        bringEntries(group, member, eliminator);
        member.meet();
        for (auto chunk = feed_.first(); !chunk.isNone(); chunk = feed_.after(chunk)) {
            takeUpdates(group, chunk, eliminator);
            if (member.thread == 0) nextTarget_[(chunk.number + 1) % 2] = 0;
            member.meet();
        }
        member.meet();
        if (member.thread == 0) beginTransfers(group, member.threads);
        if (!team_.hasFailed()) eliminator.work(member.thread, group, Entries::Brought);
        member.meet();
        writer_.finish();
        member.meet();
    }

    void begin(PositionRange group)
    {
        panels_ = store_.placedIn(room_, group, exchanges_);
        team_.restartRuns();
        nextTarget_[0] = 0;
        feed_.setBehindWritten(group.first);
        attendants_.call();
    }

    void bringEntries(PositionRange group, const TeamMember& member, Eliminator<T>& eliminator)
    {
        for (int J = group.first + member.thread; J <= group.last; J += member.threads) eliminator.gather(J);
    }

    void takeUpdates(PositionRange group, const typename PanelFeed<T>::Chunk& chunk,
                     Eliminator<T>& eliminator)
    {
        if (team_.hasFailed()) return;
        const Factor<T>* const passing = feed_.hold(chunk);
        if (passing == nullptr) return team_.fail(feed_.failure());
        std::atomic<int>& next = nextTarget_[chunk.number % 2];
        int turn = next++;
        for (int J = group.first, end, number = 0; J <= group.last && !team_.hasFailed();
             J = end + 1, ++number) {
            end = lastTogether(plan_.structure, J, group.last, kPanelsTogether);
            if (number != turn) continue;
            eliminator.takeUpdates(J, end, chunk.panels, *passing);
            turn = next++;
        }
        if (feed_.leave(chunk)) attendants_.call();
    }

    // Of the pass for the next group those panels that are in the files already.
    void beginTransfers(PositionRange group, int threads)
    {
        writer_.begin(group, panels_);
        const int next = group.last + 1;
        if (next < schedule_.supernodes())
            feed_.begin(PanelPass::by(schedule_.groupFrom(next), schedule_), 0, Halves::Both, threads);
        attendants_.call();
    }

    const FactorPlan& plan_;
    const FactorRules& rules_;
    const T* values_;
    const Factor<T>& exchanges_;
    FactorStore<T>& store_;
    const PanelSchedule& schedule_;
    T* room_;
    EliminationTeam team_;
    Factor<T> panels_{};                           // of the group at work
    std::array<std::atomic<int>, 2> nextTarget_{}; // of a chunk, and of the one behind it
    PivotCounts pivots_;
    PanelWriter<T> writer_;
    PanelFeed<T> feed_;
    Attendants attendants_; // the first to go: they use what stands above
};

} // namespace

template <class T>
FactorResult factorizeInGroups(const FactorPlan& plan, const FactorRules& rules, const T* values,
                               const Factor<T>& exchanges, FactorStore<T>& store,
                               const PanelSchedule& schedule, T* room, const ProgressListener& listener)
{
    return GroupedFactorization<T>(plan, rules, values, exchanges, store, schedule, room, listener).run();
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template FactorResult factorizeInGroups(const FactorPlan&, const FactorRules&, const T*,                 \
                                            const Factor<T>&, FactorStore<T>&, const PanelSchedule&, T*,     \
                                            const ProgressListener&);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
