#include <lintrix/services/environment.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

using Velmar::Lintrix::detail::digitsValue;
using Velmar::Lintrix::detail::environmentHas;
using Velmar::Lintrix::detail::EnvironmentValue;
using Velmar::Lintrix::detail::readEnvironment;

namespace {

constexpr const char* kName = "LINTRIX_ENVIRONMENT_TEST";

class Environment : public ::testing::Test {
protected:
    void TearDown() override { unsetenv(kName); }
};

int leadingInteger(const char* text)
{
    return EnvironmentValue(text).leadingInteger();
}

TEST(EnvironmentValue, IsAbsentByDefaultAndFromNull)
{
    EXPECT_FALSE(EnvironmentValue().present());
    EXPECT_FALSE(EnvironmentValue(nullptr).present());
    EXPECT_EQ(EnvironmentValue().text(), "");
}

TEST(EnvironmentValue, KeepsTheTextAsItStands)
{
    const EnvironmentValue value(" a=b ");
    EXPECT_TRUE(value.present());
    EXPECT_EQ(value.text(), " a=b ");
}

TEST(EnvironmentValue, IsPresentWhenEmpty)
{
    EXPECT_TRUE(EnvironmentValue("").present());
    EXPECT_EQ(EnvironmentValue("").text(), "");
}

TEST(EnvironmentValue, HoldsTwoHundredFiftySixCharactersAndNoMore)
{
    const std::string longest(256, 'x');
    EXPECT_TRUE(EnvironmentValue(longest.c_str()).present());
    EXPECT_EQ(EnvironmentValue(longest.c_str()).text(), longest);
    EXPECT_FALSE(EnvironmentValue((longest + "x").c_str()).present());
    EXPECT_EQ(EnvironmentValue((longest + "x").c_str()).text(), "");
    EXPECT_FALSE(EnvironmentValue(std::string(100000, '1').c_str()).present());
}

TEST(EnvironmentValue, ReadsTheIntegerAtTheStart)
{
    EXPECT_EQ(leadingInteger("4"), 4);
    EXPECT_EQ(leadingInteger(" \t4"), 4);
    EXPECT_EQ(leadingInteger("+4"), 4);
    EXPECT_EQ(leadingInteger("-4"), -4);
    EXPECT_EQ(leadingInteger("4abc"), 4);
    EXPECT_EQ(leadingInteger("0x10"), 0);
    EXPECT_EQ(leadingInteger("abc"), 0);
    EXPECT_EQ(leadingInteger(""), 0);
    EXPECT_EQ(leadingInteger(nullptr), 0);
}

TEST(EnvironmentValue, CutsIntegersToTheRangeOfInt)
{
    EXPECT_EQ(leadingInteger("2147483647"), INT_MAX);
    EXPECT_EQ(leadingInteger("2147483648"), INT_MAX);
    EXPECT_EQ(leadingInteger("4294967297"), INT_MAX);
    EXPECT_EQ(leadingInteger("-2147483649"), INT_MIN);
    EXPECT_EQ(leadingInteger("99999999999999999999999"), INT_MAX);
    EXPECT_EQ(leadingInteger("-99999999999999999999999"), INT_MIN);
}

TEST(DigitsValue, AcceptsDigitsAlone)
{
    EXPECT_EQ(digitsValue("0"), 0);
    EXPECT_EQ(digitsValue("007"), 7);
    EXPECT_EQ(digitsValue("16"), 16);
    EXPECT_EQ(digitsValue(""), 0);
    for (const char* text : {"-1", "+1", " 1", "1 ", "1.5", "abc", "1a", "0x1", "\xff"}) {
        EXPECT_FALSE(digitsValue(text).has_value()) << text;
    }
}

TEST(DigitsValue, StopsAtTheLargestInt)
{
    EXPECT_EQ(digitsValue("2147483646"), INT_MAX - 1);
    EXPECT_EQ(digitsValue("2147483647"), INT_MAX);
    EXPECT_EQ(digitsValue("2147483648"), INT_MAX);
    EXPECT_EQ(digitsValue("21474836470"), INT_MAX);
    EXPECT_EQ(digitsValue(std::string(256, '9')), INT_MAX);
    std::string spoilt(256, '9');
    spoilt.back() = 'x';
    EXPECT_FALSE(digitsValue(spoilt).has_value());
}

TEST_F(Environment, GivesTheValueOrItsAbsence)
{
    EXPECT_FALSE(readEnvironment(kName).present());
    EXPECT_FALSE(environmentHas(kName));
    setenv(kName, "some text", 1);
    EXPECT_EQ(readEnvironment(kName).text(), "some text");
    EXPECT_TRUE(environmentHas(kName));
}

TEST_F(Environment, KeepsItsCopyWhenTheVariableChanges)
{
    setenv(kName, "before", 1);
    const EnvironmentValue value = readEnvironment(kName);
    setenv(kName, "after that", 1);
    EXPECT_EQ(value.text(), "before");
}

TEST_F(Environment, CountsAnOverlongValueAsAbsentButTheVariableAsThere)
{
    setenv(kName, std::string(257, '1').c_str(), 1);
    EXPECT_FALSE(readEnvironment(kName).present());
    EXPECT_TRUE(environmentHas(kName));
}

} // namespace
