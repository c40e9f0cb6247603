#pragma once
/// @file
/// How good each column of a solution is, by the residual in twice the working precision.

#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/linear_system.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/factor_quality.h>
#include <lintrix/systems/roads/column_units.h>
#include <lintrix/systems/roads/factored.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The inverse of op(A) by a factor, as good as that is; NaN where the factor fails. Good as long as it.
template <class Cell>
LinearMap<Cell> inverseBy(roads::Factored<Cell>& factor, std::int32_t size, TransposeMode op,
                          roads::Refining refining = roads::Refining::Unasked);

/// What the factor of A is worth. Where the drift is asked for, steps of refinement are taken by that alone,
/// and only as long as the factor with them is not near enough to A for its signs; none for the
/// companion then.
template <class Cell>
FactorQuality qualityBy(roads::Factored<Cell>& factor, const AnyMatrix<Cell>& A, const FactorQuestion& asked,
                        const Companion<Cell>& companion = {});

struct BoundsAsked {
    std::int32_t columns = 0; ///< whose errors are bounded at most
    double probeError = 0.0;  ///< of the known solution
    /// What the factor is worth, which spares work. Where this is empty, it is found out on the way; null:
    /// nothing is known.
    std::optional<FactorQuality>* ofFactor = nullptr;
    FactorQuestion question{};       ///< then
    bool isOfAnother = false;        ///< the factor, of a matrix nearby: it estimates, and bounds nothing
    const RowSizes* sizes = nullptr; ///< of op(A), where they are known
};

/// Of op(A)*X = B, all of B's columns, X as it will be in the given units (none: as it is). Bounded are
/// the errors of those with the largest componentwise backward error first; of none without a factor. Where
/// some are, that of the others, and of those whose bound is infinite, is estimated: a right-hand side may be
/// harder than the probe. A column with an element that is not finite is no solution.
///
/// Columns that are worse than the probe take a correction by the residual in twice the precision, and keep
/// it where that gives a better verdict.
///
/// Cost: a reading of A for each column; for those that are bounded a solve of all together, and a few more
/// of each where the norm of the inverse does not settle it; one of the others; twice that with corrections.
template <class Cell>
std::vector<ColumnQuality> improvedColumns(const AnyMatrix<Cell>& A, TransposeMode op,
                                           const MatrixOf<Cell>& B, MatrixOf<Cell>& X,
                                           const roads::ColumnUnits<Cell>* units,
                                           roads::Factored<Cell>* factor, const BoundsAsked& asked);

/// The largest normwise backward error of the right-hand sides that are finite; NaN where there is one among
/// them.
template <class Cell>
double residualOf(const std::vector<ColumnQuality>& columns, const roads::ColumnUnits<Cell>* units);

/// Of a column whose residual is at rounding level: what its error bound leaves to say.
std::string reasonByBound(const std::optional<double>& errorBound);

/// Gives each of the answer's columns its reason; the worst of them counts.
template <class Cell>
void lowerToWorst(SystemAnswer<Cell>& answer, const roads::ColumnUnits<Cell>* units);

} // namespace Velmar::Lintrix::detail
