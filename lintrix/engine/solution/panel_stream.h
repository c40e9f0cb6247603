#pragma once
/// @file
/// A factor in files as a solve goes through it: stretch after stretch, upwards and downwards.

#include <lintrix/engine/factorization/factor_store.h>
#include <lintrix/engine/factorization/panel_schedule.h>
#include <lintrix/engine/solution/substitution.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Holds as many panels at a time as its room does, and of these the halves that a pass needs. The stretch
/// that one pass ends with is the one that the next begins with, so a factor that fits is read once. While a
/// stretch is worked with, the system reads the next.
template <class T>
class LINTRIX_TESTABLE PanelStream {
public:
    /// The chunks of the schedule pass through `room`, a block of roomFor() the largest of them.
    PanelStream(FactorStore<T>& store, const PanelSchedule& schedule, const StoredFactor<T>& factor, T* room,
                int threads) noexcept
        : store_(store), schedule_(schedule), factor_(factor), room_(room), threads_(threads)
    {
    }

    /// Calls visit(factor, range) with these halves of the panels of the range in memory. After a failure,
    /// which stays, there are no more calls.
    template <class Visit>
    void upwards(Halves halves, const Visit& visit)
    {
        const int last = factor_.structure.supernodes() - 1;
        PositionRange next = startsWith(0) ? held_ : schedule_.chunkFrom(0);
        while (hold(next, halves)) {
            const PositionRange now = next;
            if (now.last < last) readAhead(next = schedule_.chunkFrom(now.last + 1), halves);
            visit(factor_, SupernodeRange{now.first, now.last});
            if (now.last == last) return;
        }
    }
    template <class Visit>
    void downwards(Halves halves, const Visit& visit)
    {
        const int last = factor_.structure.supernodes() - 1;
        PositionRange next = endsWith(last) ? held_ : schedule_.chunkTo(last);
        while (hold(next, halves)) {
            const PositionRange now = next;
            if (now.first > 0) readAhead(next = schedule_.chunkTo(now.first - 1), halves);
            visit(factor_, SupernodeRange{now.first, now.last});
            if (now.first == 0) return;
        }
    }

    const Failure& failure() const noexcept { return failure_; }

private:
    bool startsWith(int J) const noexcept { return held_.first == J && held_.last >= J; }
    bool endsWith(int J) const noexcept { return held_.last == J; }
    static bool isWanted(int) noexcept { return true; }
    bool goesOn() const noexcept { return factor_.work == nullptr || factor_.work->goesOn(); }
    void readAhead(PositionRange panels, Halves halves) noexcept
    {
        store_.readAhead(panels, isWanted, halves);
    }
    bool hold(PositionRange panels, Halves halves);

    FactorStore<T>& store_;
    const PanelSchedule& schedule_;
    StoredFactor<T> factor_;
    T* room_;
    int threads_;
    PositionRange held_{0, -1};
    Halves heldHalves_ = Halves::None;
    Failure failure_;
};

} // namespace Velmar::Lintrix::detail::engine
