#pragma once
/// @file
/// To which side of a separator each vertex belongs.

#include <lintrix/engine/analysis/dissection/weighted_graph.h>
#include <lintrix/engine/call/memory.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

inline constexpr int kBetween = 2; ///< beside the sides 0 and 1: the separator

/// The sides 0 and 1, and between them what separates them, if anything does.
class Sides {
public:
    bool allocate(int vertices)
    {
        sides_ = TeamScratch<std::uint8_t>::uninitialised(vertices);
        return static_cast<bool>(sides_);
    }

    int of(int v) const noexcept { return sides_[v]; }
    int weight(int side) const noexcept { return weights_[static_cast<std::size_t>(side)]; }
    int heavier() const noexcept { return std::max(weights_[0], weights_[1]); }
    int difference() const noexcept { return std::abs(weights_[0] - weights_[1]); }

    void putAll(const WeightedGraph& graph, int side)
    {
        std::fill_n(sides_.get(), graph.vertices(), static_cast<std::uint8_t>(side));
        weights_ = {};
        weights_[static_cast<std::size_t>(side)] = graph.weight();
    }
    void move(const WeightedGraph& graph, int v, int side)
    {
        weights_[sides_[v]] -= graph.weightOf(v);
        sides_[v] = static_cast<std::uint8_t>(side);
        weights_[sides_[v]] += graph.weightOf(v);
    }
    /// Each vertex takes the side of the one that stands for it in the coarser graph.
    void takeFrom(const Sides& coarser, std::span<const int> coarseOf)
    {
        for (std::size_t v = 0; v < coarseOf.size(); ++v)
            sides_[static_cast<std::int64_t>(v)] = coarser.sides_[coarseOf[v]];
        weights_ = coarser.weights_;
    }

private:
    TeamScratch<std::uint8_t> sides_;
    std::array<int, 3> weights_{};
};

} // namespace Velmar::Lintrix::detail::engine
