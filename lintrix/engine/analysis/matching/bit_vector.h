#pragma once
/// @file
/// Sets of small integers, one bit each, in blocks of the caller.

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// A bit vector over words of the caller: bit i is bit `i & 31` of word `i >> 5`. It is a view, like
/// std::span: copies see the same bits.
class bvec_new {
public:
    /// Words that `bits` bits need. 31 bits are reckoned to a word, though each holds 32, so the last one may
    /// stay unused; the pairs in a handle's matching block lie by this count, so it stays.
    static std::int64_t wordsFor(int bits) noexcept { return bits / 31 + 1; }

    bvec_new() noexcept = default;
    explicit bvec_new(std::span<int> words) noexcept : words_(words) {}

    bool test(int i) const noexcept { return (word(i) >> (i & kMask) & 1U) != 0; }
    void set(int i) const noexcept { word(i) |= 1U << (i & kMask); }
    void reset(int i) const noexcept { word(i) &= ~(1U << (i & kMask)); }

private:
    static constexpr int kShift = 5;
    static constexpr int kMask = 31;

    // The signed type's unsigned twin may stand for it, so that a bit 31 is no sign.
    std::uint32_t& word(int i) const noexcept
    {
        return reinterpret_cast<std::uint32_t*>(words_.data())[i >> kShift];
    }

    std::span<int> words_;
};

} // namespace Velmar::Lintrix::detail::engine
