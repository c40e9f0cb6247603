#include <lintrix/services/processor.h>

#include <lintrix/services/processor_family.h>
#include <lintrix/services/service_lock.h>

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string_view>

namespace Velmar::Lintrix::detail {

namespace {

// Leaf 1, ecx.
constexpr int kSse3 = 0;
constexpr int kSupplementalSse3 = 9;
constexpr int kFma = 12;
constexpr int kSse41 = 19;
constexpr int kSse42 = 20;
constexpr int kAes = 25;
constexpr int kOsSavesExtendedState = 27;
constexpr int kAvx = 28;

constexpr std::uint32_t bits(std::initializer_list<int> numbers)
{
    std::uint32_t word = 0;
    for (const int number : numbers) word |= std::uint32_t{1} << number;
    return word;
}

// Leaf 7, ebx.
constexpr std::uint32_t kBmi1Avx2Bmi2 = bits({3, 5, 8});
constexpr std::uint32_t kAvx512FDqCdBwVl = bits({16, 17, 28, 30, 31});

// XCR0.
constexpr std::uint32_t kSavesYmm = bits({1, 2});
constexpr std::uint32_t kSavesZmm = kSavesYmm | bits({5, 6, 7});

constexpr bool holds(std::uint32_t word, std::uint32_t all)
{
    return (word & all) == all;
}

bool has(const CpuidFacts& facts, int bit)
{
    return holds(facts.features, bits({bit}));
}

/// MKL_DEBUG_CPU_TYPE: 1 to 4, or 0 written exactly so, since a text without a number reads as 0 too.
std::optional<ProcessorClass> classOverride(const EnvironmentValue& value)
{
    const int number = value.leadingInteger();
    const bool valid = number == 0 ? value.text() == "0" : number >= 1 && number < kProcessorClasses;
    return valid ? std::optional(static_cast<ProcessorClass>(number)) : std::nullopt;
}

int selectCodePath(ProcessorClass processorClass, const CpuidFacts& facts, const EnvironmentValue& chosen)
{
    switch (processorClass) {
    case ProcessorClass::SupplementalSse3:
        return has(facts, kSse41) ? 33 : 32;
    case ProcessorClass::Sse42: {
        const int path = chosen.leadingInteger();
        if (path == 64 || path == 66) return path;
        return has(facts, kAes) ? 66 : 64;
    }
    case ProcessorClass::Avx:
        return 128;
    default:
        return 0;
    }
}

bool isAmdFamily15With1(const CpuidFacts& facts)
{
    const std::uint32_t baseFamily = facts.signature >> 8 & 0xFU;
    const std::uint32_t extendedFamily = facts.signature >> 20 & 0xFFU;
    return facts.vendor == "AuthenticAMD" && baseFamily == 15 && extendedFamily == 1;
}

/// The highest that an override of the class leaves to the kernels. No class lies above AVX, so that one
/// bounds nothing.
InstructionSet boundOfClass(const std::optional<ProcessorClass>& forced)
{
    return forced.value_or(ProcessorClass::Avx) < ProcessorClass::Avx ? InstructionSet::Sse2
                                                                      : InstructionSet::Avx512;
}

/// LINTRIX_INSTRUCTION_SET; any other word bounds nothing.
InstructionSet boundNamed(std::string_view name)
{
    if (name == "SSE2") return InstructionSet::Sse2;
    return name == "AVX2" ? InstructionSet::Avx2 : InstructionSet::Avx512;
}

} // namespace

CpuidFacts readCpuid()
{
    CpuidFacts facts;
    const auto names = processor_family::cpuid(0);
    if (!names) return facts;
    for (const std::uint32_t part : {(*names)[1], (*names)[3], (*names)[2]})
        for (int shift = 0; shift < 32; shift += 8) facts.vendor += static_cast<char>(part >> shift & 0xFFU);
    const auto features = processor_family::cpuid(1);
    if (!features) return facts;
    facts.signature = (*features)[0];
    facts.features = (*features)[2];
    if (has(facts, kOsSavesExtendedState)) facts.savedState = processor_family::savedState();
    if (const auto extended = processor_family::cpuid(7)) facts.extendedFeatures = (*extended)[1];
    return facts;
}

ProcessorClass detectClass(const CpuidFacts& facts, bool avxAllowed) noexcept
{
    if (facts.vendor != "GenuineIntel") return ProcessorClass::Generic;
    if (avxAllowed && has(facts, kOsSavesExtendedState) && has(facts, kAvx)) return ProcessorClass::Avx;
    if (has(facts, kSse42)) return ProcessorClass::Sse42;
    if (has(facts, kSupplementalSse3)) return ProcessorClass::SupplementalSse3;
    if (has(facts, kSse3)) return ProcessorClass::Sse3;
    return ProcessorClass::Generic;
}

InstructionSet detectInstructionSet(const CpuidFacts& facts) noexcept
{
    if (!has(facts, kSse42)) return InstructionSet::Sse2;
    const bool avx = has(facts, kOsSavesExtendedState) && has(facts, kAvx);
    if (!avx || !holds(facts.savedState, kSavesYmm)) return InstructionSet::Sse42;
    if (!has(facts, kFma) || !holds(facts.extendedFeatures, kBmi1Avx2Bmi2)) return InstructionSet::Avx;
    const bool avx512 = holds(facts.extendedFeatures, kAvx512FDqCdBwVl) && holds(facts.savedState, kSavesZmm);
    return avx512 ? InstructionSet::Avx512 : InstructionSet::Avx2;
}

Processor classifyProcessor(const CpuidFacts& facts, const EnvironmentLookup& lookup)
{
    const auto forced = classOverride(lookup("MKL_DEBUG_CPU_TYPE"));
    const bool avxAllowed = forced == ProcessorClass::Avx;
    Processor processor;
    processor.processorClass = forced.value_or(detectClass(facts, avxAllowed));
    processor.codePath = selectCodePath(processor.processorClass, facts, lookup("MKL_DEBUG_CPU_MA"));
    processor.amdFamilyFlag = isAmdFamily15With1(facts) ? 1 : 0;
    processor.vsmp = lookup("MKL_VSMP").leadingInteger();
    processor.kernels = std::min({detectInstructionSet(facts), boundOfClass(forced),
                                  boundNamed(lookup("LINTRIX_INSTRUCTION_SET").text())});
    return processor;
}

const Processor& thisProcessor()
{
    static constinit FoundOnce<Processor> processor;
    return processor.get([] { return classifyProcessor(readCpuid(), readEnvironment); });
}

} // namespace Velmar::Lintrix::detail
