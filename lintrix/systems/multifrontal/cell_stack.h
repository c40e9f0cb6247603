#pragma once
/// @file
/// Cells that are given back in the reverse order.

#include <lintrix/foundation/block.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// In few large blocks, which serve again: pages that are new to a process cost more than what is written to
/// them.
template <class Cell>
class CellStack {
public:
    /// Room for so many together, which is no memory until it is used. @throws NotEnoughMemoryException
    void reserve(std::int64_t cells)
    {
        if (segments_.empty() && cells > 0) segments_.push_back({Block<Cell>(cells), cells});
    }
    /// So many cells, of no particular value, until they are given back. @throws NotEnoughMemoryException
    Cell* push(std::int64_t cells)
    {
        if (segments_.empty() || room() < cells) open(cells);
        Segment& segment = segments_[top_];
        Cell* const begin = segment.cells.get() + segment.used;
        segment.used += cells;
        held_ += cells;
        most_ = std::max(most_, held_);
        return begin;
    }
    /// The last ones. @pre so many were pushed, together
    void pop(std::int64_t cells) noexcept
    {
        segments_[top_].used -= cells;
        held_ -= cells;
        while (top_ > 0 && segments_[top_].used == 0) --top_;
    }

    std::int64_t held() const noexcept { return held_; }
    std::int64_t most() const noexcept { return most_; } ///< that have been held at once

private:
    struct Segment {
        Block<Cell> cells{};
        std::int64_t size = 0, used = 0;
    };
    static constexpr std::int64_t kLeast = std::int64_t{1} << 16;

    std::int64_t room() const noexcept { return segments_[top_].size - segments_[top_].used; }

    /// An unused segment with room on top. What was there unused is too small.
    void open(std::int64_t cells)
    {
        const std::size_t next = segments_.empty() || segments_[top_].used == 0 ? top_ : top_ + 1;
        if (next < segments_.size() && segments_[next].size >= cells) {
            top_ = next;
            return;
        }
        segments_.resize(next); // and what is above
        const std::int64_t size = std::max({cells, kLeast, held_});
        segments_.push_back({Block<Cell>(size), size});
        top_ = next;
    }

    std::vector<Segment> segments_{}; ///< up to top_ in use, but for the first one
    std::size_t top_ = 0;
    std::int64_t held_ = 0, most_ = 0;
};

} // namespace Velmar::Lintrix::detail::multifrontal
