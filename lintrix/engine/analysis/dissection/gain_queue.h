#pragma once
/// @file
/// Vertices by what it gains to move them.

#include <lintrix/engine/call/memory.h>

#include <cstdint>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

/// A binary heap with the largest gain on top, in which each vertex knows its place. Every operation takes
/// O(log(size)).
class GainQueue {
public:
    /// For vertices 0 .. vertices - 1; the queue is empty. @return  whether there was memory
    bool allocate(int vertices)
    {
        places_ = TeamScratch<int>::uninitialised(vertices);
        heap_ = TeamScratch<int>::uninitialised(vertices);
        gains_ = TeamScratch<std::int64_t>::uninitialised(vertices);
        if (!places_ || !heap_ || !gains_) return false;
        for (int v = 0; v < vertices; ++v) places_[v] = kOutside;
        size_ = 0;
        return true;
    }

    bool isEmpty() const noexcept { return size_ == 0; }
    bool holds(int v) const noexcept { return places_[v] != kOutside; }
    int top() const noexcept { return heap_[0]; }
    std::int64_t gain(int v) const noexcept { return gains_[v]; }

    void insert(int v, std::int64_t gain)
    {
        gains_[v] = gain;
        rise(v, size_++);
    }
    /// Of a vertex that it holds.
    void change(int v, std::int64_t gain)
    {
        const std::int64_t before = std::exchange(gains_[v], gain);
        if (gain > before)
            rise(v, places_[v]);
        else
            sink(v, places_[v]);
    }
    void erase(int v)
    {
        const int place = std::exchange(places_[v], kOutside);
        const int last = heap_[--size_];
        if (last == v) return;
        rise(last, place);
        sink(last, places_[last]);
    }
    void clear()
    {
        while (size_ > 0) places_[heap_[--size_]] = kOutside;
    }

private:
    static constexpr int kOutside = -1;

    void put(int v, int place)
    {
        heap_[place] = v;
        places_[v] = place;
    }
    void rise(int v, int place)
    {
        while (place > 0) {
            const int above = (place - 1) / 2;
            if (gains_[heap_[above]] >= gains_[v]) break;
            put(heap_[above], place);
            place = above;
        }
        put(v, place);
    }
    void sink(int v, int place)
    {
        for (int child = 2 * place + 1; child < size_; child = 2 * place + 1) {
            if (child + 1 < size_ && gains_[heap_[child + 1]] > gains_[heap_[child]]) ++child;
            if (gains_[heap_[child]] <= gains_[v]) break;
            put(heap_[child], place);
            place = child;
        }
        put(v, place);
    }

    TeamScratch<int> places_, heap_;
    TeamScratch<std::int64_t> gains_;
    int size_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
