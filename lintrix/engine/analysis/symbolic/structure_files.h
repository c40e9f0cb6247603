#pragma once
/// @file
/// The structure of the factors in the files of the out-of-core mode.

#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/out_of_core/factor_files.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Makes the files of a handle whose analysis is finished and writes the structure into them.
/// @return  {OutOfCoreOpen, -10}, {OutOfCoreTransfer, -11}; no file is left then
LINTRIX_TESTABLE Failure storeStructure(Handle handle);

/// Opens the files for a step. The structure in them must be that of the handle: files that are not the ones
/// it has written, or not any more, hold no factor of it.
/// @return  {OutOfCoreOpen, -10}, {OutOfCoreTransfer, -11}
LINTRIX_TESTABLE Failure openFactorFiles(const Handle& handle, FileStep step, OpenFactorFiles& files);

} // namespace Velmar::Lintrix::detail::engine
