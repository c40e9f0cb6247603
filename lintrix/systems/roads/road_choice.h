#pragma once
/// @file
/// Which road is taken next, by what came of the one before and by what the next one costs.

#include <lintrix/services/export.h>
#include <lintrix/systems/roads/balance.h>
#include <lintrix/systems/roads/direct_run.h>

#include <optional>
#include <string_view>

namespace Velmar::Lintrix::detail::roads {

/// What came of a road, as far as the choice of the next one goes.
enum class Ending {
    Accurate,
    Sharp,          ///< few digits, but each equation is solved to the last places of its elements
    IllConditioned, ///< few digits, but no pivot was replaced and the residual is at rounding level
    Singular,       ///< pivots were replaced, and another than the known solution solves its system as well
    Unsteady,       ///< pivots were replaced, and refinement did not make good for it
    Poor,           ///< not accurate for any other reason, or failed
    NotTaken,       ///< its cost is out of reach
};

struct Attempt {
    Road road = Road::Matched;
    std::optional<FillInReducingMethod> ordering{}; ///< none: what takes less time in all
    /// Of equations, by which exchanges of rows are chosen, and of the probe.
    UnitsBy units = UnitsBy::LargestElements;

    bool operator==(const Attempt&) const = default;
};

/// What the roads so far and the caller tell.
struct SearchState {
    bool orderingIsOpen = true; ///< else the caller has chosen it
    bool looksSingular = false; ///< a road has ended so
    bool pivotedFirst = false;  ///< the search began with partial pivoting, and that was taken
    bool replacedMany = false;  ///< the last road, of its pivots
};

/// Backward stable as long as no pivot is replaced: few digits are the matrix's own.
LINTRIX_TESTABLE bool isStable(Road road);

/// What follows `last`, which used `ordering`; nothing where no road can do better.
///
/// Which pivots are met small depends on the order of elimination. So an unsteady road is repeated with the
/// other order, where that is open, before a stronger one is taken; not where many were in spite of a
/// matching, which meets as many in any order. What solves a system that differs from A by the rounding of
/// each element is all that can be had of any road. Cholesky and LU with matching are stable: without
/// replaced pivots their few digits are the matrix's own. That A is singular to working precision is believed
/// of LU with matching; where another road has told it, the order is not to blame, and exchanges of rows
/// would be in vain. Partial pivoting is tried before dense storage, unless it came first. Its scales are of
/// rows alone, so few digits of it may be owed to the units of columns; and it replaces no pivots, which tell
/// what makes a matrix singular. So the engine follows.
LINTRIX_TESTABLE std::optional<Attempt> nextAttempt(const Attempt& last, FillInReducingMethod ordering,
                                                    Ending ending, const SearchState& state);

/// Of the pivots of an elimination, so many that another order is not worth its time.
LINTRIX_TESTABLE bool areMany(std::int32_t replaced, std::int32_t pivots);

enum class Reach {
    Near,   ///< like what was already done, or short
    Far,    ///< put last, in case nothing else leads to a solution
    Beyond, ///< not enough memory, or past all patience
};

/// `done`: the largest factorization so far. `memory`: bytes there are.
LINTRIX_TESTABLE Reach reachOf(Road road, const RoadCost& cost, const RoadCost& done, double memory);

/// Operations up to which a road is within reach.
LINTRIX_TESTABLE double mostOperations(Reach limit, const RoadCost& done);

/// Operations of partial pivoting, which knows them only afterwards, up to which it is within reach.
LINTRIX_TESTABLE double mostColumnOperations(Reach limit, const RoadCost& done);

/// Of LU in dense storage, beside the matrix as it is read; more than any memory where there are more cells
/// than a matrix can have.
LINTRIX_TESTABLE RoadCost denseCost(std::int32_t n, bool complex);

} // namespace Velmar::Lintrix::detail::roads
