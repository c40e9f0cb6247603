#pragma once
/// @file
/// Minimum degree elimination with many pivots between two choices of the minimum; what both orderings by
/// minimum degree share.

#include <lintrix/engine/analysis/ordering/degree_lists.h>
#include <lintrix/engine/analysis/ordering/quotient_graph.h>
#include <lintrix/services/work.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Of an elimination along the diagonal, the pattern being symmetric.
struct EliminationCost {
    std::int64_t lowerNonZeros = 0; ///< entries of L, diagonal included
    double operations = 0.0;        ///< that make L and U out of real numbers

    /// `pivots` columns of one element, with `boundary` rows below the last of them.
    void add(std::int64_t pivots, std::int64_t boundary)
    {
        for (std::int64_t below = boundary; below < boundary + pivots; ++below) {
            lowerNonZeros += below + 1;
            operations += static_cast<double>(below) * static_cast<double>(2 * below + 1);
        }
    }
};

/// Of degree above 10 sqrt(n): such vertices would make every step slow without making the order better.
bool isDense(int degree, int vertices);

/// Eliminates a whole graph. The vertices stand in lists by degree. A pass takes pivots from the lists of the
/// lowest degree and of those up to `delta` higher; what a pivot touches leaves the lists until the pass is
/// over, so that the pivots of a pass are independent of each other (multiple elimination). Then it comes
/// back with its new degree. Dense vertices (`isDense`) are left out and come last, by ascending degree.
///
/// Cost: about that of writing the quotient graph's lists at each step, O(edges * boundary) at most; the
/// limit on degrees keeps graphs with hubs at O(n^1.5).
class MultipleElimination {
public:
    /// Puts the vertices into `order`, position to vertex. With `stages` not empty, a vertex v waits until
    /// all that have a lower stages[v] are eliminated, dense ones apart.
    ///
    /// `counts`, unless empty, receives the entries of each column of the factor by position, its diagonal
    /// among them: what a pivot touches is just what stands below it. Dense vertices are in none, and have 0.
    /// @return  stopped(); outOfMemory(Transient); overflow() when 2^31 - 1 cells do not hold edges and
    /// vertices
    Failure run(const Graph& graph, int delta, std::span<const std::uint8_t> stages, int bound,
                std::span<int> order, std::span<int> counts = {});

    /// Of the order found. The dense vertices count as a full block at the end, and not in the columns before
    /// it.
    const EliminationCost& cost() const noexcept { return cost_; }

private:
    Failure allocate(int n);
    void leaveOutDense(const Graph& graph);
    void eliminateStage(int stage, int delta);
    inline void eliminatePass(int limit, const WorkMeter& asking);
    inline void eliminate(int p);
    inline void tellCounts(std::size_t first, int boundary);
    void appendDense(const Graph& graph);

    QuotientGraph remaining_;
    DegreeLists lists_;
    Scratch<std::uint8_t> dense_;
    Scratch<int> touched_; ///< variables whose degree has changed in this pass
    int touchedCount_ = 0;
    std::span<const std::uint8_t> stages_;
    std::span<int> order_, counts_;
    std::size_t ordered_ = 0; ///< positions filled
    EliminationCost cost_{};
};

} // namespace Velmar::Lintrix::detail::engine
