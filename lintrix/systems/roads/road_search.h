#pragma once
/// @file
/// The road that the values of a matrix suggest, and the next one where it ends badly.

#include <lintrix/services/export.h>
#include <lintrix/systems/roads/road_runner.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// Where to begin: positive definite, indefinite, indefinite with matching where the diagonal has zeros; of
/// an unsymmetric matrix LU along the diagonal where that dominates, else LU with matching.
LINTRIX_TESTABLE Road firstRoad(const MatrixTraits& traits);
/// As the user says. @return nothing  the values contradict
LINTRIX_TESTABLE std::optional<Road> firstRoad(MatrixType type, const MatrixTraits& traits);

/// The roads from one on, what came of each, and the best of them.
///
/// Whatever a road returns is measured: its residual, and how many digits of what is known came back. Where
/// it is not accurate, and another road might do better, that is taken as well; the best answer of all
/// counts. A road whose forecast is far beyond what was already done is put last, or told and left. The
/// factor of a road is given up before another is taken, so that two never stand in memory.
template <class Cell>
class LINTRIX_TESTABLE RoadSearch {
public:
    RoadSearch(RoadRunner<Cell>& runner, const Request<Cell>& request, bool orderingIsOpen)
        : runner_(runner), request_(request), state_{orderingIsOpen}
    {
    }

    /// From a road on.
    void follow(Road road);

    Outcome<Cell> best() { return std::move(found_[best_]); }
    /// "ROAD: why it was left", of the others.
    std::vector<std::string> left() const;
    bool hasTaken(Road road) const;

private:
    std::optional<Attempt> add(Outcome<Cell> outcome);
    void continueWith(std::optional<Attempt> next);
    void takeFarOnes();
    void weigh(std::size_t k);
    void giveUpFactors();

    RoadRunner<Cell>& runner_;
    const Request<Cell>& request_;
    SearchState state_;
    std::vector<Outcome<Cell>> found_{};
    std::size_t best_ = 0;
};

} // namespace Velmar::Lintrix::detail::roads
