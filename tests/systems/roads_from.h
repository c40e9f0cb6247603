#pragma once
/// @file
/// The roads of a sparse system from a given one on.

#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/road_search.h>
#include <lintrix/systems/structure/sparse_entries.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

template <class Block>
Block onesOf(std::int32_t rows, std::int32_t cols)
{
    Block ones(rows, cols);
    std::ranges::fill(detail::roads::cellsOf(ones), 1.0);
    return ones;
}

/// The best outcome, its solution without the probe's column, and what is said of the others.
template <class Cell>
struct RoadsTaken {
    detail::roads::Outcome<Cell> best;
    detail::roads::Road road;
    Verdict verdict;
    std::string reason;
    std::vector<std::string> tried;
    std::optional<detail::MatrixOf<Cell>> x;
};

/// A*(1, ..., 1) and the probe are solved for. What is structurally singular takes no road.
template <class Cell>
RoadsTaken<Cell> takeRoads(SystemMatrix<Cell>& system, detail::roads::Road first,
                           const SystemOptions& options)
{
    using namespace detail::roads;
    using M = detail::MatrixOf<Cell>;
    const std::int32_t n = system.Size();
    if (detail::structuralRank<Cell>(system.Matrix()) < n)
        return {{}, first, Verdict::Failed, "structurally singular", {}, {}};
    M known(n, 2), B(n, 2);
    copyColumns(onesOf<M>(n, 1), known, 0);
    copyColumns(probeSolution<Cell>(n), known, 1);
    copyColumns(productOf<Cell>(system.Matrix(), known, TransposeMode::NotTransposed), B, 0);
    const M probe = columnOf(known, 1);
    const Request<Cell> request{B, probe};
    RoadRunner<Cell> runner(system, options);
    RoadSearch<Cell> search(runner, request, !options.ordering);
    search.follow(first);
    std::vector<std::string> tried = search.left();
    Outcome<Cell> best = search.best();
    RoadsTaken<Cell> taken{std::move(best), {}, {}, {}, std::move(tried), {}};
    taken.best.factor.reset(); // it knows the arrays of the system
    taken.road = taken.best.attempt.road;
    taken.verdict = taken.best.verdict();
    taken.reason = taken.best.reason();
    if (taken.best.x) {
        taken.x = std::move(taken.best.x);
        taken.x->Cols(1);
    }
    return taken;
}

} // namespace Velmar::Lintrix::testing
