// A file that appears whole or not at all.

#include <tests/tools/command.h>
#include <tools/support/input_error.h>
#include <tools/support/output_file.h>

#include <lintrix/sparse/matrix_market.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tools::InputError;
using tools::OutputFile;
namespace fs = std::filesystem;

void writeWhole(const std::string& path, std::string_view text)
{
    OutputFile file(path);
    file.write(text);
    file.close();
    file.commit();
}

template <class Work>
std::string failureOf(Work work)
{
    try {
        work();
    } catch (const InputError& error) {
        return error.what();
    }
    return "no failure";
}

TEST(OutputFile, AppearsAtTheCommit)
{
    const Scratch scratch;
    const std::string path = scratch.at("x");
    {
        OutputFile file(path);
        file.write("one ");
        file.write("two");
        file.close();
        EXPECT_FALSE(fs::exists(path));
        file.commit();
        EXPECT_EQ(contentOf(path), "one two");
    }
    EXPECT_THAT(scratch.names(), ElementsAre("x"));
}

TEST(OutputFile, LeavesNothingWithoutACommit)
{
    const Scratch scratch;
    {
        const OutputFile untouched(scratch.at("a"));
    }
    {
        OutputFile written(scratch.at("b"));
        written.write("text");
    }
    {
        OutputFile closed(scratch.at("c"));
        closed.write("text");
        closed.close();
    }
    EXPECT_THAT(scratch.names(), IsEmpty());
}

TEST(OutputFile, KeepsWhatStoodThereUntilTheCommit)
{
    const Scratch scratch;
    const std::string path = scratch.file("x", "old");
    {
        OutputFile file(path);
        file.write("new");
        file.close();
    }
    EXPECT_EQ(contentOf(path), "old");
    writeWhole(path, "new");
    EXPECT_EQ(contentOf(path), "new");
    EXPECT_THAT(scratch.names(), ElementsAre("x"));
}

TEST(OutputFile, HasTheModeOfAnOrdinaryNewFile)
{
    const Scratch scratch;
    const mode_t before = umask(027);
    writeWhole(scratch.at("x"), "text");
    umask(before);
    EXPECT_EQ(fs::status(scratch.at("x")).permissions(), fs::perms(0640));
}

TEST(OutputFile, FollowsASymbolicLink)
{
    const Scratch scratch;
    scratch.file("target", "old");
    fs::create_symlink("target", scratch.at("link"));
    writeWhole(scratch.at("link"), "new");
    EXPECT_TRUE(fs::is_symlink(scratch.at("link")));
    EXPECT_EQ(contentOf(scratch.at("target")), "new");
}

TEST(OutputFile, KeepsTheModeOfWhatItReplaces)
{
    const Scratch scratch;
    fs::permissions(scratch.file("x", "old"), fs::perms(0751));
    writeWhole(scratch.at("x"), "new");
    EXPECT_EQ(fs::status(scratch.at("x")).permissions(), fs::perms(0751));
    EXPECT_EQ(contentOf(scratch.at("x")), "new");
}

TEST(OutputFile, FollowsALinkThatLeadsNowhereYet)
{
    const Scratch scratch;
    fs::create_directory(scratch.at("folder"));
    fs::create_symlink("folder/second", scratch.at("first"));
    fs::create_symlink("target", scratch.at("folder/second"));
    writeWhole(scratch.at("first"), "new");
    EXPECT_TRUE(fs::is_symlink(scratch.at("first")));
    EXPECT_TRUE(fs::is_symlink(scratch.at("folder/second")));
    EXPECT_EQ(contentOf(scratch.at("folder/target")), "new");
}

TEST(OutputFile, LinksInACircleAreRefused)
{
    const Scratch scratch;
    fs::create_symlink("b", scratch.at("a"));
    fs::create_symlink("a", scratch.at("b"));
    EXPECT_EQ(failureOf([&] { OutputFile(scratch.at("a")); }),
              scratch.at("a") + ": cannot be written: Too many levels of symbolic links");
}

TEST(OutputFile, CompressesForAGzName)
{
    const Scratch scratch;
    const std::string path = scratch.at("x.mtx.gz");
    std::string text = "%%MatrixMarket matrix array real general\n100000 1\n";
    for (int i = 0; i < 100000; ++i) text += std::to_string(i % 7919) + "\n";
    OutputFile file(path);
    for (std::size_t at = 0; at < text.size(); at += 1000)
        file.write(std::string_view(text).substr(at, 1000));
    file.close();
    file.commit();
    EXPECT_LT(contentOf(path).size(), text.size() / 2);
    const Matrix read = ReadMatrixMarketDense(path);
    ASSERT_EQ(read.Rows(), 100000);
    EXPECT_EQ(read(99999, 0), 99999 % 7919);
}

TEST(OutputFile, NothingMayBeWrittenToAGzNameEither)
{
    const Scratch scratch;
    OutputFile file(scratch.at("x.gz"));
    file.close();
    file.commit();
    EXPECT_EQ(contentOf(scratch.at("x.gz")).substr(0, 2), "\x1f\x8b");
}

TEST(OutputFile, WritesToADeviceDirectly)
{
    writeWhole("/dev/null", "text");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST(OutputFile, AFullDiskIsToldByNameAndReason)
{
    OutputFile full("/dev/full");
    EXPECT_EQ(failureOf([&] { full.write("text"); }),
              "/dev/full: cannot be written: No space left on device");
}

TEST(OutputFile, WhatCannotBeWrittenFailsAtOnce)
{
    const Scratch scratch;
    EXPECT_EQ(failureOf([&] { OutputFile(scratch.at("none/x")); }),
              scratch.at("none/x") + ": cannot be written: No such file or directory");
    EXPECT_EQ(failureOf([&] { OutputFile(scratch.at(".")); }), scratch.at(".") + ": is a directory");
    scratch.file("plain", "");
    EXPECT_EQ(failureOf([&] { OutputFile(scratch.at("plain/x")); }),
              scratch.at("plain/x") + ": cannot be written: Not a directory");
}

TEST(OutputFile, AFolderThatVanishesFailsTheWriteAndTheCommit)
{
    const Scratch scratch;
    fs::create_directory(scratch.at("folder"));
    OutputFile late(scratch.at("folder/x"));
    OutputFile begun(scratch.at("folder/y"));
    begun.write("text");
    begun.close();
    fs::remove_all(scratch.at("folder"));
    EXPECT_EQ(failureOf([&] { late.write("text"); }),
              scratch.at("folder/x") + ": cannot be written: No such file or directory");
    EXPECT_EQ(failureOf([&] { begun.commit(); }),
              scratch.at("folder/y") + ": cannot be written: No such file or directory");
}

} // namespace
} // namespace Velmar::Lintrix::testing
