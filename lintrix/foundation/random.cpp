#include <lintrix/foundation/random.h>

#include <bit>

namespace Velmar::Lintrix::detail {

Random::Random(std::uint64_t seed) noexcept
{
    for (std::uint64_t& word : state_) { // splitmix64
        seed += 0x9e3779b97f4a7c15u;
        std::uint64_t z = seed;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        word = z ^ (z >> 31);
    }
}

std::uint64_t Random::NextBits() noexcept
{
    const std::uint64_t result = std::rotl(state_[0] + state_[3], 23) + state_[0];
    const std::uint64_t t = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= t;
    state_[3] = std::rotl(state_[3], 45);
    return result;
}

double Random::NextDouble() noexcept
{
    return static_cast<double>(NextBits() >> 11) * 0x1p-53;
}

std::int32_t Random::Next(std::int32_t low, std::int32_t high) noexcept
{
    if (high <= low) return low;
    const auto width = static_cast<std::uint64_t>(std::int64_t{high} - low);
    // The upper half of a 64-bit product maps 32 random bits onto the width; its bias is below 2^-32.
    const std::uint64_t scaled = ((NextBits() >> 32) * width) >> 32;
    return static_cast<std::int32_t>(low + static_cast<std::int64_t>(scaled));
}

Random& RandomServer::GetRandom()
{
    static Random random(17);
    return random;
}

} // namespace Velmar::Lintrix::detail
