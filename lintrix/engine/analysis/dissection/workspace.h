#pragma once
/// @file
/// What a thread needs to separate graphs, kept from one to the next.

#include <lintrix/engine/analysis/dissection/gain_queue.h>
#include <lintrix/engine/call/memory.h>

#include <array>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Numbers that look like chance and hang on the seed alone (Marsaglia, "Xorshift RNGs", J. Stat. Softw. 8
/// (2003)).
class Dice {
public:
    /// Of neighbouring seeds, too, the throws have nothing in common.
    void seed(std::uint64_t seed) noexcept { state_ = (seed + 1) * 0x9E3779B97F4A7C15u | 1u; }
    /// One of 0 .. count - 1.
    int below(int count) noexcept
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<int>((state_ >> 32) * static_cast<std::uint64_t>(count) >> 32);
    }

private:
    std::uint64_t state_ = 1;
};

/// A list of vertices in a block that has room for all that may come.
class VertexList {
public:
    bool allocate(std::int64_t capacity)
    {
        cells_ = TeamScratch<int>::uninitialised(capacity);
        size_ = 0;
        return static_cast<bool>(cells_);
    }
    int size() const noexcept { return size_; }
    bool isEmpty() const noexcept { return size_ == 0; }
    int& operator[](int k) const noexcept { return cells_[k]; }
    void append(int v) noexcept { cells_[size_++] = v; }
    int takeLast() noexcept { return cells_[--size_]; }
    void cutTo(int size) noexcept { size_ = size; }
    int* begin() const noexcept { return cells_.get(); }
    int* end() const noexcept { return cells_.get() + size_; }

private:
    TeamScratch<int> cells_;
    int size_ = 0;
};

struct Workspace {
    /// Room for graphs of so many vertices. @return  whether there was memory
    bool fit(int vertices)
    {
        if (vertices <= room_) return true;
        for (GainQueue& queue : queues) {
            if (!queue.allocate(vertices)) return false;
        }
        for (TeamScratch<std::int64_t>& weights : near) {
            weights = TeamScratch<std::int64_t>::uninitialised(vertices);
            if (!weights) return false;
        }
        marks = TeamScratch<int>::uninitialised(vertices);
        moved = TeamScratch<std::uint8_t>::zeroed(vertices);
        // A vertex comes between twice at most: before it has moved and, for good, after that.
        const bool fits = marks && moved && boundary.allocate(std::int64_t{3} * vertices) &&
                          moves.allocate(vertices) && pulled.allocate(std::int64_t{2} * vertices) &&
                          pulledBefore.allocate(vertices);
        room_ = fits ? vertices : 0;
        return fits;
    }

    std::array<GainQueue, 2> queues;               ///< of those that may move to a side; empty between calls
    std::array<TeamScratch<std::int64_t>, 2> near; ///< see `Separator` and `Halves`
    TeamScratch<int> marks;                        ///< of no meaning between calls
    TeamScratch<std::uint8_t> moved;               ///< 0 between calls
    VertexList boundary, moves, pulled, pulledBefore;
    Dice dice;

private:
    int room_ = 0;
};

} // namespace Velmar::Lintrix::detail::engine
