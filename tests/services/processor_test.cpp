#include "tests/services/probe_runner.h"

#include <lintrix/services/processor.h>
#include <lintrix/services/version.h>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

using namespace Velmar::Lintrix::detail;
using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::ProbeAnswers;

namespace {

using Variables = std::map<std::string, std::string>;

constexpr std::uint32_t bit(int number)
{
    return std::uint32_t{1} << number;
}

constexpr std::uint32_t kSse3 = bit(0), kSsse3 = bit(9), kSse41 = bit(19), kSse42 = bit(20), kAes = bit(25),
                        kAvxBoth = bit(27) | bit(28);
constexpr std::uint32_t kAllBits = ~std::uint32_t{0};

CpuidFacts intel(std::uint32_t features)
{
    return {"GenuineIntel", 0, features, 0, 0};
}

Processor classify(const CpuidFacts& facts, const Variables& variables = {})
{
    return classifyProcessor(facts, [&](const char* name) {
        const auto variable = variables.find(name);
        return variable == variables.end() ? EnvironmentValue() : EnvironmentValue(variable->second.c_str());
    });
}

int classOf(const CpuidFacts& facts, const Variables& variables = {})
{
    return static_cast<int>(classify(facts, variables).processorClass);
}

int pathOf(const CpuidFacts& facts, const Variables& variables = {})
{
    return classify(facts, variables).codePath;
}

TEST(ProcessorClass, FollowsTheHighestFeatureBit)
{
    EXPECT_EQ(classOf(intel(0)), 0);
    EXPECT_EQ(classOf(intel(kSse3)), 1);
    EXPECT_EQ(classOf(intel(kSsse3)), 2);
    EXPECT_EQ(classOf(intel(kSse42)), 3);
    EXPECT_EQ(classOf(intel(kSse3 | kSsse3)), 2);
    EXPECT_EQ(classOf(intel(kSse3 | kSsse3 | kSse42)), 3);
}

TEST(ProcessorClass, IgnoresAllOtherBits)
{
    EXPECT_EQ(classOf(intel(kAllBits & ~(kSse3 | kSsse3 | kSse42))), 0);
}

TEST(ProcessorClass, IsAvxOnlyWhereAllowedAndBothBitsAreSet)
{
    const std::uint32_t below = kSse3 | kSsse3 | kSse42;
    EXPECT_EQ(detectClass(intel(below | kAvxBoth), true), ProcessorClass::Avx);
    EXPECT_EQ(detectClass(intel(kAvxBoth), true), ProcessorClass::Avx);
    EXPECT_EQ(detectClass(intel(below | bit(27)), true), ProcessorClass::Sse42);
    EXPECT_EQ(detectClass(intel(below | bit(28)), true), ProcessorClass::Sse42);
    EXPECT_EQ(detectClass(intel(below | kAvxBoth), false), ProcessorClass::Sse42);
}

TEST(ProcessorClass, OfAProcessorWithAvxIsThreeWithoutAnOverride)
{
    EXPECT_EQ(classOf(intel(kAllBits)), 3);
}

TEST(ProcessorClass, IsGenericForEveryOtherVendor)
{
    for (const char* vendor : {"AuthenticAMD", "HygonGenuine", "genuineintel", "GenuineIntel ", ""}) {
        EXPECT_EQ(classOf({vendor, 0, kAllBits, 0, 0}), 0) << vendor;
        EXPECT_EQ(detectClass({vendor, 0, kAllBits, 0, 0}, true), ProcessorClass::Generic) << vendor;
    }
}

TEST(ProcessorClass, IsOverriddenOnAnyProcessor)
{
    for (const CpuidFacts& facts :
         {intel(0), intel(kAllBits), CpuidFacts{"AuthenticAMD", 0, kAllBits, 0, 0}}) {
        for (const char* type : {"0", "1", "2", "3", "4"}) {
            EXPECT_EQ(classOf(facts, {{"MKL_DEBUG_CPU_TYPE", type}}), type[0] - '0') << facts.vendor << type;
        }
    }
}

TEST(ProcessorClass, ReadsTheNumberAtTheStartOfAnOverride)
{
    EXPECT_EQ(classOf(intel(kSse42), {{"MKL_DEBUG_CPU_TYPE", "2x"}}), 2);
    EXPECT_EQ(classOf(intel(kSse42), {{"MKL_DEBUG_CPU_TYPE", " +1"}}), 1);
}

TEST(ProcessorClass, StandsAsDetectedWhenTheOverrideIsOutOfRange)
{
    for (const char* type : {"7", "5", "-1", "-6", "99999999999", "4294967297"}) {
        EXPECT_EQ(classOf(intel(kSse42), {{"MKL_DEBUG_CPU_TYPE", type}}), 3) << type;
    }
}

TEST(ProcessorClass, TakesZeroAsAnOverrideOnlyWhenWrittenSo)
{
    EXPECT_EQ(classOf(intel(kSse42), {{"MKL_DEBUG_CPU_TYPE", "0"}}), 0);
    for (const char* type : {"00", " 0", "0 ", "abc", "", "0x"}) {
        EXPECT_EQ(classOf(intel(kSse42), {{"MKL_DEBUG_CPU_TYPE", type}}), 3) << type;
    }
}

TEST(CodePath, IsZeroForGenericAndSse3)
{
    EXPECT_EQ(pathOf(intel(0)), 0);
    EXPECT_EQ(pathOf(intel(kSse3 | kSse41 | kAes)), 0);
}

TEST(CodePath, OfClassTwoDependsOnSse41)
{
    EXPECT_EQ(pathOf(intel(kSsse3)), 32);
    EXPECT_EQ(pathOf(intel(kSsse3 | kSse41)), 33);
}

TEST(CodePath, OfClassThreeDependsOnAes)
{
    EXPECT_EQ(pathOf(intel(kSse42)), 64);
    EXPECT_EQ(pathOf(intel(kSse42 | kAes)), 66);
}

TEST(CodePath, OfClassThreeMayBeChosen)
{
    for (const std::uint32_t features : {kSse42, kSse42 | kAes}) {
        EXPECT_EQ(pathOf(intel(features), {{"MKL_DEBUG_CPU_MA", "64"}}), 64);
        EXPECT_EQ(pathOf(intel(features), {{"MKL_DEBUG_CPU_MA", "66"}}), 66);
        for (const char* other : {"65", "0", "128", "-64", "x", ""}) {
            EXPECT_EQ(pathOf(intel(features), {{"MKL_DEBUG_CPU_MA", other}}), features & kAes ? 66 : 64)
                << other;
        }
    }
}

TEST(CodePath, OfOtherClassesMayNotBeChosen)
{
    EXPECT_EQ(pathOf(intel(kSse3), {{"MKL_DEBUG_CPU_MA", "66"}}), 0);
    EXPECT_EQ(pathOf(intel(kSsse3), {{"MKL_DEBUG_CPU_MA", "66"}}), 32);
}

TEST(CodePath, OfClassFourIsOneHundredTwentyEight)
{
    EXPECT_EQ(pathOf(intel(kAllBits), {{"MKL_DEBUG_CPU_TYPE", "4"}, {"MKL_DEBUG_CPU_MA", "64"}}), 128);
}

TEST(CodePath, FollowsAnOverriddenClass)
{
    EXPECT_EQ(pathOf(intel(kAllBits), {{"MKL_DEBUG_CPU_TYPE", "0"}}), 0);
    EXPECT_EQ(pathOf(intel(kAllBits), {{"MKL_DEBUG_CPU_TYPE", "2"}}), 33);
    EXPECT_EQ(pathOf({"AuthenticAMD", 0, 0}, {{"MKL_DEBUG_CPU_TYPE", "3"}}), 64);
}

TEST(AmdFamilyFlag, IsSetForBaseFamilyFifteenWithExtendedFamilyOne)
{
    const auto flagOf = [](const char* vendor, std::uint32_t base, std::uint32_t extended) {
        // Stepping, model, type and extended model bits must not matter.
        return classify({vendor, extended << 20 | 0x000F30FFU | base << 8, 0}).amdFamilyFlag;
    };
    EXPECT_EQ(flagOf("AuthenticAMD", 15, 1), 1);
    EXPECT_EQ(flagOf("AuthenticAMD", 15, 0), 0);
    EXPECT_EQ(flagOf("AuthenticAMD", 15, 2), 0);
    EXPECT_EQ(flagOf("AuthenticAMD", 15, 0x11), 0);
    EXPECT_EQ(flagOf("AuthenticAMD", 6, 1), 0);
    EXPECT_EQ(flagOf("GenuineIntel", 15, 1), 0);
}

TEST(Vsmp, IsAnIntegerAndZeroWhenUnset)
{
    EXPECT_EQ(classify(intel(0)).vsmp, 0);
    EXPECT_EQ(classify(intel(0), {{"MKL_VSMP", "1"}}).vsmp, 1);
    EXPECT_EQ(classify(intel(0), {{"MKL_VSMP", "-12"}}).vsmp, -12);
    EXPECT_EQ(classify(intel(0), {{"MKL_VSMP", "yes"}}).vsmp, 0);
}

// Leaf 1, ecx; leaf 7, ebx; XCR0.
constexpr std::uint32_t kFma = bit(12);
constexpr std::uint32_t kAvx2Bits = bit(3) | bit(5) | bit(8);
constexpr std::uint32_t kAvx512Bits = bit(16) | bit(17) | bit(28) | bit(30) | bit(31);
constexpr std::uint32_t kYmmSaved = bit(1) | bit(2), kZmmSaved = kYmmSaved | bit(5) | bit(6) | bit(7);

/// A processor and a system with everything.
CpuidFacts complete()
{
    return {"AuthenticAMD", 0, kSse42 | kAvxBoth | kFma, kAvx2Bits | kAvx512Bits, kZmmSaved};
}

TEST(InstructionSets, AreAllThereWithEveryBitOfAnyVendor)
{
    for (const char* vendor : {"GenuineIntel", "AuthenticAMD", "VendorOfTheDay"}) {
        CpuidFacts facts = complete();
        facts.vendor = vendor;
        EXPECT_EQ(detectInstructionSet(facts), InstructionSet::Avx512) << vendor;
    }
    EXPECT_EQ(detectInstructionSet({}), InstructionSet::Sse2);
}

TEST(InstructionSets, EndWhereAFeatureIsMissing)
{
    const auto without = [](std::uint32_t CpuidFacts::*word, std::uint32_t missing) {
        CpuidFacts facts = complete();
        facts.*word &= ~missing;
        return detectInstructionSet(facts);
    };
    EXPECT_EQ(without(&CpuidFacts::features, kSse42), InstructionSet::Sse2);
    EXPECT_EQ(without(&CpuidFacts::features, bit(28)), InstructionSet::Sse42);
    EXPECT_EQ(without(&CpuidFacts::features, kFma), InstructionSet::Avx);
    for (const int number : {3, 5, 8})
        EXPECT_EQ(without(&CpuidFacts::extendedFeatures, bit(number)), InstructionSet::Avx) << number;
    for (const int number : {16, 17, 28, 30, 31})
        EXPECT_EQ(without(&CpuidFacts::extendedFeatures, bit(number)), InstructionSet::Avx2) << number;
}

TEST(InstructionSets, EndWhereTheSystemSavesNoRegisters)
{
    const auto saving = [](std::uint32_t state) {
        CpuidFacts facts = complete();
        facts.savedState = state;
        return detectInstructionSet(facts);
    };
    EXPECT_EQ(saving(0), InstructionSet::Sse42);
    EXPECT_EQ(saving(bit(0) | bit(1)), InstructionSet::Sse42);
    EXPECT_EQ(saving(kYmmSaved), InstructionSet::Avx2);
    for (const int number : {5, 6, 7}) EXPECT_EQ(saving(kZmmSaved & ~bit(number)), InstructionSet::Avx2);
    CpuidFacts unsaved = complete();
    unsaved.features &= ~bit(27);
    EXPECT_EQ(detectInstructionSet(unsaved), InstructionSet::Sse42);
}

InstructionSet kernelsOf(const CpuidFacts& facts, const Variables& variables = {})
{
    return classify(facts, variables).kernels;
}

TEST(InstructionSets, OfTheKernelsAreBoundedByTheirVariable)
{
    const auto named = [](const CpuidFacts& facts, const char* name) {
        return kernelsOf(facts, {{"LINTRIX_INSTRUCTION_SET", name}});
    };
    EXPECT_EQ(kernelsOf(complete()), InstructionSet::Avx512);
    EXPECT_EQ(named(complete(), "SSE2"), InstructionSet::Sse2);
    EXPECT_EQ(named(complete(), "AVX2"), InstructionSet::Avx2);
    EXPECT_EQ(named(complete(), "AVX512"), InstructionSet::Avx512);
    for (const char* other : {"", "sse2", "AVX", "0"})
        EXPECT_EQ(named(complete(), other), InstructionSet::Avx512) << other;
    EXPECT_EQ(named({}, "AVX512"), InstructionSet::Sse2) << "never more than there is";
}

TEST(InstructionSets, OfTheKernelsAreBoundedByAForcedClass)
{
    const auto forced = [](const CpuidFacts& facts, const char* type) {
        return kernelsOf(facts, {{"MKL_DEBUG_CPU_TYPE", type}});
    };
    for (const char* type : {"0", "1", "2", "3"})
        EXPECT_EQ(forced(complete(), type), InstructionSet::Sse2) << type;
    EXPECT_EQ(forced(complete(), "4"), InstructionSet::Avx512);
    EXPECT_EQ(forced(complete(), "7"), InstructionSet::Avx512) << "no override";
    EXPECT_EQ(forced({}, "4"), InstructionSet::Sse2) << "never more than there is";
}

/// What the kernel tells of the first processor: "flags", "vendor_id", "cpu family".
std::string kernelSays(const std::string& key)
{
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key)) return line.substr(line.find(':') + 2);
    }
    return "";
}

TEST(ThisProcessor, IsWhatTheKernelSaysItIs)
{
    std::set<std::string> flags;
    std::istringstream words(kernelSays("flags"));
    for (std::string word; words >> word;) flags.insert(word);
    CpuidFacts facts;
    facts.vendor = kernelSays("vendor_id");
    for (const auto& [flag, number] :
         {std::pair{"pni", 0}, {"ssse3", 9}, {"sse4_1", 19}, {"sse4_2", 20}, {"aes", 25}}) {
        if (flags.contains(flag)) facts.features |= bit(number);
    }
    const Processor expected = classify(facts);
    const ProbeAnswers machine = askProbe({"processor"});
    EXPECT_EQ(machine["class"], static_cast<long>(expected.processorClass));
    EXPECT_EQ(machine["path"], expected.codePath);
    const bool family16 = facts.vendor == "AuthenticAMD" && kernelSays("cpu family") == "16";
    EXPECT_EQ(machine["amd"], family16 ? 1 : 0);
    EXPECT_EQ(machine["vsmp"], 0);
}

#if defined(__x86_64__)

// The compiler's library asks by itself, the system's part included.
TEST(ThisProcessor, HasTheInstructionSetsThatTheCompilersLibrarySees)
{
    const InstructionSet found = detectInstructionSet(readCpuid());
    EXPECT_EQ(found >= InstructionSet::Sse42, __builtin_cpu_supports("sse4.2") != 0);
    EXPECT_EQ(found >= InstructionSet::Avx, __builtin_cpu_supports("avx") != 0);
    EXPECT_EQ(found >= InstructionSet::Avx2, __builtin_cpu_supports("avx2") &&
                                                 __builtin_cpu_supports("fma") &&
                                                 __builtin_cpu_supports("bmi2"));
    EXPECT_EQ(found >= InstructionSet::Avx512,
              __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                  __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw"));
}

#else

TEST(ThisProcessor, OfAnotherFamilyTellsNothingAndRunsTheFirstFormOfEachKernel)
{
    EXPECT_EQ(readCpuid().vendor, "");
    EXPECT_EQ(detectInstructionSet(readCpuid()), InstructionSet::Sse2);
    EXPECT_EQ(thisProcessor().processorClass, ProcessorClass::Generic);
    EXPECT_EQ(thisProcessor().kernels, InstructionSet::Sse2);
    EXPECT_STRNE(Velmar::Lintrix::LibraryKernels(), "SSE2");
}

#endif

TEST(ThisProcessor, ReadsTheEnvironment)
{
    EXPECT_EQ(askProbe({"processor"}, {{"MKL_DEBUG_CPU_TYPE", "0"}})["class"], 0);
    const ProbeAnswers avx = askProbe({"processor"}, {{"MKL_DEBUG_CPU_TYPE", "4"}, {"MKL_VSMP", "3"}});
    EXPECT_EQ(avx["class"], 4);
    EXPECT_EQ(avx["path"], 128);
    EXPECT_EQ(avx["vsmp"], 3);
    const ProbeAnswers chosen =
        askProbe({"processor"}, {{"MKL_DEBUG_CPU_TYPE", "3"}, {"MKL_DEBUG_CPU_MA", "64"}});
    EXPECT_EQ(chosen["path"], 64);
    const ProbeAnswers outOfRange = askProbe({"processor"}, {{"MKL_DEBUG_CPU_TYPE", "7"}});
    EXPECT_EQ(outOfRange["class"], askProbe({"processor"})["class"]);
    EXPECT_EQ(askProbe({"processor"}, {{"LINTRIX_INSTRUCTION_SET", "SSE2"}})["instruction-set"], 0);
}

TEST(ThisProcessor, IsFoundOnce)
{
    EXPECT_EQ(&thisProcessor(), &thisProcessor());
}

} // namespace
