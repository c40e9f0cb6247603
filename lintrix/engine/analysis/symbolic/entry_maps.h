#pragma once
/// @file
/// Where each entry of A goes in the factor's panels.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// A pattern in compressed rows, everything counted from 0.
struct RowPattern {
    std::span<const int> starts;  ///< n + 1
    std::span<const int> columns; ///<

    int order() const noexcept { return static_cast<int>(starts.size()) - 1; }
};

/// The entries of A, sorted by the supernode whose panels they enter: supernode J takes the entries
/// source[firstEntry[J]] .. source[firstEntry[J + 1] - 1] of the values of A, entry k to place[k].
///
/// A place p >= 0 is an offset in the L panel of J. A negative one is ~p, an entry of the other triangle: in
/// symmetric storage the same offset in the L panel, for the mirrored entry (conjugated in a Hermitian
/// matrix); in unsymmetric storage an offset in the U panel. The whole diagonal block is in the L panel.
struct EntryMaps {
    std::span<int> firstEntry; ///< supernodes + 1
    std::span<int> source;     ///< entries of A
    std::span<int> place;      ///< entries of A
};

/// Fills the maps. Row i of A stands in row `columnOfRow[i]` of the matrix that was ordered (an empty span:
/// in row i). Columns and structure must belong together, as the same analysis made them. The maps are the
/// same for any number of threads. Linear in entries and row lists. Workspace: 2 integers an entry, and one a
/// row for each thread.
/// @return  overflow()  a panel has more elements than 32 bits count; outOfMemory(Transient); stopped(), and
///          then the maps are unfinished
LINTRIX_TESTABLE Failure mapEntries(const RowPattern& A, std::span<const int> columnOfRow,
                                    const Ordering& ordering, const FactorStructure& structure,
                                    bool symmetricStorage, int threads, const EntryMaps& maps);

} // namespace Velmar::Lintrix::detail::engine
