#pragma once
/// @file
/// Blocks of the engine: 128-byte aligned, from the aligned allocators, with one owner.

#include <lintrix/services/aligned_allocator.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

inline constexpr std::size_t kBlockAlignment = 128;

/// `count` elements of `T`, or an empty block when there is no memory: the engine has no exceptions, its
/// callers ask and report the block by its code. A count of 0 or below is an empty block that is no failure.
template <class T>
class Scratch {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Scratch() noexcept = default;
    static Scratch uninitialised(std::int64_t count) noexcept
    {
        return Scratch(bytesFit(count) ? alignedAllocate(bytes(count), kBlockAlignment) : nullptr, count);
    }
    static Scratch zeroed(std::int64_t count) noexcept
    {
        return Scratch(bytesFit(count) ? alignedAllocateZeroed(static_cast<std::size_t>(count), sizeof(T),
                                                               kBlockAlignment)
                                       : nullptr,
                       count);
    }
    Scratch(Scratch&& other) noexcept
        : cells_(std::exchange(other.cells_, nullptr)), count_(std::exchange(other.count_, 0))
    {
    }
    Scratch& operator=(Scratch&& other) noexcept
    {
        std::swap(cells_, other.cells_);
        std::swap(count_, other.count_);
        return *this;
    }
    ~Scratch() { alignedRelease(cells_); }

    /// Whether the block is there, or nothing was asked for.
    explicit operator bool() const noexcept { return cells_ != nullptr || count_ <= 0; }
    /// What was asked for and is not there, in bytes.
    std::int64_t missingBytes() const noexcept
    {
        return *this ? 0 : count_ * static_cast<std::int64_t>(sizeof(T));
    }
    T* get() const noexcept { return cells_; }
    T& operator[](std::int64_t i) const noexcept { return cells_[i]; }
    std::span<T> span() const noexcept { return {cells_, cells_ ? static_cast<std::size_t>(count_) : 0}; }
    /// Gives the block up, for a slot of the handle.
    T* release() noexcept { return std::exchange(cells_, nullptr); }

private:
    Scratch(void* cells, std::int64_t count) noexcept : cells_(static_cast<T*>(cells)), count_(count) {}
    static bool bytesFit(std::int64_t count) noexcept
    {
        return count > 0 &&
               count <= static_cast<std::int64_t>(std::numeric_limits<std::int64_t>::max() / sizeof(T));
    }
    static std::size_t bytes(std::int64_t count) noexcept
    {
        return static_cast<std::size_t>(count) * sizeof(T);
    }

    T* cells_ = nullptr;
    std::int64_t count_ = 0;
};

/// Of several blocks together, for the report of the failure.
template <class... T>
std::int64_t missingBytes(const Scratch<T>&... blocks) noexcept
{
    return (blocks.missingBytes() + ...);
}

} // namespace Velmar::Lintrix::detail::engine
