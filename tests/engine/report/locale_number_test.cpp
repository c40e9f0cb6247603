#include "tests/support/files.h"

#include <lintrix/engine/report/locale_number.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <thread>
#include <utility>

#include <locale.h>

using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::Scratch;

namespace {

TEST(LocaleNumber, GoesByLanguageAndTerritory)
{
    for (const auto& [name, number] : {std::pair<std::string_view, unsigned long>{"en_US", 1033},
                                       {"en_GB.UTF-8", 2057},
                                       {"de_DE.utf8", 1031},
                                       {"de_DE@euro", 1031},
                                       {"de_AT.ISO-8859-15@euro", 3079},
                                       {"fr_FR", 1036},
                                       {"ja_JP.eucJP", 1041},
                                       {"ru_RU.KOI8-R", 1049},
                                       {"zh_CN.GB18030", 2052},
                                       {"zh_TW", 1028},
                                       {"pt_BR", 1046},
                                       {"es_AR", 11274}})
        EXPECT_EQ(localeNumber(name), number) << name;
}

TEST(LocaleNumber, OfUnknownLocalesIsThatOfEnglish)
{
    for (const std::string_view name :
         {"C", "POSIX", "C.UTF-8", "", "de", "DE_de", "xx_YY", "de_DE_x", ".", "@", "de_"})
        EXPECT_EQ(localeNumber(name), 1033U) << name;
}

/// The locale "C.utf8", which every system has, under another name.
void nameALocale(const Scratch& folder, const char* name)
{
    std::filesystem::copy("/usr/lib/locale/C.utf8", folder.at(name),
                          std::filesystem::copy_options::recursive);
    setenv("LOCPATH", folder.at("").c_str(), 1);
}

TEST(LocaleNumber, OfAThreadIsThatOfItsOwnLocaleForMessages)
{
    const Scratch folder;
    nameALocale(folder, "de_DE.utf8");
    const locale_t german = newlocale(LC_MESSAGES_MASK, "de_DE.UTF-8", nullptr);
    ASSERT_NE(german, nullptr);
    EXPECT_EQ(localeNumberOfThread(), 1033U);
    const locale_t before = uselocale(german);
    EXPECT_EQ(localeNumberOfThread(), 1031U);
    unsigned long other = 0;
    std::thread([&] { other = localeNumberOfThread(); }).join();
    EXPECT_EQ(other, 1033U);
    uselocale(before);
    freelocale(german);
    const locale_t numbers = newlocale(LC_NUMERIC_MASK, "de_DE.UTF-8", nullptr);
    ASSERT_NE(numbers, nullptr);
    uselocale(numbers);
    EXPECT_EQ(localeNumberOfThread(), 1033U);
    uselocale(before);
    freelocale(numbers);
    unsetenv("LOCPATH");
}

} // namespace
