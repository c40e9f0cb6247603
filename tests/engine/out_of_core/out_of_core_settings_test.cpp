#include "tests/engine/out_of_core/out_of_core_handle.h"

#include <lintrix/engine/out_of_core_configuration.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::Folder;
using Velmar::Lintrix::testing::OutOfCoreEnvironment;
using Velmar::Lintrix::testing::OutOfCoreHandle;

namespace {

constexpr const char* kFile = "pardiso_ooc.cfg";
const std::string kAll = "mkl_pardiso_ooc_path = of_file\n"
                         "mkl_pardiso_ooc_max_core_size = 11\n"
                         "mkl_pardiso_ooc_keep_file = 0\n";

/// In a folder of its own, which is the current one.
class Settings : public ::testing::Test {
protected:
    Settings() { std::filesystem::current_path(folder.at("")); }
    ~Settings() override { std::filesystem::current_path(before); }

    void expect(const std::string& prefix, std::int64_t megabytes, bool keeps) const
    {
        EXPECT_EQ(filePrefix(made.handle), prefix);
        EXPECT_EQ(coreMegabytes(made.handle), megabytes);
        EXPECT_EQ(keepsFactorFiles(made.handle), keeps);
    }
    void expectDefaults() const { expect("ooc_temp", 2000, true); }

    std::filesystem::path before = std::filesystem::current_path();
    Folder folder;
    OutOfCoreEnvironment environment;
    OutOfCoreHandle made;
};

TEST_F(Settings, OfNobodyAreTheDefaults)
{
    EXPECT_EQ(made.configure(true), "");
    expectDefaults();
}

TEST_F(Settings, ThatNobodyGaveAreNotSaid)
{
    const OutOfCoreConfiguration said = ReadOutOfCoreConfiguration();
    EXPECT_STREQ(said.path, "");
    EXPECT_EQ(said.megabytes, std::nullopt);
    EXPECT_EQ(said.keepsFiles, std::nullopt);
}

TEST_F(Settings, OfAProgramStandBehindThoseOfTheUser)
{
    OutOfCoreConfiguration own{.megabytes = 17, .keepsFiles = false};
    std::string("of_program").copy(own.path, sizeof own.path);
    {
        const OutOfCoreDefaults defaults(own);
        EXPECT_STREQ(ReadOutOfCoreConfiguration().path, "") << "nobody has said so";
        EXPECT_EQ(made.configure(true), "");
        expect("of_program", 17, false);
        folder.file(kFile, "mkl_pardiso_ooc_max_core_size 11\n");
        environment.set("KEEP_FILE", "1");
        made.configure(false);
        expect("of_program", 11, true);
        const OutOfCoreConfiguration nothing;
        const OutOfCoreDefaults inner(nothing);
        made.configure(false);
        expect("ooc_temp", 11, true);
    }
    made.configure(false);
    expect("ooc_temp", 11, true);
}

TEST_F(Settings, AreSaidAsAHandleWouldTakeThem)
{
    const std::string longest(1015, 'p');
    folder.file(kFile, "mkl_pardiso_ooc_path " + longest + "\nmkl_pardiso_ooc_max_core_size 2000\n");
    environment.set("MAX_CORE_SIZE", "none");
    environment.set("KEEP_FILE", "-7");
    const OutOfCoreConfiguration said = ReadOutOfCoreConfiguration();
    EXPECT_EQ(said.path, longest);
    EXPECT_EQ(said.megabytes, 2000) << "the default, but given";
    EXPECT_EQ(said.keepsFiles, true);
    environment.set("MAX_CORE_SIZE", "3");
    environment.set("KEEP_FILE", "0");
    environment.set("PATH", " of_environment ");
    EXPECT_STREQ(ReadOutOfCoreConfiguration().path, "of_environment");
    EXPECT_EQ(ReadOutOfCoreConfiguration().megabytes, 3);
    EXPECT_EQ(ReadOutOfCoreConfiguration().keepsFiles, false);
}

TEST_F(Settings, StandInTheBlankPathBufferWithoutATerminator)
{
    folder.file(kFile, kAll);
    made.configure();
    const OutOfCoreTable& table = *made.handle.block<OutOfCoreTable>(Slot::OutOfCoreControl);
    EXPECT_EQ(std::string(table.path, 1024), "of_file" + std::string(1017, ' '));
    const std::string longest(1015, 'p');
    folder.file(kFile, "mkl_pardiso_ooc_path " + longest);
    made.configure();
    EXPECT_EQ(std::string(table.path, 1024), longest + std::string(9, ' '));
    EXPECT_EQ(filePrefix(made.handle), longest);
    folder.file(kFile, kAll);
    made.configure();
    EXPECT_EQ(std::string(table.path, 1024), "of_file" + std::string(1017, ' '));
}

TEST_F(Settings, ComeFromTheFileInTheCurrentFolder)
{
    folder.file(kFile, kAll);
    EXPECT_EQ(made.configure(true), "");
    expect("of_file", 11, false);
}

TEST_F(Settings, ComeFromTheFolderAndTheFileThatAreNamed)
{
    const Folder other;
    folder.file(kFile, "mkl_pardiso_ooc_max_core_size 1");
    folder.file("mine", "mkl_pardiso_ooc_max_core_size 2");
    other.file(kFile, "mkl_pardiso_ooc_max_core_size 3");
    other.file("mine", "mkl_pardiso_ooc_max_core_size 4");
    made.configure();
    EXPECT_EQ(coreMegabytes(made.handle), 1);
    environment.set("CFG_FILE_NAME", "mine");
    made.configure();
    EXPECT_EQ(coreMegabytes(made.handle), 2);
    environment.set("CFG_PATH", other.at(""));
    EXPECT_EQ(made.configure(true), "");
    EXPECT_EQ(coreMegabytes(made.handle), 4);
    environment.set("CFG_FILE_NAME", "");
    made.configure();
    EXPECT_EQ(coreMegabytes(made.handle), 3);
    environment.set("CFG_PATH", "");
    made.configure();
    EXPECT_EQ(coreMegabytes(made.handle), 1);
    environment.set("CFG_FILE_NAME", other.at("mine"));
    made.configure();
    EXPECT_EQ(coreMegabytes(made.handle), 4);
}

TEST_F(Settings, OfTheEnvironmentWinAndAreTold)
{
    folder.file(kFile, kAll);
    environment.set("PATH", "of environment");
    EXPECT_EQ(made.configure(true), "ooc_path\t\tgot by Env =  of environment\n");
    expect("of environment", 11, false);
    environment.set("MAX_CORE_SIZE", "12");
    EXPECT_EQ(made.configure(true), "ooc_path\t\tgot by Env =  of environment\n"
                                    "ooc_max_core_size\t\tgot by Env =  12\n");
    expect("of environment", 12, false);
    environment.set("KEEP_FILE", "5");
    EXPECT_EQ(made.configure(true), "ooc_path\t\tgot by Env =  of environment\n"
                                    "ooc_max_core_size\t\tgot by Env =  12\n"
                                    "ooc_keep_file\t\tgot by Env =  5\n");
    expect("of environment", 12, true);
    EXPECT_EQ(made.configure(false), "");
    expect("of environment", 12, true);
}

TEST_F(Settings, AreKeptUnlessZero)
{
    for (const auto& [value, keeps] :
         {std::pair{"0", false}, {"1", true}, {"-1", true}, {" 0 ", false}, {"no", true}}) {
        environment.set("KEEP_FILE", value);
        made.configure();
        EXPECT_EQ(keepsFactorFiles(made.handle), keeps) << value;
    }
}

TEST_F(Settings, OfAHostileEnvironmentAreThoseOfTheFile)
{
    folder.file(kFile, kAll);
    for (const std::string& value :
         {std::string(), std::string(" "), std::string("\t\n"), std::string("a\nb"), std::string("\x1b[2J"),
          std::string(257, '1'), std::string(100000, 'x'), std::string("\n-")}) {
        SCOPED_TRACE(value.substr(0, 300));
        for (const char* name : {"PATH", "MAX_CORE_SIZE", "KEEP_FILE"}) environment.set(name, value);
        EXPECT_EQ(made.configure(true), "");
        expect("of_file", 11, false);
    }
    for (const char* number : {"-5", "0", "2147483648", "1e3", "3 4", "0x7"}) {
        environment.set("MAX_CORE_SIZE", number);
        EXPECT_EQ(made.configure(true), "");
        EXPECT_EQ(coreMegabytes(made.handle), 11) << number;
    }
}

TEST_F(Settings, OfAHostileFolderOrNameAreTheDefaults)
{
    folder.file(kFile, kAll);
    for (const std::string& value : {std::string(257, 'x'), std::string(256, 'y'),
                                     std::string("/nowhere/at/all"), std::string("\xff\xfe\n")}) {
        SCOPED_TRACE(value);
        OutOfCoreHandle fresh;
        environment.set("CFG_PATH", value);
        fresh.configure();
        // Too long a value is no value, and then the file is looked for where it always is.
        EXPECT_EQ(coreMegabytes(fresh.handle), value.size() > 256 ? 11 : 2000);
    }
    environment.set("CFG_PATH", std::string(256, '/'));
    environment.set("CFG_FILE_NAME", std::string(256, 'n'));
    made.configure();
    expectDefaults();
}

TEST_F(Settings, OfWhatIsNoRegularFileAreTheDefaults)
{
    ASSERT_EQ(mkdir(kFile, 0700), 0);
    made.configure();
    expectDefaults();
    ASSERT_EQ(rmdir(kFile), 0);
    ASSERT_EQ(mkfifo(kFile, 0600), 0);
    made.configure(); // would wait for a writer
    expectDefaults();
    ASSERT_EQ(unlink(kFile), 0);
    ASSERT_EQ(symlink("/dev/zero", kFile), 0);
    made.configure();
    expectDefaults();
    ASSERT_EQ(unlink(kFile), 0);
    ASSERT_EQ(symlink(kFile, kFile), 0);
    made.configure();
    expectDefaults();
    ASSERT_EQ(unlink(kFile), 0);
    environment.set("CFG_FILE_NAME", "pardiso_ooc.cfg/");
    folder.file(kFile, kAll);
    made.configure();
    expectDefaults();
}

TEST_F(Settings, MayComeThroughASymbolicLink)
{
    folder.file("elsewhere", kAll);
    ASSERT_EQ(symlink("elsewhere", kFile), 0);
    made.configure();
    expect("of_file", 11, false);
}

TEST_F(Settings, OfALongFileAreThoseOfItsBeginning)
{
    const std::string comment = "# " + std::string(97, 'x') + "\n"; // 100 bytes
    std::string text = kAll;
    while (text.size() < 16000) text += comment;
    folder.file(kFile, text + "mkl_pardiso_ooc_max_core_size = 12\n" + std::string(1 << 20, 'x'));
    made.configure();
    expect("of_file", 12, false);
    while (text.size() < (1 << 20)) text += comment;
    folder.file(kFile, text + "mkl_pardiso_ooc_max_core_size = 13\n");
    made.configure();
    expect("of_file", 11, false);
}

// A number that is cut off is another number.
TEST_F(Settings, OfALineThatIsCutOffAreNotTaken)
{
    for (int lead = 16384 - 40; lead <= 16384; ++lead) {
        folder.file(kFile, std::string(static_cast<std::size_t>(lead), '\n') +
                               "mkl_pardiso_ooc_max_core_size = 123456789\nmkl_pardiso_ooc_path x");
        OutOfCoreHandle fresh;
        fresh.configure();
        EXPECT_EQ(coreMegabytes(fresh.handle), 2000) << lead;
    }
}

TEST_F(Settings, OfBinaryFilesAreTheDefaults)
{
    std::string bytes;
    for (int k = 0; k < 4096; ++k) bytes += static_cast<char>(k * 37 % 256);
    folder.file(kFile, bytes);
    made.configure();
    expectDefaults();
    folder.file(kFile, std::string(1 << 22, '\0'));
    made.configure();
    expectDefaults();
    folder.file(kFile, std::string(1 << 22, '9'));
    made.configure();
    expectDefaults();
}

// Every descriptor is given back.
TEST_F(Settings, LeaveNoFileOpen)
{
    folder.file(kFile, kAll);
    const int next = dup(0);
    close(next);
    made.configure();
    environment.set("CFG_PATH", "/dev");
    environment.set("CFG_FILE_NAME", "null");
    made.configure();
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, next);
}

} // namespace
