// Folders that go with all that is in them; files are tested with the output of the command.

#include <tests/support/files.h>
#include <tools/support/temporary_files.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include <sys/stat.h>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;
using tools::TemporaryFolder;

TEST(TemporaryFolder, IsThereForTheUserAlone)
{
    const Scratch scratch;
    TemporaryFolder folder;
    EXPECT_EQ(folder.name(), "");
    ASSERT_TRUE(folder.create(scratch.at("work")));
    EXPECT_TRUE(folder.name().starts_with(scratch.at("work.")));
    struct stat found {};
    ASSERT_EQ(stat(folder.name().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0700U);
}

TEST(TemporaryFolder, GoesWithTheFilesInIt)
{
    const Scratch scratch;
    {
        TemporaryFolder folder;
        ASSERT_TRUE(folder.create(scratch.at("work")));
        const std::string name = std::filesystem::path(folder.name()).filename();
        for (int k = 0; k < 500; ++k)
            scratch.file(name + "/" + std::string(100, 'f') + std::to_string(k), "x");
        scratch.file("beside", "stays");
        std::filesystem::create_symlink(scratch.at("beside"), folder.name() + "/link");
    }
    EXPECT_THAT(scratch.names(), ::testing::ElementsAre("beside"));
}

TEST(TemporaryFolder, GoesWhereTheProcessIsEnded)
{
    const Scratch scratch;
    TemporaryFolder folder, other;
    ASSERT_TRUE(folder.create(scratch.at("one")));
    ASSERT_TRUE(other.create(scratch.at("other")));
    EXPECT_THAT(scratch.names(), SizeIs(2));
    scratch.file(std::filesystem::path(folder.name()).filename().string() + "/file", "x");
    tools::removeTemporaries();
    EXPECT_THAT(scratch.names(), IsEmpty());
}

TEST(TemporaryFolder, IsNotMadeWhereNoneCanBe)
{
    TemporaryFolder folder;
    EXPECT_FALSE(folder.create("/nowhere/work"));
    EXPECT_EQ(folder.name(), "");
}

} // namespace
} // namespace Velmar::Lintrix::testing
