#pragma once
/// @file
/// The published algorithms behind the shared generator, written out a second time.

#include <cmath>
#include <cstdint>

namespace Velmar::Lintrix::testing {

/// xoshiro256++ of Blackman and Vigna with the state filled by Vigna's splitmix64, as they publish them.
class ReferenceRandom {
public:
    explicit ReferenceRandom(std::uint64_t seed) : x_(seed)
    {
        for (int i = 0; i < 4; ++i) s_[i] = splitmix64();
    }

    std::uint64_t next()
    {
        const std::uint64_t sum = s_[0] + s_[3];
        const std::uint64_t result = rotateLeft(sum, 23) + s_[0];
        const std::uint64_t shifted = s_[1] << 17;
        s_[2] = s_[2] ^ s_[0];
        s_[3] = s_[3] ^ s_[1];
        s_[1] = s_[1] ^ s_[2];
        s_[0] = s_[0] ^ s_[3];
        s_[2] = s_[2] ^ shifted;
        s_[3] = rotateLeft(s_[3], 45);
        return result;
    }

    double uniform() { return std::ldexp(static_cast<double>(next() / 2048), -53); }

private:
    std::uint64_t splitmix64()
    {
        x_ = x_ + 0x9e3779b97f4a7c15;
        std::uint64_t z = x_;
        z = (z ^ (z / (1ull << 30))) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z / (1ull << 27))) * 0x94d049bb133111eb;
        return z ^ (z / (1ull << 31));
    }
    static std::uint64_t rotateLeft(std::uint64_t word, int bits)
    {
        return (word << bits) + (word >> (64 - bits));
    }

    std::uint64_t x_;
    std::uint64_t s_[4];
};

} // namespace Velmar::Lintrix::testing
