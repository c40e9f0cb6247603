#pragma once
/// @file
/// Which listener hears of the factorizations that a thread asks for.

#include <lintrix/engine/pardiso.h>

namespace Velmar::Lintrix::detail::engine {

/// The listener of the calling thread; without `step` if there is none. To be asked on the caller's thread,
/// at the start of a call: the threads of a team have listeners of their own, if any.
LINTRIX_TESTABLE PardisoProgress currentListener() noexcept;

} // namespace Velmar::Lintrix::detail::engine
