#pragma once
/// @file
/// GMRES on A*x = b with a factor of A + E for a preconditioner M, where E is what static pivoting changed.
///
/// Refinement by M takes corrections r -> M^-1*r as they are and multiplies the error by M^-1*E: where that
/// is not small, it crawls or diverges. GMRES minimizes ||b - A*x||_2 over all combinations of the
/// corrections. k replaced pivots make an E of rank k, A*M^-1 = I - E*M^-1 differs from I by rank k, and k +
/// 1 steps do, whatever the size of E.
///
///     v_1 = r/||r||,   z_j = M^-1*v_j,   A*Z = V*H,   x := x + Z*y,   y minimizes || ||r||*e_1 - H*y ||
///
/// Flexible GMRES keeps Z; without it Z*y is M^-1*(V*y), one solve more a cycle and half the memory. Arioli,
/// Duff, Gratton, Pralet, "A note on GMRES preconditioned by a perturbed LDL' decomposition with static
/// pivoting", SIAM J. Sci. Comput. 29 (2007), find the flexible form to be backward stable where the other
/// may fail, since what M makes of v_j enters H as it was made. Saad, SIAM J. Sci. Comput. 14 (1993).
///
/// A*z_j is known to eps*||A||*||z_j||, and a sum of long z_j that cancel leaves as much. So there is a
/// limit: a matrix of condition c is repaired while c*||E||/||A|| is below some 1/sqrt(eps), in our
/// experience, and beyond that improved at best.

#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>

#include <cstdint>
#include <functional>

namespace Velmar::Lintrix::detail {

struct GmresOptions {
    double tolerance = 1e-15;  ///< of the normwise backward error
    std::int32_t cycle = 40;   ///< steps from one restart to the next; each keeps two vectors
    std::int32_t steps = 200;  ///< at most, in all cycles
    std::int32_t patience = 3; ///< cycles in a row that do not halve the backward error
    bool flexible = true;
    std::function<bool()> mustEnd = {}; ///< asked before each step, if there is one
};

enum class GmresOutcome {
    Converged, ///< the backward error of x is within the tolerance
    Stagnated, ///< a cycle gained nothing, or several gained little
    StepLimit, ///< all steps were taken
    Ended,     ///< `mustEnd` said so
    NotFinite  ///< A, M or b brought forth a NaN or an infinity
};

struct GmresResult {
    GmresOutcome outcome;
    std::int32_t steps; ///< solves with M that went into the basis
    std::int32_t cycles;
    double backwardError; ///< of x as it is returned, measured; NaN where even that of 0 cannot be
};

/// Improves x, one column. `normOfA` is the infinity norm of A; `inverse` solves with M, its adjoint is not
/// needed.
///
/// The backward error ||b - A*x||/(||A||*||x|| + ||b||), infinity norms, is measured anew after each cycle,
/// never taken from the recurrence, and decides alone: on the end, and on which x is kept, so that x is never
/// worse than it was. Where 0 leaves a smaller residual than x, or x is not finite, the steps begin at 0. x
/// is written at the end; where A or `inverse` raise something, it is as it was.
template <class Cell>
LINTRIX_TESTABLE GmresResult gmres(const LinearMap<Cell>& A, double normOfA, const LinearMap<Cell>& inverse,
                                   const Cell* b, Cell* x, const GmresOptions& options = {});

} // namespace Velmar::Lintrix::detail
