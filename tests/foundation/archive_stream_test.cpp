// The two stream formats of an archive: what is written comes back, and nothing else is let in.

#include <lintrix/foundation/archive_stream.h>
#include <lintrix/foundation/detail/crc32.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/lintrix.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::size_t largestRequest = 0; // of operator new, since it was last set to 0

}

[[gnu::noinline]] void* operator new(std::size_t size)
{
    largestRequest = std::max(largestRequest, size);
    if (void* block = std::malloc(size)) return block;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept
{
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

namespace Velmar::Lintrix {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

SerializationInfo everyType()
{
    SerializationInfo info;
    info.AddValue("yes", true);
    info.AddValue("no", false);
    info.AddValue("small", std::numeric_limits<std::int32_t>::min());
    info.AddValue("large", std::numeric_limits<std::int64_t>::min());
    info.AddValue("single", 0.1f);
    info.AddValue("real", 0.1);
    info.AddValue(
        "text", std::string("quote \" back \\ tab \t null \0 \x7f gr\xc3\xbc\xc3\x9f \xf0\x9d\x94\x84", 41));
    info.AddValue("integers", std::vector<std::int32_t>{1, -2, 2147483647});
    info.AddValue("reals", std::vector<double>{0.0, -0.0, 5e-324, 1.7976931348623157e308, kInf, -kInf, kNaN,
                                               1e22, 1e23});
    info.AddValue("single NaN", std::numeric_limits<float>::quiet_NaN());
    info.AddValue("single infinity", -std::numeric_limits<float>::infinity());
    info.AddValue("", std::string());
    info.AddValue("empty", std::vector<double>{});
    info.AddValue("no integers", std::vector<std::int32_t>{});
    return info;
}

bool sameBits(const std::vector<double>& x, const std::vector<double>& y)
{
    return x.size() == y.size() &&
           (x.empty() || std::memcmp(x.data(), y.data(), x.size() * sizeof(double)) == 0);
}

// A float is a double, bit by bit but for the width.
std::vector<double> flat(const SerializationInfo::Value& value)
{
    if (const auto* single = std::get_if<float>(&value)) return {*single};
    if (const auto* real = std::get_if<double>(&value)) return {*real};
    if (const auto* reals = std::get_if<std::vector<double>>(&value)) return *reals;
    return {};
}

// Names, order, types and values; doubles by their bits.
void expectSame(const SerializationInfo& actual, const SerializationInfo& expected)
{
    ASSERT_EQ(actual.Values().size(), expected.Values().size());
    for (std::size_t i = 0; i < expected.Values().size(); ++i) {
        const auto& [name, value] = expected.Values()[i];
        EXPECT_EQ(actual.Values()[i].first, name);
        ASSERT_EQ(actual.Values()[i].second.index(), value.index()) << name;
        const auto parts = flat(value);
        if (parts.empty()) {
            EXPECT_EQ(actual.Values()[i].second, value) << name;
        } else {
            EXPECT_TRUE(sameBits(flat(actual.Values()[i].second), parts)) << name;
        }
    }
}

std::string binary(const SerializationInfo& info)
{
    std::ostringstream out;
    WriteArchive(out, info);
    return out.str();
}

std::string json(const SerializationInfo& info)
{
    std::ostringstream out;
    WriteArchiveJson(out, info);
    return out.str();
}

SerializationInfo fromBinary(const std::string& bytes, std::uint64_t limit = ArchiveLimits::Bytes)
{
    std::istringstream in(bytes);
    return ReadArchive(in, limit);
}

SerializationInfo fromJson(const std::string& text, std::uint64_t limit = ArchiveLimits::Bytes)
{
    std::istringstream in(text);
    return ReadArchiveJson(in, limit);
}

template <class Operation>
std::string failureOf(Operation operation)
{
    try {
        operation();
    } catch (const SerializationException& e) {
        return e.what();
    }
    return "accepted";
}

std::string binaryFailure(const std::string& bytes, std::uint64_t limit = ArchiveLimits::Bytes)
{
    return failureOf([&] { fromBinary(bytes, limit); });
}

std::string jsonFailure(const std::string& text, std::uint64_t limit = ArchiveLimits::Bytes)
{
    return failureOf([&] { fromJson(text, limit); });
}

// ---- the check sum

// Bit by bit, as the polynomial division is defined.
std::uint32_t slowSum(const std::string& bytes)
{
    std::uint32_t sum = 0xFFFFFFFFu;
    for (const char c : bytes) {
        sum ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1) ^ (sum & 1 ? 0xEDB88320u : 0u);
    }
    return ~sum;
}

TEST(Crc32, AgreesWithItsDefinitionWhateverTheCut)
{
    detail::Crc32 check;
    check.update("123456789", 9);
    EXPECT_EQ(check.value(), 0xCBF43926u); // the published check value

    std::mt19937 generator(5);
    std::string bytes(200, '\0');
    for (char& c : bytes) c = static_cast<char>(generator());
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        detail::Crc32 sum;
        sum.update(bytes.data(), cut);
        sum.update(bytes.data() + cut, bytes.size() - cut);
        ASSERT_EQ(sum.value(), slowSum(bytes)) << cut;
    }
}

// ---- binary

template <class Number>
std::string raw(Number value)
{
    std::string bytes(sizeof(value), '\0');
    std::memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

const std::string kMagic = "\x89LTX\r\n\x1a\n";

std::string record(std::uint8_t type, const std::string& name, const std::string& content)
{
    return raw(type) + raw(static_cast<std::uint16_t>(name.size())) + name + content;
}

std::string signedArchive(std::uint32_t values, const std::string& records)
{
    const std::string body = kMagic + raw(std::uint32_t{1}) + raw(values) +
                             raw(static_cast<std::uint64_t>(records.size())) + records;
    return body + raw(slowSum(body));
}

TEST(BinaryArchive, IsLaidOutAsDocumented)
{
    SerializationInfo info;
    info.AddValue("n", std::int32_t{-2});
    info.AddValue("ok", true);
    info.AddValue("Data", std::vector<double>{1.5, 2.5});
    info.AddValue("s", std::string("ab"));
    EXPECT_EQ(binary(info),
              signedArchive(4, record(2, "n", raw(std::int32_t{-2})) + record(1, "ok", "\x01") +
                                   record(8, "Data", raw(std::uint64_t{2}) + raw(1.5) + raw(2.5)) +
                                   record(6, "s", raw(std::uint64_t{2}) + "ab")));
}

TEST(BinaryArchive, EveryTypeComesBackBitByBit)
{
    SerializationInfo info = everyType();
    info.AddValue("odd NaN", std::bit_cast<double>(0xfff4000000000123u));
    expectSame(fromBinary(binary(info)), info);
    expectSame(fromBinary(binary(SerializationInfo())), SerializationInfo());
}

TEST(BinaryArchive, LargeArraysComeBack)
{
    std::vector<double> data(300000);
    std::mt19937_64 generator(1);
    for (double& x : data) x = std::bit_cast<double>(generator());
    SerializationInfo info;
    info.AddValue("Data", data);
    expectSame(fromBinary(binary(info)), info);
}

TEST(BinaryArchive, ObjectsGoThroughAStream)
{
    Matrix A(20, 30);
    A.FillRandom(-1.0, 1.0, 15);
    const Vector x{1, -0.0, 3};
    std::stringstream stream;
    WriteArchive(stream, ToArchive(A));
    WriteArchive(stream, ToArchive(x));
    EXPECT_TRUE(FromArchive<Matrix>(ReadArchive(stream)) == A); // stops behind the first
    EXPECT_TRUE(FromArchive<Vector>(ReadArchive(stream)) == x);
    EXPECT_EQ(failureOf([&] { ReadArchive(stream); }), "Archive, byte 0: the archive is cut off here.");
}

TEST(BinaryArchive, EveryTruncationIsRefusedAtItsEnd)
{
    const std::string whole = binary(everyType());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ASSERT_EQ(binaryFailure(whole.substr(0, length)),
                  "Archive, byte " + std::to_string(length) + ": the archive is cut off here.");
    }
}

TEST(BinaryArchive, EveryFlippedBitIsRefused)
{
    const std::string whole = binary(everyType());
    for (std::size_t i = 0; i < whole.size() * 8; ++i) {
        std::string damaged = whole;
        damaged[i / 8] = static_cast<char>(damaged[i / 8] ^ (1 << i % 8));
        const std::string failure = binaryFailure(damaged);
        ASSERT_TRUE(failure.starts_with("Archive, byte ")) << i << ": " << failure;
    }
}

TEST(BinaryArchive, TheCheckSumMustMatch)
{
    std::string bytes = signedArchive(1, record(2, "n", raw(std::int32_t{1})));
    bytes[28] ^= 1; // the number, behind a header of 24 bytes and 4 bytes of type and name
    EXPECT_EQ(binaryFailure(bytes), "Archive, byte 32: the check sum does not match.");
}

TEST(BinaryArchive, HeadersThatAreNoneAreRefused)
{
    const std::string whole = signedArchive(0, "");
    EXPECT_EQ(binaryFailure("%PDF-1.4 and so on"), "Archive, byte 0: no archive begins here.");
    std::string text = whole;
    text.replace(4, 2, "\n\n"); // a transfer that changed the line ends
    EXPECT_EQ(binaryFailure(text), "Archive, byte 0: no archive begins here.");
    std::string newer = whole;
    newer[8] = 2;
    EXPECT_EQ(binaryFailure(newer), "Archive, byte 8: version 2 is not known.");
    EXPECT_EQ(binaryFailure(signedArchive(4097, "")), "Archive, byte 12: more than 4096 values.");
}

TEST(BinaryArchive, LengthsAreNotBelieved)
{
    const std::uint64_t huge = std::uint64_t{1} << 60, all = ~std::uint64_t{0};
    for (const std::uint64_t count : {std::uint64_t{3}, huge, all, all / 8 + 1, all / 16 + 1}) {
        for (const std::uint8_t type : {6, 7, 8}) {
            const std::string bytes = signedArchive(1, record(type, "n", raw(count) + "xx"));
            ASSERT_EQ(binaryFailure(bytes), "Archive, byte 28: a value reaches beyond the end.");
        }
    }
    EXPECT_EQ(binaryFailure(signedArchive(1, raw(std::uint8_t{2}) + raw(std::uint16_t{9}) + "n")),
              "Archive, byte 25: a value reaches beyond the end.");
    EXPECT_EQ(binaryFailure(signedArchive(2, record(2, "n", raw(1)))),
              "Archive, byte 32: a value reaches beyond the end.");
    EXPECT_EQ(binaryFailure(signedArchive(1, record(2, "n", raw(1)) + "x")),
              "Archive, byte 28: bytes belong to no value.");
}

TEST(BinaryArchive, MemoryGrowsWithTheInputOnly)
{
    // a gigabyte is announced, and little comes
    const std::uint64_t count = std::uint64_t{1} << 27;
    std::string bytes = kMagic + raw(std::uint32_t{1}) + raw(std::uint32_t{1}) + raw(8 * count + 64) +
                        record(8, "Data", raw(count)) + std::string(1000, 'x');
    largestRequest = 0;
    EXPECT_EQ(binaryFailure(bytes),
              "Archive, byte " + std::to_string(bytes.size()) + ": the archive is cut off here.");
    EXPECT_LE(largestRequest, 1u << 16);
    bytes.append(1 << 20, 'x');
    largestRequest = 0;
    EXPECT_EQ(binaryFailure(bytes),
              "Archive, byte " + std::to_string(bytes.size()) + ": the archive is cut off here.");
    EXPECT_LE(largestRequest, 4 * bytes.size());
}

TEST(BinaryArchive, ValuesThatAreNoneAreRefused)
{
    EXPECT_EQ(binaryFailure(signedArchive(1, record(0, "n", "x"))), "Archive, byte 24: type 0 is not known.");
    EXPECT_EQ(binaryFailure(signedArchive(1, record(9, "n", "x"))), "Archive, byte 24: type 9 is not known.");
    EXPECT_EQ(binaryFailure(signedArchive(1, record(1, "n", "\x02"))),
              "Archive, byte 28: a bool is neither 0 nor 1.");
    EXPECT_EQ(binaryFailure(signedArchive(1, record(1, std::string(1025, 'n'), "\x01"))),
              "Archive, byte 25: a name is longer than 1024 bytes.");
    EXPECT_EQ(binaryFailure(signedArchive(2, record(1, "n", "\x01") + record(1, "n", "\x01"))),
              "Archive, byte 32: a name is there twice.");
}

TEST(BinaryArchive, ACallersLimitHolds)
{
    const std::string whole = binary(everyType());
    expectSame(fromBinary(whole, whole.size()), everyType());
    const std::string limit = std::to_string(whole.size() - 1);
    EXPECT_EQ(binaryFailure(whole, whole.size() - 1),
              "Archive, byte 16: the archive is longer than the limit of " + limit + " bytes.");
    EXPECT_EQ(binaryFailure(whole, 0), "Archive, byte 16: the archive is longer than the limit of 0 bytes.");
}

// ---- both writers

SerializationInfo withValues(int count)
{
    SerializationInfo info;
    for (int i = 0; i < count; ++i) info.AddValue(std::to_string(i), i);
    return info;
}

TEST(ArchiveWriters, KeepToTheLimits)
{
    const SerializationInfo most = withValues(4096), tooMany = withValues(4097);
    expectSame(fromBinary(binary(most)), most);
    expectSame(fromJson(json(most)), most);
    EXPECT_EQ(failureOf([&] { binary(tooMany); }), "The archive has more than 4096 values.");
    EXPECT_EQ(failureOf([&] { json(tooMany); }), "The archive has more than 4096 values.");

    SerializationInfo longest, tooLong;
    longest.AddValue(std::string(1024, 'n'), true);
    tooLong.AddValue(std::string(1025, 'n'), true);
    expectSame(fromBinary(binary(longest)), longest);
    expectSame(fromJson(json(longest)), longest);
    EXPECT_EQ(failureOf([&] { binary(tooLong); }), "A name in the archive is longer than 1024 bytes.");
    EXPECT_EQ(failureOf([&] { json(tooLong); }), "A name in the archive is longer than 1024 bytes.");
}

TEST(ArchiveWriters, ReportAStreamThatFails)
{
    std::ostream out(nullptr);
    EXPECT_EQ(failureOf([&] { WriteArchive(out, everyType()); }), "The archive could not be written.");
    EXPECT_EQ(failureOf([&] { WriteArchiveJson(out, everyType()); }), "The archive could not be written.");
}

TEST(ArchiveReaders, ReportAStreamThatFails)
{
    std::istream in(nullptr);
    EXPECT_EQ(failureOf([&] { ReadArchive(in); }), "Archive, byte 0: the archive is cut off here.");
    EXPECT_EQ(failureOf([&] { ReadArchiveJson(in); }), "The archive could not be read.");
}

// ---- JSON

TEST(JsonArchive, IsWrittenForTheEye)
{
    SerializationInfo info;
    info.AddValue("Rows", std::int32_t{3});
    info.AddValue("s", std::string("a\"\\\n\x01/\xc3\xa9"));
    info.AddValue("Data", std::vector<double>{1, 0.1, -0.0, kNaN, kInf, -kInf, 1e300, 5e-324, 2});
    info.AddValue("x", 0.1f);
    info.AddValue("ok", true);
    info.AddValue("none", std::vector<std::int32_t>{});
    EXPECT_EQ(
        json(info),
        "{\n"
        "  \"lintrix-archive\": 1,\n"
        "  \"values\": [\n"
        "    {\"name\": \"Rows\", \"type\": \"int32\", \"value\": 3},\n"
        "    {\"name\": \"s\", \"type\": \"string\", \"value\": \"a\\\"\\\\\\u000a\\u0001/\xc3\xa9\"},\n"
        "    {\"name\": \"Data\", \"type\": \"float64[]\", \"value\": [1, 0.1, -0, \"NaN\", "
        "\"Infinity\", \"-Infinity\", 1e+300, 5e-324,\n      2]},\n"
        "    {\"name\": \"x\", \"type\": \"float32\", \"value\": 0.1},\n"
        "    {\"name\": \"ok\", \"type\": \"bool\", \"value\": true},\n"
        "    {\"name\": \"none\", \"type\": \"int32[]\", \"value\": []}\n"
        "  ]\n"
        "}\n");
    EXPECT_EQ(json(SerializationInfo()), "{\n  \"lintrix-archive\": 1,\n  \"values\": [\n  ]\n}\n");
}

TEST(JsonArchive, EveryTypeComesBack)
{
    expectSame(fromJson(json(everyType())), everyType());
    expectSame(fromJson(json(SerializationInfo())), SerializationInfo());
}

TEST(JsonArchive, EveryDoubleComesBackBitByBit)
{
    std::mt19937_64 generator(2);
    std::vector<double> data;
    while (data.size() < 20000) {
        const double x = std::bit_cast<double>(generator());
        if (x == x) data.push_back(x);
    }
    for (int i = 0; i < 1000; ++i) data.push_back(std::bit_cast<double>(generator() >> 12)); // subnormal
    SerializationInfo info;
    info.AddValue("Data", data);
    expectSame(fromJson(json(info)), info);
}

TEST(JsonArchive, ObjectsGoThroughAStream)
{
    Matrix A(7, 5);
    A.FillRandom(-1.0, 1.0, 15);
    EXPECT_TRUE(FromArchive<Matrix>(fromJson(json(ToArchive(A)))) == A);
    const Vector x{1, 2, 3};
    EXPECT_TRUE(FromArchive<Vector>(fromJson(json(ToArchive(x)))) == x);
}

TEST(JsonArchive, TheGlobalLocaleHasNoInfluence)
{
    class Comma : public std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::string expected = json(everyType());
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
    const std::string text = json(everyType());
    std::locale::global(before);
    EXPECT_EQ(text, expected);
}

// An archive of one value, up to the value.
std::string upTo(const std::string& type)
{
    return R"({"lintrix-archive":1,"values":[{"name":"v","type":")" + type + R"(","value":)";
}

std::string jsonOf(const std::string& type, const std::string& value)
{
    return upTo(type) + value + "}]}";
}

// The failure that names the place behind `before`.
std::string failureBehind(const std::string& before, const std::string& complaint)
{
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::size_t column = before.size() - (before.rfind('\n') + 1);
    return "Archive, line " + std::to_string(lines + 1) + ", column " + std::to_string(column + 1) + ": " +
           complaint + ".";
}

TEST(JsonArchive, EscapesAreRead)
{
    const auto textOf = [](const std::string& value) {
        return fromJson(jsonOf("string", value)).GetString("v");
    };
    EXPECT_EQ(textOf(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
    EXPECT_EQ(textOf(R"("\u0041\u00e9\u20AC\ud834\udd1e")"), "A\xc3\xa9\xe2\x82\xac\xf0\x9d\x84\x9e");
    EXPECT_EQ(textOf(R"("\u0000")"), std::string(1, '\0'));
}

TEST(JsonArchive, NumbersFollowTheGrammar)
{
    const auto valueOf = [](const std::string& text) {
        return fromJson(jsonOf("float64", text)).GetDouble("v");
    };
    EXPECT_EQ(valueOf("1"), 1.0);
    EXPECT_EQ(valueOf("-0.5e+1"), -5.0);
    EXPECT_EQ(valueOf("1E2"), 100.0);
    EXPECT_EQ(valueOf("0.1000000000000000055511151231257827"), 0.1);
    EXPECT_TRUE(std::signbit(valueOf("-0")));
    const auto expectRefused = [](const std::string& type, const std::string& text, const char* complaint) {
        EXPECT_EQ(jsonFailure(jsonOf(type, text)), failureBehind(upTo(type), complaint)) << text;
    };
    for (const char* text : {"", "+1", "01", "-", ".5", "1.", "1e", "1e+", "nan", "Infinity", "--1", "1.e5",
                             "-01", "\"nan\"", "\"1\""}) {
        expectRefused("float64", text, "a number is expected");
    }
    expectRefused("float64", "1e999", "a number does not fit its type");
    expectRefused("float32", "1e39", "a number does not fit its type");
    expectRefused("float64", std::string(2000, '1'), "a number is too long");
    for (const char* text : {"2147483648", "-2147483649", "1.0", "1e3", "99999999999999999999"}) {
        expectRefused("int32", text, "a number does not fit its type");
    }
    expectRefused("int64", "9223372036854775808", "a number does not fit its type");
    EXPECT_EQ(jsonFailure(jsonOf("float64", "0x1")), failureBehind(upTo("float64") + "0", "'}' is expected"));
}

// `before` is in order; the refusal names the place behind it.
struct Refusal {
    const char* what;
    std::string before;
    std::string rest;
    const char* complaint;
};

void PrintTo(const Refusal& refusal, std::ostream* out)
{
    *out << refusal.what;
}

class JsonRefusals : public testing::TestWithParam<Refusal> {};

TEST_P(JsonRefusals, NameTheirPlace)
{
    const Refusal& refusal = GetParam();
    EXPECT_EQ(jsonFailure(refusal.before + refusal.rest), failureBehind(refusal.before, refusal.complaint));
}

const std::string kBegin = "{\"lintrix-archive\": 1,\n \"values\": [";
const std::string kOne = R"({"name": "v", "type": "bool", "value": true})";

INSTANTIATE_TEST_SUITE_P(
    Archive, JsonRefusals,
    testing::Values(
        Refusal{"empty input", "", "", "'{' is expected"}, Refusal{"an array", "", "[]", "'{' is expected"},
        Refusal{"another object", "{", "}", "the member \"lintrix-archive\" is expected"},
        Refusal{"another version", "{\"lintrix-archive\": ", "2", "this version is not known"},
        Refusal{"no values", "{\"lintrix-archive\": 1", "}", "',' is expected"},
        Refusal{"not closed", kBegin + kOne, "", "']' is expected"},
        Refusal{"object not closed", kBegin + kOne + "]", "", "'}' is expected"},
        Refusal{"something behind", kBegin + kOne + "]}\n ", "x", "something follows the archive"},
        Refusal{"a second archive", kBegin + "]}", kBegin + "]}", "something follows the archive"},
        Refusal{"comma at the end", kBegin + kOne + ",", "]}", "'{' is expected"},
        Refusal{"no comma", kBegin + kOne, kOne + "]}", "']' is expected"},
        Refusal{"a name twice", kBegin + kOne + R"(, {"name": )", R"("v"})", "a name is there twice"},
        Refusal{"a member twice", kBegin + R"({"name": "v", )", R"("name": "w")",
                "the member \"type\" is expected"},
        Refusal{"members in another order", kBegin + "{", R"("type": "bool")",
                "the member \"name\" is expected"},
        Refusal{"a member missing", kBegin + R"({"name": "v", "type": "bool")", "}", "',' is expected"},
        Refusal{"a member too many", kBegin + R"({"name": "v", "type": "bool", "value": true)",
                R"(, "x": 1}]})", "'}' is expected"},
        Refusal{"a name that is no text", kBegin + R"({"name": )", "3", "'\"' is expected"},
        Refusal{"unknown type", kBegin + R"({"name": "v", "type": )", R"("complex[]")",
                "a type is not known"},
        Refusal{"a comment", kBegin, "/**/]}", "'{' is expected"},
        Refusal{"bool as a number", upTo("bool"), "1", "true or false is expected"},
        Refusal{"bool of another case", upTo("bool"), "True", "true or false is expected"},
        Refusal{"bool with a tail", upTo("bool") + "true", "ly", "'}' is expected"},
        Refusal{"null", upTo("string"), "null", "'\"' is expected"},
        Refusal{"number for an array", upTo("float64[]"), "1", "'[' is expected"},
        Refusal{"array for a number", upTo("float64"), "[1]", "a number is expected"},
        Refusal{"nested arrays", upTo("float64[]") + "[", "[1]]", "a number is expected"},
        Refusal{"deep nesting", upTo("float64[]") + "[", std::string(100000, '['), "a number is expected"},
        Refusal{"text in an array", upTo("int32[]") + "[", "\"NaN\"]", "a number is expected"},
        Refusal{"comma in an array", upTo("float64[]") + "[1,", "]", "a number is expected"},
        Refusal{"open string", upTo("string"), "\"abc", "a string is not closed"},
        Refusal{"control character", upTo("string"), "\"a\nb\"", "a string has a control character"},
        Refusal{"unknown escape", upTo("string"), R"("\x41")", "a string has an unknown escape"},
        Refusal{"short escape", upTo("string"), R"("\u12")", "a string has an unknown escape"},
        Refusal{"signed escape", upTo("string"), R"("\u-123")", "a string has an unknown escape"},
        Refusal{"half a pair", upTo("string"), R"("\ud834")", "a string has half a surrogate pair"},
        Refusal{"the other half", upTo("string"), R"("\udd1e")", "a string has half a surrogate pair"},
        Refusal{"two first halves", upTo("string"), R"("\ud834\ud834")",
                "a string has half a surrogate pair"},
        Refusal{"overlong UTF-8", upTo("string"), "\"\xc0\xaf\"", "a string is no UTF-8"},
        Refusal{"long overlong UTF-8", upTo("string"), "\"\xe0\x80\xaf\"", "a string is no UTF-8"},
        Refusal{"surrogate in UTF-8", upTo("string"), "\"\xed\xa0\x80\"", "a string is no UTF-8"},
        Refusal{"beyond Unicode", upTo("string"), "\"\xf4\x90\x80\x80\"", "a string is no UTF-8"},
        Refusal{"cut sequence", upTo("string"), "\"\xe2\x82\"", "a string is no UTF-8"},
        Refusal{"bad continuation", upTo("string"), "\"\xe2\x82z\"", "a string is no UTF-8"}));

TEST(JsonArchive, EveryTruncationIsRefused)
{
    std::string whole = json(everyType());
    whole.pop_back(); // without the line end the archive is whole
    expectSame(fromJson(whole), everyType());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string failure = jsonFailure(whole.substr(0, length));
        ASSERT_TRUE(failure.starts_with("Archive, line ")) << length << ": " << failure;
    }
}

TEST(JsonArchive, CountsNamesAndBytesAreLimited)
{
    std::string many = kBegin;
    for (int i = 0; i <= 4096; ++i)
        many += std::string(i > 0 ? "," : "") + R"({"name":")" + std::to_string(i) +
                R"(","type":"bool","value":true})";
    EXPECT_TRUE(jsonFailure(many + "]}").ends_with(": more than 4096 values."));
    const std::string named =
        kBegin + R"({"name":")" + std::string(1025, 'n') + R"(","type":"bool","value":true}]})";
    EXPECT_EQ(jsonFailure(named), failureBehind(kBegin + R"({"name":)", "a name is longer than 1024 bytes"));
    const std::string whole = json(everyType());
    expectSame(fromJson(whole, whole.size()), everyType());
    EXPECT_TRUE(jsonFailure(whole, whole.size() - 1)
                    .ends_with(": the archive is longer than the limit of " +
                               std::to_string(whole.size() - 1) + " bytes."));
}

TEST(JsonArchive, TextThatIsNoUtf8IsNotWritten)
{
    SerializationInfo value, name;
    value.AddValue("v", std::string("\xff"));
    name.AddValue("\xc3", true);
    EXPECT_EQ(failureOf([&] { json(value); }), "A text in the archive is no UTF-8.");
    EXPECT_EQ(failureOf([&] { json(name); }), "A text in the archive is no UTF-8.");
    expectSame(fromBinary(binary(value)), value); // the binary format carries any bytes
}

} // namespace
} // namespace Velmar::Lintrix
