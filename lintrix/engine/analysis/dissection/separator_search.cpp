#include <lintrix/engine/analysis/dissection/separator_search.h>

#include <lintrix/engine/analysis/dissection/coarsening.h>
#include <lintrix/engine/analysis/dissection/halves.h>
#include <lintrix/engine/analysis/dissection/separator.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kManyNeighbours = 7; ///< in the mean, from which on halves are searched for
constexpr int kLargeGraph = 5000;  ///< vertices, from which on the search is repeated,
constexpr int kRepeatedAt = 4;     ///< from this depth on,
constexpr int kTries = 5;          ///< so many times
constexpr int kFirstTries = 4;     ///< separations of a coarsest graph,
constexpr int kFirstHalves = 8;    ///< or halves of it
constexpr int kPasses = 8, kFirstPasses = 4, kPassesOfHalves = 6;
/// A coarser graph that keeps more of the vertices is none.
constexpr double kLeastGain = 0.93;
/// Of the weight, that a side may have: in a grid, uneven sides pay where the separator is the shorter for
/// it.
constexpr double kHeaviestHalf = 0.6, kHeaviestSide = 0.7;

int coarsestOf(int vertices)
{
    return vertices >= kLargeGraph ? 60 : std::clamp(vertices / 8, 40, 100);
}

int shareOf(const WeightedGraph& graph, double share)
{
    return std::max(static_cast<int>(share * graph.weight()), graph.weight() / 2 + 1);
}

} // namespace

std::int64_t SeparatorSearch::improve(const WeightedGraph& graph, Sides& sides, int passes) const
{
    if (byEdges_) return Halves(graph, sides, work_).refine(kPassesOfHalves, heaviest_, meter_);
    Separator(graph, sides, work_).refine(passes, heaviest_, meter_);
    return sides.weight(kBetween);
}

template <class Try>
bool SeparatorSearch::takeBest(const WeightedGraph& graph, int tries, Sides& sides, std::int64_t& quality,
                               const Try& once)
{
    Sides candidate;
    if (!candidate.allocate(graph.vertices())) return false;
    for (int k = 0; k < tries; ++k) {
        std::int64_t qualityOfThis = 0;
        if (!once(k, candidate, qualityOfThis)) return false;
        if (k > 0 && qualityOfThis >= quality) continue;
        quality = qualityOfThis;
        std::swap(sides, candidate);
    }
    return true;
}

// Through the coarser graph, if there is one.
bool SeparatorSearch::searchCoarser(const WeightedGraph& graph, int depth, int tries, Sides& sides,
                                    std::int64_t& quality, bool& found)
{
    const auto coarseOf = TeamScratch<int>::uninitialised(graph.vertices());
    if (!coarseOf || !meter_.goesOn()) return false;
    const int heaviest = static_cast<int>(1.5 * graph.weight() / coarsest_) + 1;
    const int vertices = joinVertices(graph, heaviest, work_, coarseOf.span());
    found = vertices <= kLeastGain * graph.vertices();
    if (!found) return true;
    WeightedGraph coarser;
    Sides sidesOfCoarser;
    if (!coarsen(graph, coarseOf.span(), vertices, work_, coarser) || !sidesOfCoarser.allocate(vertices))
        return false;
    if (!descend(coarser, depth + 1, tries, sidesOfCoarser, quality) || !meter_.goesOn()) return false;
    sides.takeFrom(sidesOfCoarser, coarseOf.span());
    quality = improve(graph, sides, kPasses);
    return true;
}

bool SeparatorSearch::descend(const WeightedGraph& graph, int depth, int tries, Sides& sides,
                              std::int64_t& quality)
{
    if (tries > 1 && depth == kRepeatedAt) {
        return takeBest(graph, tries, sides, quality, [&](int, Sides& candidate, std::int64_t& result) {
            return descend(graph, depth, 1, candidate, result);
        });
    }
    bool found = false;
    if (graph.vertices() > coarsest_ && !searchCoarser(graph, depth, tries, sides, quality, found))
        return false;
    if (found) return true;
    const int first = byEdges_ ? kFirstHalves : kFirstTries;
    return takeBest(graph, first, sides, quality, [&](int k, Sides& candidate, std::int64_t& result) {
        if (byEdges_)
            Halves(graph, candidate, work_).grow(k % 2 == 0);
        else
            Separator(graph, candidate, work_).grow();
        result = improve(graph, candidate, kFirstPasses);
        return true;
    });
}

bool SeparatorSearch::run(const WeightedGraph& graph, Sides& sides)
{
    byEdges_ = graph.entries() >= std::int64_t{kManyNeighbours} * graph.vertices();
    coarsest_ = coarsestOf(graph.vertices());
    heaviest_ = shareOf(graph, byEdges_ ? kHeaviestHalf : kHeaviestSide);
    const int tries = graph.vertices() >= kLargeGraph ? kTries : 1;
    std::int64_t quality = 0;
    if (!descend(graph, 0, tries, sides, quality)) return false;
    if (!byEdges_) return true;
    Halves(graph, sides, work_).separate();
    Separator(graph, sides, work_).refine(kPasses, heaviest_, meter_);
    return true;
}

} // namespace Velmar::Lintrix::detail::engine
