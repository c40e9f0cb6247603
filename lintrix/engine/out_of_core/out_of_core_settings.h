#pragma once
/// @file
/// How the out-of-core mode is configured: by the environment, before a file, before the defaults.

#include <lintrix/engine/call/handle.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// Reads the configuration into the blocks of pt[16], which are there. Values from the environment are told
/// on standard output where `reports`.
LINTRIX_TESTABLE void readOutOfCoreSettings(Handle handle, bool reports);

/// Megabytes that the factor and the work on it may take; that of the configuration.
LINTRIX_TESTABLE std::int64_t coreMegabytes(const Handle& handle) noexcept;

/// Whether the files stay when the handle is done with them.
LINTRIX_TESTABLE bool keepsFactorFiles(const Handle& handle) noexcept;

} // namespace Velmar::Lintrix::detail::engine
