#pragma once
/// @file
/// How the panels of a factor larger than memory go through a room of bounded size.

#include <lintrix/engine/factorization/numeric_factorization.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// The supernodes are cut into groups, each of which is worked at in memory from the gather to the finished
/// panels; what updates a group from before it passes by, chunk after chunk, each panel once. The
/// left-looking order, descendants ascending, is that of the factorization in memory, and so are the bits (a
/// left-looking scheme for files with panels of bounded size: Toledo, "A survey of out-of-core algorithms in
/// numerical linear algebra", External Memory Algorithms, DIMACS 50 (1999)).
///
/// The larger a group, the fewer times is a panel read: what passes by is given an eighth of the room, and
/// the group the rest. A factor that fits is one group. Chunks have slots, of which all but those at work are
/// filled meanwhile. Sizes are in elements.
class LINTRIX_TESTABLE PanelSchedule {
public:
    /// Of a factorization: two slots, where that leaves most of the room to the group. A room that is too
    /// small counts as two of the largest supernode: one at work, one that updates it.
    static PanelSchedule ofFactorization(const FactorPlan& plan, std::int64_t room) noexcept;
    /// Of a solve, which has no group. A room that is too small counts as the largest supernode. It is cut
    /// into many slots, so that small panels are read ahead of those at work; a large supernode is a chunk of
    /// its own, and takes several. Chunks of a room that holds all panels stand beside each other, as they do
    /// in the factor.
    static PanelSchedule ofSolve(const FactorPlan& plan, std::int64_t room) noexcept;
    static constexpr int kMostSlots = 256;

    /// What the panels at work take, and a slot for those that pass by.
    std::int64_t groupRoom() const noexcept { return groupRoom_; }
    std::int64_t chunkRoom() const noexcept { return chunkRoom_; }
    int slots() const noexcept { return slots_; }
    /// Slots that a pass goes round in, few enough for them to stay in the processor's cache, as long as more
    /// panels are to come than the others have room for. Those are for what the pass ends with.
    int slotsAtHand() const noexcept;
    /// Whether a solve holds all panels at a time.
    bool holdsAll() const noexcept;

    /// The group that begins at J.
    PositionRange groupFrom(int J) const noexcept { return asManyFrom(J, supernodes() - 1, groupRoom_); }
    /// The next panels from K on that pass by a group: from one that updates it to one that does. Without any
    /// left, first is above last.
    PositionRange chunkFrom(int K, PositionRange group) const noexcept;
    /// Whether K, which stands before the group, updates one of its panels. Cost: a search in the rows of K.
    bool updates(int K, PositionRange group) const noexcept;

    /// Of a solve: the chunk that J belongs to. All of them, in one order or the other, make up the factor.
    PositionRange chunkWith(int J) const noexcept;
    /// Elements of the panels from J on.
    std::int64_t elementsFrom(int J) const noexcept;
    int supernodes() const noexcept { return plan_.structure.supernodes(); }

private:
    PanelSchedule(const FactorPlan& plan, std::int64_t groupRoom, std::int64_t chunkRoom, int slots,
                  std::int64_t cell = 1, std::int64_t largestTogether = 0) noexcept
        : plan_(plan), groupRoom_(groupRoom), chunkRoom_(chunkRoom), slots_(slots), cell_(cell),
          largestTogether_(largestTogether)
    {
    }
    // As many supernodes from J on, up to `last`, as take no more than `elements`, but at least one.
    PositionRange asManyFrom(int J, int last, std::int64_t elements) const noexcept;
    std::int64_t elements(int J) const noexcept;
    std::int64_t startOf(int J) const noexcept;

    const FactorPlan& plan_;
    std::int64_t groupRoom_, chunkRoom_;
    int slots_;
    // Panels that begin in the same cell make a chunk of a solve, but for larger ones.
    std::int64_t cell_, largestTogether_;
};

/// The chunks of a schedule one after another: all of a solve upwards or downwards, or those that update a
/// group.
class LINTRIX_TESTABLE PanelPass {
public:
    static PanelPass upwards(const PanelSchedule& schedule) noexcept { return {schedule, {0, -1}, 1}; }
    static PanelPass downwards(const PanelSchedule& schedule) noexcept { return {schedule, {0, -1}, -1}; }
    static PanelPass by(PositionRange group, const PanelSchedule& schedule) noexcept
    {
        return {schedule, group, 1};
    }

    /// Without any, first is above last, here and behind the last chunk.
    PositionRange first() const noexcept;
    PositionRange after(PositionRange chunk) const noexcept;
    /// Whether the panels of K are read at all.
    bool wants(int K) const noexcept { return !isByGroup() || schedule_->updates(K, group_); }
    /// Numbers of chunks that follow each other differ by this.
    int step() const noexcept { return step_; }
    bool isByGroup() const noexcept { return group_.first <= group_.last; }
    /// Elements of the panels from this chunk on to the end of a pass that is none by a group.
    std::int64_t left(PositionRange chunk) const noexcept;

private:
    PanelPass(const PanelSchedule& schedule, PositionRange group, int step) noexcept
        : schedule_(&schedule), group_(group), step_(step)
    {
    }

    const PanelSchedule* schedule_;
    PositionRange group_;
    int step_;
};

} // namespace Velmar::Lintrix::detail::engine
