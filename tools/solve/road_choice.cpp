#include <tools/solve/road_choice.h>

#include <algorithm>

namespace Velmar::Lintrix::tools {

namespace {

// Operations beside those already done, and what is always within reach: less than a second, and a minute.
constexpr double kNear = 30.0, kShort = 1e10;
constexpr double kFar = 1000.0, kLong = 1e12;

FillInReducingMethod otherThan(FillInReducingMethod ordering)
{
    return ordering == FillInReducingMethod::MinimumDegree ? FillInReducingMethod::NestedDissection
                                                           : FillInReducingMethod::MinimumDegree;
}

/// Backward stable as long as no pivot is replaced.
bool isStable(Road road)
{
    return road == Road::Cholesky || road == Road::Matched || road == Road::Coarse;
}

bool isFinal(Road road, Ending ending)
{
    switch (ending) {
    case Ending::Accurate:
        return true;
    case Ending::IllConditioned:
        return isStable(road);
    case Ending::Singular:
    case Ending::NotTaken: // what would follow has factors of the same size
        return road == Road::Matched || road == Road::Coarse;
    case Ending::Unsteady:
    case Ending::Poor:
        break;
    }
    return false;
}

} // namespace

std::optional<Attempt> nextAttempt(const Attempt& last, FillInReducingMethod ordering, Ending ending,
                                   bool orderingIsOpen)
{
    if (isFinal(last.road, ending)) return std::nullopt;
    const bool otherOrder = orderingIsOpen && !last.ordering && !ordersByPairs(last.road);
    if (ending == Ending::Unsteady && otherOrder) return Attempt{last.road, otherThan(ordering)};
    const std::optional<Road> road = roadAfter(last.road);
    return road ? std::optional(Attempt{*road}) : std::nullopt;
}

Reach reachOf(const RoadCost& cost, double done, double memory)
{
    if (cost.bytes > memory || cost.operations > std::max(kLong, kFar * done)) return Reach::Beyond;
    return cost.operations > std::max(kShort, kNear * done) ? Reach::Far : Reach::Near;
}

} // namespace Velmar::Lintrix::tools
