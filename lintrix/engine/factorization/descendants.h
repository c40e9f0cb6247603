#pragma once
/// @file
/// Which supernodes update which, as lists in a fixed order.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/services/export.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Supernode `source` updates the owner of this list: of its rows below, those from `first` on, by those of
/// [first, last), which are columns of the owner.
struct Descendant {
    int source, first, last;
};

/// For each supernode J its descendants, ascending: entries[starts[J]] .. entries[starts[J + 1] - 1]. Every
/// thread count takes them in this order, so that a factor has the same bits whoever computes it.
struct DescendantLists {
    std::span<std::int64_t> starts; ///< supernodes + 1
    std::span<Descendant> entries;

    std::span<const Descendant> of(int J) const noexcept
    {
        return entries.subspan(static_cast<std::size_t>(starts[J]),
                               static_cast<std::size_t>(starts[J + 1] - starts[J]));
    }
    /// Of these, those with their source in a range.
    std::span<const Descendant> of(int J, PositionRange sources) const noexcept
    {
        const std::span<const Descendant> all = of(J);
        if (all.empty() || (sources.first <= all.front().source && all.back().source <= sources.last))
            return all;
        const auto first = std::ranges::lower_bound(all, sources.first, {}, &Descendant::source);
        return {first, std::ranges::upper_bound(first, all.end(), sources.last, {}, &Descendant::source)};
    }
};

/// Writes the entries; `starts` as `fillRowLists` counts them. Linear in the row lists.
LINTRIX_TESTABLE void listDescendants(const FactorStructure& structure, const DescendantLists& lists);

/// Panels that are worked at together, at most: cut from one supernode of the matrix by the panel width, they
/// take what a descendant gives in one pass over its rows.
inline constexpr int kPanelsTogether = 4;

/// The last of at most `most` panels from J on, up to `last`, that can be worked at together: each has the
/// rows that the one before has below.
LINTRIX_TESTABLE int lastTogether(const FactorStructure& structure, int J, int last, int most) noexcept;

/// The descendants of panels `first` .. `last`, which are worked at together, merged: ascending, each once.
/// Those from `first` on are among them, as descendants of the panels behind.
class MergedDescendants {
public:
    /// Of the descendants those among `sources`.
    MergedDescendants(const DescendantLists& lists, int first, int last, PositionRange sources) noexcept
        : panels_(last - first + 1)
    {
        for (int p = 0; p < panels_; ++p) left_[p] = lists.of(first + p, sources);
    }

    /// Steps to the next descendant. @return false  there is none
    bool next() noexcept
    {
        source_ = INT_MAX;
        for (int p = 0; p < panels_; ++p) {
            if (!left_[p].empty()) source_ = std::min(source_, left_[p].front().source);
        }
        if (source_ == INT_MAX) return false;
        firstRow_ = INT_MAX;
        for (int p = 0; p < panels_; ++p) take(p);
        return true;
    }

    int source() const noexcept { return source_; }
    /// Of its rows below, how many stand before those that are columns of the panels.
    int firstRow() const noexcept { return firstRow_; }
    /// Of its rows below, how many are columns of the panel first + p; they follow each other.
    int columns(int p) const noexcept { return columns_[p]; }

private:
    void take(int p) noexcept
    {
        columns_[p] = 0;
        if (left_[p].empty() || left_[p].front().source != source_) return;
        const Descendant& descendant = left_[p].front();
        firstRow_ = std::min(firstRow_, descendant.first);
        columns_[p] = descendant.last - descendant.first;
        left_[p] = left_[p].subspan(1);
    }

    int panels_, source_ = -1, firstRow_ = 0;
    std::span<const Descendant> left_[kPanelsTogether];
    int columns_[kPanelsTogether];
};

} // namespace Velmar::Lintrix::detail::engine
