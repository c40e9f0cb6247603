// How the command configures factors in files, beside what the user has said.

#include <tests/support/files.h>
#include <tools/solve/factor_files.h>
#include <tools/support/input_error.h>

#include <lintrix/engine/out_of_core_configuration.h>

#include <gmock/gmock.h>

#include <climits>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kPath = "MKL_PARDISO_OOC_PATH";
constexpr const char* kCore = "MKL_PARDISO_OOC_MAX_CORE_SIZE";
constexpr const char* kKeep = "MKL_PARDISO_OOC_KEEP_FILE";

/// The user has said nothing but where temporary files go, and where no configuration file is.
class FactorFilesOf : public ::testing::Test {
protected:
    FactorFilesOf()
    {
        for (const char* name : {kPath, kCore, kKeep, "MKL_PARDISO_OOC_CFG_FILE_NAME"}) unsetenv(name);
        setenv("MKL_PARDISO_OOC_CFG_PATH", configuration.at("").c_str(), 1);
        setenv("TMPDIR", folder.at("").c_str(), 1);
    }
    ~FactorFilesOf() override
    {
        for (const char* name : {kPath, kCore, kKeep, "MKL_PARDISO_OOC_CFG_PATH", "TMPDIR"}) unsetenv(name);
    }

    Scratch folder, configuration;
};

std::string faultOfMaking()
{
    try {
        const FactorFiles files({}, 1e9);
    } catch (const InputError& failure) {
        return failure.what();
    }
    return "none";
}

TEST_F(FactorFilesOf, AUserWithoutWishesAreInAFolderThatGoes)
{
    {
        const FactorFiles files(12, 1e9);
        EXPECT_EQ(files.CoreMegabytes(), 12);
        ASSERT_THAT(folder.names(), SizeIs(1));
        const OutOfCoreConfiguration told = ReadOutOfCoreConfiguration();
        EXPECT_THAT(std::string(told.path), StartsWith(folder.at(folder.names().front())));
        EXPECT_EQ(told.megabytes, 12);
        EXPECT_EQ(told.keepsFiles, false);
        contentOf(folder.file(folder.names().front() + "/left.lnz", "by a handle"));
    }
    EXPECT_THAT(folder.names(), IsEmpty());
    for (const char* name : {kPath, kCore, kKeep}) EXPECT_EQ(std::getenv(name), nullptr) << name;
}

TEST_F(FactorFilesOf, AUserFollowItsVariables)
{
    setenv(kPath, "mine", 1);
    setenv(kCore, "7", 1);
    setenv(kKeep, "1", 1);
    {
        const FactorFiles files({}, 1e9);
        EXPECT_EQ(files.CoreMegabytes(), 7);
        const OutOfCoreConfiguration told = ReadOutOfCoreConfiguration();
        EXPECT_STREQ(told.path, "mine");
        EXPECT_EQ(told.keepsFiles, true);
        EXPECT_THAT(folder.names(), IsEmpty());
    }
    EXPECT_EQ(FactorFiles(5, 1e9).CoreMegabytes(), 5) << "the option comes first";
    EXPECT_STREQ(std::getenv(kCore), "7");
}

TEST_F(FactorFilesOf, AUserFollowItsConfigurationFile)
{
    configuration.file("pardiso_ooc.cfg", "mkl_pardiso_ooc_path = of_file\n"
                                          "mkl_pardiso_ooc_max_core_size = 9\n"
                                          "mkl_pardiso_ooc_keep_file = 1\n");
    const FactorFiles files({}, 1e9);
    EXPECT_EQ(files.CoreMegabytes(), 9);
    EXPECT_STREQ(ReadOutOfCoreConfiguration().path, "of_file");
    EXPECT_EQ(ReadOutOfCoreConfiguration().keepsFiles, true);
    EXPECT_THAT(folder.names(), IsEmpty());
    EXPECT_EQ(FactorFiles(5, 1e9).CoreMegabytes(), 5);
}

// They would go with the folder.
TEST_F(FactorFilesOf, AUserWhoKeepsThemAreInNoFolderThatGoes)
{
    setenv(kKeep, "1", 1);
    const FactorFiles files({}, 1e9);
    EXPECT_STREQ(ReadOutOfCoreConfiguration().path, "");
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(FactorFilesOf, AnyoneHaveThreeQuartersOfTheMemory)
{
    const std::vector<std::pair<double, int>> table{
        {0.0, 1}, {1.4 * 1048576, 1}, {4.0 * 1048576, 3}, {400.0 * 1048576, 300}, {1e30, INT_MAX}};
    for (const auto& [left, megabytes] : table)
        EXPECT_EQ(FactorFiles({}, left).CoreMegabytes(), megabytes) << left;
    setenv(kCore, "some", 1);
    EXPECT_EQ(FactorFiles({}, 4.0 * 1048576).CoreMegabytes(), 3) << "a word that is no size";
}

TEST_F(FactorFilesOf, AFolderThatCannotBeAreRefused)
{
    setenv("TMPDIR", "/nowhere", 1);
    EXPECT_EQ(faultOfMaking(),
              "/nowhere: no folder for the factor can be made there: No such file or directory");
    std::string deep = folder.at("");
    while (deep.size() < 250) deep += "./";
    setenv("TMPDIR", deep.c_str(), 1);
    EXPECT_THAT(faultOfMaking(), HasSubstr("the name is too long for the files of the factor (see TMPDIR)"));
    EXPECT_THAT(folder.names(), IsEmpty());
    for (const char* name : {kPath, kCore, kKeep}) EXPECT_EQ(std::getenv(name), nullptr) << name;
}

TEST_F(FactorFilesOf, AUserTellWhatIsWrongWithThem)
{
    setenv(kPath, "/nowhere/factor", 1);
    const FactorFiles files(3, 1e9);
    EXPECT_EQ(files.Fault(FileFault::SmallCore, 5),
              "a core of 3 MB is too small: with the factor in files 5 MB are needed at least");
    EXPECT_EQ(files.Fault(FileFault::NotOpened, 5),
              "the files of the factor cannot be made or opened in /nowhere: No such file or directory");
    EXPECT_THAT(files.Fault(FileFault::NotTransferred, 5),
                StartsWith("the files of the factor cannot be written or read in /nowhere"));
}

} // namespace
} // namespace Velmar::Lintrix::testing
