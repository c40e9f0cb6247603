// When calls of the entry read the settings and remove the files of the out-of-core mode.

#include "tests/engine/engine_call.h"
#include "tests/engine/out_of_core/out_of_core_handle.h"
#include "tests/services/slot_recorder.h"

#include <lintrix/engine/out_of_core/factor_files.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::Folder;
using Velmar::Lintrix::testing::OutOfCoreEnvironment;
using Velmar::Lintrix::testing::SlotRecorder;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

const std::string kRow = "ooc_max_core_size\t\tgot by Env =  ";

class OutOfCoreCalls : public ::testing::Test {
protected:
    OutOfCoreCalls()
    {
        environment.set("CFG_PATH", folder.at(""));
        environment.set("PATH", folder.at("f"));
        environment.set("MAX_CORE_SIZE", "1234");
        environment.set("KEEP_FILE", "0");
        call.set(60, 1);
    }

    Handle handle() { return Handle(call.pt.data()); }
    std::size_t files() const { return folder.names().size(); }
    /// How often the settings were told.
    static int told(const std::string& text)
    {
        int count = 0;
        for (std::size_t place = 0; (place = text.find(kRow, place)) != std::string::npos; ++place) ++count;
        return count;
    }

    Folder folder;
    OutOfCoreEnvironment environment;
    EngineCall call{tridiagonal(4)};
};

TEST_F(OutOfCoreCalls, ReadTheSettingsWithANewHandle)
{
    const auto [error, text] = call.runPrinting(11, 1);
    EXPECT_EQ(error, 0);
    EXPECT_TRUE(text.starts_with("ooc_path\t\tgot by Env =  " + folder.at("f") + "\n" + kRow +
                                 "1234\nooc_keep_file\t\tgot by Env =  0\n"))
        << text;
    EXPECT_EQ(told(text), 1);
    EXPECT_EQ(coreMegabytes(handle()), 1234);
    EXPECT_EQ(filePrefix(handle()), folder.at("f"));
    EXPECT_FALSE(keepsFactorFiles(handle()));
}

TEST_F(OutOfCoreCalls, ReadTheSettingsWithANewHandleAtAnyPhaseAboveZero)
{
    EXPECT_EQ(told(call.runPrinting(33, 1).text), 1);
    EXPECT_EQ(coreMegabytes(handle()), 1234);
}

TEST_F(OutOfCoreCalls, TellTheSettingsAtAPositiveLevelAlone)
{
    for (const int level : {0, -1, -2, 2, 7}) {
        EngineCall other(tridiagonal(4));
        other.set(60, 1);
        EXPECT_EQ(told(other.runPrinting(11, level).text), level > 0 ? 1 : 0) << level;
        EXPECT_EQ(coreMegabytes(Handle(other.pt.data())), 1234);
    }
}

TEST_F(OutOfCoreCalls, InCoreReadNoSettings)
{
    call.set(60, 0);
    EXPECT_EQ(told(call.runPrinting(11, 1).text), 0);
    EXPECT_EQ(told(call.runPrinting(11, 1).text), 0);
    EXPECT_NE(coreMegabytes(handle()), 1234);
}

TEST_F(OutOfCoreCalls, ReadTheSettingsAnewWithEachAnalysis)
{
    EXPECT_EQ(call.run(11), 0);
    environment.set("MAX_CORE_SIZE", "2345");
    for (const int phase : {22, 23, 33, 0}) {
        const auto [error, text] = call.runPrinting(phase, 1);
        EXPECT_EQ(error, 0);
        EXPECT_EQ(told(text), 0) << phase;
        EXPECT_EQ(coreMegabytes(handle()), 1234);
    }
    for (const int phase : {11, 12, 13}) EXPECT_EQ(told(call.runPrinting(phase, 1).text), 1) << phase;
    EXPECT_EQ(coreMegabytes(handle()), 2345);
    call.set(60, 0);
    environment.set("MAX_CORE_SIZE", "3456");
    EXPECT_EQ(told(call.runPrinting(11, 1).text), 0);
    EXPECT_EQ(coreMegabytes(handle()), 2345);
}

// A release of one factor that finds no handle fails, and leaves one with its basic blocks.
TEST_F(OutOfCoreCalls, ReadTheSettingsOfAHandleWithoutTheControl)
{
    EXPECT_EQ(call.run(0), -1);
    EXPECT_FALSE(handle().holds(Slot::OutOfCoreControl));
    EXPECT_EQ(told(call.runPrinting(11, 1).text), 1);
    EXPECT_EQ(coreMegabytes(handle()), 1234);
}

TEST_F(OutOfCoreCalls, WithoutMemoryForTheControlFailAndMayBeRepeated)
{
    SlotRecorder recorder;
    for (int k = 0; k < 5; ++k) {
        EngineCall other(tridiagonal(4));
        other.set(60, 1);
        EXPECT_EQ(other.run(0), -1);
        recorder.failOnly(k);
        const auto [error, text] = other.runPrinting(11, -1);
        recorder.failOnly(-1);
        EXPECT_EQ(error, -2);
        EXPECT_NE(text.find("error_num= -20" + std::to_string(k < 2 ? k + 1 : 3) + "\n"), std::string::npos)
            << text;
        EXPECT_EQ(other.run(11), 0);
        other.release();
        EXPECT_EQ(recorder.live(), 0U);
    }
}

TEST_F(OutOfCoreCalls, RemoveTheFilesWhenAnAnalysisBegins)
{
    for (const int phase : {11, 12, 13}) {
        EXPECT_EQ(call.run(11), 0);
        ASSERT_FALSE(createFactorFiles(handle()));
        EXPECT_EQ(files(), 11U);
        EXPECT_EQ(call.run(phase), 0);
        EXPECT_EQ(files(), 0U) << phase;
        EXPECT_FALSE(holdsFactorFiles(handle()));
    }
}

TEST_F(OutOfCoreCalls, RemoveTheFilesWithEverythingElse)
{
    EXPECT_EQ(call.run(11), 0);
    ASSERT_FALSE(createFactorFiles(handle()));
    call.release();
    EXPECT_EQ(files(), 0U);
}

TEST_F(OutOfCoreCalls, LeaveTheFilesToLaterSteps)
{
    EXPECT_EQ(call.run(11), 0);
    ASSERT_FALSE(createFactorFiles(handle()));
    for (const int phase : {22, 33, 23, 0, -9, 99}) {
        call.run(phase);
        EXPECT_EQ(files(), 11U) << phase;
    }
}

TEST_F(OutOfCoreCalls, RemoveTheFilesBySettingsTheyWereMadeWith)
{
    EXPECT_EQ(call.run(11), 0);
    ASSERT_FALSE(createFactorFiles(handle()));
    environment.set("PATH", folder.at("g"));
    environment.set("KEEP_FILE", "1");
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(files(), 0U);
    ASSERT_FALSE(createFactorFiles(handle()));
    environment.set("KEEP_FILE", "0");
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(files(), 11U);
    EXPECT_EQ(folder.names().front(), "g0.ind");
}

TEST_F(OutOfCoreCalls, RemoveTheFilesAlsoWhereTheNextAnalysisIsInCore)
{
    EXPECT_EQ(call.run(11), 0);
    ASSERT_FALSE(createFactorFiles(handle()));
    call.set(60, 0);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(files(), 0U);
}

} // namespace
