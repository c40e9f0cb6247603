#include "tests/services/probe_runner.h"

#include <lintrix/services/blas.h>
#include <lintrix/services/blas_kernels.h>
#include <lintrix/services/threads.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail;
using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::ProbeAnswers;

namespace {

constexpr std::uint32_t kNehalem = 0x0098E3FD, // leaf 1, ecx, as the first processors of a line told it
    kWestmere = 0x029EE3FF, kSandyBridge = 0x1FBAE3FF, kHaswell = 0x7FFAFBFF, kPenryn = 0x0408E3BD,
                        kBulldozer = 0x1E98220B, kPiledriver = 0x3E98320B, kExcavator = 0x7ED8320B,
                        kZen = 0x7ED8320B, kZen4 = 0x7EFA320B, kJaguar = 0x3ED8220B;
constexpr std::uint32_t kHaswellMore = 0x000027AB, kSkylakeXMore = 0xD39FFFFB, kIceLakeMore = 0xF2BF27EB,
                        kAlderLakeMore = 0x239C27EB, kZenMore = 0x209C01A9, kZen4More = 0xF1BF97A9,
                        kExcavatorMore = 0x000001A9; // leaf 7, ebx
constexpr std::uint32_t kNothingSaved = 0, kSse = 0x3, kYmm = 0x7, kZmm = 0xE7;

struct Machine {
    const char* name;
    CpuidFacts facts;
    const char* chosen; // by OpenBLAS
    const char* wanted; // null: the choice stays
};

CpuidFacts intel(std::uint32_t features, std::uint32_t more, std::uint32_t saved)
{
    return {"GenuineIntel", 0, features, more, saved};
}

CpuidFacts amd(std::uint32_t features, std::uint32_t more, std::uint32_t saved)
{
    return {"AuthenticAMD", 0, features, more, saved};
}

const std::vector<Machine>& machines()
{
    static const std::vector<Machine> all{
        // Younger than the library: the fall through its table.
        {"Emerald Rapids", intel(kHaswell, kIceLakeMore, kZmm), "Prescott", "SkylakeX"},
        {"Emerald Rapids, system without AVX-512", intel(kHaswell, kIceLakeMore, kYmm), "Prescott",
         "Haswell"},
        {"Emerald Rapids, system without AVX", intel(kHaswell, kIceLakeMore, kSse), "Prescott", "Nehalem"},
        {"Emerald Rapids, system without XSAVE", intel(kHaswell & ~(1U << 27), kIceLakeMore, kNothingSaved),
         "Prescott", "Nehalem"},
        {"Raptor Lake", intel(kHaswell, kAlderLakeMore, kYmm), "Prescott", "Haswell"},
        {"Arrow Lake", intel(kHaswell, kAlderLakeMore, kYmm), "Prescott", "Haswell"},
        {"a virtual machine with AVX alone", intel(kSandyBridge, 0, kYmm), "Prescott", "Sandybridge"},
        {"a virtual machine with SSE4.2 alone", intel(kWestmere, 0, kNothingSaved), "Prescott", "Nehalem"},
        {"a virtual machine of an old model with new features", intel(kHaswell, kIceLakeMore, kZmm),
         "Nehalem", "SkylakeX"},
        {"a model taken for one without AVX-512", intel(kHaswell, kSkylakeXMore, kZmm), "Haswell",
         "SkylakeX"},
        {"a model of an unknown vendor",
         {"VendorOfTheDay", 0, kHaswell, kHaswellMore, kYmm},
         "Prescott",
         "Haswell"},
        // Known: nothing is put in their place.
        {"Emerald Rapids, known", intel(kHaswell, kIceLakeMore, kZmm), "Sapphirerapids", nullptr},
        {"Cooper Lake", intel(kHaswell, kSkylakeXMore, kZmm), "Cooperlake", nullptr},
        {"Skylake-X", intel(kHaswell, kSkylakeXMore, kZmm), "SkylakeX", nullptr},
        {"Haswell", intel(kHaswell, kHaswellMore, kYmm), "Haswell", nullptr},
        {"Alder Lake", intel(kHaswell, kAlderLakeMore, kYmm), "Haswell", nullptr},
        {"Sandy Bridge", intel(kSandyBridge, 0, kYmm), "Sandybridge", nullptr},
        {"Sandy Bridge, system without AVX", intel(kSandyBridge, 0, kSse), "Nehalem", nullptr},
        {"Nehalem", intel(kNehalem, 0, kNothingSaved), "Nehalem", nullptr},
        {"Penryn", intel(kPenryn, 0, kNothingSaved), "Penryn", nullptr},
        {"a processor of SSE3 alone", intel(1, 0, kNothingSaved), "Prescott", nullptr},
        {"Bulldozer", amd(kBulldozer, 0, kYmm), "Bulldozer", nullptr},
        {"Piledriver", amd(kPiledriver, 1U << 3, kYmm), "Piledriver", nullptr},
        {"Excavator", amd(kExcavator, kExcavatorMore, kYmm), "Excavator", nullptr},
        {"Jaguar", amd(kJaguar, 1U << 3, kYmm), "Bobcat", nullptr},
        {"Zen", amd(kZen, kZenMore, kYmm), "Zen", nullptr},
        {"Zen 4", amd(kZen4, kZen4More, kZmm), "Zen", nullptr},
        {"Zen 4, by its features", amd(kZen4, kZen4More, kZmm), "Cooperlake", nullptr},
        {"kernels of another day", intel(kHaswell, kIceLakeMore, kZmm), "Graniterapids", nullptr},
        {"kernels without a name", intel(kHaswell, kIceLakeMore, kZmm), "", nullptr},
    };
    return all;
}

TEST(BlasKernels, AreTheBestOfTheFeatureBitsWhereTheProcessorIsUnknown)
{
    for (const Machine& machine : machines()) {
        const InstructionSet has = detectInstructionSet(machine.facts);
        const auto better = betterBlasKernels(machine.chosen, has, false);
        if (machine.wanted == nullptr) {
            EXPECT_EQ(better, std::nullopt) << machine.name;
        } else {
            EXPECT_EQ(better, machine.wanted) << machine.name;
        }
        EXPECT_EQ(betterBlasKernels(machine.chosen, has, true), std::nullopt) << machine.name;
    }
}

/// A stand-in for the library: it has the kernels of `built`, and takes its processor for `table`.
struct FakeBlas {
    std::set<std::string> built;
    std::string table, current;
    int drops = 0;
};
FakeBlas fake;

const BlasKernelControl kFakeControl{[] { return fake.current.data(); },
                                     [] {
                                         fake.current.clear();
                                         ++fake.drops;
                                     },
                                     [] {
                                         if (!fake.current.empty()) return;
                                         const char* const asked = std::getenv("OPENBLAS_CORETYPE");
                                         fake.current = asked != nullptr && fake.built.contains(asked)
                                                            ? asked
                                                            : fake.table;
                                     }};

const std::set<std::string> kAllKernels{"Prescott", "Nehalem", "Sandybridge", "Haswell", "SkylakeX"};

/// A library that took the processor for a Prescott, and no choice of the user.
class BlasKernelsOfAFake : public ::testing::Test {
protected:
    BlasKernelsOfAFake()
    {
        unsetenv("OPENBLAS_CORETYPE");
        fake = {kAllKernels, "Prescott", "Prescott"};
    }
};

TEST_F(BlasKernelsOfAFake, AreExchangedAndTheVariableIsGone)
{
    const BlasKernels kernels = adjustBlasKernels(kFakeControl, InstructionSet::Avx512, true);
    EXPECT_EQ(kernels.found, "Prescott");
    EXPECT_EQ(kernels.inUse, "SkylakeX");
    EXPECT_EQ(kernels.better, "");
    EXPECT_EQ(fake.current, "SkylakeX");
    EXPECT_EQ(std::getenv("OPENBLAS_CORETYPE"), nullptr);
}

TEST_F(BlasKernelsOfAFake, AreTheBestThatItWasBuiltWith)
{
    fake.built = {"Prescott", "Sandybridge", "Haswell"};
    EXPECT_EQ(adjustBlasKernels(kFakeControl, InstructionSet::Avx512, true).inUse, "Haswell");
    fake = {{"Prescott"}, "Prescott", "Prescott"};
    EXPECT_EQ(adjustBlasKernels(kFakeControl, InstructionSet::Avx512, true).inUse, "Prescott");
    EXPECT_EQ(fake.current, "Prescott");
    EXPECT_EQ(std::getenv("OPENBLAS_CORETYPE"), nullptr);
}

TEST_F(BlasKernelsOfAFake, AreChosenFirstWhereTheLibraryHasNotStarted)
{
    fake.current.clear();
    const BlasKernels kernels = adjustBlasKernels(kFakeControl, InstructionSet::Avx2, true);
    EXPECT_EQ(kernels.found, "Prescott");
    EXPECT_EQ(kernels.inUse, "Haswell");
}

TEST_F(BlasKernelsOfAFake, StayWhereTheUserChose)
{
    for (const char* const choice : {"Prescott", "nonsense", ""}) {
        setenv("OPENBLAS_CORETYPE", choice, 1);
        const BlasKernels kernels = adjustBlasKernels(kFakeControl, InstructionSet::Avx512, true);
        EXPECT_EQ(kernels.inUse, "Prescott") << choice;
        EXPECT_EQ(kernels.better, "") << choice;
        EXPECT_STREQ(std::getenv("OPENBLAS_CORETYPE"), choice);
    }
    EXPECT_EQ(fake.drops, 0);
    unsetenv("OPENBLAS_CORETYPE");
}

TEST_F(BlasKernelsOfAFake, StayWhileAnotherThreadMayUseThem)
{
    const BlasKernels kernels = adjustBlasKernels(kFakeControl, InstructionSet::Avx512, false);
    EXPECT_EQ(kernels.inUse, "Prescott");
    EXPECT_EQ(kernels.better, "SkylakeX");
    EXPECT_EQ(fake.drops, 0);
}

TEST_F(BlasKernelsOfAFake, StayWhereTheLibraryCannotExchangeThem)
{
    const BlasKernels mute = adjustBlasKernels({nullptr, nullptr, nullptr}, InstructionSet::Avx512, true);
    EXPECT_EQ(mute.found + mute.inUse + mute.better, "");
    const BlasKernels fixed =
        adjustBlasKernels({kFakeControl.name, nullptr, nullptr}, InstructionSet::Avx512, true);
    EXPECT_EQ(fixed.inUse, "Prescott");
    EXPECT_EQ(fixed.better, "");
}

// The real library from here on. Small whole numbers, so that every product is exact in any order of its
// sums.
void expectRightProduct(int n, int threads)
{
    const auto cells = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
    std::vector<double> a(cells), b(cells), c(cells, -1.0), plain(cells, 0.0);
    for (std::size_t i = 0; i < cells; ++i) {
        a[i] = static_cast<double>(i * 7 % 23) - 11;
        b[i] = static_cast<double>(i * 5 % 19) - 9;
    }
    const auto size = static_cast<std::size_t>(n);
    for (std::size_t j = 0; j < size; ++j) {
        for (std::size_t p = 0; p < size; ++p) {
            for (std::size_t i = 0; i < size; ++i) plain[i + size * j] += a[i + size * p] * b[p + size * j];
        }
    }
    MKL_Set_Dynamic(0);
    MKL_Set_Num_Threads(threads);
    blas::gemm('N', 'N', n, n, n, 1.0, a.data(), n, b.data(), n, 0.0, c.data(), n);
    EXPECT_EQ(c, plain) << "order " << n << ", " << threads << " threads";
}

// Processors of another family answer no question for bits, and OpenBLAS has kernels of other names for them.
bool hasKernelsByBits()
{
    return !readCpuid().vendor.empty();
}

TEST(BlasKernels, MultiplyRightAfterEveryExchange)
{
    const BlasKernelControl blas = blasKernelControl();
    if (blas.name == nullptr || blas.drop == nullptr) return; // a library without a choice
    if (!hasKernelsByBits()) {
        EXPECT_EQ(blasKernels().inUse, blasKernels().found);
        return;
    }
    const auto highest = static_cast<int>(detectInstructionSet(readCpuid()));
    for (int round = 0; round < 2; ++round) {
        for (int set = 0; set <= highest; ++set) {
            const std::string name(blasKernelsFor(static_cast<InstructionSet>(set)));
            SCOPED_TRACE(name);
            setenv("OPENBLAS_CORETYPE", name.c_str(), 1);
            blas.drop();
            blas.choose();
            unsetenv("OPENBLAS_CORETYPE");
            EXPECT_EQ(blas.name(), name);
            for (const int n : {1, 7, 64, 301}) {
                for (const int threads : {1, 2}) expectRightProduct(n, threads);
            }
        }
    }
}

TEST(BlasKernels, OfAProcessUnderAnUnknownProcessorAreTheBestThatItAllows)
{
    const auto has = static_cast<long>(detectInstructionSet(readCpuid()));
    const ProbeAnswers young = askProbe({"kernels", "gemm=300"}, {{"PROBE_TAKEN_FOR", "Prescott"}});
    if (young["kernels-adjustable"] == 0) return; // a sanitizer's thread, or a library without a choice
    if (!hasKernelsByBits()) {
        EXPECT_EQ(young["kernels-noted"], 0);
        return;
    }
    EXPECT_EQ(young["kernels-found"], 0);
    EXPECT_EQ(young["kernels-in-use"], has);
    EXPECT_EQ(young["kernels-variable"], 0);
    EXPECT_EQ(young["kernels-noted"], has > 0);
    const ProbeAnswers chosen = askProbe({"kernels", "gemm=300"}, {{"OPENBLAS_CORETYPE", "Prescott"}});
    EXPECT_EQ(chosen["kernels-in-use"], 0);
    EXPECT_EQ(chosen["kernels-variable"], 1);
    EXPECT_EQ(chosen["kernels-noted"], 0);
}

} // namespace
