#pragma once
/// @file
/// What a successful call prints when `msglvl` is positive.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/control_block.h>
#include <lintrix/engine/call/timers.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Banner, summary, times and statistics; of a release the summary and what was released: `factorsReleased`
/// counts the factors that went with everything else. `control` is null after a release of everything.
LINTRIX_TESTABLE void reportSuccess(const Arguments& call, const ControlBlock* control, const Timers& timers,
                                    int factorsReleased);

/// There are no statistics for a diagonal matrix; the line names the last step of the phase. The diagonal
/// path takes phases whose last digit is no step, too, and looks at the pivots: that is a factorization.
LINTRIX_TESTABLE void reportDiagonal(Phase phase);

} // namespace Velmar::Lintrix::detail::engine
