#include <lintrix/engine/analysis/dissection/dissection.h>

#include <lintrix/engine/analysis/dissection/piece_order.h>
#include <lintrix/engine/analysis/dissection/separator_search.h>
#include <lintrix/engine/analysis/dissection/twins.h>
#include <lintrix/services/team.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kSmallPiece = 250;    ///< vertices that are not separated any further
constexpr int kWorthAThread = 4000; ///< vertices of a graph that more than one thread works at

/// A part of the graph, its vertices by their names in the whole, ascending, and their places in the order.
struct Piece {
    WeightedGraph graph;
    TeamScratch<int> names;
    int first = 0;          ///< place of the first one
    std::uint64_t path = 1; ///< from the whole: twice that of the piece above, and the side
    std::unique_ptr<Piece> next;

    bool allocate(int vertices, int entries)
    {
        names = TeamScratch<int>::uninitialised(vertices);
        return names && graph.allocate(vertices, entries);
    }
};

using PiecePointer = std::unique_ptr<Piece>;

/// The pieces that wait, the last one first, so that few do; and whether any are to come.
class PieceStack {
public:
    void put(PiecePointer piece)
    {
        const std::lock_guard lock(mutex_);
        piece->next = std::move(top_);
        top_ = std::move(piece);
        changed_.notify_one();
    }
    /// Waits while there is none and another thread has one from which some may come. None: all is done.
    PiecePointer take()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return top_ || atWork_ == 0 || ended_; });
        if (ended_ || !top_) return nullptr;
        ++atWork_;
        PiecePointer piece = std::move(top_);
        top_ = std::move(piece->next);
        return piece;
    }
    void finish()
    {
        const std::lock_guard lock(mutex_);
        if (--atWork_ == 0) changed_.notify_all();
    }
    /// There is no use in going on.
    void end()
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    }
    bool hasEnded() const noexcept { return ended_; }
    ~PieceStack()
    {
        while (top_) top_ = std::move(top_->next);
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    PiecePointer top_;
    int atWork_ = 0;
    bool ended_ = false;
};

/// One thread of those that dissect.
class Dissector {
public:
    Dissector(const Graph& whole, std::span<int> order, PieceStack& pieces, const WorkMeter& meter)
        : whole_(whole), order_(order), pieces_(pieces), meter_(meter), search_(work_, meter)
    {
    }

    /// @return  whether there was memory, and the work goes on
    bool run()
    {
        if (!small_.prepare(whole_)) return false;
        while (const PiecePointer piece = pieces_.take()) {
            if (!treat(*piece)) return false;
            pieces_.finish();
        }
        return true;
    }

private:
    bool treat(const Piece& piece)
    {
        const int n = piece.graph.vertices();
        if (n <= kSmallPiece) return orderSmall(piece);
        Sides sides;
        if (!work_.fit(n) || !sides.allocate(n)) return false;
        work_.dice.seed(piece.path);
        if (!search_.run(piece.graph, sides)) return false;
        const bool isWhole = sides.weight(0) == 0 || sides.weight(1) == 0;
        return isWhole ? orderSmall(piece) : split(piece, sides);
    }
    bool orderSmall(const Piece& piece)
    {
        const int n = piece.graph.vertices();
        const auto places =
            order_.subspan(static_cast<std::size_t>(piece.first), static_cast<std::size_t>(n));
        return small_.run(piece.names.span(), places) && meter_.add(n);
    }
    bool split(const Piece& piece, const Sides& sides);

    const Graph& whole_;
    std::span<int> order_;
    PieceStack& pieces_;
    const WorkMeter& meter_;
    Workspace work_;
    SeparatorSearch search_;
    PieceOrder small_;
};

// The sides become pieces of their own, and the separator comes behind them.
bool Dissector::split(const Piece& piece, const Sides& sides)
{
    const WeightedGraph& graph = piece.graph;
    std::array<int, 3> vertices{}, entries{};
    int* const placeOf = work_.marks.get();
    for (int v = 0; v < graph.vertices(); ++v) {
        const auto side = static_cast<std::size_t>(sides.of(v));
        placeOf[v] = vertices[side]++;
        entries[side] += graph.degree(v);
    }
    std::array<PiecePointer, 2> parts;
    for (std::size_t side = 0; side < 2; ++side) {
        parts[side].reset(new (std::nothrow) Piece);
        if (!parts[side] || !parts[side]->allocate(vertices[side], entries[side])) return false;
        parts[side]->first = piece.first + (side == 0 ? 0 : vertices[0]);
        parts[side]->path = 2 * piece.path + side;
        parts[side]->graph.setWeight(sides.weight(static_cast<int>(side)));
    }
    auto separator = order_.begin() + piece.first + vertices[0] + vertices[1];
    std::array<int, 2> ends{};
    for (int v = 0; v < graph.vertices(); ++v) {
        const int side = sides.of(v);
        if (side == kBetween) {
            *separator++ = piece.names[v];
            continue;
        }
        Piece& part = *parts[static_cast<std::size_t>(side)];
        int& end = ends[static_cast<std::size_t>(side)];
        for (int k = graph.first(v); k < graph.first(v + 1); ++k) {
            const int u = graph.neighbour(k);
            if (sides.of(u) == side) part.graph.setEntry(end++, placeOf[u], graph.edgeWeight(k));
        }
        part.graph.setFirst(placeOf[v] + 1, end);
        part.graph.setWeightOf(placeOf[v], graph.weightOf(v));
        part.names[placeOf[v]] = piece.names[v];
    }
    for (PiecePointer& part : parts) pieces_.put(std::move(part));
    return meter_.add(vertices[kBetween]);
}

PiecePointer wholeOf(const TwinGraph& twins)
{
    const Graph graph = twins.graph();
    PiecePointer whole(new (std::nothrow) Piece);
    if (!whole ||
        !whole->allocate(graph.vertices(), graph.starts[static_cast<std::size_t>(graph.vertices())]))
        return nullptr;
    std::iota(whole->names.span().begin(), whole->names.span().end(), 0);
    for (int v = 0; v < graph.vertices(); ++v) {
        for (int k = graph.starts[v]; k < graph.starts[v + 1]; ++k)
            whole->graph.setEntry(k, graph.neighbours[static_cast<std::size_t>(k)], 1);
        whole->graph.setFirst(v + 1, graph.starts[v + 1]);
        whole->graph.setWeightOf(v, twins.weightOf(v));
    }
    whole->graph.setWeight(twins.weight());
    return whole;
}

} // namespace

Failure dissect(const Graph& graph, int threads, Ordering ordering)
{
    TwinGraph twins;
    if (!twins.make(graph)) return outOfMemory(BlockCode::Transient);
    const Graph whole = twins.graph();
    const auto order = Scratch<int>::uninitialised(whole.vertices());
    PieceStack pieces;
    if (whole.vertices() > 0) {
        PiecePointer first = wholeOf(twins);
        if (!order || !first) return outOfMemory(BlockCode::Transient);
        pieces.put(std::move(first));
    }
    const WorkMeter meter(whole.vertices());
    runTeam(whole.vertices() < kWorthAThread ? 1 : threads, [&](const TeamMember&) {
        Dissector dissector(whole, order.span(), pieces, meter);
        if (!dissector.run()) pieces.end();
    });
    if (!meter.goesOn()) return stopped();
    if (pieces.hasEnded()) return outOfMemory(BlockCode::Transient);
    twins.expand(order.span(), ordering.vertexAt);
    for (int position = 0; const int v : ordering.vertexAt)
        ordering.positionOf[static_cast<std::size_t>(v)] = position++;
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
