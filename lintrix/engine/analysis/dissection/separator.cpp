#include <lintrix/engine/analysis/dissection/separator.h>

#include <lintrix/engine/analysis/dissection/move_choice.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Moves in a row that lead to nothing better before a pass is given up: twice the separator, within bounds.
int patience(int boundary)
{
    constexpr int kLeast = 20, kMost = 300;
    return std::min(2 * std::min(boundary, kMost) + kLeast, kMost);
}

} // namespace

void Separator::weighNeighbours(int v)
{
    std::int64_t weights[3]{};
    for (const int u : graph_.of(v)) weights[sides_.of(u)] += graph_.weightOf(u);
    work_.near[0][v] = weights[0];
    work_.near[1][v] = weights[1];
}

// v, which was on a side, comes between; those that are there already have one neighbour less on that side.
void Separator::pull(int v, int to, bool queued)
{
    const int from = sides_.of(v), weight = graph_.weightOf(v);
    sides_.move(graph_, v, kBetween);
    work_.pulled.append(v);
    for (const int u : graph_.of(v)) {
        if (sides_.of(u) != kBetween) continue;
        work_.near[from][u] -= weight;
        if (queued && work_.queues[1 - from].holds(u)) work_.queues[1 - from].change(u, gainOf(u, 1 - from));
    }
    weighNeighbours(v);
    if (!queued || work_.moved[v]) return;
    work_.queues[to].insert(v, gainOf(v, to));
    work_.queues[1 - to].insert(v, gainOf(v, 1 - to));
}

void Separator::moveTo(int side, int v, bool queued)
{
    const int other = 1 - side;
    sides_.move(graph_, v, side);
    for (const int u : graph_.of(v)) {
        if (sides_.of(u) == kBetween) {
            work_.near[side][u] += graph_.weightOf(v);
            if (queued && work_.queues[other].holds(u)) work_.queues[other].change(u, gainOf(u, other));
        } else if (sides_.of(u) == other) {
            pull(u, side, queued);
        }
    }
}

void Separator::grow()
{
    sides_.putAll(graph_, 1);
    VertexList& front = work_.pulled; // first come, first served
    front.cutTo(0);
    int next = 0;
    while (2 * std::int64_t{sides_.weight(0)} + sides_.weight(kBetween) < graph_.weight()) {
        if (next == front.size()) {
            int v = work_.dice.below(graph_.vertices());
            while (sides_.of(v) != 1) v = (v + 1) % graph_.vertices();
            pull(v, 0, false);
        }
        moveTo(0, front[next++], false);
    }
}

void Separator::collect()
{
    work_.boundary.cutTo(0);
    for (int v = 0; v < graph_.vertices(); ++v) {
        if (sides_.of(v) != kBetween) continue;
        work_.boundary.append(v);
        weighNeighbours(v);
    }
}

// Takes moves back until so many are left.
void Separator::goBackTo(int moves)
{
    while (work_.moves.size() > moves) {
        const int v = work_.moves.takeLast(), side = sides_.of(v), before = work_.pulledBefore.takeLast();
        sides_.move(graph_, v, kBetween);
        for (const int u : graph_.of(v)) {
            if (sides_.of(u) == kBetween) work_.near[side][u] -= graph_.weightOf(v);
        }
        while (work_.pulled.size() > before) {
            const int back = work_.pulled.takeLast();
            sides_.move(graph_, back, 1 - side);
            for (const int u : graph_.of(back)) {
                if (sides_.of(u) == kBetween) work_.near[1 - side][u] += graph_.weightOf(back);
            }
        }
        weighNeighbours(v);
    }
}

// What is between now, each vertex once: of those that were, and of those that came.
void Separator::renewBoundary()
{
    VertexList& boundary = work_.boundary;
    for (const int v : work_.pulled) boundary.append(v);
    for (const int v : boundary) work_.marks[v] = 0;
    int kept = 0;
    for (const int v : boundary) {
        if (sides_.of(v) == kBetween && std::exchange(work_.marks[v], 1) == 0) boundary[kept++] = v;
    }
    boundary.cutTo(kept);
}

bool Separator::pass(int heaviest)
{
    VertexList &boundary = work_.boundary, &moves = work_.moves;
    for (int k = boundary.size() - 1; k > 0; --k) std::swap(boundary[k], boundary[work_.dice.below(k + 1)]);
    for (const int v : boundary) {
        for (int side = 0; side < 2; ++side) work_.queues[side].insert(v, gainOf(v, side));
    }
    moves.cutTo(0);
    work_.pulled.cutTo(0);
    work_.pulledBefore.cutTo(0);
    const int start = sides_.weight(kBetween), limit = patience(boundary.size());
    int lightest = start, difference = sides_.difference(), best = 0, side = 0;
    while (chooseMove(graph_, sides_, work_.queues, heaviest, side)) {
        const int v = work_.queues[side].top();
        for (GainQueue& queue : work_.queues) {
            if (queue.holds(v)) queue.erase(v);
        }
        work_.moved[v] = 1;
        moves.append(v);
        work_.pulledBefore.append(work_.pulled.size());
        moveTo(side, v, true);
        const std::pair now{sides_.weight(kBetween), sides_.difference()};
        if (now < std::pair{lightest, difference} &&
            (sides_.heavier() <= heaviest || now.second < difference)) {
            std::tie(lightest, difference) = now;
            best = moves.size();
        } else if (moves.size() - best > limit) {
            break;
        }
    }
    for (GainQueue& queue : work_.queues) queue.clear();
    for (const int v : moves) work_.moved[v] = 0;
    goBackTo(best);
    renewBoundary();
    return lightest < start;
}

void Separator::refine(int passes, int heaviest, const WorkMeter& meter)
{
    collect();
    while (passes-- > 0 && meter.goesOn() && pass(heaviest)) {
    }
}

} // namespace Velmar::Lintrix::detail::engine
