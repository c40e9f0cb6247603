#include "tests/engine/report/named_locale.h"

#include <lintrix/engine/report/locale_number.h>

#include <gtest/gtest.h>

#include <string_view>
#include <thread>
#include <utility>

using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::NamedLocale;

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

TEST(LocaleNumber, OfAThreadIsThatOfItsOwnLocaleForMessages)
{
    const NamedLocale german("de_DE.UTF-8", LC_MESSAGES);
    ASSERT_TRUE(german.isThere());
    EXPECT_EQ(localeNumberOfThread(), 1033U);
    const NamedLocale::Use use(german);
    EXPECT_EQ(localeNumberOfThread(), 1031U);
    unsigned long other = 0;
    std::thread([&] { other = localeNumberOfThread(); }).join();
    EXPECT_EQ(other, 1033U);
}

TEST(LocaleNumber, LooksAtNoOtherCategory)
{
    const NamedLocale german("de_DE.UTF-8", LC_NUMERIC);
    ASSERT_TRUE(german.isThere());
    const NamedLocale::Use use(german);
    EXPECT_EQ(localeNumberOfThread(), 1033U);
}

} // namespace
