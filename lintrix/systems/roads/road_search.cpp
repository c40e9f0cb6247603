#include <lintrix/systems/roads/road_search.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

Road firstRoad(const MatrixTraits& traits)
{
    if (traits.mirrored()) return traits.positiveLooking ? Road::Cholesky : Road::Symmetric;
    return traits.symmetricPattern && traits.dominant ? Road::Unmatched : Road::Matched;
}

std::optional<Road> firstRoad(MatrixType type, const MatrixTraits& traits)
{
    switch (type) {
    case MatrixType::PositiveDefinite:
        return traits.hermitian ? std::optional(Road::Cholesky) : std::nullopt;
    case MatrixType::Indefinite:
        return traits.mirrored() ? std::optional(Road::Symmetric) : std::nullopt;
    case MatrixType::StructurallySymmetric:
        return traits.symmetricPattern ? std::optional(Road::Unmatched) : std::nullopt;
    case MatrixType::Unsymmetric:
        break;
    }
    return Road::Matched;
}

template <class Cell>
void RoadSearch<Cell>::follow(Road road)
{
    state_.pivotedFirst = road == Road::Pivoted;
    continueWith(Attempt{road});
}

template <class Cell>
std::vector<std::string> RoadSearch<Cell>::left() const
{
    std::vector<std::string> told;
    for (std::size_t k = 0; k < found_.size(); ++k)
        if (k != best_) told.push_back(found_[k].told());
    return told;
}

template <class Cell>
bool RoadSearch<Cell>::hasTaken(Road road) const
{
    return std::ranges::any_of(found_, [road](const Outcome<Cell>& outcome) {
        return outcome.taken && outcome.attempt.road == road;
    });
}

/// @return  what follows
template <class Cell>
std::optional<Attempt> RoadSearch<Cell>::add(Outcome<Cell> outcome)
{
    const Ending ending = outcome.ending();
    state_.replacedMany = areMany(outcome.perturbed, request_.B.Rows());
    const std::optional<Attempt> next = nextAttempt(outcome.attempt, outcome.ordering, ending, state_);
    state_.looksSingular |= ending == Ending::Singular;
    state_.pivotedFirst &= !(outcome.attempt.road == Road::Pivoted && ending == Ending::NotTaken);
    found_.push_back(std::move(outcome));
    weigh(found_.size() - 1);
    return next;
}

template <class Cell>
void RoadSearch<Cell>::continueWith(std::optional<Attempt> next)
{
    while (next) {
        giveUpFactors();
        next = add(runner_.run(*next, Reach::Near, request_));
    }
    takeFarOnes();
}

/// Where nothing else led to a solution.
template <class Cell>
void RoadSearch<Cell>::takeFarOnes()
{
    for (std::size_t k = 0; k < found_.size(); ++k) {
        if (found_[best_].verdict() != Verdict::Failed) return;
        if (found_[k].taken || found_[k].reach != Reach::Far) continue;
        giveUpFactors();
        found_[k] = runner_.run(found_[k].attempt, Reach::Far, request_);
        weigh(k);
    }
}

/// What is not the best gives up its solution.
template <class Cell>
void RoadSearch<Cell>::weigh(std::size_t k)
{
    if (k == best_) return;
    const bool better = isBetter(found_[k], found_[best_]);
    Outcome<Cell>& worse = found_[better ? best_ : k];
    worse.x.reset();
    worse.factor.reset();
    if (better) best_ = k;
}

template <class Cell>
void RoadSearch<Cell>::giveUpFactors()
{
    for (Outcome<Cell>& outcome : found_) outcome.factor.reset();
}

template class RoadSearch<double>;
template class RoadSearch<Complex>;

} // namespace Velmar::Lintrix::detail::roads
