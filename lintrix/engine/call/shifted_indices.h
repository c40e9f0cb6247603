#pragma once
/// @file
/// The caller's index arrays at base 0 for the length of a scope.

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// The arrays are shifted in the caller's memory, not copied: analysis takes no memory for them. A concurrent
/// reader sees them shifted, of which the entry warns. Whatever way the scope is left, they stand at base 1
/// again.
class ShiftedIndices {
public:
    ShiftedIndices(std::span<int> ia, std::span<int> ja) noexcept : ia_(ia), ja_(ja) { shift(~0U); }
    ~ShiftedIndices() { shift(1U); }
    ShiftedIndices(const ShiftedIndices&) = delete;
    ShiftedIndices& operator=(const ShiftedIndices&) = delete;

    std::span<const int> ia() const noexcept { return ia_; }
    std::span<const int> ja() const noexcept { return ja_; }

private:
    // Unsigned, so that an unchecked array of any content goes there and back without overflow.
    static void add(std::span<int> indices, std::uint32_t amount) noexcept
    {
        for (int& index : indices) index = static_cast<int>(static_cast<std::uint32_t>(index) + amount);
    }
    void shift(std::uint32_t amount) noexcept
    {
        add(ia_, amount);
        add(ja_, amount);
    }

    std::span<int> ia_;
    std::span<int> ja_;
};

} // namespace Velmar::Lintrix::detail::engine
