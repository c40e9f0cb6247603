#pragma once
/// @file
/// The shared random source: one generator with seed 17, drawn from by all random fills of the library.
///
/// The same order of calls gives the same numbers in every process and on every platform, so no distribution
/// of the standard library is used: those differ between implementations.

#include <lintrix/services/export.h>

#include <array>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// xoshiro256++ (Blackman and Vigna, ACM Transactions on Mathematical Software 47, 2021), its state filled by
/// splitmix64 from the seed. Not safe for concurrent use.
class LINTRIX_TESTABLE Random {
public:
    explicit Random(std::uint64_t seed) noexcept;

    /// Uniform in [0, 1): a multiple of 2^-53.
    double NextDouble() noexcept;

    /// Uniform integer in [low, high), `high` excluded; `low` if the interval is empty.
    std::int32_t Next(std::int32_t low, std::int32_t high) noexcept;

    /// 64 bits, each 0 or 1.
    std::uint64_t NextBits() noexcept;

private:
    std::array<std::uint64_t, 4> state_;
};

/// Hands out the shared generator.
class LINTRIX_TESTABLE RandomServer {
public:
    static Random& GetRandom();
};

} // namespace Velmar::Lintrix::detail
