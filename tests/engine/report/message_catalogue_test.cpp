// The reader of catalogues: what it takes, and that anything damaged leaves none of it.

#include "tests/engine/report/catalogue_text.h"
#include "tests/support/files.h"

#include <lintrix/engine/report/message_catalogue.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;
using namespace std::string_literals;

const std::string kTitleLine = "lintrix messages 1\n";

std::string text(const MessageTexts& texts, Message message)
{
    return std::string(texts[static_cast<std::size_t>(message)].value_or("built in"));
}

TEST(MessageCatalogue, HoldsTextsByIdentifier)
{
    const std::string file = kTitleLine + "# Deutsch\n\n" + identifierOf(Message::Times) + " Zeiten:\n" +
                             identifierOf(Message::Empty) + " \n" + identifierOf(Message::Progress) +
                             "\t  %d \u00bd\t%% # \n";
    const auto texts = readCatalogue(file);
    ASSERT_TRUE(texts);
    EXPECT_EQ(text(*texts, Message::Times), "Zeiten:");
    EXPECT_EQ(text(*texts, Message::Empty), "");
    EXPECT_EQ(text(*texts, Message::Progress), "  %d \u00bd\t%% # ");
    EXPECT_EQ(text(*texts, Message::Statistics), "built in");
}

TEST(MessageCatalogue, TakesDigitsOfEitherCase)
{
    const std::string digits = identifierOf(static_cast<Message>(0x4a));
    ASSERT_EQ(digits, "8000004A");
    for (const std::string& written : {digits, "8000004a"s})
        EXPECT_TRUE(readCatalogue(kTitleLine + written + " " + textOf(static_cast<Message>(0x4a)) + "\n"));
}

TEST(MessageCatalogue, NeedsItsTitleAlone)
{
    EXPECT_TRUE(readCatalogue(kTitleLine));
    for (const std::string& file :
         {""s, "\n"s, "lintrix messages 1"s, "lintrix messages 2\n"s, " lintrix messages 1\n"s,
          "lintrix messages 1 \n"s, "lintrix messages 1\r\n"s, "# a\nlintrix messages 1\n"s,
          "\xEF\xBB\xBFlintrix messages 1\n"s})
        EXPECT_FALSE(readCatalogue(file)) << file;
}

TEST(MessageCatalogue, IsDamagedByOneBadLine)
{
    const std::string good = identifierOf(Message::Times) + " Zeiten:\n";
    const std::string unknown = identifierOf(Message::Last_) + " text\n";
    ASSERT_TRUE(readCatalogue(kTitleLine + good));
    for (const std::string& line :
         {good, unknown, "00000000 text\n"s, "7FFFFFFF text\n"s, "FFFFFFFF text\n"s, "80000000\n"s, "8000\n"s,
          "8000000 Zeiten:\n"s, "800000zz text\n"s, "0x800000 text\n"s, "-8000000 text\n"s, " "s + good,
          "text\n"s, " \n"s, identifierOf(Message::Statistics) + "Statistik:\n",
          identifierOf(Message::Statistics) + "\n",
          identifierOf(Message::Statistics) + " Statistik:", identifierOf(Message::Statistics)})
        EXPECT_FALSE(readCatalogue(kTitleLine + good + line)) << line;
}

TEST(MessageCatalogue, HasNoRowForWhatTellsOfABadText)
{
    for (const Message message : {Message::UnknownMessage, Message::LineTooLong, Message::LineTooLongHint}) {
        EXPECT_FALSE(isReplaceable(message));
        EXPECT_FALSE(readCatalogue(kTitleLine + identifierOf(message) + " " + textOf(message) + "\n"));
    }
}

TEST(MessageCatalogue, KeepsCountKindAndOrderOfThePlaces)
{
    const auto reads = [](Message message, const std::string& row) {
        return readCatalogue(kTitleLine + identifierOf(message) + " " + row + "\n").has_value();
    };
    EXPECT_TRUE(reads(Message::TimeIteration, "%f%d"));
    EXPECT_FALSE(reads(Message::TimeIteration, "%d%f"));
    EXPECT_FALSE(reads(Message::TimeIteration, "%f"));
    EXPECT_FALSE(reads(Message::TimeIteration, "%f %d %d"));
    EXPECT_FALSE(reads(Message::TimeIteration, "%f %s"));
    EXPECT_FALSE(reads(Message::TimeIteration, "%f %5d"));
    EXPECT_FALSE(reads(Message::TimeIteration, "%f % d"));
    EXPECT_FALSE(reads(Message::TimeIteration, "%f %n"));
    EXPECT_FALSE(reads(Message::TimeIteration, "%f %d %"));
    EXPECT_FALSE(reads(Message::TimeIteration, "%f %d %%"));
    EXPECT_TRUE(reads(Message::NonZerosPercent, "(%%) %f"));
    EXPECT_FALSE(reads(Message::NonZerosPercent, "%f (%%)"));
    EXPECT_FALSE(reads(Message::NonZerosPercent, "%f"));
    EXPECT_TRUE(reads(Message::Times, ""));
    EXPECT_FALSE(reads(Message::Times, "100 %"));
}

TEST(MessageCatalogue, IsTextInUtf8WithoutControlCharacters)
{
    const std::string row = identifierOf(Message::Times) + " Zeit";
    for (const std::string& part : {"\x01"s, "\0"s, "\r"s, "\x1b[31m"s, "\x7f"s, "\xc2\x80"s, "\xc2\x9f"s,
                                    "\xff"s, "\xe2\x82"s, "\xed\xa0\x80"s}) {
        EXPECT_FALSE(readCatalogue(kTitleLine + row + part + "en\n"));
        EXPECT_FALSE(readCatalogue(kTitleLine + "#" + part + "\n"));
    }
    for (const std::string& part : {"\t"s, "\u00a0"s, "\u3042\u00e9"s, "\U0001f600"s})
        EXPECT_TRUE(readCatalogue(kTitleLine + row + part + "en\n")) << part;
}

TEST(MessageCatalogue, HasRowsThatALineHoldsWithNothingInTheirPlaces)
{
    const std::string row = kTitleLine + identifierOf(Message::Progress) + " %d";
    EXPECT_TRUE(readCatalogue(row + std::string(511, 'x') + "%%\n"));
    EXPECT_FALSE(readCatalogue(row + std::string(512, 'x') + "%%\n"));
}

TEST(MessageCatalogue, OfTheBuiltInRowsIsTheListOfTheManual)
{
    const std::string page = contentOf(dataFile("../../docs/message_catalogue.md"));
    const std::string fence = "```text\n";
    const std::size_t begin = page.find(fence + kTitleLine);
    ASSERT_NE(begin, std::string::npos);
    const std::string list =
        page.substr(begin + fence.size(), page.find("```\n", begin + 3) - begin - fence.size());
    EXPECT_EQ(list, builtInCatalogue()) << "the page lists other rows than there are; these are:\n"
                                        << builtInCatalogue();
    const auto texts = readCatalogue(list);
    ASSERT_TRUE(texts);
    for (std::size_t k = 0; k < kMessages; ++k) {
        const auto message = static_cast<Message>(k);
        EXPECT_EQ(text(*texts, message), isReplaceable(message) ? textOf(message) : "built in");
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
