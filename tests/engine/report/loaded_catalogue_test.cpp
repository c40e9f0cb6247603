// Catalogues in files: by name through the loader, and through calls in processes of their own, since a
// process loads once.

#include "tests/engine/engine_call.h"
#include "tests/engine/report/catalogue_text.h"
#include "tests/engine/report/named_locale.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/files.h"

#include <lintrix/engine/report/loaded_catalogue.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;
using ::testing::ExitedWithCode;

const std::string kTitleLine = "lintrix messages 1\n";
const std::string kGerman = kTitleLine + identifierOf(Message::FactorDeleted) +
                            " L und U von Matrix %d sind weg\n" + identifierOf(Message::Progress) +
                            " %d vom Hundert %%\n";

bool isLoaded(const std::string& path)
{
    const Catalogue catalogue = loadCatalogue(path.c_str());
    const bool hasText =
        std::ranges::any_of(catalogue.texts, [](const auto& text) { return text.has_value(); });
    EXPECT_EQ(hasText, catalogue.file.get() != nullptr);
    return hasText;
}

TEST(CatalogueFile, IsLoaded)
{
    const Scratch folder;
    EXPECT_TRUE(isLoaded(folder.file("german", kGerman)));
    EXPECT_TRUE(isLoaded(folder.file("built_in", builtInCatalogue())));
    std::filesystem::create_symlink(folder.at("german"), folder.at("link"));
    EXPECT_TRUE(isLoaded(folder.at("link")));
}

TEST(CatalogueFile, MayHave1MiBAndNoByteMore)
{
    const Scratch folder;
    std::string file = kGerman + "#";
    file.append((std::size_t{1} << 20) - file.size() - 1, 'x');
    EXPECT_TRUE(isLoaded(folder.file("largest", file + "\n")));
    EXPECT_FALSE(isLoaded(folder.file("larger", file + "x\n")));
}

TEST(CatalogueFile, ThatIsNoneOrDamagedLeavesTheBuiltInRows)
{
    const Scratch folder;
    EXPECT_FALSE(isLoaded(folder.at("missing")));
    EXPECT_FALSE(isLoaded(folder.at("")));
    EXPECT_FALSE(isLoaded("/dev/zero"));
    EXPECT_FALSE(isLoaded("/proc/self/maps"));
    ASSERT_EQ(mkfifo(folder.at("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(isLoaded(folder.at("pipe"))) << "and nobody waits for the other end";
    EXPECT_FALSE(isLoaded(folder.file("empty", "")));
    EXPECT_FALSE(isLoaded(folder.file("no_rows", kTitleLine)));
    EXPECT_FALSE(isLoaded(folder.file("twice", kGerman + kGerman.substr(kTitleLine.size()))));
    EXPECT_FALSE(isLoaded(folder.file("cut", kGerman.substr(0, kGerman.size() - 1))));
}

TEST(CatalogueFile, ForWhichThereIsNoMemoryLeavesTheBuiltInRows)
{
    const Scratch folder;
    const std::string path = folder.file("german", kGerman);
    const FailingAllocator memory(0);
    EXPECT_FALSE(isLoaded(path));
}

// Each of what follows in a process of its own.

class LoadedCatalogueDeathTest : public ::testing::Test {
protected:
    LoadedCatalogueDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

/// Standard output on standard error, which the tests look at, in a current folder of its own.
class OwnFolder {
public:
    OwnFolder()
    {
        std::filesystem::current_path(folder_.at(""));
        std::fflush(stdout);
        dup2(2, 1);
    }
    static void put(const std::string& number, std::string_view content)
    {
        std::filesystem::create_directories(number);
        const Scratch source;
        std::filesystem::copy_file(source.file("mkl_msg.dll", content), number + "/mkl_msg.dll",
                                   std::filesystem::copy_options::overwrite_existing);
    }
    ~OwnFolder() { std::fflush(stdout); }

private:
    Scratch folder_;
};

template <class Action>
[[noreturn]] void inOwnFolder(Action action)
{
    {
        const OwnFolder folder;
        action();
    }
    std::exit(0);
}

/// Releases the factor of a call under way, which prints a line that the German catalogue has.
void releaseFactor(int level)
{
    EngineCall call(tridiagonal(4));
    call.run(12);
    call.msglvl = level;
    call.run(0);
    call.msglvl = 0;
}

constexpr const char* kEnglishReport =
    "\n================ PARDISO: solving a real nonsymmetric system ================\n"
    "Summary PARDISO: \\( clean \\)\n================\n"
    " L&U for matrix number 1 deleted\n";
constexpr const char* kGermanReport =
    "\n================ PARDISO: solving a real nonsymmetric system ================\n"
    "Summary PARDISO: \\( clean \\)\n================\n"
    "L und U von Matrix 1 sind weg\n";

std::string whole(const std::string& text)
{
    return "^" + text + "$";
}

std::string twice(const char* text)
{
    std::string both(text);
    both += text;
    return both;
}

TEST_F(LoadedCatalogueDeathTest, ReplacesTheTextsThatItHas)
{
    const auto report = [] {
        OwnFolder::put("1033", kGerman);
        releaseFactor(1);
    };
    EXPECT_EXIT(inOwnFolder(report), ExitedWithCode(0), whole(kGermanReport));
}

TEST_F(LoadedCatalogueDeathTest, OfAnotherLocaleOrDamagedIsNotUsed)
{
    const auto report = [] {
        OwnFolder::put("1031", kGerman);
        OwnFolder::put("1033", kGerman + "80000000 %d %d\n");
        releaseFactor(1);
    };
    EXPECT_EXIT(inOwnFolder(report), ExitedWithCode(0), whole(kEnglishReport));
}

TEST_F(LoadedCatalogueDeathTest, IsLookedForOnceAndNotBeforeSomethingIsPrinted)
{
    const auto early = [] {
        releaseFactor(0);
        OwnFolder::put("1033", kGerman);
        releaseFactor(1);
    };
    EXPECT_EXIT(inOwnFolder(early), ExitedWithCode(0), whole(kGermanReport));
    const auto late = [] {
        releaseFactor(1);
        OwnFolder::put("1033", kGerman);
        releaseFactor(1);
    };
    EXPECT_EXIT(inOwnFolder(late), ExitedWithCode(0), whole(twice(kEnglishReport)));
    const auto gone = [] {
        OwnFolder::put("1033", kGerman);
        releaseFactor(1);
        std::filesystem::remove_all("1033");
        releaseFactor(1);
    };
    EXPECT_EXIT(inOwnFolder(gone), ExitedWithCode(0), whole(twice(kGermanReport)));
}

TEST_F(LoadedCatalogueDeathTest, ServesThreadsThatPrintFirstAtTheSameTime)
{
    const auto report = [] {
        OwnFolder::put("1033", kGerman);
        std::thread other([] { print(Message::Progress, {std::int64_t{7}}); });
        print(Message::Progress, {std::int64_t{7}});
        other.join();
    };
    EXPECT_EXIT(inOwnFolder(report), ExitedWithCode(0), "^7 vom Hundert %\n7 vom Hundert %\n$");
}

// Percentages may be told by a thread of the team, whose locale is the process's; which comes first differs
// from run to run.
TEST_F(LoadedCatalogueDeathTest, IsThatOfTheThreadThatCalls)
{
    const auto factorize = [] {
        OwnFolder::put("1031", kGerman);
        OwnFolder::put("1033", kTitleLine + identifierOf(Message::Progress) + " %d per cent %%\n");
        const NamedLocale german("de_DE.UTF-8", LC_MESSAGES);
        const NamedLocale::Use use(german);
        const ThreadSetting threads(2, 0);
        EngineCall call(gridMatrix(11, 40, 1), 11);
        call.run(11);
        call.msglvl = -1;
        call.run(22);
        call.msglvl = 0;
    };
    for (int run = 0; run < 3; ++run)
        EXPECT_EXIT(inOwnFolder(factorize), ExitedWithCode(0), "^([0-9]+ vom Hundert %\n)+\n$");
}

TEST_F(LoadedCatalogueDeathTest, WhoseLineIsTooLongByItsArgumentsEndsTheProcess)
{
    const auto report = [] {
        OwnFolder::put("1033", kTitleLine + identifierOf(Message::FactorDeleted) + " %d" +
                                   std::string(512, 'x') + "\n");
        releaseFactor(1);
    };
    EXPECT_EXIT(inOwnFolder(report), ExitedWithCode(8),
                "MKL INTERNAL ERROR: message buffer overflow.\n"
                "       Message N [0-9]+   Lenght: 513   Buffer size: 512\n$");
}

} // namespace
} // namespace Velmar::Lintrix::testing
