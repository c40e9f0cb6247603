#include <lintrix/services/check_sum.h>

#include <lintrix/services/dispatch.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t), kLanes = 4;
constexpr std::uint64_t kSpread = 0x9e3779b97f4a7c15, kMix = 0xd1342543de82ef95;

using Lanes = std::array<std::uint64_t, kLanes>;

/// A bijection of the lane for any word and of the word for any lane, since both factors are odd. The first
/// carries what changes in a word to the bits above, the rotation brings those down for the second.
std::uint64_t mixed(std::uint64_t lane, std::uint64_t spreadWord) noexcept
{
    return std::rotl(lane + spreadWord, 29) * kMix;
}

/// The word that begins here; one that is cut off goes on with zeros.
std::uint64_t wordAt(const std::byte* place, std::size_t size = kWord) noexcept
{
    std::uint64_t word = 0;
    std::memcpy(&word, place, size);
    return word;
}

// The first product of a word does not wait for its lane: those of a block are taken together, by vectors,
// and the processor's one multiplier of words is left to the second.
[[gnu::always_inline]] inline const std::byte* mixBlocks(Lanes& lanes, const std::byte* next,
                                                         const std::byte* end) noexcept
{
    constexpr std::size_t kBlock = 64;
    std::uint64_t spread[kBlock];
    for (; static_cast<std::size_t>(end - next) >= kBlock * kWord; next += kBlock * kWord) {
        for (std::size_t k = 0; k < kBlock; ++k) spread[k] = wordAt(next + k * kWord) * kSpread;
        for (std::size_t k = 0; k < kBlock; k += kLanes)
            for (std::size_t l = 0; l < kLanes; ++l) lanes[l] = mixed(lanes[l], spread[k + l]);
    }
    return next;
}

const std::byte* mixNone(Lanes&, const std::byte* next, const std::byte*) noexcept
{
    return next;
}
LINTRIX_FOR_AVX512 const std::byte* mixAvx512(Lanes& lanes, const std::byte* next,
                                              const std::byte* end) noexcept
{
    return mixBlocks(lanes, next, end);
}

/// Mixes words from `next` on into their lanes, some of them or none, and tells where it has come to: it pays
/// where there are vectors of whole products. All forms have the same bits.
using Mix = const std::byte* (*)(Lanes&, const std::byte* next, const std::byte* end) noexcept;
constexpr KernelForms<Mix> kForms{.sse2 = mixNone, .avx2 = mixNone, .avx512 = mixAvx512};

} // namespace

// Word k goes to lane k mod 4: four chains of products, of which the processor works on one while the others
// wait for theirs.
std::uint64_t checkSum(std::span<const std::byte> bytes) noexcept
{
    Lanes lanes = {1, 2, 3, 4};
    const std::byte* const end = bytes.data() + bytes.size();
    const std::byte* next = kForms.chosen()(lanes, bytes.data(), end);
    for (; static_cast<std::size_t>(end - next) >= kLanes * kWord; next += kLanes * kWord)
        for (std::size_t l = 0; l < kLanes; ++l)
            lanes[l] = mixed(lanes[l], wordAt(next + l * kWord) * kSpread);
    for (std::size_t l = 0; next < end; ++l) {
        const std::size_t size = std::min(kWord, static_cast<std::size_t>(end - next));
        lanes[l] = mixed(lanes[l], wordAt(next, size) * kSpread);
        next += size;
    }
    std::uint64_t sum = bytes.size();
    for (const std::uint64_t lane : lanes) sum = mixed(sum, lane * kSpread);
    return sum ^ sum >> 32;
}

} // namespace Velmar::Lintrix::detail
