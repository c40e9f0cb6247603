#pragma once
/// @file
/// LSMR: least squares by a Krylov method that needs nothing but products.

#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>

#include <complex>
#include <cstdint>
#include <functional>

namespace Velmar::Lintrix::detail {

/// What a step tells, by the recurrences alone: of a map with a preconditioner P, r is that of A*P.
struct LsmrStep {
    std::int32_t iteration = 0;  ///< over all rounds, from 1
    double residual = 0.0;       ///< ||r||
    double normalResidual = 0.0; ///< ||(A*P)^H r||
};

struct LsmrOptions {
    double normalTolerance = 1e-14;   ///< of ||A^H r|| / (||A|| ||r||)
    double residualTolerance = 1e-15; ///< of ||r|| / (||A|| ||x|| + ||b||)
    double norm = 0.0;                ///< ||A||_F where it is known, else 0: it is then estimated from below
    /// A round ends when it has lowered ||(A*P)^H r|| by this factor: for a P whose rounding is large, so
    /// that the recurrences tell more than x has. 0 leaves the end to the tolerances.
    double restart = 0.0;
    std::int32_t limit = 0;                          ///< iterations in all; 0 stands for 4*min(m, n) + 100
    std::function<bool(const LsmrStep&)> progress{}; ///< false ends the run
};

enum class LsmrEnd {
    Consistent,   ///< ||r|| is at its tolerance
    LeastSquares, ///< ||A^H r|| is at its tolerance
    Stagnation,   ///< another round gained less than a half: rounding allows no more
    Limit,        ///< the iterations are used up
    Stopped,      ///< by the callback
    NotFinite,    ///< a product or b holds a NaN or an infinity
};

/// How a run ended. The figures are worked out from the x that is returned, not taken from the recurrences.
struct LsmrOutcome {
    LsmrEnd end = LsmrEnd::NotFinite;
    std::int32_t iterations = 0, rounds = 0;
    double norm = 0.0;           ///< of A, as it was used
    double residual = 0.0;       ///< ||b - A*x||
    double normalResidual = 0.0; ///< ||A^H r|| / (||A|| ||r||); 0 where r is

    bool reached() const noexcept { return end == LsmrEnd::Consistent || end == LsmrEnd::LeastSquares; }
};

/// min ||b - A*x||, A m x n of any shape and rank. `x` holds the start and is improved; from 0 and without
/// `right` it is, of a deficient A, the solution of least norm, since it stays in the range of A^H.
///
/// With `right` = P, n x k, the iteration is that of A*P: x = start + P*z for the z of least norm. The better
/// P*P^H stands for the inverse of A^H*A, the fewer steps; column scaling is a diagonal P. x stays in the
/// start and the range of P.
///
/// Works in rounds: when the recurrences tell an end, the true residual is formed; where that is not reached,
/// the next round begins with it. The best x met is what is returned. What is not finite ends the run with
/// the x before it.
///
/// Cost: a step one product with each of A, A^H, P, P^H and 8 passes over vectors. Memory: of length m two
/// vectors, of n three, of k five.
/// Source: Fong and Saunders, SIAM J. Sci. Comput. 33 (2011), without damping.
template <class Cell>
LINTRIX_TESTABLE LsmrOutcome lsmr(const LinearMap<Cell>& A, const LinearMap<Cell>* right, const Cell* b,
                                  Cell* x, const LsmrOptions& options);

} // namespace Velmar::Lintrix::detail
