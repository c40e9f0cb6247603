#pragma once
/// @file
/// The sum by which a block that comes back from a file is known to be the one that went there.

#include <lintrix/services/export.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail {

/// Of any bytes, as fast as memory is read. Bytes that differ within one word of eight, counted from the
/// first, have different sums for certain. Bytes of which more has changed, without regard to the sum, have
/// the same one with a chance of about 2^-64. No protection against somebody who wants them to have it.
LINTRIX_TESTABLE std::uint64_t checkSum(std::span<const std::byte> bytes) noexcept;

/// checkSum() of each of four stretches of `each` bytes that follow each other. Where there are vectors of
/// words the four of them take less time than two.
LINTRIX_TESTABLE std::array<std::uint64_t, 4> checkSumsOfFour(const std::byte* first,
                                                              std::size_t each) noexcept;

} // namespace Velmar::Lintrix::detail
