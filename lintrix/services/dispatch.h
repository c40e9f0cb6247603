#pragma once
/// @file
/// The one place where a vector kernel of this library gets its form for the processor.

#include <lintrix/services/processor.h>
#include <lintrix/services/processor_family.h>

namespace Velmar::Lintrix::detail {

/// A kernel in its forms by instruction set. On a processor that is no x86 the first alone is chosen. What
/// holds of its bits from form to form, each kernel says itself.
template <class Form>
struct KernelForms {
    Form sse2, avx2, avx512;

    /// The highest form within `allowed`.
    constexpr Form within(InstructionSet allowed) const noexcept
    {
        if (allowed >= InstructionSet::Avx512) return avx512;
        return allowed >= InstructionSet::Avx2 ? avx2 : sse2;
    }

    /// The form for this processor. The same on each call, so that it may be kept. Cost: one load.
    Form chosen() const { return within(thisProcessor().kernels); }
};

} // namespace Velmar::Lintrix::detail
