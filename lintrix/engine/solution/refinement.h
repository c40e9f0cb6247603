#pragma once
/// @file
/// Iterative refinement of a direct solution.

#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/solution/preconditioner.h>
#include <lintrix/engine/solution/sparse_operator.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

struct Refinement {
    Failure failure;
    int steps = 0;          ///< the number of the last step
    bool automatic = false; ///< two steps that nobody had asked for were done
};

/// X := X + inv(M)*(B - op(A)*X), again and again, for `count` vectors at once. `limit` is iparm(8): |limit|
/// steps at most, negative with residuals in extended precision; 0 makes two steps. `residual` has room for n
/// x count numbers.
///
/// A step that leaves less than 0.9 of the residual before it is followed by the next. One that does not is
/// followed by another up to the fourth, as far as the limit reaches; then refinement ends, and with a last
/// change of more than half the solution it has failed. Sums of magnitudes over all vectors decide.
/// @return  {Numeric, -112}  no contraction, and the solution still changes
template <class T>
LINTRIX_TESTABLE Refinement refine(const SparseOperator<T>& A, const Preconditioner<T>& solve, const T* b,
                                   T* x, int n, int count, int limit, T* residual);

} // namespace Velmar::Lintrix::detail::engine
