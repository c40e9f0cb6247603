#pragma once
/// @file
/// One call, from the handle to the report.

#include <lintrix/engine/call/arguments.h>

namespace Velmar::Lintrix::detail::engine {

/// Does what the phase asks for and answers `error`. `iparm(3)` holds the thread count of the call. In this
/// order: phases below -1 fail; a handle is made, used up or emptied; at phases 1x defaults and settings; the
/// input check; analysis, factorization, solve. At the end memory figures and version go to `iparm`, and, if
/// `msglvl` asks for it, failures and statistics to standard output.
///
/// A matrix type that the input check admits and no branch knows ends the process with status 9.
int drive(const Arguments& call, bool singlePrecision);

} // namespace Velmar::Lintrix::detail::engine
