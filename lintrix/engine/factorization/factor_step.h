#pragma once
/// @file
/// The numeric factorization as a step of a call: the handle's blocks on one side, the kernels on the other.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/timers.h>

namespace Velmar::Lintrix::detail::engine {

/// Fills the factor `mnum` from the values of A in the element type of the call. Its block is kept when it is
/// large enough. Counts of pivots go to the control block and to `iparm(14)`, `iparm(22)`, `iparm(23)`; the
/// time of the factorization stays in the control block, and the iteration budget becomes 4.
///
/// After a failure the block stays, without a factor in it. `msglvl` other than 0, a negative one too,
/// prints each new percentage.
///
/// @return  {Memory, -1100}   no room for the factor, or out of core for the panels at work
/// @return  {Memory, -1200}   no work space
/// @return  {Numeric, column} a pivot that Cholesky or LU cannot use; columns of the factor count from 1
/// @return  {Numeric, -1}     the progress callback wants to stop
/// @return  {OutOfCoreOpen, -10}, {OutOfCoreTransfer, -11}  of the files
Failure factorize(const Arguments& call, Handle handle, Timers& timers);

/// Gives up the factor `mnum`, if there is one: its blocks, and out of core the room that it takes on the
/// disk. Files that cannot be opened or are not those of the handle any more stay as they are, which is no
/// failure.
void releaseFactor(Handle handle, int mnum);

} // namespace Velmar::Lintrix::detail::engine
