#pragma once
/// @file
/// Elimination of the vertices that need no search for the next pivot: those with two neighbours at most.

#include <lintrix/engine/analysis/graph/adjacency.h>
#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/ordering/multiple_elimination.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

/// Takes a graph, or that of a pattern with its transpose, leaves its dense vertices out (`isDense`), and
/// eliminates vertices of degree 0, 1 and 2 as long as there are any. A minimum degree elimination would take
/// them first, too, and networks and circuits consist of them for the most part; but no element is needed to
/// stand for a clique of two vertices, only the edge between them, and that takes the place of the vertex in
/// both lists. So lists shrink only, and nothing is hashed, stamped or put into lists by degree.
///
/// A vertex of degree 2 next to one with a long list is left: to look for an edge there takes its time.
/// Cost: O(vertices + entries).
class LightElimination {
public:
    /// Writes the vertices eliminated to the front of `order`, and the dense ones to its end, by ascending
    /// degree. @return  {Reordering, kBadPattern}, outOfMemory(Transient), overflow()
    LINTRIX_TESTABLE Failure run(const Pattern& pattern, std::span<int> order);
    /// The same of a graph that is there already. `counts`, unless empty, receives the entries of each column
    /// of the factor beside `order`, dense vertices in none of them and with 0 for themselves.
    /// @return  outOfMemory(Transient)
    LINTRIX_TESTABLE Failure runOn(const Graph& graph, std::span<int> order, std::span<int> counts = {});

    /// Of those at the front; the dense ones count as a full block, and not in the columns before it.
    const EliminationCost& cost() const noexcept { return cost_; }

    int eliminated() const noexcept { return eliminated_; }
    /// Vertices that remain, and twice the edges between them.
    int vertices() const noexcept { return vertices_; }
    std::int64_t entries() const noexcept { return entries_; }
    /// The graph of those, its lists in no order. `starts` has one element more than there are vertices,
    /// `names` has one for each: what it is called in the pattern.
    LINTRIX_TESTABLE Graph writeRest(std::span<int> starts, std::span<int> neighbours, std::span<int> names);

private:
    static constexpr int kGone = -1;
    struct Vertex {
        int start, length; ///< of its list, in which some may be gone
        int degree;        ///< of those that are not, or kGone
        int touchedIn;     ///< the last pass in which it lost a neighbour
    };

    Failure allocate(int n, std::int64_t cells);
    void copyLists(const Graph& graph);
    void takeLight(std::span<int> order);
    void joinLists(const Pattern& pattern);
    void clearOfRepeats();
    void leaveOutDense(std::span<int> order);
    // Parts of one loop over vertices, which are called nowhere but in their source.
    inline void eliminateAll(std::span<int> order);
    inline int keepLight();
    inline void takeLeaves(int v, std::span<int> order);
    inline int eliminate(int v, std::span<int> order);
    inline void touch(int v);
    inline bool isNextToLongList(int v) const;
    inline void bridge(int a, int b);
    inline bool dropGone(int v, int sought);
    inline void append(int v, int u);
    inline std::span<int> listOf(int v) const;
    inline std::pair<int, int> endsOf(int v) const;

    std::span<int> counts_;
    Scratch<Vertex> vertexOf_;
    Scratch<int> neighbours_;
    Scratch<int> light_, touched_; ///< what a pass may take, and what it leaves for the next one
    int touchedCount_ = 0, pass_ = 0;
    int eliminated_ = 0, vertices_ = 0;
    std::int64_t entries_ = 0;
    EliminationCost cost_{};
};

} // namespace Velmar::Lintrix::detail::engine
