#pragma once
/// @file
/// How the out-of-core mode is configured: by the environment, before a file, before the defaults.
///
/// The file is pardiso_ooc.cfg in the current folder; MKL_PARDISO_OOC_CFG_PATH names another folder,
/// MKL_PARDISO_OOC_CFG_FILE_NAME another name. Of the values
///
/// | In the file                   | In the environment            | By default |
/// |-------------------------------|-------------------------------|------------|
/// | mkl_pardiso_ooc_path          | MKL_PARDISO_OOC_PATH          | ooc_temp   |
/// | mkl_pardiso_ooc_max_core_size | MKL_PARDISO_OOC_MAX_CORE_SIZE | 2000       |
/// | mkl_pardiso_ooc_keep_file     | MKL_PARDISO_OOC_KEEP_FILE     | 1          |
///
/// each is looked for by itself. One that is none (configuration_text.h tells) is passed over.

#include <lintrix/engine/call/handle.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

/// Reads the configuration into the blocks of pt[16], which are there. Values from the environment are told
/// on standard output where `reports`.
LINTRIX_TESTABLE void readOutOfCoreSettings(Handle handle, bool reports);

/// How the names of the files begin; a view of the path buffer.
LINTRIX_TESTABLE std::string_view filePrefix(const Handle& handle) noexcept;

/// Megabytes that the factor and the work on it may take.
LINTRIX_TESTABLE std::int64_t coreMegabytes(const Handle& handle) noexcept;

/// Whether the files stay when the handle is done with them.
LINTRIX_TESTABLE bool keepsFactorFiles(const Handle& handle) noexcept;

} // namespace Velmar::Lintrix::detail::engine
