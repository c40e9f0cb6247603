#pragma once
/// @file
/// How good each column of a solution is, by the residual in twice the working precision.

#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/verdict.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The inverse of op(A) by a factor, as good as that is; NaN where the factor fails. Good as long as it.
template <class Cell>
LinearMap<Cell> inverseBy(roads::Factored<Cell>& factor, std::int32_t size, TransposeMode op);

struct BoundsAsked {
    std::int32_t columns = 0; ///< whose errors are bounded at most
    double probeError = 0.0;  ///< of the known solution
    /// Not below ||A^-1||_1, if that is known: see `KnownBefore`.
    double inverseNorm = std::numeric_limits<double>::infinity();
};

/// Of op(A)*X = B, all of B's columns. Bounded are the errors of those with the largest componentwise
/// backward error first; of none without a factor.
///
/// Cost: a reading of A for each column; for those that are bounded a solve of all together, and a few more
/// of each where the norm of the inverse does not settle it.
template <class Cell>
std::vector<ColumnQuality> qualityOfColumns(const SparseOf<Cell>& A, TransposeMode op,
                                            const MatrixOf<Cell>& B, const MatrixOf<Cell>& X,
                                            roads::Factored<Cell>* factor, const BoundsAsked& asked);

} // namespace Velmar::Lintrix::detail
