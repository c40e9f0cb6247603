#pragma once
/// @file
/// The solve as a step of a call: the handle's blocks on one side, substitution and iterations on the other.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/timers.h>

namespace Velmar::Lintrix::detail::engine {

/// Solves op(A) X = B with the stored factor `mnum`. Work space comes first, so that a failure for want of it
/// leaves `b` and `x` as they are. Then:
///
/// - a part of a solve (phases 331 to 333) is that part and nothing else; what one part leaves in the result
///   is the right-hand side of the next;
/// - a direct solve is refined when `iparm(8)` asks for it or pivots were perturbed, unless `iparm(26)`
///   forbids it; `iparm(7)` tells the steps, and `iparm(20)` is -34 when nobody had asked for them;
/// - an iterative one (K of `iparm(4)` not 0) is the start of conjugate gradients (|K| = 2 and real elements)
///   or conjugate gradients squared on the matrix of this call. The budget stays in the control block;
///   `iparm(20)` tells the iterations or why they failed, and then a factor is needed. With K above 0 and a
///   factor of this very matrix there is no failure to report: no other factor could do better, so that the
///   direct solve, refined as if K were 0, is the answer, and it is that also where it has the smaller
///   backward error. `iparm(20)` stays as the iteration told it.
///
/// The solution goes to `x`, and with `iparm(6)` 1 from there to `b` once all is well.
///
/// @return  {Memory, -1200}   no room for the permuted right-hand sides
/// @return  {Memory, -1300}   no work space of refinement or iteration
/// @return  {Numeric, -112}   refinement does not contract, and the solution still changes
/// @return  {Numeric, -2}     the iteration broke down
/// @return  {Numeric, -3}     it diverged, was slow or used its budget up
Failure solve(const Arguments& call, Handle handle, Timers& timers);

} // namespace Velmar::Lintrix::detail::engine
