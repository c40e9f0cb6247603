#include <lintrix/engine/analysis/matching/bit_vector.h>

#include <gtest/gtest.h>

#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::engine::bvec_new;

TEST(BitVector, ReckonsThirtyOneBitsToAWord)
{
    EXPECT_EQ(bvec_new::wordsFor(0), 1);
    EXPECT_EQ(bvec_new::wordsFor(30), 1);
    EXPECT_EQ(bvec_new::wordsFor(31), 2);
    EXPECT_EQ(bvec_new::wordsFor(62), 3);
    EXPECT_EQ(bvec_new::wordsFor(2147483647), 69273667);
}

TEST(BitVector, FindsABitByShiftFiveAndMaskThirtyOne)
{
    std::vector<int> words(3, 0);
    const bvec_new bits(words);
    bits.set(0);
    bits.set(31);
    bits.set(32);
    bits.set(65);
    EXPECT_EQ(words, (std::vector<int>{static_cast<int>(0x80000001U), 1, 2}));
}

TEST(BitVector, ChangesOneBitAlone)
{
    const int n = 200;
    for (int i = 0; i < n; ++i) {
        std::vector<int> words(static_cast<std::size_t>(bvec_new::wordsFor(n)), 0);
        const bvec_new bits(words);
        for (int k = 0; k < n; ++k) EXPECT_FALSE(bits.test(k));
        bits.set(i);
        for (int k = 0; k < n; ++k) EXPECT_EQ(bits.test(k), k == i);
        for (int k = 0; k < n; ++k) bits.set(k);
        bits.reset(i);
        for (int k = 0; k < n; ++k) EXPECT_EQ(bits.test(k), k != i);
    }
}

TEST(BitVector, IsAView)
{
    std::vector<int> words(1, 0);
    const bvec_new one(words), other(words);
    one.set(7);
    EXPECT_TRUE(other.test(7));
}

} // namespace
} // namespace Velmar::Lintrix::testing
