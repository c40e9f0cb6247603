#include <lintrix/engine/factorization/grouped_factorization.h>

#include <lintrix/engine/factorization/elimination.h>
#include <lintrix/services/team.h>
#include <lintrix/services/thread_scope.h>

#include <algorithm>
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
          schedule_(schedule), room_(room), team_(plan, listener)
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
    static bool isWanted(int) { return true; }
    auto wantedBy(PositionRange group) const
    {
        return [this, group](int K) { return schedule_.updates(K, group); };
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

    void workAt(PositionRange group, const TeamMember& member, Eliminator<T>& eliminator)
    {
        if (member.thread == 0) begin(group);
        member.meet();
        bringEntries(group, member, eliminator);
        for (PositionRange chunk = schedule_.chunkFrom(0, group); chunk.first <= chunk.last;) {
            const PositionRange next = schedule_.chunkFrom(chunk.last + 1, group);
            read(chunk, group, member);
            if (member.thread == 0) store_.readAhead(next, wantedBy(group));
            member.meet();
            takeUpdates(group, chunk, eliminator);
            member.meet();
            chunk = next;
        }
        member.meet();
        if (!team_.hasFailed()) eliminator.work(member.thread, group, Entries::Brought);
        member.meet();
        write(group, member);
        member.meet();
    }

    void begin(PositionRange group)
    {
        panels_ = store_.placedIn(room_, group, exchanges_);
        team_.restartRuns();
    }

    void bringEntries(PositionRange group, const TeamMember& member, Eliminator<T>& eliminator)
    {
        store_.forEachPiece(group, member, isWanted, [&](PositionRange piece) {
            for (int J = piece.first; J <= piece.last; ++J) eliminator.gather(J);
        });
    }

    void read(PositionRange chunk, PositionRange group, const TeamMember& member)
    {
        if (member.thread == 0) {
            passing_ = store_.placedIn(chunkRoom(), chunk, exchanges_);
            nextTarget_ = 0;
        }
        const Factor<T> into = store_.placedIn(chunkRoom(), chunk, exchanges_);
        store_.forEachPiece(chunk, member, wantedBy(group), [&](PositionRange piece) {
            team_.heed();
            if (!team_.hasFailed()) check(store_.read(piece, into));
        });
    }

    T* chunkRoom() const
    {
        return room_ + FactorStore<T>::roomFor(schedule_.groupRoom());
    }

    void takeUpdates(PositionRange group, PositionRange chunk, Eliminator<T>& eliminator)
    {
        int turn = nextTarget_++;
        for (int J = group.first, end, number = 0; J <= group.last && !team_.hasFailed();
             J = end + 1, ++number) {
            end = lastTogether(plan_.structure, J, group.last, kPanelsTogether);
            if (number != turn) continue;
            eliminator.takeUpdates(J, end, chunk, passing_);
            turn = nextTarget_++;
        }
    }

    void write(PositionRange group, const TeamMember& member)
    {
        store_.forEachPiece(group, member, isWanted, [&](PositionRange piece) {
            team_.heed();
            if (!team_.hasFailed()) check(store_.write(piece, panels_));
        });
    }

    void check(const Failure& failure)
    {
        if (failure) team_.fail(failure);
    }

    const FactorPlan& plan_;
    const FactorRules& rules_;
    const T* values_;
    const Factor<T>& exchanges_;
    FactorStore<T>& store_;
    const PanelSchedule& schedule_;
    T* room_;
    EliminationTeam team_;
    Factor<T> panels_{}, passing_{}; // of the group at work, and of the chunk that passes by
    std::atomic<int> nextTarget_{0};
    PivotCounts pivots_;
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
