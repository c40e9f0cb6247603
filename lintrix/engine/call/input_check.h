#pragma once
/// @file
/// The first thing that the driver does at every phase that works.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/control_block.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Compares the arguments with their ranges and with what the handle stores (maxfct, mtype, n). The first
/// test that fails decides, in this order, by internal code: 1 phase, 2 and 3 and 4 maxfct and mnum, 15 and 5
/// mtype, 6 and 7 n, 8 number of entries, 9 nrhs, 10 and 11 parameters; then the matrix check, when
/// `iparm(27)` asks for it (the hardened build always does it); at last 20, a phase in range that is no code.
///
/// `mnum` has to name an entry at phases 12 and 13 as well as from 22 on: they write a factor to it.
///
/// A pass stores the call. A failure keeps the stored maxfct, mtype and n, and the stored phase, number of
/// entries and right-hand sides become 0.
LINTRIX_TESTABLE Failure checkInput(const Arguments& call, ControlBlock& control);

} // namespace Velmar::Lintrix::detail::engine
