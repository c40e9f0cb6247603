#include <lintrix/services/section_file.h>

#include "tests/support/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Velmar::Lintrix;
using Velmar::Lintrix::testing::contentOf;
using Velmar::Lintrix::testing::Scratch;

namespace {

const std::vector<int> kNumbers = {3, 1, 4, 1, 5};

bool write(const std::string& path)
{
    SectionWriter file(path, "test");
    file.Add("numbers", std::span<const int>(kNumbers));
    file.Add("empty", std::span<const int>());
    file.AddOne("one", std::int64_t{7});
    return file.Commit();
}

/// What `write` has written, read again.
SectionFault read(const std::string& path)
{
    SectionReader file;
    if (const SectionFault fault = file.Open(path.c_str(), "test")) return fault;
    std::int64_t count = 0, one = 0;
    if (const SectionFault fault = file.Announce("numbers", sizeof(int), count)) return fault;
    std::vector<int> numbers(static_cast<std::size_t>(count));
    if (const SectionFault fault = file.Take(std::span(numbers))) return fault;
    if (const SectionFault fault = file.Expect("empty", 0)) return fault;
    if (const SectionFault fault = file.Take(std::span<int>())) return fault;
    if (const SectionFault fault = file.TakeOne("one", one)) return fault;
    EXPECT_EQ(numbers, kNumbers);
    EXPECT_EQ(one, 7);
    return file.End();
}

/// The error of a file with this content.
SectionError errorOf(const Scratch& folder, const std::string& content)
{
    return read(folder.file("changed", content)).error;
}

TEST(SectionFile, ComesBack)
{
    const Scratch folder;
    ASSERT_TRUE(write(folder.at("file")));
    EXPECT_FALSE(read(folder.at("file")));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
    EXPECT_EQ(contentOf(folder.at("file")).size(), 24U + 3 * 24 + 5 * 4 + 8);
}

TEST(SectionFile, HasTheFormThatTheManualTells)
{
    const Scratch folder;
    ASSERT_TRUE(write(folder.at("file")));
    const std::string content = contentOf(folder.at("file"));
    EXPECT_EQ(content.substr(0, 24),
              std::string("\x89LTS\r\n\x1a\n\x04\x03\x02\x01\x01\0\0\0test\0\0\0\0", 24));
    EXPECT_EQ(content.substr(24, 16), std::string("numbers\0\x14\0\0\0\0\0\0\0", 16));
    EXPECT_EQ(content.substr(48, 20), std::string("\3\0\0\0\1\0\0\0\4\0\0\0\1\0\0\0\5\0\0\0", 20));
}

TEST(SectionFile, WithAnyByteChangedIsRefused)
{
    const Scratch folder;
    ASSERT_TRUE(write(folder.at("file")));
    const std::string content = contentOf(folder.at("file"));
    for (std::size_t byte = 0; byte < content.size(); ++byte) {
        for (const int change : {1, 0x80, 0xff}) {
            std::string changed = content;
            changed[byte] = static_cast<char>(changed[byte] ^ change);
            EXPECT_NE(errorOf(folder, changed), SectionError::None) << byte;
        }
    }
}

TEST(SectionFile, CutOffAnywhereOrGoingOnIsRefused)
{
    const Scratch folder;
    ASSERT_TRUE(write(folder.at("file")));
    const std::string content = contentOf(folder.at("file"));
    for (std::size_t length = 0; length < content.size(); ++length) {
        const SectionError error = errorOf(folder, content.substr(0, length));
        EXPECT_EQ(error, length < 24 ? SectionError::NoSectionFile : SectionError::CutOff) << length;
    }
    EXPECT_EQ(errorOf(folder, content + '\0'), SectionError::GoesOn);
}

TEST(SectionFile, TellsWhatIsWrongAndWhere)
{
    const Scratch folder;
    ASSERT_TRUE(write(folder.at("file")));
    const std::string content = contentOf(folder.at("file"));
    const auto changed = [&](std::size_t byte, char value) {
        std::string copy = content;
        copy[byte] = value;
        return read(folder.file("changed", copy));
    };
    EXPECT_EQ(changed(0, 'x').error, SectionError::NoSectionFile);
    EXPECT_EQ(changed(8, 1).error, SectionError::OtherByteOrder);
    EXPECT_EQ(changed(12, 2).error, SectionError::OtherVersion);
    EXPECT_EQ(changed(12, 2).byte, 12);
    EXPECT_EQ(changed(16, 'T').error, SectionError::OtherContent);
    EXPECT_EQ(changed(24, 'N').error, SectionError::OtherSection);
    EXPECT_EQ(changed(32, 21).error, SectionError::OtherLength);
    EXPECT_EQ(changed(39, 0x7f).error, SectionError::CutOff);
    EXPECT_EQ(changed(39, -1).error, SectionError::OtherLength);
    const SectionFault sum = changed(50, 1);
    EXPECT_EQ(sum.error, SectionError::OtherSum);
    EXPECT_EQ(sum.section, "numbers");
    EXPECT_EQ(sum.byte, 24);
}

// A file from a machine that counts bytes from the other end.
TEST(SectionFile, OfAnotherByteOrderIsTold)
{
    const Scratch folder;
    ASSERT_TRUE(write(folder.at("file")));
    std::string content = contentOf(folder.at("file"));
    for (const std::size_t word : {8U, 12U})
        std::reverse(content.begin() + static_cast<long>(word),
                     content.begin() + static_cast<long>(word) + 4);
    EXPECT_EQ(errorOf(folder, content), SectionError::OtherByteOrder);
}

TEST(SectionFile, OfALengthThatIsNotExpectedIsNotRead)
{
    const Scratch folder;
    ASSERT_TRUE(write(folder.at("file")));
    SectionReader file;
    ASSERT_FALSE(file.Open(folder.at("file").c_str(), "test"));
    EXPECT_EQ(file.Expect("numbers", 16).error, SectionError::OtherLength);
    std::int64_t count = 0;
    EXPECT_EQ(file.Announce("numbers", 8, count).error, SectionError::OtherLength);
    ASSERT_FALSE(file.Expect("numbers", 20));
    std::array<int, 4> tooFew{};
    EXPECT_EQ(file.Take(std::span<int>(tooFew)).error, SectionError::OtherLength);
}

TEST(SectionFile, ThatIsNoneIsNotOpened)
{
    const Scratch folder;
    EXPECT_EQ(read(folder.at("missing")).error, SectionError::NotOpened);
    EXPECT_EQ(read(folder.at("")).error, SectionError::NotOpened);
    ASSERT_EQ(::mkfifo(folder.at("pipe").c_str(), 0600), 0);
    EXPECT_EQ(read(folder.at("pipe")).error, SectionError::NotOpened);
}

TEST(SectionFile, NotCommittedLeavesWhatWasThere)
{
    const Scratch folder;
    folder.file("file", "before");
    {
        SectionWriter file(folder.at("file"), "test");
        file.AddOne("one", 1);
    }
    EXPECT_EQ(contentOf(folder.at("file")), "before");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
    ASSERT_TRUE(write(folder.at("file")));
    EXPECT_FALSE(read(folder.at("file")));
}

TEST(SectionFile, OfTwoWritersAtATimeTheLastOneStays)
{
    const Scratch folder;
    SectionWriter first(folder.at("file"), "test");
    ASSERT_TRUE(write(folder.at("file")));
    first.AddOne("one", 1);
    EXPECT_TRUE(first.Commit());
    EXPECT_EQ(read(folder.at("file")).error, SectionError::OtherSection);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
}

TEST(SectionFile, BehindALinkIsWrittenAndTheLinkStays)
{
    const Scratch folder;
    folder.file("file", "before");
    std::filesystem::create_symlink("file", folder.at("link"));
    std::filesystem::create_symlink("none", folder.at("dangling"));
    ASSERT_TRUE(write(folder.at("link")));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.at("link")));
    EXPECT_FALSE(read(folder.at("file")));
    EXPECT_FALSE(write(folder.at("dangling")));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"dangling", "file", "link"}));
}

TEST(SectionFile, IsNotWrittenWhereNoFileCanBe)
{
    const Scratch folder;
    std::filesystem::create_directory(folder.at("folder"));
    ASSERT_EQ(::mkfifo(folder.at("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(write(folder.at("folder")));
    EXPECT_FALSE(write(folder.at("pipe")));
    EXPECT_FALSE(write(folder.at("none/file")));
    EXPECT_FALSE(write("/proc/file"));
    EXPECT_FALSE(write(""));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"folder", "pipe"}));
    EXPECT_TRUE(std::filesystem::is_fifo(folder.at("pipe")));
}

// A limit on the size of files stands for a disk that is full: the write comes back short, then with an
// error, and here with a signal, too.
TEST(SectionFile, ThatTheDiskDoesNotTakeLeavesWhatWasThere)
{
    const Scratch folder;
    folder.file("file", "before");
    const pid_t child = ::fork();
    if (child == 0) {
        rlimit limit{.rlim_cur = 60, .rlim_max = 60};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::_exit(write(folder.at("file")) ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(contentOf(folder.at("file")), "before");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
}

} // namespace
