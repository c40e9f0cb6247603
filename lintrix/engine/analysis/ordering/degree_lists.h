#pragma once
/// @file
/// Vertices sorted by degree: the choice of the next pivot.

#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

/// One doubly linked list for each degree; the vertex that came last stands first. Entering and leaving cost
/// O(1), and finding the lowest degree is paid for by the entries that raised it.
///
/// Heads are links like those of vertices, and one more stands for the end of all lists: whatever leaves has
/// a link on both sides, so that a processor has nothing to foresee.
class DegreeLists {
public:
    static constexpr int kNone = -1;

    /// For vertices 0 .. n-1 and degrees 0 .. n-1, all outside. @return  outOfMemory(Transient)
    Failure allocate(int n)
    {
        heads_ = n + std::int64_t{1};
        links_ = Scratch<Link>::uninitialised(heads_ + n);
        if (!links_) return outOfMemory(BlockCode::Transient, missingBytes(links_));
        std::ranges::fill(links_.span(), Link{kNone, kNone});
        lowest_ = n;
        return {};
    }

    bool contains(int v) const { return link(v).previous != kNone; }

    void insert(int v, int degree)
    {
        const int head = headOf(degree), first = link(head).next;
        link(v) = {head, first};
        link(first).previous = link(head).next = v;
        lowest_ = std::min(lowest_, degree);
    }

    /// What is outside stays there.
    void remove(int v)
    {
        const auto [previous, next] = std::exchange(link(v), Link{kNone, kNone});
        link(previous).next = next;
        link(next).previous = previous;
    }

    /// The first vertex of the lowest degree that is at most `limit`, or kNone; `lowest()` is then its
    /// degree.
    int firstUpTo(int limit)
    {
        while (lowest_ <= limit && firstOf(lowest_) == kNone) ++lowest_;
        return lowest_ <= limit ? firstOf(lowest_) : kNone;
    }
    int lowest() const { return lowest_; }

private:
    struct Link {
        int previous; ///< the vertex before or the head, kNone outside
        int next;     ///< kNone at the end
    };

    static int headOf(int degree) { return -2 - degree; }
    int firstOf(int degree) const { return link(headOf(degree)).next; }
    /// Of a vertex, of a head, or of kNone, where nobody looks.
    Link& link(int name) const { return links_[heads_ + name]; }

    Scratch<Link> links_;
    std::int64_t heads_ = 0; ///< cells before the vertices': those of the heads and of the end
    int lowest_ = 0;         ///< no list below it has a vertex
};

} // namespace Velmar::Lintrix::detail::engine
