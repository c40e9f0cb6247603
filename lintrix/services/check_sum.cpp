#include <lintrix/services/check_sum.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t), kLanes = 4;
constexpr std::uint64_t kSpread = 0x9e3779b97f4a7c15, kMix = 0xd1342543de82ef95;

/// A bijection of the lane for any word and of the word for any lane, since both factors are odd. The first
/// carries what changes in a word to the bits above, the rotation brings those down for the second.
std::uint64_t mixed(std::uint64_t lane, std::uint64_t word) noexcept
{
    return std::rotl(lane + word * kSpread, 29) * kMix;
}

/// The word that begins here; one that is cut off goes on with zeros.
std::uint64_t wordAt(const std::byte* place, std::size_t size = kWord) noexcept
{
    std::uint64_t word = 0;
    std::memcpy(&word, place, size);
    return word;
}

} // namespace

// Word k goes to lane k mod 4: four chains of products, of which the processor works on one while the others
// wait for theirs.
std::uint64_t checkSum(std::span<const std::byte> bytes) noexcept
{
    std::array<std::uint64_t, kLanes> lanes = {1, 2, 3, 4};
    const std::byte* next = bytes.data();
    const std::byte* const end = next + bytes.size();
    for (; next + kLanes * kWord <= end; next += kLanes * kWord)
        for (std::size_t l = 0; l < kLanes; ++l) lanes[l] = mixed(lanes[l], wordAt(next + l * kWord));
    for (std::size_t l = 0; next < end; ++l) {
        const std::size_t size = std::min(kWord, static_cast<std::size_t>(end - next));
        lanes[l] = mixed(lanes[l], wordAt(next, size));
        next += size;
    }
    std::uint64_t sum = bytes.size();
    for (const std::uint64_t lane : lanes) sum = mixed(sum, lane);
    return sum ^ sum >> 32;
}

} // namespace Velmar::Lintrix::detail
