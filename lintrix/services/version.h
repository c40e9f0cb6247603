#pragma once
/// @file
/// The version of the library that is loaded.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix {

/// "major.minor.patch" of the library in use at run time, which may be newer than the headers compiled
/// against.
LINTRIX_EXPORT const char* LibraryVersion() noexcept;

} // namespace Velmar::Lintrix
