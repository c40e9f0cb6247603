#include <lintrix/services/thread_settings.h>

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <string>

using namespace Velmar::Lintrix::detail;

namespace {

using Variables = std::map<std::string, std::string>;

ThreadSettings parse(const Variables& variables)
{
    return parseThreadSettings([&](const char* name) {
        const auto variable = variables.find(name);
        return variable == variables.end() ? EnvironmentValue() : EnvironmentValue(variable->second.c_str());
    });
}

int globalOf(const std::string& text)
{
    return parse({{"MKL_NUM_THREADS", text}}).global;
}

ThreadSettings domainsOf(const std::string& list)
{
    return parse({{"MKL_DOMAIN_NUM_THREADS", list}});
}

int dynamicOf(const std::string& text)
{
    return parse({{"MKL_DYNAMIC", text}}).dynamic;
}

TEST(ThreadSettings, AreUnsetInAnEmptyEnvironment)
{
    const ThreadSettings settings = parse({});
    EXPECT_EQ(settings.global, -1);
    EXPECT_EQ(settings.blas, -1);
    EXPECT_EQ(settings.fft, -1);
    EXPECT_EQ(settings.vml, -1);
    EXPECT_EQ(settings.dynamic, 1);
    EXPECT_EQ(settings.openmp, -1);
    EXPECT_EQ(settings.processesPerNode, -1);
    EXPECT_EQ(settings.mpiThreadLevel, 0);
}

TEST(ThreadSettings, TakeTheGlobalCount)
{
    EXPECT_EQ(globalOf("1"), 1);
    EXPECT_EQ(globalOf("16"), 16);
    EXPECT_EQ(globalOf("0008"), 8);
}

TEST(ThreadSettings, CountAGlobalTextThatIsNotAllDigitsAsOne)
{
    for (const char* text : {"abc", "4x", " 4", "4 ", "-4", "+4", "1.5", "\"4\"", "4,2"}) {
        EXPECT_EQ(globalOf(text), 1) << text;
    }
}

TEST(ThreadSettings, IgnoreAGlobalCountBelowOne)
{
    EXPECT_EQ(globalOf("0"), -1);
    EXPECT_EQ(globalOf("000"), -1);
    EXPECT_EQ(globalOf(""), -1);
}

TEST(ThreadSettings, CutACountThatNoIntCanHold)
{
    EXPECT_EQ(globalOf("2147483648"), INT_MAX);
    EXPECT_EQ(globalOf(std::string(256, '9')), INT_MAX);
    EXPECT_EQ(globalOf(std::string(257, '9')), -1); // longer than a value may be
    EXPECT_EQ(domainsOf("MKL_BLAS=99999999999").blas, INT_MAX);
}

TEST(ThreadSettings, TakeGlobalAndBlasCountsFromTheDomainList)
{
    const ThreadSettings settings = domainsOf("MKL_ALL=4, MKL_BLAS=2");
    EXPECT_EQ(settings.global, 4);
    EXPECT_EQ(settings.blas, 2);
    EXPECT_EQ(settings.fft, -1);
    EXPECT_EQ(settings.vml, -1);
}

TEST(ThreadSettings, KnowFourDomainKeys)
{
    const ThreadSettings settings = domainsOf("MKL_ALL=2 MKL_BLAS=3 MKL_FFT=4 MKL_VML=5");
    EXPECT_EQ(settings.global, 2);
    EXPECT_EQ(settings.blas, 3);
    EXPECT_EQ(settings.fft, 4);
    EXPECT_EQ(settings.vml, 5);
}

TEST(ThreadSettings, SeparateDomainsByBlankCommaSemicolonColonAndQuotes)
{
    for (const std::string separator : {" ", ",", ";", ":", "\"", "'", " , ", "\";'"}) {
        const ThreadSettings settings =
            domainsOf(separator + "MKL_BLAS=3" + separator + "MKL_VML=5" + separator);
        EXPECT_EQ(settings.blas, 3) << separator;
        EXPECT_EQ(settings.vml, 5) << separator;
    }
}

TEST(ThreadSettings, AllowBlanksAndEqualSignsBetweenKeyAndValue)
{
    for (const char* between : {"=", " = ", " ", "==", "= =", " =  = "}) {
        EXPECT_EQ(domainsOf(std::string("MKL_FFT") + between + "6").fft, 6) << between;
    }
}

TEST(ThreadSettings, CountADomainValueThatIsNotAllDigitsOrEmptyAsOne)
{
    EXPECT_EQ(domainsOf("MKL_BLAS=x").blas, 1);
    EXPECT_EQ(domainsOf("MKL_BLAS=3x").blas, 1);
    EXPECT_EQ(domainsOf("MKL_BLAS=-3").blas, 1);
    EXPECT_EQ(domainsOf("MKL_BLAS=").blas, 1);
    EXPECT_EQ(domainsOf("MKL_BLAS").blas, 1);
    EXPECT_EQ(domainsOf("MKL_BLAS=,MKL_FFT=3").blas, 1);
    EXPECT_EQ(domainsOf("MKL_BLAS=,MKL_FFT=3").fft, 3);
}

TEST(ThreadSettings, IgnoreADomainValueBelowOne)
{
    EXPECT_EQ(domainsOf("MKL_BLAS=0,MKL_FFT=3").blas, -1);
    EXPECT_EQ(domainsOf("MKL_BLAS=0,MKL_FFT=3").fft, 3);
}

TEST(ThreadSettings, SkipOtherKeys)
{
    const ThreadSettings settings = domainsOf("MKL_NONE=7,mkl_blas=6,BLAS=5,MKL_BLASX=4,MKL_VML=3");
    EXPECT_EQ(settings.global, -1);
    EXPECT_EQ(settings.blas, -1);
    EXPECT_EQ(settings.vml, 3);
}

TEST(ThreadSettings, EndADomainKeyOnlyAtEqualSignBlankOrQuote)
{
    // The comma belongs to the key, which so is none of the four.
    const ThreadSettings settings = domainsOf("MKL_FFT,MKL_BLAS=2 MKL_VML=3");
    EXPECT_EQ(settings.fft, -1);
    EXPECT_EQ(settings.blas, -1);
    EXPECT_EQ(settings.vml, 3);
}

TEST(ThreadSettings, TakeAQuoteAfterADomainKeyForAnEmptyValue)
{
    // Value empty, counted as 1; then the quote is a separator and "=" gives the empty key that ends the
    // list.
    const ThreadSettings settings = domainsOf("\"MKL_BLAS\"=4,MKL_VML=3");
    EXPECT_EQ(settings.blas, 1);
    EXPECT_EQ(settings.vml, -1);
}

TEST(ThreadSettings, EndTheDomainListAtTheFirstEmptyKey)
{
    const ThreadSettings settings = domainsOf("MKL_BLAS=2,=9,MKL_VML=3");
    EXPECT_EQ(settings.blas, 2);
    EXPECT_EQ(settings.vml, -1);
    EXPECT_EQ(domainsOf("").global, -1);
    EXPECT_EQ(domainsOf(" ,;:'\"").global, -1);
    EXPECT_EQ(domainsOf("=4").global, -1);
}

TEST(ThreadSettings, KeepTheFirstValueOfASetting)
{
    EXPECT_EQ(domainsOf("MKL_BLAS=2,MKL_BLAS=3").blas, 2);
    EXPECT_EQ(parse({{"MKL_NUM_THREADS", "3"}, {"MKL_DOMAIN_NUM_THREADS", "MKL_ALL=4"}}).global, 3);
    EXPECT_EQ(parse({{"MKL_NUM_THREADS", "0"}, {"MKL_DOMAIN_NUM_THREADS", "MKL_ALL=4"}}).global, 4);
}

TEST(ThreadSettings, SwitchDynamicOffByExactlyTwoSpellings)
{
    EXPECT_EQ(dynamicOf("FALSE"), 0);
    EXPECT_EQ(dynamicOf("false"), 0);
    for (const char* text : {"False", "fALSE", "0", "off", "no", "FALSE1", "false,", "TRUE", "true", ""}) {
        EXPECT_EQ(dynamicOf(text), 1) << text;
    }
}

TEST(ThreadSettings, StripBlanksAndQuotesAroundDynamic)
{
    for (const char* text :
         {" FALSE", "FALSE ", "\"FALSE\"", "'false'", " \"' false", "FALSE yes", "false'x"}) {
        EXPECT_EQ(dynamicOf(text), 0) << text;
    }
    EXPECT_EQ(dynamicOf("no FALSE"), 1);
    EXPECT_EQ(dynamicOf("\tFALSE"), 1); // a blank is a blank
}

TEST(ThreadSettings, ReadTheOpenMPCount)
{
    const auto openmpOf = [](const char* text) { return parse({{"OMP_NUM_THREADS", text}}).openmp; };
    EXPECT_EQ(openmpOf("6"), 6);
    EXPECT_EQ(openmpOf("0"), -1);
    EXPECT_EQ(openmpOf("x"), 1);
    EXPECT_EQ(openmpOf("4,2"), 1);
}

TEST(ThreadSettings, ReadTheProcessesPerNode)
{
    const auto processesOf = [](const char* text) {
        return parse({{"I_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE", text}}).processesPerNode;
    };
    EXPECT_EQ(processesOf("2"), 2);
    EXPECT_EQ(processesOf("0"), -1);
    EXPECT_EQ(processesOf("x"), -1);
    EXPECT_EQ(processesOf("2x"), -1);
}

TEST(ThreadSettings, ReadTheMpiThreadLevel)
{
    const auto levelOf = [](const char* text) {
        return parse({{"I_MPI_THREAD_LEVEL", text}}).mpiThreadLevel;
    };
    EXPECT_EQ(levelOf("0"), 0);
    EXPECT_EQ(levelOf("1"), 1);
    EXPECT_EQ(levelOf("3"), 3);
    EXPECT_EQ(levelOf("4"), 0);
    EXPECT_EQ(levelOf("x"), 0);
    EXPECT_EQ(levelOf("2x"), 0);
}

// The rule, step by step. The base question: nothing set, eight threads by the runtime on four cores.
ThreadQuestion question()
{
    ThreadQuestion q;
    q.runtime = 8;
    q.cores = 4;
    return q;
}

TEST(ThreadCount, IsOneInsideAnActiveRegionWhateverWasSet)
{
    ThreadQuestion q = question();
    q.inActiveRegion = true;
    q.domain = 3;
    q.global = 2;
    EXPECT_EQ(threadCount(q), 1);
}

TEST(ThreadCount, IsTheSettingInsideAnActiveRegionWithDynamicOff)
{
    ThreadQuestion q = question();
    q.inActiveRegion = true;
    q.dynamic = false;
    q.global = 2;
    EXPECT_EQ(threadCount(q), 2);
}

TEST(ThreadCount, PrefersTheDomainThenTheGlobalSettingThenTheRuntime)
{
    ThreadQuestion q = question();
    q.dynamic = false;
    EXPECT_EQ(threadCount(q), 8);
    q.global = 6;
    EXPECT_EQ(threadCount(q), 6);
    q.domain = 5;
    EXPECT_EQ(threadCount(q), 5);
    q.domain = 0;
    q.global = 0;
    EXPECT_EQ(threadCount(q), 8);
}

TEST(ThreadCount, IsNotCutWithDynamicOff)
{
    ThreadQuestion q = question();
    q.dynamic = false;
    q.global = 1000;
    q.processesPerNode = 4;
    EXPECT_EQ(threadCount(q), 1000);
}

TEST(ThreadCount, IsAtMostTheCoresWithDynamicOn)
{
    ThreadQuestion q = question();
    EXPECT_EQ(threadCount(q), 4);
    q.global = 1000;
    EXPECT_EQ(threadCount(q), 4);
    q.global = 3;
    EXPECT_EQ(threadCount(q), 3);
    q.domain = INT_MAX;
    EXPECT_EQ(threadCount(q), 4);
}

TEST(ThreadCount, IsNotBoundByAnUnknownCoreCount)
{
    ThreadQuestion q = question();
    q.cores = -1;
    EXPECT_EQ(threadCount(q), 8);
    q.global = INT_MAX;
    EXPECT_EQ(threadCount(q), INT_MAX);
}

TEST(ThreadCount, IsAShareOfTheCoresAmongMpiProcesses)
{
    ThreadQuestion q = question();
    q.mpiThreadLevel = 1;
    for (const auto& [processes, share] : {std::pair{1, 4}, {2, 2}, {3, 1}, {4, 1}, {100, 1}}) {
        q.processesPerNode = processes;
        EXPECT_EQ(threadCount(q), share) << processes;
    }
    q.runtime = 1; // the share does not ask the runtime
    q.processesPerNode = 2;
    EXPECT_EQ(threadCount(q), 2);
}

TEST(ThreadCount, IsOneAmongMpiProcessesWithoutThreadSupport)
{
    ThreadQuestion q = question();
    q.processesPerNode = 2;
    q.mpiThreadLevel = 0;
    EXPECT_EQ(threadCount(q), 1);
}

TEST(ThreadCount, IgnoresMpiProcessesWhenSomebodyChoseACount)
{
    ThreadQuestion q = question();
    q.processesPerNode = 2;
    q.mpiThreadLevel = 3;
    q.global = 3;
    EXPECT_EQ(threadCount(q), 3);
    q.global = -1;
    q.domain = 3;
    EXPECT_EQ(threadCount(q), 3);
    q.domain = -1;
    q.openmp = 8;
    EXPECT_EQ(threadCount(q), 4);
}

TEST(ThreadCount, StaysWithTheRuntimeWhenThereAreNoCoresToShareOut)
{
    ThreadQuestion q = question();
    q.processesPerNode = 2;
    q.mpiThreadLevel = 1;
    q.cores = -1;
    EXPECT_EQ(threadCount(q), 8);
}

} // namespace
