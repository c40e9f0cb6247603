#include <lintrix/services/blas_identity.h>
#include <lintrix/services/threads.h>
#include <lintrix/services/version.h>

#include <gmock/gmock.h>

using namespace Velmar::Lintrix;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

TEST(BlasIdentity, TellsTheThreadsInForce)
{
    MKL_Set_Dynamic(0);
    for (const int threads : {1, 2, 3}) {
        MKL_Set_Num_Threads(threads);
        EXPECT_EQ(DescribeBlas().threads, threads);
    }
}

TEST(BlasIdentity, TellsTheFileThatIsLoaded)
{
    EXPECT_THAT(DescribeBlas().file, HasSubstr("/lib"));
}

TEST(BlasIdentity, TellsLibraryCoreAndThreading)
{
    const BlasIdentity identity = DescribeBlas();
#if defined(LINTRIX_BLAS_IS_OPENBLAS)
    EXPECT_THAT(identity.library, StartsWith("OpenBLAS "));
    EXPECT_NE(identity.core, "");
    EXPECT_EQ(identity.threading, "OpenMP");
#else
    EXPECT_EQ(identity.library, "BLAS");
    EXPECT_EQ(identity.threading, "unknown");
#endif
}

TEST(LibraryVersion, IsThatOfTheBuild)
{
    EXPECT_STREQ(LibraryVersion(), LINTRIX_EXPECTED_VERSION);
}

} // namespace
