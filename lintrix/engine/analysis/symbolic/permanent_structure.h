#pragma once
/// @file
/// What an analysis leaves for factorization and solve: the arrays in pt[7].

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/symbolic/entry_maps.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// A view of the arrays. Their lengths are words of the control block; all count from 0.
class LINTRIX_TESTABLE PermanentStructure {
public:
    explicit PermanentStructure(Handle handle) noexcept : handle_(handle) {}

    /// The block for the lengths that stand in the control block now, with room for `targets` targets.
    Failure allocate(std::int64_t targets) const;
    /// Gives back the room behind the last target.
    void shrinkToTargets() const;

    /// Equations by position of the elimination order and the inverse. Equations are rows of P A where a
    /// matching moved rows.
    Ordering ordering() const;
    /// Independent subgraphs first, separators behind them, and the supernodes of each.
    std::span<PositionRange> subgraphs() const;
    std::span<PositionRange> subgraphSupernodes() const;
    std::span<int> supernodeStarts() const;
    std::span<int> supernodeOf() const;
    std::span<std::int64_t> rowStarts() const;
    std::span<int> rows() const;
    FactorStructure structure() const;
    /// Where the panels of each supernode begin, in elements from the first; none of U in symmetric storage.
    std::span<std::int64_t> lowerStarts() const;
    std::span<std::int64_t> upperStarts() const;
    EntryMaps maps() const;
    /// Which separators each independent subgraph updates; empty without the two-level form.
    std::span<int> targetStarts() const;
    std::span<int> targets() const;

private:
    BlockLayout layout(std::int64_t targets) const;
    template <class T>
    std::span<T> array(Array name, std::int64_t count) const
    {
        return handle_.array<T>(Slot::FactorStructure, name, count);
    }
    std::int64_t word(Word name) const { return handle_.control()[name]; }
    std::int64_t upperPanels() const { return word(Word::SymmetricStorage) != 0 ? 0 : supernodes() + 1; }
    std::int64_t supernodes() const { return word(Word::Supernodes); }
    std::int64_t targetLists() const
    {
        return word(Word::TwoLevel) != 0 ? word(Word::IndependentSubgraphs) + 1 : 0;
    }

    Handle handle_;
};

} // namespace Velmar::Lintrix::detail::engine
