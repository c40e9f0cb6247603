#pragma once
/// @file
/// The engine's names for who hears how far a factorization has come.

#include <lintrix/engine/pardiso.h>

namespace Velmar::Lintrix::detail::engine {

using ProgressCallback = PardisoProgress;
using ProgressScope = PardisoProgressScope;

} // namespace Velmar::Lintrix::detail::engine
