#pragma once
/// @file
/// Settings that follow from the arguments, each by a rule of its own.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/control_block.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// The threads of a call, from what thread control answers. A small matrix, n < 50 t, gets n / 50 of them
/// when the dynamic flag is on; never fewer than 1.
LINTRIX_TESTABLE int callThreads(int available, bool dynamic, int n) noexcept;

/// What `iparm(4)` asks for.
struct IterationSetting {
    int kind = 0;             ///< K, with the sign of the parameter
    double tolerance = 1e-12; ///< 10^-L; the default when L is 0
};

/// Splits 10 L + K.
LINTRIX_TESTABLE IterationSetting splitIterationSetting(int parameter) noexcept;

/// What the panel width depends on.
struct PanelQuestion {
    int threads = 1;
    int n = 0;
    int mtype = 0;
    int processorClass = 0;
    int outOfCore = 0; ///< `iparm(60)`
};

/// Of all panel widths the largest.
inline constexpr int kWidestPanel = 192;

/// The largest number of columns in one supernode.
LINTRIX_TESTABLE int panelWidth(const PanelQuestion& question) noexcept;

/// Parts asked of the ordering: the smallest power of two not below the thread count (nor, out of core
/// without the two-level form, below 32), or 2^partExponent if that is more, but at most half the smallest
/// power of two not below n, and at least 1.
LINTRIX_TESTABLE int partTarget(int threads, int n, int partExponent, bool outOfCore, bool twoLevel) noexcept;

/// Whether factorization may go by subgraphs and separators.
LINTRIX_TESTABLE bool twoLevelAllowed(int mtype, int threads, int ordering, int outOfCore) noexcept;

/// The constants of an analysis, whatever the caller says.
LINTRIX_TESTABLE void resetConstants(ControlBlock& control) noexcept;

/// The settings that every call brings with it.
LINTRIX_TESTABLE void deriveCallSettings(const Arguments& call, ControlBlock& control) noexcept;

/// The settings that an analysis fixes for all that follows it.
LINTRIX_TESTABLE void deriveAnalysisSettings(const Arguments& call, ControlBlock& control);

} // namespace Velmar::Lintrix::detail::engine
