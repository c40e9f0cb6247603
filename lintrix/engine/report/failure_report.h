#pragma once
/// @file
/// What a failed call prints when `msglvl` is not 0.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/control_block.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// What `error` becomes: -1 with a negative internal code is -7, which callers know for a matrix that is
/// diagonal by its count of entries alone; all else stays.
LINTRIX_TESTABLE Failure reported(Failure failure) noexcept;

/// The failure's lines on standard output: what failed with its internal code, the line of that code, and
/// what belongs to it. `stored` may be null.
LINTRIX_TESTABLE void reportFailure(const Failure& failure, const Arguments& call,
                                    const ControlBlock* stored);

} // namespace Velmar::Lintrix::detail::engine
