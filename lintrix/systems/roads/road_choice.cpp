#include <lintrix/systems/roads/road_choice.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::detail::roads {

namespace {

// Operations beside those already done, and what is always within reach: less than a second, and a minute.
constexpr double kNear = 30.0, kShort = 1e10;
constexpr double kFar = 1000.0, kLong = 1e12;

FillInReducingMethod otherThan(FillInReducingMethod ordering)
{
    return ordering == FillInReducingMethod::MinimumDegree ? FillInReducingMethod::NestedDissection
                                                           : FillInReducingMethod::MinimumDegree;
}

bool isMatchedLU(Road road)
{
    return road == Road::Matched || road == Road::Coarse;
}

bool delaysPivots(Road road)
{
    return road == Road::Delayed || road == Road::Fronts;
}

/// Without dense panels an operation takes so many times as long.
constexpr double kSlowerByColumns = 8.0;

std::optional<Road> strongerThan(Road road, const SearchState& state)
{
    if (state.pivotedFirst && road == Road::Pivoted) return Road::Matched;
    if (state.pivotedFirst && road == Road::Coarse) return Road::Dense;
    return roadAfter(road);
}

bool exchangesRows(Road road)
{
    return road == Road::Pivoted || road == Road::Dense;
}

bool isFinal(Road road, Ending ending)
{
    switch (ending) {
    case Ending::Accurate:
    case Ending::Sharp:
        return true;
    case Ending::IllConditioned:
        return isStable(road);
    case Ending::Singular:
        return delaysPivots(road) || isMatchedLU(road);
    case Ending::NotTaken: // what would follow has factors of the same size
        return isMatchedLU(road);
    case Ending::Unsteady:
    case Ending::Poor:
        break;
    }
    return false;
}

/// Raised pivots are what is tried when both orders have failed.
bool dependsOnOrder(Road road)
{
    return road != Road::Coarse && !delaysPivots(road) && !exchangesRows(road);
}

} // namespace

bool isStable(Road road)
{
    return road == Road::Cholesky || delaysPivots(road) || isMatchedLU(road);
}

double mostOperations(Reach limit, const RoadCost& done)
{
    return limit == Reach::Near ? std::max(kShort, kNear * done.operations)
                                : std::max(kLong, kFar * done.operations);
}

std::optional<Attempt> nextAttempt(const Attempt& last, FillInReducingMethod ordering, Ending ending,
                                   const SearchState& state)
{
    if (isFinal(last.road, ending)) return std::nullopt;
    const bool isInVain = state.looksSingular || (state.replacedMany && scales(last.road));
    const bool repeatable = state.orderingIsOpen && !isInVain && !last.ordering && dependsOnOrder(last.road);
    if (ending == Ending::Unsteady && repeatable) return Attempt{last.road, otherThan(ordering)};
    const std::optional<Road> road = strongerThan(last.road, state);
    if (road && exchangesRows(*road) && state.looksSingular) return std::nullopt;
    return road ? std::optional(Attempt{*road}) : std::nullopt;
}

bool areMany(std::int32_t replaced, std::int32_t pivots)
{
    constexpr std::int32_t kShare = 8;
    return replaced > pivots / kShare;
}

Reach reachOf(Road road, const RoadCost& cost, const RoadCost& done, double memory)
{
    const double work = cost.operations * (road == Road::Pivoted ? kSlowerByColumns : 1.0);
    if (cost.bytes > memory || work > mostOperations(Reach::Far, done)) return Reach::Beyond;
    return work > mostOperations(Reach::Near, done) ? Reach::Far : Reach::Near;
}

double mostColumnOperations(Reach limit, const RoadCost& done)
{
    return mostOperations(limit, done) / kSlowerByColumns;
}

RoadCost denseCost(std::int32_t n, bool complex)
{
    const std::int64_t size = n, cells = size * size;
    const double bytes = cells > std::numeric_limits<std::int32_t>::max()
                             ? std::numeric_limits<double>::infinity()
                             : (complex ? 4.0 : 2.0) * sizeof(double) * static_cast<double>(cells);
    return {size * (size + 1) / 2, (complex ? 8.0 : 2.0) / 3.0 * static_cast<double>(cells) * n, bytes};
}

} // namespace Velmar::Lintrix::detail::roads
