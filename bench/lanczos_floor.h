#pragma once
/// @file
/// The least time that full reorthogonalization by modified Gram-Schmidt takes on this machine.
///
/// Step j subtracts j vectors of length m and j of length n, one after the other, each with a scalar product
/// before: 4 operations a cell, and each cell of both bases is read once. No step can begin before the one
/// before is finished, so nothing is read for two of them. Bounds are the rate of the fused loop with all its
/// vectors in the first cache, and the rate at which plain sums read as much memory as the bases take up.

#include <array>
#include <cstdint>

namespace Velmar::Lintrix::bench {

class LanczosFloor {
public:
    /// Measures the rates, with a team of `threads`: about a second.
    explicit LanczosFloor(int threads);

    double operationsPerSecond() const { return operations_; }
    /// Of a block of this size, read over and over.
    double bytesPerSecond(double size) const;

    /// The sum over the steps of the larger of both bounds.
    double seconds(std::int32_t m, std::int32_t n, std::int32_t steps) const;

private:
    static constexpr int kSizes = 27; ///< 16 KiB to 128 MiB, each sqrt(2) times the one before

    double operations_;
    std::array<double, kSizes> bytes_;
};

} // namespace Velmar::Lintrix::bench
