// The archive store: named values with their types, in order.

#include <lintrix/foundation/archive.h>

#include <lintrix/foundation/failures.h>

#include "tests/support/expect_failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// One value of each type.
SerializationInfo oneOfEach()
{
    SerializationInfo info;
    info.AddValue("bool", true);
    info.AddValue("int32", -7);
    info.AddValue("int64", std::int64_t{1} << 40);
    info.AddValue("single", 1.2f);
    info.AddValue("double", 0.1);
    info.AddValue("string", "text");
    info.AddValue("int32s", std::vector<std::int32_t>{1, 2, 3});
    info.AddValue("doubles", std::vector<double>{0.5, -0.25});
    return info;
}

TEST(SerializationInfo, EachTypeComesBackAsItWasAdded)
{
    const SerializationInfo info = oneOfEach();
    EXPECT_EQ(info.GetBoolean("bool"), true);
    EXPECT_EQ(info.GetInt32("int32"), -7);
    EXPECT_EQ(info.GetInt64("int64"), std::int64_t{1} << 40);
    EXPECT_EQ(info.GetSingle("single"), 1.2f);
    EXPECT_EQ(info.GetDouble("double"), 0.1);
    EXPECT_EQ(info.GetString("string"), "text");
    EXPECT_THAT(info.GetInt32Array("int32s"), ElementsAre(1, 2, 3));
    EXPECT_THAT(info.GetDoubleArray("doubles"), ElementsAre(0.5, -0.25));
}

TEST(SerializationInfo, ValuesKeepTheOrderOfTheirAdding)
{
    const SerializationInfo info = oneOfEach();
    std::vector<std::string> names;
    for (const auto& [name, value] : info.Values()) names.push_back(name);
    EXPECT_THAT(names,
                ElementsAre("bool", "int32", "int64", "single", "double", "string", "int32s", "doubles"));
}

TEST(SerializationInfo, NothingIsConverted)
{
    const SerializationInfo info = oneOfEach();
    for (const auto& entry : info.Values()) {
        const std::string& name = entry.first;
        const auto expectRefused = [&name](const char* own, auto read) {
            if (name == own) return;
            expectFailure<SerializationException>(read,
                                                  "Value '" + name + "' in the archive is of another type.");
        };
        expectRefused("bool", [&] { info.GetBoolean(name); });
        expectRefused("int32", [&] { info.GetInt32(name); });
        expectRefused("int64", [&] { info.GetInt64(name); });
        expectRefused("single", [&] { info.GetSingle(name); });
        expectRefused("double", [&] { info.GetDouble(name); });
        expectRefused("string", [&] { info.GetString(name); });
        expectRefused("int32s", [&] { info.GetInt32Array(name); });
        expectRefused("doubles", [&] { info.GetDoubleArray(name); });
    }
}

TEST(SerializationInfo, MissingNameIsRefused)
{
    const SerializationInfo info = oneOfEach();
    for (const char* name : {"Rows", "", "Bool", "bool "}) {
        expectFailure<SerializationException>([&] { info.GetBoolean(name); },
                                              std::string("Value '") + name +
                                                  "' was not found in the archive.");
    }
}

TEST(SerializationInfo, NameIsTakenOnce)
{
    SerializationInfo info = oneOfEach();
    expectFailure<SerializationException>([&] { info.AddValue("int32", std::int32_t{8}); },
                                          "Value 'int32' was already added to the archive.");
    expectFailure<SerializationException>([&] { info.AddValue("int32", "another type"); },
                                          "Value 'int32' was already added to the archive.");
    EXPECT_EQ(info.GetInt32("int32"), -7);
    EXPECT_EQ(info.Values().size(), 8u);
}

TEST(SerializationInfo, EmptyNamesTextsAndArraysAreValues)
{
    SerializationInfo info;
    info.AddValue("", "");
    info.AddValue("Data", std::vector<double>());
    info.AddValue("_IA", std::vector<std::int32_t>());
    EXPECT_EQ(info.GetString(""), "");
    EXPECT_THAT(info.GetDoubleArray("Data"), IsEmpty());
    EXPECT_THAT(info.GetInt32Array("_IA"), IsEmpty());
}

TEST(SerializationInfo, LiteralTextIsATextAndNotATruth)
{
    SerializationInfo info;
    const char* text = "text";
    info.AddValue("literal", "text");
    info.AddValue("pointer", text);
    EXPECT_EQ(info.GetString("literal"), "text");
    EXPECT_EQ(info.GetString("pointer"), "text");
}

TEST(SerializationInfo, SpecialNumbersKeepTheirBits)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    SerializationInfo info;
    info.AddValue("Data", std::vector<double>{-0.0, kInfinity, std::numeric_limits<double>::quiet_NaN(),
                                              std::numeric_limits<double>::denorm_min()});
    const std::span<const double> data = info.GetDoubleArray("Data");
    EXPECT_TRUE(std::signbit(data[0]));
    EXPECT_EQ(data[1], kInfinity);
    EXPECT_TRUE(std::isnan(data[2]));
    EXPECT_EQ(data[3], 0x1p-1074);
}

TEST(SerializationInfo, CopyIsIndependent)
{
    SerializationInfo original = oneOfEach();
    const SerializationInfo copy = original;
    original.AddValue("more", 1);
    EXPECT_EQ(copy.Values().size(), 8u);
    EXPECT_EQ(copy.Values(), oneOfEach().Values());
}

} // namespace
} // namespace Velmar::Lintrix::testing
