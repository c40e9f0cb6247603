#pragma once
/// @file
/// The graph of what remains in Gaussian elimination, held in the space of the original graph.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>

#include <cstddef>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Eliminating a vertex p joins its neighbours to a clique. The quotient graph writes no clique down: p stays
/// as an *element*, whose list is the clique's vertices, its *boundary*. Vertices not yet eliminated are
/// *variables*; the list of a variable names first the elements, then the variables that it touches, and its
/// neighbours in the elimination graph are those variables and the boundaries of those elements.
///
/// - An element next to a pivot is absorbed by it: the new boundary covers the old one. So is, beyond the
///   classic rule, any element whose boundary lies within the new one (aggressive absorption).
/// - Variables with equal closed neighbourhoods are merged and eliminated together (supervariables, "weight"
///   counts their vertices). Candidates are found by a hash of their lists.
/// - A variable left with nothing outside the new boundary goes with the pivot at once (mass elimination).
/// - External degrees, those not counting the supervariable itself, are kept as upper bounds that are exact
///   while a variable touches at most two elements: a boundary's part outside the pivot's is counted once for
///   each element.
///
/// Lists shrink only. A new boundary goes to the end of the space unless the pivot's own list holds it, and
/// the live lists are moved together when the end is reached.
///
/// Sources: George and Liu, SIAM Review 31 (1989); Liu, ACM TOMS 11 (1985); Amestoy, Davis and Duff, SIAM J.
/// Matrix Anal. Appl. 17 (1996).
class QuotientGraph {
public:
    static constexpr int kNone = -1;

    /// Takes the graph without the vertices marked in `omitted` (none if empty), which are treated as if they
    /// were gone. A vertex merges and goes along with vertices of its own stage only; all have one
    /// if `stages` is empty. `bound` is the largest integer that marks may use, at least 3 n + 3.
    Failure load(const Graph& graph, std::span<const std::uint8_t> omitted,
                 std::span<const std::uint8_t> stages, int bound);

    /// A variable that still stands for something: not omitted, merged or eliminated.
    bool isLive(int v) const { return weights_[v] > 0; }
    /// Upper bound of the external degree of a variable; below the number of vertices.
    int degree(int v) const { return nodes_[v].degree; }

    /// First half of an elimination: variable p becomes an element, and its boundary is told.
    std::span<const int> makeElement(int p);
    /// Second half: what touches element p gets its new degree, is merged, or goes with p. Returns the
    /// variables of the boundary that remain.
    std::span<const int> update(int p);

    /// Vertices eliminated with p form a ring of `nextMember`.
    int nextMember(int v) const { return nextMember_[v]; }

private:
    /// Of so many variables, each is compared with each: the buckets of all hashes lie too far apart.
    static constexpr std::size_t kShortBoundary = 16;

    struct Node {
        int start;     ///< of the list
        int length;    ///< of the list
        int elements;  ///< of a variable: how many names at the head of its list are elements
        int degree;    ///< bound of the external degree; weight of the boundary
        int next;      ///< among those of its hash
        unsigned hash; ///<
    };

    Failure allocate(const Graph& graph);
    void copyLists(const Graph& graph, std::span<const std::uint8_t> omitted);
    void advanceStamp(int by);

    std::span<int> listOf(const Node& node) const;
    int roomNeededBy(const Node& pivot) const;
    void compact();
    // Inline are parts of the two halves of an elimination, which are called nowhere but in their source.
    inline int gather(std::span<const int> names, int end, int& weight);

    inline void measureOutsides(std::span<const int> boundary);
    /// A list while it is rewritten.
    struct Rewrite {
        int end;       ///< of what is kept so far
        int degree;    ///< weight of what it reaches outside the pivot's boundary
        unsigned hash; ///< sum of the names

        /// Of the name at the end, if it is kept.
        void take(bool isKept, int name, int weight)
        {
            end += isKept;
            degree += isKept ? weight : 0;
            hash += isKept ? static_cast<unsigned>(name) : 0U;
        }
    };
    inline Rewrite keepElements(const Node& variable);
    inline void keepVariables(int p, std::span<const int> names, int displaced, Rewrite& list);
    inline bool refresh(int p, int v);
    inline void absorb(int element);
    inline void goAlong(int p, int v);
    inline void dropIntoOnlyNeighbour(int p, int v);

    inline void mergeTwins(std::span<const int> boundary);
    inline void mergeTwinsByPairs(std::span<const int> boundary);
    void mergeTwinsByBuckets(std::span<const int> boundary);
    void mergeTwinsOf(int v);
    bool isMarkedTwin(const Node& a, const Node& b) const;
    void joinMembers(int v, int other);
    int stageOf(int v) const { return stages_.empty() ? 0 : stages_[static_cast<std::size_t>(v)]; }

    Scratch<Node> nodes_;
    Scratch<int> weights_;    ///< of variables, negative in the boundary; 0 for all else
    Scratch<int> marks_;      ///< against stamp_; 0: an element that is gone
    Scratch<int> space_;      ///< the lists
    Scratch<int> buckets_;    ///< heads of the hash buckets, all kNone between calls
    Scratch<int> nextMember_; ///<
    std::span<const std::uint8_t> stages_;
    int vertices_ = 0;
    int capacity_ = 0;       ///< of space_
    int end_ = 0;            ///< of what is used of space_
    int remaining_ = 0;      ///< vertices not eliminated, without the omitted
    int stamp_ = 1;          ///< above every mark, but for those of the pivot at work
    int bound_ = 0;          ///<
    int largestOutside_ = 0; ///< highest degree of an element so far
    int pivotWeight_ = 0;    ///< vertices of the pivot at work, before others went along
};

} // namespace Velmar::Lintrix::detail::engine
