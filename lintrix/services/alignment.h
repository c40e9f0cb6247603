#pragma once
/// @file
/// Arithmetic of alignments, shared by the buffer pool and the aligned allocators.

#include <cstddef>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// The alignment in force for a wish: as given when a power of two of at least `least`, 64 for any other
/// number of at least `least`, and 0, none, below that.
constexpr std::size_t effectiveAlignment(std::size_t wish, std::size_t least) noexcept
{
    if (wish < least) return 0;
    return (wish & (wish - 1)) == 0 ? wish : 64;
}

/// The first address from `address` on that is a multiple of `alignment`, a power of two; 0 aligns to
/// nothing.
inline void* alignedAddress(void* address, std::size_t alignment) noexcept
{
    if (alignment == 0) return address;
    const std::size_t over = reinterpret_cast<std::uintptr_t>(address) & (alignment - 1);
    return static_cast<std::byte*>(address) + (over == 0 ? 0 : alignment - over);
}

} // namespace Velmar::Lintrix::detail
