#include <lintrix/engine/out_of_core/configuration_text.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

using namespace Velmar::Lintrix::detail::engine;

namespace {

const std::string kPath = "mkl_pardiso_ooc_path", kSize = "mkl_pardiso_ooc_max_core_size",
                  kKeep = "mkl_pardiso_ooc_keep_file";

OutOfCoreSettings settingsOf(std::string_view text)
{
    OutOfCoreSettings settings;
    readConfigurationText(text, settings);
    return settings;
}

void expectDefaults(const OutOfCoreSettings& settings)
{
    EXPECT_EQ(settings.path, "ooc_temp");
    EXPECT_EQ(settings.megabytes, 2000);
    EXPECT_EQ(settings.keep, 1);
}

TEST(ConfigurationText, ThatSaysNothingLeavesTheDefaults)
{
    for (const char* text : {"", "\n", "\n\n \t\r\n", "# mkl_pardiso_ooc_keep_file = 0", "="}) {
        SCOPED_TRACE(text);
        expectDefaults(settingsOf(text));
    }
}

TEST(ConfigurationText, SetsEachValueByItself)
{
    const std::string text = "mkl_pardiso_ooc_path = /scratch/run\n"
                             "mkl_pardiso_ooc_max_core_size = 500\n"
                             "mkl_pardiso_ooc_keep_file = 0\n";
    const OutOfCoreSettings settings = settingsOf(text);
    EXPECT_EQ(settings.path, "/scratch/run");
    EXPECT_EQ(settings.megabytes, 500);
    EXPECT_EQ(settings.keep, 0);
    EXPECT_EQ(settingsOf(text.substr(0, text.find('\n'))).path, "/scratch/run");
    EXPECT_EQ(settingsOf(text.substr(0, text.find('\n'))).megabytes, 2000);
    EXPECT_EQ(settingsOf(kKeep + "=0\n").path, "ooc_temp");
}

TEST(ConfigurationText, SeparatesKeyAndValueByEqualsSignOrBlanks)
{
    for (const char* line : {"=77", " 77", " = 77", "= 77", " =77", "\t77", "\t=\t77", "   77   ", " 77\r",
                             "=77#no", " 77 # megabytes", "\v=\f77"}) {
        EXPECT_EQ(settingsOf(kSize + line).megabytes, 77) << line;
        EXPECT_EQ(settingsOf("  \t" + kSize + line + "\nx").megabytes, 77) << line;
    }
}

TEST(ConfigurationText, TakesTheLastValueOfAKey)
{
    EXPECT_EQ(settingsOf(kSize + " 1\n" + kSize + " 2\n" + kSize + " none\n").megabytes, 2);
}

TEST(ConfigurationText, SkipsLinesThatSayNothing)
{
    for (const std::string& line :
         {kSize, kSize + "=", kSize + " = # 5", "#" + kSize + "=5", kSize + "2=5", "x" + kSize + "=5",
          "x " + kSize + "=5", kSize + ":5", std::string("MKL_PARDISO_OOC_MAX_CORE_SIZE=5"),
          "=" + kSize + "=5", kSize.substr(1) + "=5", kSize + "\n5", kSize + std::string(1, '\0') + "=5"}) {
        SCOPED_TRACE(line);
        expectDefaults(settingsOf(line));
        EXPECT_EQ(settingsOf(line + "\n" + kSize + "=6").megabytes, 6);
    }
}

TEST(ConfigurationText, TakesCoreSizesFromOneOn)
{
    EXPECT_EQ(settingsOf(kSize + "=1").megabytes, 1);
    EXPECT_EQ(settingsOf(kSize + "=00012").megabytes, 12);
    EXPECT_EQ(settingsOf(kSize + "=2147483647").megabytes, 2147483647);
    for (const char* value : {"0", "-1", "-2147483648", "2147483648", "99999999999999999999999", "1e3",
                              "12 13", "0x10", "5MB", "5.", "++5", "--5", "five", "nan", "== 5"}) {
        EXPECT_EQ(settingsOf(kSize + "=" + value).megabytes, 2000) << value;
    }
    EXPECT_EQ(settingsOf(kSize + "=" + std::string(1000000, '9')).megabytes, 2000);
    EXPECT_EQ(settingsOf(kSize + "=" + std::string(1000000, '0') + "5").megabytes, 5);
}

TEST(ConfigurationText, TakesAnyIntToKeepOrNot)
{
    for (const auto& [text, keep] : {std::pair{"0", 0}, {"1", 1}, {"2", 2}, {"-1", -1}, {"00", 0}, {"-0", 0}})
        EXPECT_EQ(settingsOf(kKeep + "=" + text).keep, keep) << text;
    for (const char* text : {"no", "0.", "0 0", "false", "3000000000", "-3000000000"})
        EXPECT_EQ(settingsOf(kKeep + "=" + text).keep, 1) << text;
}

TEST(ConfigurationText, TakesPathsWithBlanksAndEqualsSigns)
{
    EXPECT_EQ(settingsOf(kPath + "  my folder/a=b c  # here").path, "my folder/a=b c");
    EXPECT_EQ(settingsOf(kPath + "==x").path, "=x");
    EXPECT_EQ(settingsOf(kPath + "=/t\xc3\xa4glich/").path, "/t\xc3\xa4glich/");
}

TEST(ConfigurationText, TakesPathsThatLeaveRoomForNumberAndEnding)
{
    const std::string longest(1024 - 5 - 4, 'p');
    EXPECT_EQ(settingsOf(kPath + "=" + longest).path, longest);
    EXPECT_EQ(settingsOf(kPath + "=" + longest + "p").path, "ooc_temp");
    EXPECT_EQ(settingsOf(kPath + "=" + std::string(5000000, 'p')).path, "ooc_temp");
}

TEST(ConfigurationText, TakesNoPathWithControlCharacters)
{
    for (const char c : {'\0', '\x01', '\x1b', '\t', '\r', '\x7f'})
        EXPECT_EQ(settingsOf(kPath + "=a" + std::string(1, c) + "b").path, "ooc_temp") << int{c};
}

TEST(ConfigurationText, OfAnyBytesLeavesValidSettings)
{
    const std::string alphabet =
        kPath + kSize + kKeep + "=# \n\r\t0123456789-" + std::string(2, '\0') + "\xff";
    std::mt19937 random(11);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (unsigned k = random() % 200; k > 0; --k) {
            const unsigned choice = static_cast<unsigned>(random());
            text += choice % 8 == 0 ? "\n" +
                                          (choice % 3 == 0   ? kPath
                                           : choice % 3 == 1 ? kSize
                                                             : kKeep) +
                                          "="
                                    : std::string(1, alphabet[choice % alphabet.size()]);
        }
        const OutOfCoreSettings settings = settingsOf(text);
        EXPECT_GE(settings.path.size(), 1U);
        EXPECT_LE(settings.path.size(), 1015U);
        EXPECT_GE(settings.megabytes, 1);
    }
}

} // namespace
