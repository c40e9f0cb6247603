#include <lintrix/engine/report/report.h>

#include <gtest/gtest.h>

#include <string>

using namespace Velmar::Lintrix::detail::engine;

namespace {

std::string reportOf(const OutOfCoreTraffic& traffic)
{
    ::testing::internal::CaptureStdout();
    reportOutOfCore(traffic);
    return ::testing::internal::GetCapturedStdout();
}

TEST(OutOfCoreReport, TellsSharesOfTheTimeAndMegabytes)
{
    EXPECT_EQ(reportOf({.seconds = 8.,
                        .secondsReading = 2.,
                        .secondsWriting = 1.,
                        .secondsComputing = 4.,
                        .bytesRead = std::int64_t{5} << 30,
                        .bytesWritten = 3 << 19,
                        .bytesOfLower = 1 << 20,
                        .bytesOfUpper = 1 << 19}),
              " ----------- Out of core time (in percent (%)) --------------\n"
              "             reading from files:                             25.000000\n"
              "             writing to files:                               12.500000\n"
              "             arithmetic:                                     50.000000\n"
              " ----------- Out of core Mb --------------\n"
              "             read from files:                                5120.000000\n"
              "             written to files:                               1.500000\n"
              "             factor L in its file:                           1.000000\n"
              "             factor U in its file:                           0.500000\n");
}

// A clock may not have moved.
TEST(OutOfCoreReport, OfNoTimeHasNoShares)
{
    for (const double seconds : {0., 1e-3}) {
        const std::string text = reportOf({.seconds = 0., .secondsReading = seconds});
        EXPECT_NE(text.find("reading from files:                             0.000000\n"), std::string::npos)
            << text;
        EXPECT_EQ(text.find("nan"), std::string::npos);
        EXPECT_EQ(text.find("inf"), std::string::npos);
    }
}

} // namespace
