#pragma once
/// @file
/// Which columns of a symmetric pattern are eliminated together, and where what they leave goes.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// The assembly tree of an elimination along the diagonal. Positions count the vertices in the order of
/// elimination. Front f eliminates the positions starts[f] .. starts[f + 1] - 1, and changes those of
/// rowsOf(f), which come later and ascend; they are among its parent's.
struct FrontTree {
    std::vector<std::int32_t> vertexAt{}, positionOf{};
    std::vector<std::int32_t> starts{0}; ///< fronts + 1
    std::vector<std::int32_t> parents{}; ///< behind their children; -1 of a root
    std::vector<std::int64_t> rowStarts{0};
    std::vector<std::int32_t> rows{};
    FillInReducingMethod ordering = FillInReducingMethod::MinimumDegree; ///< that it comes from

    std::int32_t fronts() const noexcept { return static_cast<std::int32_t>(parents.size()); }
    std::int32_t order() const noexcept { return static_cast<std::int32_t>(vertexAt.size()); }
    std::int32_t columnsOf(std::int32_t f) const noexcept { return starts[f + 1] - starts[f]; }
    std::span<const std::int32_t> rowsOf(std::int32_t f) const noexcept
    {
        return std::span(rows).subspan(static_cast<std::size_t>(rowStarts[f]),
                                       static_cast<std::size_t>(rowStarts[f + 1] - rowStarts[f]));
    }
};

/// The tree of a symmetric pattern, in which the diagonal makes no difference, for an order of elimination.
/// It follows a postorder of the elimination tree, so the vertices come in an order that leaves the same
/// fill. Columns with the same structure below make up a front, and small ones join their parents, which
/// then have some zeros (I. S. Duff, J. K. Reid, "The multifrontal solution of indefinite sparse symmetric
/// linear equations", ACM TOMS 9 (1983)).
///
/// Cost: nearly linear in the entries and in the rows of all fronts. @throws std::bad_alloc, what listens to
/// the work
LINTRIX_TESTABLE FrontTree frontTreeOf(const SparsePattern& pattern, std::span<const std::int32_t> vertexAt);

/// What an elimination takes that meets no pivot too small.
struct FrontForecast {
    std::int64_t entries = 0;     ///< of L, diagonal included
    double operations = 0.0;      ///< of symmetric storage, in real numbers
    std::int64_t cellsAtOnce = 0; ///< the fronts and what waits for its parent, at most
};
LINTRIX_TESTABLE FrontForecast forecastOf(const FrontTree& tree);

} // namespace Velmar::Lintrix::detail::multifrontal
