#pragma once
/// @file
/// What a successful call prints when `msglvl` is positive.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/control_block.h>
#include <lintrix/engine/call/timers.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Banner, summary, times and statistics; of a release the summary and what was released: `factorsReleased`
/// counts the factors that went with everything else. `control` is null after a release of everything.
LINTRIX_TESTABLE void reportSuccess(const Arguments& call, const ControlBlock* control, const Timers& timers,
                                    int factorsReleased);

/// There are no statistics for a diagonal matrix; the line names the last step of the phase. The diagonal
/// path takes phases whose last digit is no step, too, and looks at the pivots: that is a factorization.
LINTRIX_TESTABLE void reportDiagonal(Phase phase);

/// What a step has done with files in the out-of-core mode.
struct OutOfCoreTraffic {
    double seconds = 0.; ///< that the step took
    double secondsReading = 0.;
    double secondsWriting = 0.;
    double secondsComputing = 0.;
    std::int64_t bytesRead = 0;
    std::int64_t bytesWritten = 0;
    std::int64_t bytesOfLower = 0; ///< of the panels of L in their file
    std::int64_t bytesOfUpper = 0;
};

/// Parts of the time in percent, and megabytes of 2^20 bytes.
LINTRIX_TESTABLE void reportOutOfCore(const OutOfCoreTraffic& traffic);

} // namespace Velmar::Lintrix::detail::engine
