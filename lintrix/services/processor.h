#pragma once
/// @file
/// The processor class: which instruction set the kernels are tuned for. Worked out once from `cpuid` and
/// `MKL_DEBUG_CPU_TYPE`, `MKL_DEBUG_CPU_MA`, `MKL_VSMP`; the rule itself is a pure function.

#include <lintrix/services/environment.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <string>

namespace Velmar::Lintrix::detail {

/// In rising order; in quotes the name of the kernel family.
enum class ProcessorClass : int {
    Generic = 0,          ///< "def"
    Sse3 = 1,             ///< "p4n"
    SupplementalSse3 = 2, ///< "mc"
    Sse42 = 3,            ///< "mc3"
    Avx = 4               ///< "avx"
};

inline constexpr int kProcessorClasses = 5;

/// What `cpuid` tells.
struct CpuidFacts {
    std::string vendor;          ///< the twelve letters of leaf 0
    std::uint32_t signature = 0; ///< leaf 1, eax: family and model
    std::uint32_t features = 0;  ///< leaf 1, ecx
};

/// What is kept of it.
struct Processor {
    ProcessorClass processorClass = ProcessorClass::Generic;
    int codePath = 0;      ///< selects among the code paths within a class
    int amdFamilyFlag = 0; ///< 1 for "AuthenticAMD" of base family 15 with extended family 1
    int vsmp = 0;          ///< MKL_VSMP as an integer, 0 when unset: a virtual SMP platform
};

/// The class by vendor and feature bits, highest first. The bits count for "GenuineIntel" alone, and a
/// processor with AVX is Sse42 unless AVX is allowed. The class chooses panel widths, and with them the bits
/// of a factor, so it does not follow what newer processors can do.
LINTRIX_TESTABLE ProcessorClass detectClass(const CpuidFacts& facts, bool avxAllowed) noexcept;

/// The whole rule. MKL_DEBUG_CPU_TYPE, 0 to 4, overrides the detected class, and 4 alone allows AVX.
LINTRIX_TESTABLE Processor classifyProcessor(const CpuidFacts& facts, const EnvironmentLookup& lookup);

/// This machine's, found once. Cost: one load after the first call.
LINTRIX_TESTABLE const Processor& thisProcessor();

} // namespace Velmar::Lintrix::detail
