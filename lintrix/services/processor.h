#pragma once
/// @file
/// The processor: its class, which decides on panel widths, and the instruction sets that it has and that the
/// kernels may use. Worked out once from `cpuid` and `MKL_DEBUG_CPU_TYPE`, `MKL_DEBUG_CPU_MA`, `MKL_VSMP`,
/// `LINTRIX_INSTRUCTION_SET`; the rules themselves are pure functions.

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

/// What vector kernels are written for, in rising order: each holds all that stands before it.
enum class InstructionSet : int {
    Sse2 = 0,  ///< what every 64-bit processor has
    Sse42 = 1, ///< SSE4.2
    Avx = 2,   ///< AVX
    Avx2 = 3,  ///< AVX2 with FMA and BMI
    Avx512 = 4 ///< AVX-512 F, CD, BW, DQ and VL
};

/// What `cpuid` tells, and which registers the operating system saves.
struct CpuidFacts {
    std::string vendor;                 ///< the twelve letters of leaf 0
    std::uint32_t signature = 0;        ///< leaf 1, eax: family and model
    std::uint32_t features = 0;         ///< leaf 1, ecx
    std::uint32_t extendedFeatures = 0; ///< leaf 7, ebx
    std::uint32_t savedState = 0;       ///< XCR0, 0 where it cannot be read
};

/// What is kept of it.
struct Processor {
    ProcessorClass processorClass = ProcessorClass::Generic;
    int codePath = 0;      ///< selects among the code paths within a class
    int amdFamilyFlag = 0; ///< 1 for "AuthenticAMD" of base family 15 with extended family 1
    int vsmp = 0;          ///< MKL_VSMP as an integer, 0 when unset: a virtual SMP platform
    InstructionSet kernels = InstructionSet::Sse2; ///< the highest that the library's own kernels may use
};

/// The class by vendor and feature bits, highest first. The bits count for "GenuineIntel" alone, and a
/// processor with AVX is Sse42 unless AVX is allowed. The class chooses panel widths, and with them the bits
/// of a factor, so it does not follow what newer processors can do.
LINTRIX_TESTABLE ProcessorClass detectClass(const CpuidFacts& facts, bool avxAllowed) noexcept;

/// The highest instruction set by feature bits, those of any vendor, whose registers the operating system
/// saves.
LINTRIX_TESTABLE InstructionSet detectInstructionSet(const CpuidFacts& facts) noexcept;

/// The whole rule. MKL_DEBUG_CPU_TYPE, 0 to 4, overrides the detected class, and 4 alone allows AVX: an
/// override below that keeps the kernels to SSE2. LINTRIX_INSTRUCTION_SET, one of SSE2, AVX2, AVX512, bounds
/// the kernels alone. Neither makes them use what the processor does not have.
LINTRIX_TESTABLE Processor classifyProcessor(const CpuidFacts& facts, const EnvironmentLookup& lookup);

/// What this machine tells of itself. Cost: a microsecond, more on a virtual one.
LINTRIX_TESTABLE CpuidFacts readCpuid();

/// This machine's, found once. Cost: one load after the first call.
LINTRIX_TESTABLE const Processor& thisProcessor();

} // namespace Velmar::Lintrix::detail
