#include "tests/services/probe_runner.h"

#include <lintrix/services/dispatch.h>

#include <gtest/gtest.h>

using namespace Velmar::Lintrix::detail;
using Velmar::Lintrix::testing::askProbe;

namespace {

constexpr KernelForms<char> kLetters{.sse2 = 's', .avx2 = 'a', .avx512 = 'z'};

TEST(KernelForms, GiveTheHighestFormWithinAnInstructionSet)
{
    EXPECT_EQ(kLetters.within(InstructionSet::Sse2), 's');
    EXPECT_EQ(kLetters.within(InstructionSet::Sse42), 's');
    EXPECT_EQ(kLetters.within(InstructionSet::Avx), 's');
    EXPECT_EQ(kLetters.within(InstructionSet::Avx2), 'a');
    EXPECT_EQ(kLetters.within(InstructionSet::Avx512), 'z');
}

TEST(KernelForms, GiveTheFormForThisProcessor)
{
    EXPECT_EQ(kLetters.chosen(), kLetters.within(thisProcessor().kernels));
}

// The compiler contracts products and sums where the library is optimised in full, as in a release.
constexpr bool kContracts = LIBRARY_IS_OPTIMISED;

// Where every processor of the family has FMA, the form of lowest rank fuses, too.
#ifdef __FP_FAST_FMA
constexpr long kBaselineFuses = kContracts;
#else
constexpr long kBaselineFuses = 0;
#endif

// The engine's updates round each product without FMA and not with it, so that the form shows.
TEST(KernelForms, OfTheEngineFollowTheEnvironment)
{
    const long fuses =
        kContracts && detectInstructionSet(readCpuid()) >= InstructionSet::Avx2 ? 1 : kBaselineFuses;
    EXPECT_EQ(askProbe({"fused"})["fused"], fuses);
    EXPECT_EQ(askProbe({"fused"}, {{"LINTRIX_INSTRUCTION_SET", "AVX2"}})["fused"], fuses);
    EXPECT_EQ(askProbe({"fused"}, {{"LINTRIX_INSTRUCTION_SET", "SSE2"}})["fused"], kBaselineFuses);
    EXPECT_EQ(askProbe({"fused"}, {{"MKL_DEBUG_CPU_TYPE", "3"}})["fused"], kBaselineFuses);
    EXPECT_EQ(askProbe({"fused"}, {{"MKL_DEBUG_CPU_TYPE", "4"}})["fused"], fuses);
}

} // namespace
