// The shared random source, against the published algorithms written out a second time.

#include <lintrix/foundation/random.h>

#include "tests/support/reference_random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::Random;
using detail::RandomServer;

// Sum of (count - expected)^2 / expected over equally likely bins.
double chiSquare(const std::vector<int>& counts, int draws)
{
    const double expected = static_cast<double>(draws) / static_cast<double>(counts.size());
    double sum = 0.0;
    for (const int count : counts) sum += (count - expected) * (count - expected) / expected;
    return sum;
}

TEST(Random, NumbersAreThoseOfThePublishedAlgorithm)
{
    for (const std::uint64_t seed : {std::uint64_t{0}, std::uint64_t{17}, UINT64_MAX}) {
        Random random(seed);
        ReferenceRandom reference(seed);
        for (int k = 0; k < 1000; ++k) ASSERT_EQ(random.NextDouble(), reference.uniform()) << k;
    }
}

TEST(Random, IntegersMapTheUpperHalfOfEachNumberOntoTheInterval)
{
    Random random(17);
    ReferenceRandom reference(17);
    for (int k = 1; k < 1000; ++k) {
        const auto upperHalf = static_cast<double>(reference.next() >> 32); // exact, as is the product
        ASSERT_EQ(random.Next(-k, k * k), -k + std::floor(std::ldexp(upperHalf * (k * k + k), -32))) << k;
    }
}

TEST(Random, DoublesStayInTheHalfOpenUnitInterval)
{
    Random random(1);
    for (int k = 0; k < 100000; ++k) {
        const double u = random.NextDouble();
        ASSERT_GE(u, 0.0);
        ASSERT_LT(u, 1.0);
        ASSERT_EQ(std::floor(std::ldexp(u, 53)), std::ldexp(u, 53)); // a multiple of 2^-53
    }
}

TEST(Random, IntegersStayInTheirIntervalAndReachBothEnds)
{
    Random random(2);
    for (const auto& [low, high] : {std::pair{0, 1}, std::pair{0, 2}, std::pair{-3, 4}, std::pair{5, 12}}) {
        bool sawLow = false, sawLast = false;
        for (int k = 0; k < 1000; ++k) {
            const std::int32_t value = random.Next(low, high);
            ASSERT_GE(value, low);
            ASSERT_LT(value, high);
            sawLow |= value == low;
            sawLast |= value == high - 1;
        }
        EXPECT_TRUE(sawLow && sawLast) << low << " to " << high;
    }
}

TEST(Random, WidestIntervalDoesNotWrap)
{
    Random random(3);
    bool sawNegative = false, sawPositive = false;
    for (int k = 0; k < 1000; ++k) {
        const std::int32_t value = random.Next(INT32_MIN, INT32_MAX);
        ASSERT_LT(value, INT32_MAX);
        sawNegative |= value < INT32_MIN / 2;
        sawPositive |= value > INT32_MAX / 2;
    }
    EXPECT_TRUE(sawNegative && sawPositive);
}

TEST(Random, EmptyIntervalGivesItsLowEnd)
{
    Random random(4);
    EXPECT_EQ(random.Next(5, 5), 5);
    EXPECT_EQ(random.Next(5, -5), 5);
    EXPECT_EQ(random.Next(INT32_MIN, INT32_MIN), INT32_MIN);
    Random fresh(4);
    EXPECT_EQ(random.NextDouble(), fresh.NextDouble()); // no number was drawn for them
}

TEST(Random, DoublesAreUniform)
{
    constexpr int kBins = 64, kDraws = 64000;
    Random random(5);
    std::vector<int> counts(kBins);
    for (int k = 0; k < kDraws; ++k) ++counts[static_cast<std::size_t>(random.NextDouble() * kBins)];
    EXPECT_LT(chiSquare(counts, kDraws), 63 + 4 * std::sqrt(2 * 63.0)); // mean + 4 deviations
    EXPECT_GT(chiSquare(counts, kDraws), 63 - 4 * std::sqrt(2 * 63.0)); // too even is not random either
}

TEST(Random, IntegersAreUniform)
{
    constexpr int kBins = 10, kDraws = 50000;
    Random random(6);
    std::vector<int> counts(kBins);
    for (int k = 0; k < kDraws; ++k) ++counts[static_cast<std::size_t>(random.Next(-5, 5) + 5)];
    EXPECT_LT(chiSquare(counts, kDraws), 9 + 4 * std::sqrt(2 * 9.0));
    EXPECT_GT(chiSquare(counts, kDraws), 0.5);
}

TEST(RandomServer, EveryCallerDrawsFromOneGenerator)
{
    EXPECT_EQ(&RandomServer::GetRandom(), &RandomServer::GetRandom());
}

// Whether the generator of this process, not yet drawn from, starts the sequence of seed 17.
bool startsTheSequenceOfSeventeen()
{
    ReferenceRandom reference(17);
    for (int k = 0; k < 1000; ++k) {
        if (RandomServer::GetRandom().NextDouble() != reference.uniform()) return false;
    }
    return true;
}

TEST(RandomServerDeathTest, EachFreshProcessDrawsTheNumbersOfSeedSeventeen)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe"; // runs this program anew
    for (int process = 0; process < 2; ++process) {
        EXPECT_EXIT(std::_Exit(startsTheSequenceOfSeventeen() ? 0 : 1), ::testing::ExitedWithCode(0), "");
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
