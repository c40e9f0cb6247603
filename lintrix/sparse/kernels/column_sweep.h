#pragma once
/// @file
/// Column numbers of a long row brought into ascending order, in linear time.

#include <lintrix/sparse/kernels/scratch.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// A set of numbers below `size` as a bitmap, with a summary that tells which words of it hold anything: what
/// was noted is found again, ascending, in time linear in its number and in the range of the summary, 4096
/// numbers a word. Workspace, in 64-bit words: size/64 + size/4096, rounded up.
class ColumnSweep {
public:
    explicit ColumnSweep(int size) noexcept
        : words_((static_cast<std::size_t>(size) + 63) / 64), bits_(words_ + (words_ + 63) / 64)
    {
        if (bits_.get() != nullptr) std::fill_n(bits_.get(), bits_.size(), 0);
    }

    bool isThere() const noexcept { return bits_.isThere(); }

    /// Calls work(number) for each of the `count` distinct numbers, ascending.
    template <class Work>
    void inOrder(const int* numbers, int count, Work work)
    {
        std::uint64_t* const bits = bits_.get();
        std::uint64_t* const summary = bits + words_;
        std::size_t first = words_, last = 0;
        for (int e = 0; e < count; ++e) {
            const auto number = static_cast<std::size_t>(numbers[e]);
            bits[number / 64] |= std::uint64_t{1} << number % 64;
            summary[number / 4096] |= std::uint64_t{1} << number / 64 % 64;
            first = std::min(first, number / 4096);
            last = std::max(last, number / 4096);
        }
        for (std::size_t s = first; s <= last; ++s) {
            emptied(summary[s], [&](int word) {
                const std::size_t w = s * 64 + static_cast<std::size_t>(word);
                emptied(bits[w], [&](int bit) { work(static_cast<int>(w * 64) + bit); });
            });
        }
    }

private:
    /// Calls work(b) for each bit b set in `word`, ascending, and leaves it 0.
    template <class Work>
    static void emptied(std::uint64_t& word, Work work)
    {
        for (std::uint64_t rest = word; rest != 0; rest &= rest - 1) work(std::countr_zero(rest));
        word = 0;
    }

    std::size_t words_;
    Scratch<std::uint64_t> bits_; // the bitmap, then the summary
};

} // namespace Velmar::Lintrix::detail
