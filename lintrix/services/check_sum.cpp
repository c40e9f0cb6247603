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
constexpr Lanes kStart = {1, 2, 3, 4};

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

using FourLanes = std::array<Lanes, 4>;

// All lanes of a stretch in a vector, both products of a word too: while one stretch waits for its own, the
// three others go on.
[[gnu::always_inline]] inline std::size_t mixRowsOfFour(FourLanes& lanes, const std::byte* first,
                                                        std::size_t each) noexcept
{
    typedef std::uint64_t Vector __attribute__((vector_size(kLanes * kWord), may_alias));
    constexpr std::size_t kRow = sizeof(Vector);
    Vector own[4];
    for (std::size_t s = 0; s < 4; ++s) std::memcpy(&own[s], lanes[s].data(), kRow);
    const std::size_t whole = each / kRow * kRow;
    for (std::size_t at = 0; at < whole; at += kRow) {
        for (std::size_t s = 0; s < 4; ++s) {
            Vector words;
            std::memcpy(&words, first + s * each + at, kRow);
            const Vector sum = own[s] + words * kSpread;
            own[s] = (sum << 29 | sum >> 35) * kMix;
        }
    }
    for (std::size_t s = 0; s < 4; ++s) std::memcpy(lanes[s].data(), &own[s], kRow);
    return whole;
}

std::size_t mixNoneOfFour(FourLanes&, const std::byte*, std::size_t) noexcept
{
    return 0;
}
LINTRIX_FOR_AVX2 std::size_t mixFourAvx2(FourLanes& lanes, const std::byte* first, std::size_t each) noexcept
{
    return mixRowsOfFour(lanes, first, each);
}
LINTRIX_FOR_AVX512 std::size_t mixFourAvx512(FourLanes& lanes, const std::byte* first,
                                             std::size_t each) noexcept
{
    return mixRowsOfFour(lanes, first, each);
}

/// The same for four stretches of `each` bytes that follow each other. Tells how many of each are mixed.
using MixFour = std::size_t (*)(FourLanes&, const std::byte* first, std::size_t each) noexcept;
constexpr KernelForms<MixFour> kFormsOfFour{
    .sse2 = mixNoneOfFour, .avx2 = mixFourAvx2, .avx512 = mixFourAvx512};

// Word k goes to lane k mod 4: four chains of products, of which the processor works on one while the others
// wait for theirs. `done` bytes are mixed.
std::uint64_t finished(Lanes lanes, std::span<const std::byte> bytes, std::size_t done) noexcept
{
    const std::byte *const end = bytes.data() + bytes.size(), *next = bytes.data() + done;
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

} // namespace

std::uint64_t checkSum(std::span<const std::byte> bytes) noexcept
{
    Lanes lanes = kStart;
    const std::byte* const next = kForms.chosen()(lanes, bytes.data(), bytes.data() + bytes.size());
    return finished(lanes, bytes, static_cast<std::size_t>(next - bytes.data()));
}

std::array<std::uint64_t, 4> checkSumsOfFour(const std::byte* first, std::size_t each) noexcept
{
    FourLanes lanes = {kStart, kStart, kStart, kStart};
    const std::size_t done = kFormsOfFour.chosen()(lanes, first, each);
    std::array<std::uint64_t, 4> sums;
    for (std::size_t s = 0; s < 4; ++s) sums[s] = finished(lanes[s], {first + s * each, each}, done);
    return sums;
}

} // namespace Velmar::Lintrix::detail
