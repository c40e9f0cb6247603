#include <lintrix/engine/report/messages.h>

#include <gtest/gtest.h>

#include <string>

#include <unistd.h>

using namespace Velmar::Lintrix::detail::engine;
using ::testing::ExitedWithCode;

namespace {

std::string printed(Message message, std::initializer_list<MessageArgument> arguments = {})
{
    ::testing::internal::CaptureStdout();
    print(message, arguments);
    return ::testing::internal::GetCapturedStdout();
}

TEST(Messages, HaveARowEach)
{
    for (int number = 0; number < static_cast<int>(Message::Last_); ++number)
        EXPECT_NE(textOf(static_cast<Message>(number)), nullptr) << number;
    EXPECT_EQ(textOf(Message::Last_), nullptr);
    EXPECT_EQ(textOf(static_cast<Message>(-1)), nullptr);
}

TEST(Messages, FillTheirPlacesInOrder)
{
    EXPECT_EQ(printed(Message::MaxfctIncompatible, {std::int64_t{-3}, std::int64_t{1} << 40}),
              "*** Input check: max_fac_store_new -3 _old 1099511627776 are incompatible\n");
    EXPECT_EQ(printed(Message::SummaryOfSteps, {std::string_view("reorder"), std::string_view("solve")}),
              "Summary PARDISO: ( reorder to solve )\n");
    EXPECT_EQ(printed(Message::TimeTotal, {0.25, 1e-7}),
              "      Time total  : 0.250000 s total - sum: 0.000000 s\n");
}

TEST(Messages, WriteAPercentSignForTwo)
{
    EXPECT_EQ(printed(Message::Progress, {std::int64_t{7}}), " 7 % \n");
    EXPECT_EQ(printed(Message::NonZerosPercent, {12.5}),
              "             non-zeros in A (%):                            12.500000\n");
}

TEST(Messages, OfAnUnknownNumberSaySo)
{
    EXPECT_EQ(printed(static_cast<Message>(100000)),
              "PARDISO Internationalization error! Message 100000 is unknown\n");
}

TEST(Messages, HoldALineOf512Characters)
{
    const std::string name(512 - std::string("Sorry, no statistics for  in case of a diagonal matrix").size(),
                           'x');
    EXPECT_EQ(printed(Message::NoStatisticsForDiagonal, {std::string_view(name)}).size(), 513U);
}

TEST(MessagesDeathTest, EndTheProcessForALongerLine)
{
    const std::string name(513 - std::string("Sorry, no statistics for  in case of a diagonal matrix").size(),
                           'x');
    EXPECT_EXIT(
        {
            dup2(2, 1); // the test looks at standard error
            print(Message::NoStatisticsForDiagonal, {std::string_view(name)});
        },
        ExitedWithCode(8),
        "^MKL INTERNAL ERROR: message buffer overflow.\n       Message N [0-9]+   Lenght: 513   Buffer size: "
        "512\n$");
}

} // namespace
