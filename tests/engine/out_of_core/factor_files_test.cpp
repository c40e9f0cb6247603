#include "tests/engine/out_of_core/out_of_core_handle.h"

#include <lintrix/engine/out_of_core/factor_files.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::contentOf;
using Velmar::Lintrix::testing::Folder;
using Velmar::Lintrix::testing::OutOfCoreEnvironment;
using Velmar::Lintrix::testing::OutOfCoreHandle;

namespace {

const std::array<std::string, 11> kEndings = {".ind", ".lnz", ".unz", ".jal", ".jau", ".lup",
                                              ".uup", ".lpr", ".upr", ".sin", ".sle"};

std::vector<std::byte> someBytes(std::size_t count, unsigned seed = 1)
{
    std::vector<std::byte> bytes(count);
    unsigned state = seed;
    for (std::byte& byte : bytes) byte = static_cast<std::byte>((state = state * 1103515245 + 12345) >> 16);
    return bytes;
}

void expectTrouble(const Failure& failure, Error error, FileAction action, FileStep step, FactorFile file)
{
    EXPECT_EQ(failure.error, error);
    EXPECT_EQ(failure.internal, static_cast<int>(error));
    EXPECT_EQ(failure.file.action, action);
    EXPECT_EQ(failure.file.step, step);
    EXPECT_EQ(failure.file.file, file);
}

/// What `action` answers in a process of its own, which nothing of it outlives.
int inAnotherProcess(const std::function<int()>& action)
{
    const pid_t child = fork();
    if (child == 0) _exit(action());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + status;
}

/// Files that a handle does not keep, in a folder of their own.
class FactorFiles : public ::testing::Test {
protected:
    FactorFiles()
    {
        environment.set("CFG_PATH", folder.at(""));
        environment.set("PATH", folder.at("f"));
        environment.set("KEEP_FILE", "0");
        made.configure();
    }

    std::vector<std::string> namesOf(int number) const
    {
        std::vector<std::string> names;
        for (const std::string& ending : kEndings) names.push_back("f" + std::to_string(number) + ending);
        std::ranges::sort(names);
        return names;
    }
    std::string pathOf(FactorFile file, int number = 0) const
    {
        return folder.at("f" + std::to_string(number) + kEndings[static_cast<std::size_t>(file)]);
    }
    std::vector<std::string> together(std::vector<std::string> names,
                                      const std::vector<std::string>& more) const
    {
        names.insert(names.end(), more.begin(), more.end());
        std::ranges::sort(names);
        return names;
    }

    Folder folder;
    OutOfCoreEnvironment environment;
    OutOfCoreHandle made;
    Handle& handle = made.handle;
};

TEST_F(FactorFiles, AreElevenWithTheirEndings)
{
    EXPECT_FALSE(holdsFactorFiles(handle));
    EXPECT_FALSE(createFactorFiles(handle));
    EXPECT_TRUE(holdsFactorFiles(handle));
    EXPECT_EQ(folder.names(), namesOf(0));
    for (const std::string& name : folder.names()) {
        struct stat facts {};
        ASSERT_EQ(stat(folder.at(name).c_str(), &facts), 0);
        EXPECT_TRUE(S_ISREG(facts.st_mode));
        EXPECT_EQ(facts.st_mode & 0777, 0600U);
        EXPECT_EQ(facts.st_size, 0);
    }
    removeFactorFiles(handle);
    EXPECT_FALSE(holdsFactorFiles(handle));
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(FactorFiles, AreRemovedOnceAndMadeAgain)
{
    removeFactorFiles(handle);
    EXPECT_FALSE(createFactorFiles(handle));
    removeFactorFiles(handle);
    folder.file("f0.ind", "of somebody else by now");
    removeFactorFiles(handle);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"f0.ind"});
    EXPECT_FALSE(createFactorFiles(handle));
    EXPECT_EQ(folder.names(), together(namesOf(1), {"f0.ind"}));
    removeFactorFiles(handle);
}

TEST_F(FactorFiles, OfAHandleWithoutTheControlAreNone)
{
    std::array<void*, 64> slots{};
    Handle bare(slots.data());
    EXPECT_FALSE(bare.create(1));
    EXPECT_FALSE(holdsFactorFiles(bare));
    removeFactorFiles(bare);
    OpenFactorFiles files;
    EXPECT_EQ(files.open(bare, FileStep::Solve).error, Error::OutOfCoreOpen);
    bare.releaseAll();
}

TEST_F(FactorFiles, AreKeptWhereTheSettingsSaySo)
{
    environment.set("KEEP_FILE", "1");
    made.configure();
    EXPECT_FALSE(createFactorFiles(handle));
    removeFactorFiles(handle);
    EXPECT_FALSE(holdsFactorFiles(handle));
    EXPECT_EQ(folder.names(), namesOf(0));
    EXPECT_FALSE(createFactorFiles(handle));
    EXPECT_EQ(folder.names(), together(namesOf(0), namesOf(1)));
}

TEST_F(FactorFiles, OfTwoHandlesHaveDifferentNumbers)
{
    OutOfCoreHandle other;
    other.configure();
    EXPECT_FALSE(createFactorFiles(handle));
    EXPECT_FALSE(createFactorFiles(other.handle));
    EXPECT_EQ(folder.names(), together(namesOf(0), namesOf(1)));
    removeFactorFiles(handle);
    EXPECT_EQ(folder.names(), namesOf(1));
    EXPECT_FALSE(createFactorFiles(handle)); // the first free one
    EXPECT_EQ(folder.names(), together(namesOf(0), namesOf(1)));
    removeFactorFiles(handle);
    removeFactorFiles(other.handle);
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(FactorFiles, OfAnotherProcessAreLeftAlone)
{
    EXPECT_FALSE(createFactorFiles(handle));
    EXPECT_EQ(inAnotherProcess([] {
                  OutOfCoreHandle other;
                  readOutOfCoreSettings(other.handle, false);
                  const bool fails = bool(createFactorFiles(other.handle));
                  return fails ? 1 : 0; // leaves its files behind
              }),
              0);
    EXPECT_EQ(folder.names(), together(namesOf(0), namesOf(1)));
    removeFactorFiles(handle);
    EXPECT_EQ(folder.names(), namesOf(1));
}

// Each takes a number and gives it back, over and over: two never hold the same one.
TEST_F(FactorFiles, OfManyProcessesAtATimeNeverMeet)
{
    std::vector<pid_t> children;
    for (int process = 0; process < 4; ++process) {
        const pid_t child = fork();
        if (child != 0) {
            children.push_back(child);
            continue;
        }
        const std::vector<std::byte> mine = someBytes(64, static_cast<unsigned>(process));
        std::vector<std::byte> found(64);
        for (int round = 0; round < 30; ++round) {
            OpenFactorFiles files;
            if (createFactorFiles(handle) || files.open(handle, FileStep::Analysis)) _exit(1);
            for (int k = 0; k < kFactorFiles; ++k)
                if (files.write(FactorFile(k), 0, mine)) _exit(2);
            for (int k = 0; k < kFactorFiles; ++k)
                if (files.read(FactorFile(k), 0, found) || found != mine) _exit(3);
            removeFactorFiles(handle);
        }
        _exit(0);
    }
    for (const pid_t child : children) {
        int status = 1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(FactorFiles, OfAnyOtherMakeTheNumberTaken)
{
    for (int taken = 0; taken < kFactorFiles; ++taken) {
        const std::string path = pathOf(FactorFile(taken));
        folder.file(std::filesystem::path(path).filename(), "stale");
        EXPECT_FALSE(createFactorFiles(handle));
        EXPECT_EQ(folder.names(), together(namesOf(1), {std::filesystem::path(path).filename()}));
        EXPECT_EQ(contentOf(path), "stale");
        removeFactorFiles(handle);
        ASSERT_EQ(unlink(path.c_str()), 0);
    }
}

TEST_F(FactorFiles, AreNotMadeThroughALink)
{
    ASSERT_EQ(symlink("victim", folder.at("f0.lnz").c_str()), 0);
    ASSERT_EQ(mkfifo(folder.at("f1.sle").c_str(), 0600), 0);
    ASSERT_EQ(mkdir(folder.at("f2.ind").c_str(), 0700), 0);
    EXPECT_FALSE(createFactorFiles(handle));
    EXPECT_EQ(folder.names(), together(namesOf(3), {"f0.lnz", "f1.sle", "f2.ind"}));
}

TEST_F(FactorFiles, ThatCannotBeMadeAreAFailure)
{
    folder.file("regular", "");
    const std::string longName(255, 'l');
    for (const std::string& prefix : {folder.at("regular") + "/f", folder.at("missing") + "/f",
                                      folder.at("missing/"), std::string("/proc/f"), longName}) {
        SCOPED_TRACE(prefix);
        environment.set("PATH", prefix);
        made.configure();
        expectTrouble(createFactorFiles(handle), Error::OutOfCoreOpen, FileAction::OpenForStoring,
                      FileStep::Analysis, FactorFile::Rows);
        EXPECT_FALSE(holdsFactorFiles(handle));
    }
    EXPECT_EQ(folder.names(), std::vector<std::string>{"regular"});
}

TEST_F(FactorFiles, WithoutADescriptorAreAFailure)
{
    EXPECT_EQ(inAnotherProcess([copy = handle] {
                  const rlimit none{0, 0};
                  setrlimit(RLIMIT_NOFILE, &none);
                  return createFactorFiles(copy).error == Error::OutOfCoreOpen ? 0 : 1;
              }),
              0);
    EXPECT_TRUE(folder.names().empty());
}

/// Files that are there, and open.
class OpenFiles : public FactorFiles {
protected:
    OpenFiles() { EXPECT_FALSE(createFactorFiles(handle)); }
    ~OpenFiles() override { removeFactorFiles(handle); }

    /// What is found at the start of a file.
    std::vector<std::byte> bytesOf(FactorFile file, std::size_t count)
    {
        std::vector<std::byte> bytes(count);
        OpenFactorFiles reader;
        EXPECT_FALSE(reader.open(handle, FileStep::Solve));
        EXPECT_FALSE(reader.read(file, 0, bytes));
        return bytes;
    }
};

TEST_F(OpenFiles, GiveBackWhatWasWritten)
{
    const std::vector<std::byte> bytes = someBytes(100000);
    {
        OpenFactorFiles files;
        ASSERT_FALSE(files.open(handle, FileStep::Factorization));
        for (int k = 0; k < kFactorFiles; ++k)
            EXPECT_FALSE(files.write(FactorFile(k), 4096 * k, {bytes.data() + k, 50000}));
        EXPECT_EQ(files.traffic().bytesWritten, 550000);
        EXPECT_EQ(files.traffic().bytesRead, 0);
        EXPECT_GT(files.traffic().secondsWriting, 0.);
        EXPECT_EQ(files.traffic().secondsReading, 0.);
    }
    OpenFactorFiles files;
    ASSERT_FALSE(files.open(handle, FileStep::Solve));
    for (int k = 0; k < kFactorFiles; ++k) {
        std::vector<std::byte> found(49000);
        EXPECT_FALSE(files.read(FactorFile(k), 4096 * k + 1000, found));
        EXPECT_TRUE(std::equal(found.begin(), found.end(), bytes.begin() + k + 1000));
    }
    EXPECT_EQ(files.traffic().bytesRead, 11 * 49000);
    EXPECT_EQ(files.traffic().bytesWritten, 0);
    EXPECT_GT(files.traffic().secondsReading, 0.);
}

TEST_F(OpenFiles, HoldMoreThanFourGigabytes)
{
    const std::vector<std::byte> bytes = someBytes(1000);
    const std::int64_t far = (std::int64_t{1} << 33) + 123;
    OpenFactorFiles files;
    ASSERT_FALSE(files.open(handle, FileStep::Factorization));
    ASSERT_FALSE(files.write(FactorFile::Lower, far, bytes));
    std::vector<std::byte> found(1000), gap(1000, std::byte{1});
    EXPECT_FALSE(files.read(FactorFile::Lower, far, found));
    EXPECT_EQ(found, bytes);
    EXPECT_FALSE(files.read(FactorFile::Lower, far - 1000, gap));
    EXPECT_EQ(gap, std::vector<std::byte>(1000));
}

TEST_F(OpenFiles, AreOpenedByEachStepUnderItsOwnWords)
{
    const std::set<FactorFile> numbers = {FactorFile::Lower,        FactorFile::Upper,
                                          FactorFile::LowerBlocks,  FactorFile::UpperBlocks,
                                          FactorFile::RowExchanges, FactorFile::ColumnExchanges};
    for (int k = 0; k < kFactorFiles; ++k) {
        const auto file = FactorFile(k);
        ASSERT_EQ(unlink(pathOf(file).c_str()), 0);
        for (const FileStep step : {FileStep::Analysis, FileStep::Factorization, FileStep::Solve}) {
            const bool stores =
                step == FileStep::Analysis || (step == FileStep::Factorization && numbers.contains(file));
            OpenFactorFiles files;
            expectTrouble(files.open(handle, step), Error::OutOfCoreOpen,
                          stores ? FileAction::OpenForStoring : FileAction::OpenForReading, step, file);
        }
        folder.file(std::filesystem::path(pathOf(file)).filename(), "");
    }
    OpenFactorFiles files;
    EXPECT_FALSE(files.open(handle, FileStep::Solve));
}

TEST_F(OpenFiles, AreNotWrittenByASolve)
{
    OpenFactorFiles files;
    ASSERT_FALSE(files.open(handle, FileStep::Solve));
    expectTrouble(files.write(FactorFile::Lower, 0, someBytes(8)), Error::OutOfCoreTransfer,
                  FileAction::Write, FileStep::Solve, FactorFile::Lower);
}

TEST_F(OpenFiles, ThatAreNoRegularFilesAnyMoreAreRefused)
{
    const std::string path = pathOf(FactorFile::Columns);
    const auto expectRefusal = [&] {
        OpenFactorFiles files;
        expectTrouble(files.open(handle, FileStep::Solve), Error::OutOfCoreOpen, FileAction::OpenForReading,
                      FileStep::Solve, FactorFile::Columns);
        std::vector<std::byte> cell(1);
        EXPECT_TRUE(files.read(FactorFile::Rows, 0, cell)) << "the files opened before it are closed again";
    };
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    expectRefusal();
    ASSERT_EQ(rmdir(path.c_str()), 0);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expectRefusal();
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(symlink("/dev/zero", path.c_str()), 0);
    expectRefusal();
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(symlink("f0.ind", path.c_str()), 0);
    expectRefusal();
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(symlink(path.c_str(), path.c_str()), 0);
    expectRefusal();
}

TEST_F(OpenFiles, AreClosedAtTheEnd)
{
    const int next = dup(2);
    ::close(next);
    {
        OpenFactorFiles files;
        ASSERT_FALSE(files.open(handle, FileStep::Solve));
        ASSERT_FALSE(files.open(handle, FileStep::Factorization)); // once more: no descriptor is lost
    }
    const int after = dup(2);
    ::close(after);
    EXPECT_EQ(after, next);
}

TEST_F(OpenFiles, ThatAreClosedAreNeitherReadNorWritten)
{
    OpenFactorFiles files;
    std::vector<std::byte> cell(1);
    EXPECT_EQ(files.read(FactorFile::Rows, 0, cell).error, Error::OutOfCoreTransfer);
    EXPECT_EQ(files.write(FactorFile::Rows, 0, cell).error, Error::OutOfCoreTransfer);
    EXPECT_EQ(files.traffic().bytesRead + files.traffic().bytesWritten, 0);
}

TEST_F(OpenFiles, CutOffAreAFailure)
{
    const std::vector<std::byte> bytes = someBytes(1000);
    OpenFactorFiles files;
    ASSERT_FALSE(files.open(handle, FileStep::Factorization));
    ASSERT_FALSE(files.write(FactorFile::Upper, 0, bytes));
    ASSERT_EQ(truncate(pathOf(FactorFile::Upper).c_str(), 999), 0);
    std::vector<std::byte> found(1000);
    expectTrouble(files.read(FactorFile::Upper, 0, found), Error::OutOfCoreTransfer, FileAction::Read,
                  FileStep::Factorization, FactorFile::Upper);
    EXPECT_FALSE(files.read(FactorFile::Upper, 0, {found.data(), 999}));
    EXPECT_TRUE(files.read(FactorFile::Upper, 5000, {found.data(), 1}));
    EXPECT_TRUE(files.read(FactorFile::Upper, -1, {found.data(), 1}));
    EXPECT_TRUE(files.write(FactorFile::Upper, -1, bytes));
}

TEST_F(OpenFiles, TakeTransfersFromSeveralThreads)
{
    constexpr std::size_t kThreads = 4, kBlock = 4096, kBlocks = 50;
    OpenFactorFiles files;
    ASSERT_FALSE(files.open(handle, FileStep::Factorization));
    std::array<int, kThreads> failures{};
    {
        std::vector<std::jthread> team;
        for (std::size_t t = 0; t < kThreads; ++t) {
            team.emplace_back([&, t] {
                const std::vector<std::byte> mine = someBytes(kBlock, static_cast<unsigned>(t));
                std::vector<std::byte> found(kBlock);
                for (std::size_t k = 0; k < kBlocks; ++k) {
                    const auto offset = static_cast<std::int64_t>((k * kThreads + t) * kBlock);
                    failures[t] += bool(files.write(FactorFile::Lower, offset, mine));
                    failures[t] += bool(files.read(FactorFile::Lower, offset, found)) || found != mine;
                }
            });
        }
    }
    EXPECT_EQ(std::accumulate(failures.begin(), failures.end(), 0), 0);
    EXPECT_EQ(files.traffic().bytesRead, static_cast<std::int64_t>(kThreads * kBlocks * kBlock));
    EXPECT_EQ(files.traffic().bytesWritten, files.traffic().bytesRead);
}

// Arrays with their check sums.

/// An array stands in a file, and the file is open for a solve.
class StoredArray : public OpenFiles {
protected:
    StoredArray()
    {
        OpenFactorFiles writer;
        EXPECT_FALSE(writer.open(handle, FileStep::Factorization));
        EXPECT_FALSE(writer.writeArray(FactorFile::LowerBlocks, 32, bytes));
        EXPECT_FALSE(writer.write(FactorFile::LowerBlocks, 32 + OpenFactorFiles::arraySize(1001), bytes));
        EXPECT_EQ(writer.traffic().bytesWritten, 1017 + 1001);
        EXPECT_FALSE(files.open(handle, FileStep::Solve));
    }
    Failure read(std::size_t count)
    {
        found.assign(count, std::byte{});
        return files.readArray(FactorFile::LowerBlocks, 32, found);
    }
    void flip(std::int64_t place)
    {
        std::fstream file(pathOf(FactorFile::LowerBlocks), std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(place);
        const char cell = static_cast<char>(file.get());
        file.seekp(place);
        file.put(static_cast<char>(cell ^ 4));
    }
    void expectChanged(const Failure& failure) const
    {
        expectTrouble(failure, Error::OutOfCoreTransfer, FileAction::Check, FileStep::Solve,
                      FactorFile::LowerBlocks);
    }

    std::vector<std::byte> bytes = someBytes(1001), found;
    OpenFactorFiles files;
};

TEST_F(StoredArray, ComesBack)
{
    EXPECT_FALSE(read(1001));
    EXPECT_EQ(found, bytes);
    EXPECT_EQ(files.traffic().bytesRead, 1017);
}

TEST_F(StoredArray, OfAnotherLengthIsRefused)
{
    expectChanged(read(1000));
    expectChanged(read(1002));
    expectChanged(read(0));
}

TEST_F(StoredArray, WithAnyByteChangedIsRefused)
{
    for (std::int64_t place = 32; place < 32 + 1017; ++place) {
        flip(place);
        expectChanged(read(1001));
        flip(place);
    }
    flip(31);
    flip(32 + 1017);
    EXPECT_FALSE(read(1001));
    EXPECT_EQ(found, bytes);
}

TEST_F(StoredArray, ThatWasCutOffIsRefused)
{
    for (const off_t length : {1048, 48, 47, 32, 0}) {
        ASSERT_EQ(truncate(pathOf(FactorFile::LowerBlocks).c_str(), length), 0);
        expectTrouble(read(1001), Error::OutOfCoreTransfer, FileAction::Read, FileStep::Solve,
                      FactorFile::LowerBlocks);
    }
}

TEST_F(StoredArray, OverwrittenWithZerosIsRefused)
{
    ASSERT_EQ(truncate(pathOf(FactorFile::LowerBlocks).c_str(), 0), 0);
    ASSERT_EQ(truncate(pathOf(FactorFile::LowerBlocks).c_str(), 5000), 0);
    expectChanged(read(1001));
}

TEST_F(StoredArray, MayBeEmpty)
{
    OpenFactorFiles writer;
    ASSERT_FALSE(writer.open(handle, FileStep::Factorization));
    EXPECT_FALSE(writer.writeArray(FactorFile::UpperBlocks, 0, {}));
    EXPECT_FALSE(writer.readArray(FactorFile::UpperBlocks, 0, {}));
    expectTrouble(writer.changed(FactorFile::Upper), Error::OutOfCoreTransfer, FileAction::Check,
                  FileStep::Factorization, FactorFile::Upper);
}

// A full disk, and a limit of the process on the size of a file.

void limitFileSize(rlim_t bytes)
{
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}

bool isPending(int signal)
{
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, signal) == 1;
}

bool isBlocked(int signal)
{
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    return sigismember(&blocked, signal) == 1;
}

TEST_F(OpenFiles, BeyondTheLimitAreAFailureAndNoSignal)
{
    EXPECT_EQ(inAnotherProcess([this] {
                  OpenFactorFiles files;
                  if (files.open(handle, FileStep::Factorization)) return 1;
                  limitFileSize(10000);
                  const Failure failure = files.write(FactorFile::Lower, 0, someBytes(20000));
                  if (failure.error != Error::OutOfCoreTransfer || failure.internal != -11) return 2;
                  if (failure.file.action != FileAction::Write || failure.file.file != FactorFile::Lower)
                      return 3;
                  if (files.writeArray(FactorFile::Upper, 9990, someBytes(1)).error !=
                      Error::OutOfCoreTransfer)
                      return 4;
                  if (isPending(SIGXFSZ) || isBlocked(SIGXFSZ)) return 5;
                  return files.write(FactorFile::Upper, 0, someBytes(10000)) ? 6 : 0;
              }),
              0);
    EXPECT_EQ(bytesOf(FactorFile::Upper, 10000), someBytes(10000));
}

TEST_F(OpenFiles, BeyondTheLimitLeaveASignalThatWaited)
{
    EXPECT_EQ(inAnotherProcess([this] {
                  sigset_t set;
                  sigemptyset(&set);
                  sigaddset(&set, SIGXFSZ);
                  pthread_sigmask(SIG_BLOCK, &set, nullptr);
                  raise(SIGXFSZ);
                  OpenFactorFiles files;
                  if (files.open(handle, FileStep::Factorization)) return 1;
                  limitFileSize(10000);
                  if (!files.write(FactorFile::Lower, 10000, someBytes(1))) return 2;
                  return isPending(SIGXFSZ) && isBlocked(SIGXFSZ) ? 0 : 3;
              }),
              0);
}

TEST_F(OpenFiles, BeyondTheLimitAreAFailureWhateverIsDoneWithTheSignal)
{
    for (const auto action : {SIG_IGN, SIG_DFL}) {
        EXPECT_EQ(inAnotherProcess([&] {
                      signal(SIGXFSZ, action);
                      OpenFactorFiles files;
                      if (files.open(handle, FileStep::Factorization)) return 1;
                      limitFileSize(0);
                      for (int k = 0; k < 3; ++k)
                          if (!files.write(FactorFile::Lower, 0, someBytes(1))) return 2;
                      return 0;
                  }),
                  0);
    }
}

} // namespace
