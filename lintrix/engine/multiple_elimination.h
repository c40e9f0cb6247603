#pragma once
/// @file
/// Minimum degree elimination with many pivots between two choices of the minimum; what both orderings by
/// minimum degree share.

#include <lintrix/engine/degree_lists.h>
#include <lintrix/engine/quotient_graph.h>

namespace Velmar::Lintrix::detail::engine {

/// The largest integer, up to which marks may count.
inline constexpr int kLargestMark = 0x7fffffff;

/// Eliminates a whole graph, stage by stage, and keeps the tree of what was absorbed by what.
class MultipleElimination {
public:
    static constexpr int kNone = -1;

    /// Puts the vertices into `order` (vertices() of them, position to vertex). A vertex of stage 1 waits
    /// until all of stage 0 are eliminated; `stage` is empty if all are of stage 0. Dense vertices come last.
    Failure run(const Graph& graph, int delta, std::span<const std::uint8_t> stage, int bound,
                std::span<int> order);

    /// Dense vertices were left out of the elimination.
    bool isDense(int v) const { return dense_[v] != 0; }
    const QuotientGraph& tree() const { return remaining_; }

private:
    bool allocate(int n);
    void leaveOutDense(const Graph& graph);
    void enterLists(std::uint8_t stage);
    void eliminatePass(int limit);
    void eliminate(int p);
    void appendDense(const Graph& graph);
    bool isOfStage(int v, std::uint8_t stage) const
    {
        return (stage_.empty() ? 0 : stage_[static_cast<std::size_t>(v)]) == stage;
    }

    QuotientGraph remaining_;
    DegreeLists lists_;
    Scratch<std::uint8_t> dense_;
    Scratch<int> touched_; ///< variables whose degree has changed in this pass
    int touchedCount_ = 0;
    std::span<const std::uint8_t> stage_;
    std::uint8_t currentStage_ = 0;
    std::span<int> order_;
    std::size_t ordered_ = 0; ///< positions filled
};

} // namespace Velmar::Lintrix::detail::engine
