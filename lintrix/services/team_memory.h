#pragma once
/// @file
/// Whether the memory of a team is there. Without it the OpenMP runtime ends the process.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail {

/// `threads`, or a half, a quarter, ... of it, down to 1, where the stacks, the records and the buffers of so
/// many cannot be had just now. Asked before the calling thread opens its first team of a size; the runtime
/// keeps threads once they are started. Between the answer and the start another thread of the program may
/// still take the memory away. Cost: one comparison for a size that was granted before.
LINTRIX_TESTABLE int affordableTeam(int threads) noexcept;

} // namespace Velmar::Lintrix::detail
