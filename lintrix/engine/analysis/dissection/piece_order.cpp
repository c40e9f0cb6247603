#include <lintrix/engine/analysis/dissection/piece_order.h>

#include <lintrix/engine/analysis/ordering/minimum_degree.h>
#include <lintrix/engine/analysis/ordering/multiple_elimination.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kOutside = -1;
constexpr std::uint8_t kInside = 0, kHalo = 1; ///< stages of the elimination

} // namespace

bool PieceOrder::prepare(const Graph& graph)
{
    graph_ = graph;
    placeOf_ = TeamScratch<int>::uninitialised(graph.vertices());
    vertices_ = TeamScratch<int>::uninitialised(graph.vertices());
    if (!placeOf_ || !vertices_) return false;
    std::ranges::fill(placeOf_.span(), kOutside);
    return true;
}

// The piece with its halo, ascending, so that lists by places ascend like those by names; and room for them.
bool PieceOrder::gather(std::span<const int> names)
{
    std::int64_t entries = 0;
    count_ = 0;
    const auto append = [&](int v) {
        if (placeOf_[v] != kOutside) return;
        placeOf_[v] = 0;
        vertices_[count_++] = v;
    };
    for (const int v : names) append(v);
    for (const int v : names) {
        entries += graph_.degree(v);
        for (const int u : graph_.of(v)) append(u);
    }
    std::sort(vertices_.get(), vertices_.get() + count_);
    for (int k = 0; k < count_; ++k) placeOf_[vertices_[k]] = k;
    const std::int64_t most = 2 * entries; // each end of an edge, also where the halo has the other
    if (most > std::numeric_limits<int>::max()) return false;
    if (count_ > room_ || most > entries_) {
        room_ = std::max(room_, count_);
        entries_ = std::max(entries_, static_cast<int>(most));
        starts_ = TeamScratch<int>::uninitialised(std::int64_t{room_} + 1);
        order_ = TeamScratch<int>::uninitialised(room_);
        stages_ = TeamScratch<std::uint8_t>::uninitialised(room_);
        neighbours_ = TeamScratch<int>::uninitialised(entries_);
    }
    return starts_ && order_ && stages_ && neighbours_;
}

// Edges within the halo are of no concern.
void PieceOrder::writeLists(std::span<const int> names)
{
    std::fill_n(stages_.get(), count_, kHalo);
    for (const int v : names) stages_[placeOf_[v]] = kInside;
    int end = 0;
    for (int k = 0; k < count_; ++k) {
        starts_[k] = end;
        for (const int u : graph_.of(vertices_[k])) {
            const int place = placeOf_[u];
            if (place != kOutside && (stages_[k] == kInside || stages_[place] == kInside))
                neighbours_[end++] = place;
        }
    }
    starts_[count_] = end;
}

bool PieceOrder::run(std::span<const int> names, std::span<int> order)
{
    bool done = gather(names);
    if (done) {
        writeLists(names);
        const auto count = static_cast<std::size_t>(count_);
        const Graph piece{starts_.span().first(count + 1),
                          neighbours_.span().first(static_cast<std::size_t>(starts_[count_]))};
        MultipleElimination elimination;
        done =
            !elimination.run(piece, 0, stages_.span().first(count), kLargestMark, order_.span().first(count));
    }
    auto end = order.begin();
    for (int k = 0; k < count_; ++k) {
        if (done && stages_[order_[k]] == kInside) *end++ = vertices_[order_[k]];
        placeOf_[vertices_[k]] = kOutside;
    }
    return done;
}

} // namespace Velmar::Lintrix::detail::engine
