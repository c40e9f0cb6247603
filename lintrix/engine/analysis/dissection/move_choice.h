#pragma once
/// @file
/// To which side the next vertex moves.

#include <lintrix/engine/analysis/dissection/sides.h>
#include <lintrix/engine/analysis/dissection/workspace.h>

#include <array>

namespace Velmar::Lintrix::detail::engine {

/// Of the best moves to either side, the tops of the two queues, tells `side`: away from a side that weighs
/// more than `heaviest`; else the better one, of equal ones that to the lighter side, as long as that stays
/// within `heaviest`.
/// @return  whether there is a move that leaves both sides within, or the two more alike
inline bool chooseMove(const WeightedGraph& graph, const Sides& sides, const std::array<GainQueue, 2>& queues,
                       int heaviest, int& side)
{
    const auto staysWithin = [&](int to) {
        const int v = queues[static_cast<std::size_t>(to)].top();
        return std::int64_t{sides.weight(to)} + graph.weightOf(v) <= heaviest;
    };
    const int lighter = sides.weight(0) < sides.weight(1) ? 0 : 1;
    if (queues[0].isEmpty() && queues[1].isEmpty()) return false;
    if (queues[0].isEmpty() || queues[1].isEmpty()) {
        side = queues[0].isEmpty() ? 1 : 0;
    } else if (sides.heavier() > heaviest) {
        side = lighter;
    } else {
        const std::int64_t first = queues[0].gain(queues[0].top()), second = queues[1].gain(queues[1].top());
        side = first > second ? 0 : first < second ? 1 : lighter;
        if (!staysWithin(side)) side = 1 - side;
    }
    return staysWithin(side) || side == lighter;
}

} // namespace Velmar::Lintrix::detail::engine
