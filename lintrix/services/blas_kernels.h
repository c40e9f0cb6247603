#pragma once
/// @file
/// The kernels that OpenBLAS runs on, and better ones where it does not know the processor.
///
/// OpenBLAS carries kernels for many processors and chooses by a table of models. A model that came after the
/// library may fall through the table to the kernels of the oldest, at a fifth of the speed and without a
/// word. So the choice is looked at when this library is loaded, and made anew by feature bits where those
/// allow more. The user's own choice, OPENBLAS_CORETYPE, stands, and so do the kernels of a processor that
/// OpenBLAS knows.

#include <lintrix/services/export.h>
#include <lintrix/services/processor.h>

#include <optional>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::detail {

/// How OpenBLAS tells its kernels and chooses them: each null in a library without such a function.
struct BlasKernelControl {
    char* (*name)();
    void (*drop)();   ///< gives the choice up: until the next one no routine may be called
    void (*choose)(); ///< by OPENBLAS_CORETYPE, else by its table; does nothing while a choice stands
};

/// What became of the choice.
struct BlasKernels {
    std::string found;  ///< what OpenBLAS had chosen; empty when it does not tell
    std::string inUse;  ///< what it runs on now
    std::string better; ///< what the processor allows beyond that, empty for nothing
};

/// The name of the kernels for an instruction set: one on which OpenBLAS falls back by itself, when it goes
/// by feature bits. Later kernels for AVX-512 differ from these in bfloat16 alone.
LINTRIX_TESTABLE std::string_view blasKernelsFor(InstructionSet set) noexcept;

/// The kernels to choose in place of `found`, if they are worth it: `found` is one that a processor unknown
/// to OpenBLAS may be given, for a lower instruction set than this processor has. Any other name was chosen
/// for a model that OpenBLAS knows, and stays.
LINTRIX_TESTABLE std::optional<std::string_view> betterBlasKernels(std::string_view found, InstructionSet has,
                                                                   bool userChose) noexcept;

/// Brings better kernels into use, the best that the library was built with; `found` again if it has none.
/// Without an effect when a function is missing, or unless `alone`: in a process with a second thread that
/// one might be inside a routine, or reading the environment. OPENBLAS_CORETYPE is not set afterwards.
LINTRIX_TESTABLE BlasKernels adjustBlasKernels(const BlasKernelControl& blas, InstructionSet has, bool alone);

/// The functions of the BLAS that this process runs on.
LINTRIX_TESTABLE BlasKernelControl blasKernelControl() noexcept;

/// The kernels of this process, adjusted when this library was loaded.
LINTRIX_TESTABLE const BlasKernels& blasKernels();

} // namespace Velmar::Lintrix::detail
