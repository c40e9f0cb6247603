#include <lintrix/services/check_sum.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <vector>

using namespace Velmar::Lintrix::detail;

namespace {

std::vector<std::byte> someBytes(std::size_t count)
{
    std::mt19937_64 random(20110614 + count);
    std::vector<std::byte> bytes(count);
    std::ranges::generate(bytes, [&] { return static_cast<std::byte>(random()); });
    return bytes;
}

TEST(CheckSum, OfTheSameBytesIsTheSameWhereverTheyStand)
{
    const std::vector<std::byte> bytes = someBytes(1000);
    for (const std::size_t offset : {0, 1, 3, 8}) {
        std::vector<std::byte> moved(offset);
        moved.insert(moved.end(), bytes.begin(), bytes.end());
        EXPECT_EQ(checkSum({moved.data() + offset, bytes.size()}), checkSum(bytes)) << offset;
    }
}

TEST(CheckSum, ChangesWithEachBit)
{
    for (std::size_t count = 1; count <= 100; ++count) {
        std::vector<std::byte> bytes = someBytes(count);
        const std::uint64_t sum = checkSum(bytes);
        for (std::size_t bit = 0; bit < 8 * count; ++bit) {
            bytes[bit / 8] ^= std::byte{1} << bit % 8;
            ASSERT_NE(checkSum(bytes), sum) << "bit " << bit << " of " << count << " bytes";
            bytes[bit / 8] ^= std::byte{1} << bit % 8;
        }
    }
}

TEST(CheckSum, ChangesWithEachWord)
{
    std::vector<std::byte> bytes = someBytes(92); // the last word is a half
    const std::uint64_t sum = checkSum(bytes);
    std::mt19937_64 random(7);
    for (int change = 0; change < 10000; ++change) {
        std::vector<std::byte> changed = bytes;
        const std::size_t first = 8 * (random() % 12), count = std::min<std::size_t>(8, bytes.size() - first);
        for (std::size_t k = 0; k < count; ++k) changed[first + k] = static_cast<std::byte>(random());
        EXPECT_EQ(checkSum(changed) == sum, changed == bytes) << "change " << change;
    }
}

// The signs of two numbers, say: the top bit of a product is the one that nothing else reaches.
TEST(CheckSum, ChangesWithTwoBits)
{
    std::vector<std::byte> bytes = someBytes(96);
    const auto flip = [&](std::size_t bit) { bytes[bit / 8] ^= std::byte{1} << bit % 8; };
    std::set<std::uint64_t> sums{checkSum(bytes)};
    std::size_t changes = 1;
    for (std::size_t one = 0; one < 8 * bytes.size(); ++one) {
        for (std::size_t other = one + 1; other < 8 * bytes.size(); ++other, ++changes) {
            flip(one), flip(other);
            sums.insert(checkSum(bytes));
            flip(one), flip(other);
        }
    }
    EXPECT_EQ(sums.size(), changes);
}

TEST(CheckSum, ChangesWithTheOrderOfWords)
{
    const std::vector<std::byte> bytes = someBytes(96);
    for (int one = 0; one < 12; ++one) {
        for (int other = one + 1; other < 12; ++other) {
            std::vector<std::byte> swapped = bytes;
            std::swap_ranges(swapped.begin() + 8 * one, swapped.begin() + 8 * one + 8,
                             swapped.begin() + 8 * other);
            EXPECT_NE(checkSum(swapped), checkSum(bytes)) << one << " and " << other;
        }
    }
}

TEST(CheckSum, ChangesWithTheLength)
{
    const std::vector<std::byte> zeros(300);
    std::set<std::uint64_t> sums;
    for (std::size_t count = 0; count <= zeros.size(); ++count) sums.insert(checkSum({zeros.data(), count}));
    EXPECT_EQ(sums.size(), zeros.size() + 1);
}

// Every length of a stretch: whole rows of words, and what is left of one.
TEST(CheckSumsOfFour, AreThoseOfEachStretch)
{
    for (std::size_t each = 0; each <= 300; ++each) {
        const std::vector<std::byte> bytes = someBytes(4 * each + 1);
        const std::byte* const first = bytes.data() + 1;
        const std::array<std::uint64_t, 4> sums = checkSumsOfFour(first, each);
        for (std::size_t k = 0; k < 4; ++k)
            ASSERT_EQ(sums[k], checkSum({first + k * each, each})) << k << " of " << each << " bytes";
    }
}

} // namespace
