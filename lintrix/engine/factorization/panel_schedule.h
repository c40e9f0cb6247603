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
/// The larger a group, the fewer times is a panel read: a chunk is given an eighth of the room, and the group
/// the rest. A factor that fits is one group. Sizes are in elements.
class LINTRIX_TESTABLE PanelSchedule {
public:
    /// Of a factorization. A room that is too small counts as two of the largest supernode: one at work, one
    /// that updates it.
    static PanelSchedule ofFactorization(const FactorPlan& plan, std::int64_t room) noexcept;
    /// Of a solve, which has no group. A room that is too small counts as the largest supernode.
    static PanelSchedule ofSolve(const FactorPlan& plan, std::int64_t room) noexcept;

    /// What the panels at work take, and the panels that pass by.
    std::int64_t groupRoom() const noexcept { return groupRoom_; }
    std::int64_t chunkRoom() const noexcept { return chunkRoom_; }

    /// The group that begins at J.
    PositionRange groupFrom(int J) const noexcept { return asManyFrom(J, supernodes() - 1, groupRoom_); }
    /// The next panels from K on that pass by a group: from one that updates it to one that does. Without any
    /// left, first is above last.
    PositionRange chunkFrom(int K, PositionRange group) const noexcept;
    /// Whether K, which stands before the group, updates one of its panels. Cost: a search in the rows of K.
    bool updates(int K, PositionRange group) const noexcept;

    /// All panels pass by, upwards and downwards: the chunk that begins at J, the chunk that ends there.
    PositionRange chunkFrom(int J) const noexcept { return asManyFrom(J, supernodes() - 1, chunkRoom_); }
    PositionRange chunkTo(int J) const noexcept;

private:
    PanelSchedule(const FactorPlan& plan, std::int64_t groupRoom, std::int64_t chunkRoom) noexcept
        : plan_(plan), groupRoom_(groupRoom), chunkRoom_(chunkRoom)
    {
    }
    // As many supernodes from J on, up to `last`, as take no more than `elements`, but at least one.
    PositionRange asManyFrom(int J, int last, std::int64_t elements) const noexcept;
    int supernodes() const noexcept { return plan_.structure.supernodes(); }
    std::int64_t elements(int J) const noexcept;

    const FactorPlan& plan_;
    std::int64_t groupRoom_, chunkRoom_;
};

} // namespace Velmar::Lintrix::detail::engine
