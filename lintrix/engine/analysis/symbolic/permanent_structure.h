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

/// A view of the arrays, which a const one does not write to. Their lengths are words of the control block;
/// all count from 0.
class LINTRIX_TESTABLE PermanentStructure {
public:
    explicit PermanentStructure(Handle handle) noexcept : handle_(handle) {}

    /// The block for the lengths that stand in the control block now, with room for all targets that there
    /// may be.
    Failure allocate();
    /// Its size.
    std::int64_t bytesAtMost() { return layout(mostTargets()).bytes(); }
    /// Gives back the room behind the last target.
    void shrinkToTargets();

    /// Equations by position of the elimination order and the inverse. Equations are rows of P A where a
    /// matching moved rows.
    Ordering ordering() { return {array<int>(Array::PositionOf), array<int>(Array::VertexAt)}; }
    std::span<const int> positionOf() const { return array<int>(Array::PositionOf); }
    std::span<const int> vertexAt() const { return array<int>(Array::VertexAt); }
    /// Independent subgraphs first, separators behind them, and the supernodes of each.
    std::span<PositionRange> subgraphs() { return array<PositionRange>(Array::SubgraphRanges); }
    std::span<const PositionRange> subgraphs() const { return array<PositionRange>(Array::SubgraphRanges); }
    std::span<PositionRange> subgraphSupernodes() { return array<PositionRange>(Array::SubgraphSupernodes); }
    std::span<const PositionRange> subgraphSupernodes() const
    {
        return array<PositionRange>(Array::SubgraphSupernodes);
    }
    std::span<int> supernodeStarts() { return array<int>(Array::SupernodeStarts); }
    std::span<int> supernodeOf() { return array<int>(Array::SupernodeOf); }
    std::span<std::int64_t> rowStarts() { return array<std::int64_t>(Array::RowStarts); }
    std::span<int> rows() { return array<int>(Array::Rows); }
    FactorStructure structure() const
    {
        return {array<int>(Array::SupernodeStarts), array<int>(Array::SupernodeOf),
                array<std::int64_t>(Array::RowStarts), array<int>(Array::Rows)};
    }
    /// Where the panels of each supernode begin, in elements from the first; none of U in symmetric storage.
    std::span<std::int64_t> lowerStarts() { return array<std::int64_t>(Array::LowerStarts); }
    std::span<std::int64_t> upperStarts() { return array<std::int64_t>(Array::UpperStarts); }
    /// Where the descendants of each supernode begin in a list of them all, which a factorization makes.
    std::span<std::int64_t> descendantStarts() { return array<std::int64_t>(Array::DescendantStarts); }
    EntryMaps maps()
    {
        return {array<int>(Array::MapFirstEntry), array<int>(Array::MapSource), array<int>(Array::MapPlace)};
    }
    /// Which separators each independent subgraph updates; empty without the two-level form.
    std::span<int> targetStarts() { return array<int>(Array::TargetStarts); }
    std::span<int> targets() { return array<int>(Array::Targets); }

private:
    BlockLayout layout(std::int64_t targets);
    std::int64_t mostTargets() const noexcept;
    std::int64_t lengthOf(Array name) const noexcept;
    template <class T>
    std::span<T> array(Array name)
    {
        return handle_.array<T>(Slot::FactorStructure, name, lengthOf(name));
    }
    template <class T>
    std::span<const T> array(Array name) const
    {
        return handle_.array<T>(Slot::FactorStructure, name, lengthOf(name));
    }

    Handle handle_;
};

} // namespace Velmar::Lintrix::detail::engine
