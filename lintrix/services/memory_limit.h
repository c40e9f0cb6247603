#pragma once
/// @file
/// How much memory this process may use, and how much of that is left.

#include <lintrix/services/export.h>

#include <string>

namespace Velmar::Lintrix {

/// What this process may use, in bytes: the machine's memory, or less where its control group or its address
/// space is limited.
LINTRIX_EXPORT double MemoryLimit();

/// What of it is left, in bytes: by the system's estimate, of what the control groups grant beyond what they
/// use, and of the address space, where BLAS is going to take a buffer for each thread beyond the first and
/// would wait without end for it. `root` is the folder that /proc and /sys stand in.
LINTRIX_EXPORT double MemoryLeft(int threads, const std::string& root = "");
/// For as many threads as may run now: in a `SameBitsScope` those that are set, not those that work is cut
/// for.
LINTRIX_EXPORT double MemoryLeft();

/// The limit of the address space in bytes (`ulimit -v`); infinite where there is none.
LINTRIX_EXPORT double AddressSpaceLimit();

/// The least limit of the control groups, version 1 and 2, that this process is in, and of those around them;
/// infinite where there is none. `root` as above.
LINTRIX_EXPORT double ControlGroupLimit(const std::string& root = "");

} // namespace Velmar::Lintrix
