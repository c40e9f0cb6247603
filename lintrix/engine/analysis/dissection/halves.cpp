#include <lintrix/engine/analysis/dissection/halves.h>

#include <lintrix/engine/analysis/dissection/move_choice.h>

#include <algorithm>
#include <array>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

// Fills the gains and the weights across. @return  the weight of the edges that cross
std::int64_t Halves::weighEdges()
{
    std::int64_t crossing = 0;
    for (int v = 0; v < graph_.vertices(); ++v) {
        std::int64_t across = 0, within = 0;
        for (int k = graph_.first(v); k < graph_.first(v + 1); ++k) {
            const bool crosses = sides_.of(graph_.neighbour(k)) != sides_.of(v);
            (crosses ? across : within) += graph_.edgeWeight(k);
        }
        work_.near[0][v] = across - within;
        work_.near[1][v] = across;
        crossing += across;
    }
    return crossing / 2; // seen from both ends
}

void Halves::moveTo(int side, int v, bool queued)
{
    auto &gains = work_.near[0], &across = work_.near[1];
    sides_.move(graph_, v, side);
    across[v] -= gains[v];
    gains[v] = -gains[v];
    for (int k = graph_.first(v); k < graph_.first(v + 1); ++k) {
        const int u = graph_.neighbour(k), from = sides_.of(u);
        const std::int64_t more = from == side ? -graph_.edgeWeight(k) : graph_.edgeWeight(k);
        across[u] += more;
        gains[u] += 2 * more;
        GainQueue& queue = work_.queues[1 - from];
        if (queue.holds(u))
            queue.change(u, gains[u]);
        else if (queued && from != side && !work_.moved[u])
            queue.insert(u, gains[u]);
    }
}

// A vertex of side 1, by chance.
int Halves::unseen() const
{
    int v = work_.dice.below(graph_.vertices());
    while (sides_.of(v) != 1) v = (v + 1) % graph_.vertices();
    return v;
}

void Halves::growBreadthFirst()
{
    VertexList& seen = work_.moves;
    seen.cutTo(0);
    const auto see = [&](int v) {
        if (!std::exchange(work_.moved[v], std::uint8_t{1})) seen.append(v);
    };
    for (int next = 0; 2 * std::int64_t{sides_.weight(0)} < graph_.weight(); ++next) {
        if (next == seen.size()) see(unseen());
        moveTo(0, seen[next], false);
        for (const int u : graph_.of(seen[next])) see(u);
    }
    for (const int v : seen) work_.moved[v] = 0;
}

void Halves::growByGain()
{
    GainQueue& queue = work_.queues[0];
    while (2 * std::int64_t{sides_.weight(0)} < graph_.weight()) {
        const int v = queue.isEmpty() ? unseen() : queue.top();
        if (queue.holds(v)) queue.erase(v);
        moveTo(0, v, true);
    }
    queue.clear();
}

void Halves::grow(bool breadthFirst)
{
    sides_.putAll(graph_, 1);
    weighEdges();
    if (breadthFirst)
        growBreadthFirst();
    else
        growByGain();
}

// @return  what it gained
std::int64_t Halves::pass(int heaviest)
{
    constexpr int kLeastPatience = 15, kMostPatience = 300;
    constexpr int kNearlyEven = 20; // sides that differ by less than this part of the weight
    int boundary = 0;
    for (int v = 0; v < graph_.vertices(); ++v) {
        if (!isAtCut(v)) continue;
        work_.queues[1 - sides_.of(v)].insert(v, work_.near[0][v]);
        ++boundary;
    }
    VertexList& moves = work_.moves;
    moves.cutTo(0);
    const int limit = std::clamp(boundary / 2, kLeastPatience, kMostPatience);
    std::int64_t gained = 0, most = 0;
    int difference = sides_.difference(), best = 0, side = 0;
    while (chooseMove(graph_, sides_, work_.queues, heaviest, side)) {
        const int v = work_.queues[side].top();
        work_.queues[side].erase(v);
        gained += work_.near[0][v];
        work_.moved[v] = 1;
        moves.append(v);
        moveTo(side, v, true);
        const int now = sides_.difference();
        if (gained > most || (gained == most && (now < difference || now <= graph_.weight() / kNearlyEven))) {
            most = gained;
            difference = now;
            best = moves.size();
        } else if (moves.size() - best > limit) {
            break;
        }
    }
    for (GainQueue& queue : work_.queues) queue.clear();
    for (const int v : moves) work_.moved[v] = 0;
    while (moves.size() > best) {
        const int v = moves.takeLast();
        moveTo(1 - sides_.of(v), v, false);
    }
    return most;
}

std::int64_t Halves::refine(int passes, int heaviest, const WorkMeter& meter)
{
    std::int64_t crossing = weighEdges();
    for (std::int64_t gained = 1; gained > 0 && passes > 0 && meter.goesOn(); --passes) {
        gained = pass(heaviest);
        crossing -= gained;
    }
    return crossing;
}

void Halves::separate()
{
    std::array<std::int64_t, 2> weights{};
    VertexList& ends = work_.boundary;
    ends.cutTo(0);
    weighEdges();
    for (int v = 0; v < graph_.vertices(); ++v) {
        if (!isAtCut(v)) continue;
        ends.append(v);
        weights[static_cast<std::size_t>(sides_.of(v))] += graph_.weightOf(v);
    }
    const int side = weights[0] < weights[1] ? 0 : 1;
    for (const int v : ends) {
        if (sides_.of(v) == side) sides_.move(graph_, v, kBetween);
    }
}

} // namespace Velmar::Lintrix::detail::engine
