#pragma once
/// @file
/// Which supernodes update which, as lists in a fixed order.

#include <lintrix/engine/factor_structure.h>
#include <lintrix/services/export.h>

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
};

/// Writes `starts` and returns how many entries there are. Linear in the row lists, as the next.
LINTRIX_TESTABLE std::int64_t countDescendants(const FactorStructure& structure,
                                               std::span<std::int64_t> starts);

/// Writes the entries; `starts` as counted.
LINTRIX_TESTABLE void listDescendants(const FactorStructure& structure, const DescendantLists& lists);

} // namespace Velmar::Lintrix::detail::engine
