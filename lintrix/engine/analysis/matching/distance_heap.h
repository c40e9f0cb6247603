#pragma once
/// @file
/// The queue of a shortest-path search: vertices by their distance, the nearest first.

#include <algorithm>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// A binary heap of vertices 0 .. n - 1 that can find each of them, so that a distance may shrink while its
/// vertex waits.
class DistanceHeap {
public:
    struct Item {
        double distance;
        int vertex;
    };

    /// @param items room for n vertices; @param placeOf n numbers, of any content
    DistanceHeap(std::span<Item> items, std::span<int> placeOf) noexcept : items_(items), placeOf_(placeOf)
    {
        std::fill(placeOf_.begin(), placeOf_.end(), kAbsent);
    }

    bool empty() const noexcept { return size_ == 0; }
    bool contains(int vertex) const noexcept { return placeOf_[vertex] != kAbsent; }
    int nearest() const noexcept { return items_[0].vertex; }

    void insert(int vertex, double distance) noexcept { rise({distance, vertex}, size_++); }

    /// Moves a vertex up whose distance has become smaller.
    void raise(int vertex, double distance) noexcept { rise({distance, vertex}, placeOf_[vertex]); }

    void removeNearest() noexcept
    {
        placeOf_[items_[0].vertex] = kAbsent;
        const Item last = items_[--size_];
        if (size_ > 0) sink(last);
    }

    void clear() noexcept
    {
        for (const Item& item : items_.first(size_)) placeOf_[item.vertex] = kAbsent;
        size_ = 0;
    }

private:
    static constexpr int kAbsent = -1;

    void put(Item item, int place) noexcept
    {
        items_[place] = item;
        placeOf_[item.vertex] = place;
    }

    // Lets `item` rise from `place`, where there is a gap.
    void rise(Item item, int place) noexcept
    {
        while (place > 0) {
            const int parent = (place - 1) / 2;
            if (items_[parent].distance <= item.distance) break;
            put(items_[parent], place);
            place = parent;
        }
        put(item, place);
    }

    // Lets `item` sink from the top, where there is a gap.
    void sink(Item item) noexcept
    {
        int place = 0;
        for (int child = 1; child < size_; child = 2 * place + 1) {
            if (child + 1 < size_ && items_[child + 1].distance < items_[child].distance) ++child;
            if (item.distance <= items_[child].distance) break;
            put(items_[child], place);
            place = child;
        }
        put(item, place);
    }

    std::span<Item> items_;
    std::span<int> placeOf_;
    int size_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
