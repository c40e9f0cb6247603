// Systems whose factors are several times the configured core, through the entry.

#include "tests/engine/out_of_core/out_of_core_system.h"
#include "tests/support/memory_watch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Velmar::Lintrix::detail::engine;

namespace Velmar::Lintrix::testing {
namespace {

constexpr int kSide = 20;

class OutOfCoreSolves : public ::testing::TestWithParam<int> {};

TEST_P(OutOfCoreSolves, HaveTheBitsOfMemoryOnOneThread)
{
    const ThreadSetting one(1);
    for (const int count : {1, 3, 20}) {
        OutOfCoreSystem files(kSide, GetParam(), leastCore(kSide, GetParam(), count));
        files.setRightSides(count);
        ASSERT_EQ(files.call.run(13), 0);
        EXPECT_EQ(files.call.iparm(57), 1);
        OutOfCoreSystem memory(kSide, GetParam(), 2000);
        memory.setRightSides(count);
        ASSERT_EQ(memory.call.run(13), 0);
        EXPECT_EQ(memory.call.iparm(57), 0);
        EXPECT_EQ(files.call.x, memory.call.x);
        for (const int k : {14, 18, 22, 23}) EXPECT_EQ(files.call.iparm(k), memory.call.iparm(k)) << k;
    }
}

TEST_P(OutOfCoreSolves, OnTwoThreadsWithAndWithoutImprovement)
{
    const ThreadSetting two(2);
    for (const int mode : {1, 2, 22}) {
        OutOfCoreSystem system(kSide, GetParam(), leastCore(kSide, GetParam()), mode);
        ASSERT_EQ(system.call.run(12), 0);
        EXPECT_EQ(system.call.iparm(57), 1);
        EXPECT_EQ(system.call.iparm(60), mode == 1 ? 1 : 2);
        for (const auto& [refine, iterate] : {std::pair{0, 0}, {2, 0}, {-2, 0}, {0, 61}, {0, 62}}) {
            for (const int count : {1, 9}) {
                system.setRightSides(count);
                const std::vector<double> b = system.call.b;
                system.call.set(8, refine);
                system.call.set(4, iterate);
                ASSERT_EQ(system.call.run(33), 0) << refine << ", " << iterate;
                EXPECT_LT(residualOf(system.call, b), iterate == 0 ? kSolved : 1e-6);
            }
        }
    }
}

TEST_P(OutOfCoreSolves, InParts)
{
    const ThreadSetting one(1);
    OutOfCoreSystem system(kSide, GetParam(), leastCore(kSide, GetParam(), 3));
    system.setRightSides(3);
    system.call.set(26, 1);
    ASSERT_EQ(system.call.run(13), 0);
    const std::vector<double> whole = system.call.x, b = system.call.b;
    for (const int phase : {331, 332, 333}) {
        ASSERT_EQ(system.call.run(phase), 0);
        system.call.b = system.call.x;
    }
    EXPECT_EQ(system.call.x, whole);
    EXPECT_LT(residualOf(system.call, b), kSolved);
}

TEST_P(OutOfCoreSolves, TransposedAndIntoB)
{
    const ThreadSetting two(2);
    OutOfCoreSystem system(kSide, GetParam(), leastCore(kSide, GetParam()));
    system.call.set(12, 1);
    system.call.set(6, 1);
    const std::vector<double> b = system.call.b;
    ASSERT_EQ(system.call.run(13), 0);
    EXPECT_EQ(system.call.b, system.call.x);
    system.call.set(12, GetParam() % 2 != 0 ? 1 : 0);
    EXPECT_LT(residualOf(system.call, b), kSolved);
}

// Bytes that this process has taken from files.
std::int64_t bytesRead()
{
    std::ifstream io("/proc/self/io");
    std::string name;
    std::int64_t bytes = 0;
    while (io >> name >> bytes && name != "rchar:") {
    }
    return bytes;
}

// The diagonal blocks stand in L, and once more beside U: neither pass of unsymmetric storage needs the
// panels of the other. In symmetric storage both need L.
TEST_P(OutOfCoreSolves, ReadWhatEachPassNeeds)
{
    const ThreadSetting one(1);
    for (const int transposed : {0, 1}) {
        OutOfCoreSystem system(kSide, GetParam(), leastCore(kSide, GetParam()));
        system.call.set(12, transposed);
        ASSERT_EQ(system.call.run(12), 0);
        std::int64_t most = 1 << 20; // of the structure, read to be compared, and of tables
        for (const std::string& name : system.folder.names())
            most += (name.ends_with(".lnz") && isSymmetricStorage(GetParam()) ? 2 : 1) *
                    static_cast<std::int64_t>(std::filesystem::file_size(system.folder.at(name)));
        system.call.set(26, 1);
        const std::int64_t before = bytesRead();
        ASSERT_EQ(system.call.run(33), 0);
        EXPECT_LE(bytesRead() - before, most);
    }
}

// From a room for the largest supernode alone to one for the whole factor: chunks stand elsewhere each time,
// and what a pass finds of the one before it changes. Refinement passes more than once.
TEST_P(OutOfCoreSolves, HaveTheBitsOfMemoryInEveryCore)
{
    const ThreadSetting one(1);
    const int least = leastCore(kSide, GetParam());
    OutOfCoreSystem memory(kSide, GetParam(), 2000);
    memory.call.set(8, 2);
    ASSERT_EQ(memory.call.run(13), 0);
    for (const int more : {0, 1, 2, 5, 12}) {
        OutOfCoreSystem files(kSide, GetParam(), least + more, 2);
        files.call.set(8, 2);
        ASSERT_EQ(files.call.run(13), 0);
        EXPECT_EQ(files.call.x, memory.call.x) << least + more;
        const ThreadSetting three(3);
        const std::vector<double> b = files.call.b;
        ASSERT_EQ(files.call.run(33), 0);
        EXPECT_LT(residualOf(files.call, b), kSolved);
    }
}

INSTANTIATE_TEST_SUITE_P(Types, OutOfCoreSolves, ::testing::Values(1, 2, -2, 3, 4, -4, 6, 11, 13));

class OutOfCoreMemory : public ::testing::TestWithParam<int> {};

// Counted by the allocators, from the analysis on: what it takes itself depends on no core.
TEST_P(OutOfCoreMemory, OfAFactorFourTimesTheCoreStaysWithinIt)
{
    const int side = isComplex(GetParam()) || !isSymmetricStorage(GetParam()) ? 28 : 36;
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads);
        OutOfCoreSystem inMemory(side, GetParam(), 2000);
        inMemory.call.set(18, -1);
        ASSERT_EQ(inMemory.call.run(11), 0);
        const std::int64_t factorBytes =
            std::int64_t{inMemory.call.iparm(18)} * (isComplex(GetParam()) ? 16 : 8);
        const auto core = static_cast<int>(factorBytes >> 22);
        ASSERT_GE(core, inMemory.call.iparm(63));
        inMemory.call.release();

        MemoryWatch watch;
        OutOfCoreSystem system(side, GetParam(), core);
        system.call.set(8, 2);
        ASSERT_EQ(system.call.run(11), 0);
        EXPECT_EQ(system.call.iparm(57), 1);
        for (const int phase : {22, 33, 23}) {
            const std::vector<double> b = system.call.b;
            watch.restartPeak();
            ASSERT_EQ(system.call.run(phase), 0);
            EXPECT_LE(watch.peak().bytes, std::int64_t{core} << 20) << "phase " << phase;
            EXPECT_TRUE(phase == 22 || residualOf(system.call, b) < kSolved);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Types, OutOfCoreMemory, ::testing::Values(1, 2, -2, 3, 4, -4, 6, 11, 13));

TEST(OutOfCoreFactors, ManyAreHeldAtOnceAndReplaced)
{
    OutOfCoreSystem system(kSide, 11, leastCore(kSide, 11), 2);
    system.call.maxfct = 3;
    const std::vector<double> first = system.call.A.a, b = system.call.b;
    ASSERT_EQ(system.call.run(11), 0);
    const auto scaleBy = [&](double factor) {
        for (std::size_t k = 0; k < first.size(); ++k) system.call.A.a[k] = factor * first[k];
    };
    for (const int mnum : {3, 1, 2, 1}) {
        system.call.mnum = mnum;
        scaleBy(mnum);
        ASSERT_EQ(system.call.run(22), 0);
    }
    for (const int mnum : {1, 2, 3}) {
        system.call.mnum = mnum;
        scaleBy(mnum);
        ASSERT_EQ(system.call.run(33), 0);
        EXPECT_LT(residualOf(system.call, b), kSolved) << mnum;
    }
    system.call.mnum = 2;
    EXPECT_EQ(system.call.run(0), 0);
    scaleBy(2);
    ASSERT_EQ(system.call.run(33), 0) << "made anew";
    EXPECT_LT(residualOf(system.call, b), kSolved);
}

TEST(OutOfCoreFactors, InSinglePrecision)
{
    OutOfCoreSystem system(kSide, 2, leastCore(kSide, 2), 2);
    std::vector<float> a(system.call.A.a.begin(), system.call.A.a.end());
    std::vector<float> b(system.call.b.begin(), system.call.b.end());
    const std::vector<double> values(a.begin(), a.end()), sides(b.begin(), b.end());
    std::memcpy(system.call.A.a.data(), a.data(), a.size() * sizeof(float));
    std::memcpy(system.call.b.data(), b.data(), b.size() * sizeof(float));
    system.call.set(28, 1);
    ASSERT_EQ(system.call.run(13), 0);
    EXPECT_EQ(system.call.iparm(57), 1);
    std::memcpy(b.data(), system.call.x.data(), b.size() * sizeof(float));
    system.call.x.assign(b.begin(), b.end());
    system.call.A.a = values;
    EXPECT_LT(residualOf(system.call, sides), 1e-5);
}

TEST(OutOfCoreFactors, HaveElevenFilesUntilTheyAreReleased)
{
    OutOfCoreSystem system(6, 11, 50, 2);
    ASSERT_EQ(system.call.run(11), 0);
    EXPECT_EQ(system.folder.names().size(), 11u);
    ASSERT_EQ(system.call.run(13), 0);
    EXPECT_EQ(system.folder.names().size(), 11u);
    system.call.release();
    EXPECT_EQ(system.folder.names().size(), 0u);
}

// Of the files with this ending in the folder: their length, and what they take of the disk.
struct FileRoom {
    FileRoom(const Folder& folder, const std::string& ending)
    {
        for (const std::string& name : folder.names()) {
            struct stat facts {};
            if (!name.ends_with(ending) || ::stat(folder.at(name).c_str(), &facts) != 0) continue;
            length += facts.st_size;
            taken += 512 * std::int64_t{facts.st_blocks};
        }
    }
    std::int64_t length = 0, taken = 0;
};

// Whether the file system of the folder gives back what is inside of a file.
bool hasHoles(const Folder& folder)
{
    constexpr int kSize = 1 << 20;
    const int file = ::open(folder.file("probe", std::string(kSize, 'x')).c_str(), O_RDWR);
    const bool has = ::fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, kSize) == 0;
    ::close(file);
    std::filesystem::remove(folder.at("probe"));
    return has;
}

TEST(OutOfCoreFactors, ThatAreReleasedLeaveTheDisk)
{
    const std::pair<int, std::string> files[] = {{-2, ".lnz"}, {13, ".lnz"}, {13, ".unz"}};
    for (const auto& file : files) {
        OutOfCoreSystem system(kSide, file.first, 2000, 2);
        const std::vector<double> b = system.call.b;
        const auto room = [&] { return FileRoom(system.folder, file.second); };
        const auto run = [&](int phase, int mnum) {
            system.call.mnum = mnum;
            return system.call.run(phase);
        };
        system.call.maxfct = 2;
        ASSERT_EQ(run(11, 1), 0);
        for (const int mnum : {1, 2}) ASSERT_EQ(run(22, mnum), 0);
        const std::int64_t both = room().length;
        EXPECT_GT(both, 0);
        EXPECT_EQ(run(0, 1), 0);
        if (hasHoles(system.folder)) {
            EXPECT_LT(room().taken, both / 2 + (64 << 10));
        }
        ASSERT_EQ(run(33, 2), 0) << "the other factor is as it was";
        EXPECT_LT(residualOf(system.call, b), kSolved);
        EXPECT_EQ(run(0, 2), 0);
        EXPECT_EQ(room().length, both / 2);
        ASSERT_EQ(run(33, 1), 0) << "made anew";
        EXPECT_LT(residualOf(system.call, b), kSolved);
        EXPECT_EQ(run(0, 1), 0);
        EXPECT_EQ(room().length, 0);
        EXPECT_EQ(system.folder.names().size(), 11U);
    }
}

// Whoever has taken the place of a file keeps what is in it.
TEST(OutOfCoreFactors, ThatAreReleasedLeaveTheFilesOfOthersAlone)
{
    OutOfCoreSystem system(8, 11, 50, 2);
    ASSERT_EQ(system.call.run(12), 0);
    for (const std::string& name : system.folder.names()) system.folder.file(name, "somebody's own");
    EXPECT_EQ(system.call.run(0), 0);
    for (const std::string& name : system.folder.names())
        EXPECT_EQ(contentOf(system.folder.at(name)), "somebody's own");
    EXPECT_EQ(system.call.run(33), -11);
    for (const std::string& name : system.folder.names()) std::filesystem::remove(system.folder.at(name));
    EXPECT_EQ(system.call.run(0), 0);
}

TEST(OutOfCoreFactors, StayWhereTheyAreToBeKept)
{
    OutOfCoreSystem system(6, 11, 50, 2);
    system.environment.set("KEEP_FILE", "1");
    ASSERT_EQ(system.call.run(13), 0);
    system.call.release();
    EXPECT_EQ(system.folder.names().size(), 11u);
}

TEST(OutOfCoreFactors, OfTwoHandlesDoNotDisturbEachOther)
{
    OutOfCoreSystem one(kSide, 11, leastCore(kSide, 11), 2);
    EngineCall two(gridOf(kSide, 1), 1);
    two.set(60, 2);
    two.b = one.call.b;
    two.x = one.call.x;
    const std::vector<double> b = one.call.b;
    ASSERT_EQ(one.call.run(11), 0);
    ASSERT_EQ(two.run(11), 0);
    EXPECT_EQ(one.folder.names().size(), 22u);
    ASSERT_EQ(one.call.run(22), 0);
    ASSERT_EQ(two.run(22), 0);
    ASSERT_EQ(one.call.run(33), 0);
    ASSERT_EQ(two.run(33), 0);
    EXPECT_LT(residualOf(one.call, b), kSolved);
    EXPECT_LT(residualOf(two, b), kSolved);
}

TEST(OutOfCoreFactors, NeedTheCoreThatIsTold)
{
    OutOfCoreSystem system(kSide, 11, 1, 2);
    const auto [error, text] = system.call.runPrinting(11, 1);
    EXPECT_EQ(error, -9);
    EXPECT_GT(system.call.iparm(63), 1);
    EXPECT_NE(text.find("*** Error in PARDISO  ( not enough mem. for OOC) error_num= "), std::string::npos);
    EXPECT_EQ(system.folder.names().size(), 0u);
    system.environment.set("MAX_CORE_SIZE", std::to_string(system.call.iparm(63)));
    EXPECT_EQ(system.call.run(13), 0);
}

// What the folder is at a solve, one file after another.
class OutOfCoreFaults : public ::testing::TestWithParam<std::string> {
protected:
    OutOfCoreFaults() : system_(8, 11, 50, 2)
    {
        EXPECT_EQ(system_.call.run(12), 0);
        for (const std::string& name : system_.folder.names()) {
            if (name.ends_with(GetParam())) file_ = system_.folder.at(name);
        }
        EXPECT_FALSE(file_.empty());
        EXPECT_EQ(system_.call.run(33), 0);
    }
    void expectError(int error, const std::string& message)
    {
        for (const int phase : {33, 33}) {
            const auto [found, text] = system_.call.runPrinting(phase, 1);
            EXPECT_EQ(found, error);
            EXPECT_NE(text.find(message), std::string::npos) << text;
            EXPECT_EQ(system_.call.run(phase), error);
        }
    }

    OutOfCoreSystem system_;
    std::string file_;
};

TEST_P(OutOfCoreFaults, AChangedByteIsFound)
{
    const auto size = std::filesystem::file_size(file_);
    for (const auto place : {std::uintmax_t{0}, size / 2, size - 1}) {
        std::fstream stream(file_, std::ios::in | std::ios::out | std::ios::binary);
        stream.seekg(static_cast<std::streamoff>(place));
        const char before = static_cast<char>(stream.get());
        stream.seekp(static_cast<std::streamoff>(place));
        stream.put(static_cast<char>(before ^ 16)).flush();
        expectError(-11, " PARDISO_OOC_");
        stream.seekp(static_cast<std::streamoff>(place));
        stream.put(before).flush();
        EXPECT_EQ(system_.call.run(33), 0);
    }
}

// A changed block among many, in panels that several threads share.
TEST(OutOfCoreFactors, ThatAreLargeAreCheckedPartByPart)
{
    for (const int mtype : {-2, 11}) {
        OutOfCoreSystem system(24, mtype, 2000, 2);
        ASSERT_EQ(system.call.run(12), 0);
        for (const std::string& name : system.folder.names()) {
            const bool isUpper = name.ends_with(".unz") && !isSymmetricStorage(mtype);
            if (!isUpper && !name.ends_with(".lnz")) continue;
            const std::string path = system.folder.at(name);
            std::fstream stream(path, std::ios::in | std::ios::out | std::ios::binary);
            const auto size = std::filesystem::file_size(path);
            std::mt19937_64 random(3);
            for (int k = 0; k < 40; ++k) {
                const auto place = static_cast<std::streamoff>(random() % size);
                stream.seekg(place);
                const char before = static_cast<char>(stream.get());
                stream.seekp(place);
                stream.put(static_cast<char>(before ^ 1)).flush();
                for (const int threads : {1, 2}) {
                    const ThreadSetting setting(threads);
                    EXPECT_EQ(system.call.run(33), -11) << name << ", byte " << place;
                }
                stream.seekp(place);
                stream.put(before).flush();
            }
        }
        const std::vector<double> b = system.call.b;
        EXPECT_EQ(system.call.run(33), 0);
        EXPECT_LT(residualOf(system.call, b), kSolved);
    }
}

TEST_P(OutOfCoreFaults, AFileCutOffIsFound)
{
    std::filesystem::resize_file(file_, std::filesystem::file_size(file_) - 1);
    expectError(-11, " PARDISO_OOC_");
}

TEST_P(OutOfCoreFaults, AMissingFileIsFound)
{
    std::filesystem::remove(file_);
    expectError(-10, " PARDISO_OOC_OPEN_FILE_ERROR occured: solve step: open file for reading ");
    EXPECT_EQ(system_.call.run(22), -10);
    EXPECT_EQ(system_.call.run(13), 0);
    EXPECT_EQ(system_.folder.names().size(), 11u);
}

TEST_P(OutOfCoreFaults, ANewFactorMendsWhatIsLost)
{
    const bool isOfFactor = GetParam() != ".ind" && GetParam() != ".sin" && GetParam() != ".sle" &&
                            GetParam() != ".lpr" && GetParam() != ".upr";
    std::filesystem::resize_file(file_, 5);
    const std::vector<double> b = system_.call.b;
    EXPECT_EQ(system_.call.run(23), isOfFactor ? 0 : -11);
    if (isOfFactor) {
        EXPECT_LT(residualOf(system_.call, b), kSolved);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, OutOfCoreFaults,
                         ::testing::Values(".ind", ".lnz", ".unz", ".jal", ".jau", ".lup", ".uup", ".lpr",
                                           ".upr", ".sin", ".sle"),
                         [](const auto& ending) { return ending.param.substr(1); });

TEST(OutOfCoreFactors, InAFolderThatIsNoneCannotBeMade)
{
    OutOfCoreSystem system(6, 11, 50, 2);
    std::ofstream(system.folder.at("file")) << "x";
    system.environment.set("PATH", system.folder.at("file/factor"));
    const auto [error, text] = system.call.runPrinting(13, 1);
    EXPECT_EQ(error, -10);
    EXPECT_NE(text.find(" PARDISO_OOC_OPEN_FILE_ERROR occured: do_all: open file for storing lindx"),
              std::string::npos)
        << text;
}

} // namespace
} // namespace Velmar::Lintrix::testing
