#pragma once
/// @file
/// Solvers with one factor, one for each thread that wants to solve at the same time.

#include <lintrix/systems/roads/factored.h>

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// A solver keeps its work space for the next one who takes it.
template <class Cell>
class SolverPool {
public:
    using Solver = std::unique_ptr<Factored<Cell>>;

    /// One that nobody else uses; none where `factor`, from which all of them come, has no other.
    Solver take(Factored<Cell>& factor)
    {
        const std::lock_guard turn(busy_);
        if (idle_.empty()) return factor.another();
        Solver solver = std::move(idle_.back());
        idle_.pop_back();
        return solver;
    }
    void giveBack(Solver solver)
    {
        const std::lock_guard turn(busy_);
        idle_.push_back(std::move(solver));
    }
    /// Before the factor goes; then nobody holds one.
    void clear() noexcept { idle_.clear(); }

private:
    std::mutex busy_{};
    std::vector<Solver> idle_{};
};

} // namespace Velmar::Lintrix::detail::roads
