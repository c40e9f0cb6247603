#pragma once
/// @file
/// Vertices sorted by degree: the choice of the next pivot.

#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

/// One doubly linked list for each degree; the vertex that came last stands first. Entering and leaving cost
/// O(1), and finding the lowest degree is paid for by the entries that raised it.
class DegreeLists {
public:
    static constexpr int kNone = -1;

    /// For vertices 0 .. n-1 and degrees 0 .. n-1, all outside. @return  outOfMemory(Transient)
    Failure allocate(int n)
    {
        heads_ = Scratch<int>::uninitialised(n);
        links_ = Scratch<Link>::uninitialised(n);
        if (!heads_ || !links_) return outOfMemory(BlockCode::Transient, missingBytes(heads_, links_));
        std::ranges::fill(heads_.span(), kNone);
        std::ranges::fill(links_.span(), Link{kOutside, kNone});
        lowest_ = n;
        return {};
    }

    bool contains(int v) const { return links_[v].previous != kOutside; }

    void insert(int v, int degree)
    {
        const int first = heads_[degree];
        links_[v] = {-2 - degree, first};
        if (first != kNone) links_[first].previous = v;
        heads_[degree] = v;
        lowest_ = std::min(lowest_, degree);
    }

    void remove(int v)
    {
        const auto [previous, next] = links_[v];
        if (previous >= 0) {
            links_[previous].next = next;
        } else {
            heads_[-2 - previous] = next;
        }
        if (next != kNone) links_[next].previous = previous;
        links_[v].previous = kOutside;
    }

    /// The first vertex of the lowest degree that is at most `limit`, or kNone; `lowest()` is then its
    /// degree.
    int firstUpTo(int limit)
    {
        while (lowest_ <= limit && heads_[lowest_] == kNone) ++lowest_;
        return lowest_ <= limit ? heads_[lowest_] : kNone;
    }
    int lowest() const { return lowest_; }

private:
    static constexpr int kOutside = -1;
    struct Link {
        int previous; ///< the vertex before, -2 - degree for the first of a list, kOutside
        int next;
    };

    Scratch<int> heads_;
    Scratch<Link> links_;
    int lowest_ = 0; ///< no list below it has a vertex
};

} // namespace Velmar::Lintrix::detail::engine
