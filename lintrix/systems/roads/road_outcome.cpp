#include <lintrix/systems/roads/road_outcome.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace Velmar::Lintrix::detail::roads {

namespace {

// The engine's error numbers and internal codes that are told apart.
constexpr int kOverflow = -8;
constexpr int kNoContraction = -112, kTooManySteps = -111, kIteration = -3;

std::string pivots(int count)
{
    if (count == 0) return {};
    return count == 1 ? "1 perturbed pivot" : fmt::format("{} perturbed pivots", count);
}

/// Parts of a reason, one after another.
std::string joined(std::initializer_list<std::string> parts)
{
    std::string text;
    for (const std::string& part : parts) {
        if (part.empty()) continue;
        text += text.empty() ? part : ", " + part;
    }
    return text;
}

std::string scaledResidual(double residual)
{
    return residual > kRoundingLevel ? fmt::format("scaled residual {:.1e}", residual) : std::string();
}

std::string whyNumeric(Road road, EngineAnswer engine)
{
    const int failing = engine.failing;
    if (failing == kNoContraction || failing == kTooManySteps) return "refinement does not converge";
    if (failing == kIteration) return "the iteration does not converge";
    if (road == Road::Cholesky) return fmt::format("not positive definite, pivot {}", failing);
    if (road == Road::Dense) return "singular: a pivot is zero";
    if (road == Road::Delayed) return "an element is not finite";
    if (road == Road::Fronts) return "an element is not finite, or there are too few";
    if (road == Road::Pivoted)
        return failing > 0
                   ? fmt::format("singular: column {} of block {} has no pivot", failing, engine.block)
                   : "an element is not finite";
    return fmt::format("singular: pivot {} is zero", failing);
}

std::string whyNoSolution(Road road, EngineAnswer engine)
{
    switch (engine.error) {
    case kEngineNumeric:
        return whyNumeric(road, engine);
    case kEngineNoMemory:
        return "there is not enough memory";
    case kOverflow:
        return "the factors have more than 2147483647 entries";
    default:
        return fmt::format("the engine reports error {}", engine.error);
    }
}

/// Of a solution that is none.
template <class Cell>
std::string whyFailed(const Outcome<Cell>& outcome)
{
    if (outcome.isSolvedByAnother())
        return outcome.perturbed > 0 ? "singular: " + pivots(outcome.perturbed)
                                     : "singular to working precision";
    const double residual = std::max(outcome.quality->residual, outcome.quality->probeResidual);
    if (!std::isfinite(residual)) return "a number overflowed";
    return joined({residual <= kPoor ? "no digit of a known solution came back" : "",
                   scaledResidual(residual), pivots(outcome.perturbed)});
}

/// What keeps a solution from being accurate.
template <class Cell>
std::string whyDegraded(const Outcome<Cell>& outcome)
{
    return joined({pivots(outcome.perturbed), scaledResidual(outcome.quality->residual),
                   outcome.quality->error() <= kFewDigits ? "" : "ill-conditioned"});
}

/// How much a failed road tells: nothing, a bad solution, that the matrix is singular or its few digits its
/// own.
template <class Cell>
int weightOf(const Outcome<Cell>& failed)
{
    if (!failed.quality) return 0;
    const bool isOfMatrix = failed.ending() == Ending::IllConditioned && isStable(failed.attempt.road);
    return failed.isSolvedByAnother() || isOfMatrix ? 2 : 1;
}

} // namespace

template <class Cell>
Verdict Outcome<Cell>::verdict() const
{
    if (!quality || isSolvedByAnother()) return Verdict::Failed;
    return verdictOf(quality->residual, quality->error());
}

template <class Cell>
Outcome<Cell> Outcome<Cell>::road() const
{
    return {.attempt = attempt,
            .engine = engine,
            .roadName = roadName,
            .ordering = ordering,
            .perturbed = perturbed,
            .factorEntries = factorEntries,
            .cost = cost,
            .store = store,
            .leastMegabytes = leastMegabytes,
            .reach = reach,
            .taken = taken,
            .factorQuality = factorQuality,
            .inertia = inertia};
}

template <class Cell>
bool Outcome<Cell>::isSolvedByAnother() const
{
    const bool showsSingular = perturbed > 0 || attempt.road == Road::Delayed; // which keeps pivots near zero
    return showsSingular && losesAllDigits();
}

template <class Cell>
bool Outcome<Cell>::looksSingular() const
{
    return losesAllDigits() && verdict() == Verdict::Failed;
}

/// Beside so long a vector any right-hand side is rounding: it solves nothing.
template <class Cell>
bool Outcome<Cell>::losesAllDigits() const
{
    constexpr double kTooLong = 0x1p53;
    return quality && !(quality->probeErrorInUnits < kNoDigit) && quality->probeError <= kTooLong &&
           quality->probeResidual <= kRoundingLevel;
}

template <class Cell>
bool Outcome<Cell>::isBeyondRefinement() const
{
    return isSolvedByAnother() && quality->residual <= kRoundingLevel;
}

template <class Cell>
Ending Outcome<Cell>::ending() const
{
    if (!taken && engine.error == 0) return Ending::NotTaken;
    if (verdict() == Verdict::Accurate) return Ending::Accurate;
    if (isSolvedByAnother()) return Ending::Singular;
    const bool solved =
        quality && quality->residual <= kRoundingLevel && quality->probeResidual <= kRoundingLevel;
    if (perturbed > 0 && !solved) return Ending::Unsteady;
    if (perturbed > 0) return Ending::Poor;
    if (quality && quality->isSharp) return Ending::Sharp;
    return solved ? Ending::IllConditioned : Ending::Poor;
}

template <class Cell>
std::string Outcome<Cell>::reason() const
{
    if (!fault.empty()) return fault;
    if (engine.error != 0) return whyNoSolution(attempt.road, engine);
    if (!taken && cost.operations == 0.0)
        return fmt::format("its factors would have more than {} entries", cost.entries);
    if (!taken)
        return fmt::format("its factors would have {} entries and take {:.1e} operations", factorEntries,
                           cost.operations);
    switch (verdict()) {
    case Verdict::Accurate:
        return {};
    case Verdict::Degraded:
        return whyDegraded(*this);
    case Verdict::Failed:
        break;
    }
    return whyFailed(*this);
}

template <class Cell>
std::string Outcome<Cell>::told() const
{
    const std::string order = attempt.ordering ? fmt::format(" by {}", NameOf(*attempt.ordering)) : "";
    return fmt::format("{}{}: {}", roadName, order, reason());
}

template <class Cell>
bool isBetter(const Outcome<Cell>& later, const Outcome<Cell>& earlier)
{
    const Verdict one = later.verdict(), other = earlier.verdict();
    if (one != other) return one < other;
    if (one != Verdict::Failed) return later.quality->error() < earlier.quality->error();
    return weightOf(later) >= weightOf(earlier);
}

template struct Outcome<double>;
template struct Outcome<Complex>;
template bool isBetter(const Outcome<double>&, const Outcome<double>&);
template bool isBetter(const Outcome<Complex>&, const Outcome<Complex>&);

} // namespace Velmar::Lintrix::detail::roads
