#pragma once
/// @file
/// Which rows each supernode of the factor has, and where its panels lie.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// The supernodes of a factor. Supernode J has the columns starts[J] .. starts[J + 1] - 1 and the rows
/// rows[rowStarts[J]] .. rows[rowStarts[J + 1] - 1]: its own columns first, then the rows below, ascending.
///
/// Its L panel is column-major with the row count (height) as leading dimension and begins at panelStarts[J].
/// Unsymmetric storage holds, beside it, the part of U right of the diagonal block, transposed: height -
/// width rows by width columns over the same row list, from upperStarts[J] on.
struct FactorStructure {
    std::span<const int> starts;      ///< supernodes + 1
    std::span<const int> supernodeOf; ///< by column
    std::span<const std::int64_t> rowStarts;
    std::span<const int> rows;

    int supernodes() const noexcept { return static_cast<int>(starts.size()) - 1; }
    int width(int J) const noexcept { return starts[J + 1] - starts[J]; }
    int height(int J) const noexcept { return static_cast<int>(rowStarts[J + 1] - rowStarts[J]); }
    std::span<const int> rowsOf(int J) const noexcept
    {
        return rows.subspan(static_cast<std::size_t>(rowStarts[J]), static_cast<std::size_t>(height(J)));
    }
    std::span<const int> rowsBelow(int J) const noexcept
    {
        return rowsOf(J).subspan(static_cast<std::size_t>(width(J)));
    }
    /// The supernode that owns the first row below, -1 if there is none.
    int parent(int J) const noexcept
    {
        return height(J) == width(J) ? -1 : supernodeOf[rowsBelow(J).front()];
    }
};

/// Visits (J, K, i, begins) for all K in ascending order: row i of those below K is a column of supernode J,
/// and it `begins` the run of such rows, by which K gives to J one update. Row by row: runs are short, and
/// what is told as a number needs no jump where it is only added.
template <class Visit>
void forEachRowBelow(const FactorStructure& structure, Visit visit)
{
    for (int K = 0; K < structure.supernodes(); ++K) {
        const std::span<const int> rows = structure.rowsBelow(K);
        const auto end = static_cast<int>(rows.size());
        for (int i = 0, before = -1; i < end; ++i) {
            const int J = structure.supernodeOf[rows[i]];
            visit(J, K, i, J != before);
            before = J;
        }
    }
}

/// Sizes of a factor, in elements of its arrays.
struct FactorSizes {
    std::int64_t rowIndices = 0; ///< length of the row lists together
    std::int64_t lower = 0;      ///< elements of all L panels
    std::int64_t upper = 1;      ///< of all U panels; 1 in symmetric storage, which iparm(18) counts too
    std::int64_t fill = 0;       ///< entries of L, without the upper triangles of the diagonal blocks
    int tallest = 0, widest = 0; ///< the largest height, the largest width
};

/// What supernodes give to each other.
struct UpdateSizes {
    std::int64_t updates = 0; ///< how many
    std::int64_t largest = 0; ///< cells of the largest
};

/// Row list starts (supernodes + 1 of them) from the column counts.
/// @return  {Reordering, -20}  the lists together pass `mostIndices`
LINTRIX_TESTABLE Failure rowListStarts(std::span<const int> starts, std::span<const int> count,
                                       std::int64_t mostIndices, std::span<std::int64_t> rowStarts);

/// Fills `rows`: row i of the factor has its entries on the ways up the elimination tree, `parent` by column,
/// from the entries of row i of A to column i (Liu, "The role of elimination trees in sparse factorization",
/// SIAM J. Matrix Anal. Appl. 11 (1990)). Rows come by one after another, which leaves every list ascending.
/// `earlier` has those entries by vertices, as `earlierNeighbours` writes them. Linear in what is written.
/// Tells the updates on the way, as `measureUpdates` does.
LINTRIX_TESTABLE Failure fillRowLists(const Graph& earlier, const Ordering& ordering,
                                      std::span<const int> parent, const FactorStructure& structure,
                                      std::span<int> rows, std::span<std::int64_t> descendantStarts,
                                      UpdateSizes& sizes);

/// The updates of row lists that are there, and where the descendants of each supernode, which update it,
/// begin in a list of them all (supernodes + 1). Linear in the row lists.
LINTRIX_TESTABLE UpdateSizes measureUpdates(const FactorStructure& structure,
                                            std::span<std::int64_t> descendantStarts);

/// Starts of the panels (supernodes + 1 each) and their sizes. `upperStarts` is empty for symmetric storage.
LINTRIX_TESTABLE FactorSizes panelStarts(const FactorStructure& structure,
                                         std::span<std::int64_t> lowerStarts,
                                         std::span<std::int64_t> upperStarts);

/// Columns on the longest way from a leaf of the elimination tree to its root: what no number of threads can
/// shorten. `work` has room for a number a supernode.
LINTRIX_TESTABLE int treeHeight(const FactorStructure& structure, std::span<int> work);

} // namespace Velmar::Lintrix::detail::engine
