#pragma once
/// @file
/// The version of the library that is loaded, and the form in which its own kernels run.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix {

/// "major.minor.patch" of the library in use at run time, which may be newer than the headers compiled
/// against.
LINTRIX_EXPORT const char* LibraryVersion() noexcept;

/// What the library's own vector kernels use, "SSE2", "AVX2" or "AVX512" (elsewhere "NEON", "portable"): the
/// highest that the processor has and LINTRIX_INSTRUCTION_SET allows. Those of BLAS: DescribeBlas().
LINTRIX_EXPORT const char* LibraryKernels();

} // namespace Velmar::Lintrix
