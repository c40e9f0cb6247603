// What the fuzzer searches, swept once from a seed.

#include "fuzz/pardiso_check.h"
#include "tests/support/files.h"

#include <lintrix/services/hardening.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <random>
#include <vector>

using namespace Velmar::Lintrix::fuzzing;

namespace {

std::vector<std::uint8_t> randomBytes(std::mt19937& random)
{
    std::vector<std::uint8_t> bytes(512);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

TEST(PardisoCheck, AnswersACodeWhateverTheArraysHold)
{
    std::mt19937 random(2017);
    for (int k = 0; k < 3000; ++k) checkPardisoOnce(randomBytes(random));
}

TEST(PardisoCheck, LeavesTheCurrentFolderAlone)
{
    const Velmar::Lintrix::testing::Scratch folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.at(""));
    std::mt19937 random(60);
    for (int k = 0; k < 300; ++k) checkPardisoOnce(randomBytes(random));
    std::filesystem::current_path(before);
    EXPECT_EQ(folder.names().size(), 0U);
}

TEST(PardisoCheck, SweepReachesTheAnalysisAndItsFailures)
{
    std::mt19937 random(2017);
    std::map<int, int> answers;
    // Where the matrix check is always on, few matrices come through.
    const int cases = Velmar::Lintrix::detail::kHardened ? 12000 : 3000;
    for (int k = 0; k < cases; ++k) {
        const auto data = randomBytes(random);
        Bytes bytes{data};
        PardisoCase call(bytes);
        ++answers[call.run(11)];
        call.iparm[11] = 0;
        call.run(-1);
    }
    for (const int expected : {0, -1, -3, -6}) EXPECT_GT(answers[expected], 0) << expected;
}

} // namespace
