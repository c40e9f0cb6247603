#pragma once
/// @file
/// Blocks of the engine: 128-byte aligned, from the aligned allocators, with one owner; and what they add up
/// to.

#include <lintrix/services/aligned_allocator.h>
#include <lintrix/services/export.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

inline constexpr std::size_t kBlockAlignment = 128;

/// Elements that no block has. A count cut to it leaves room for every size that is worked out of it.
inline constexpr std::int64_t kMostElements = std::int64_t{1} << 50;

/// A sum of blocks, each rounded up to a kilobyte with what its alignment takes.
class BlockSum {
public:
    constexpr BlockSum() noexcept = default;
    /// A block of `count` elements; none of 0 or fewer.
    template <class T>
    constexpr BlockSum& add(std::int64_t count) noexcept
    {
        return addBytes(std::min(count, kMostElements) * std::int64_t{sizeof(T)});
    }
    constexpr BlockSum& addBytes(std::int64_t bytes) noexcept
    {
        constexpr std::int64_t overhead = kBlockAlignment + sizeof(void*);
        if (bytes > 0) kilobytes_ += (bytes + overhead + 1023) / 1024;
        return *this;
    }
    constexpr BlockSum& add(const BlockSum& blocks) noexcept
    {
        kilobytes_ += blocks.kilobytes_;
        return *this;
    }
    constexpr std::int64_t kilobytes() const noexcept { return kilobytes_; }

private:
    std::int64_t kilobytes_ = 0;
};

/// While it lives, adds up the blocks that its thread takes, less those that it gives back, and keeps the
/// largest sum. A block that goes to a slot of the handle stays in the sum. One at a time on a thread.
class LINTRIX_TESTABLE BlockMeter {
public:
    /// Begins with the blocks that are held already.
    explicit BlockMeter(const BlockSum& held) noexcept;
    ~BlockMeter();
    BlockMeter(const BlockMeter&) = delete;
    BlockMeter& operator=(const BlockMeter&) = delete;

    std::int64_t peakKilobytes() const noexcept { return peak_; }

    /// For those who take and give back blocks: enters one, if a meter lives on this thread.
    static void enterTaken(std::int64_t bytes) noexcept;
    static void enterGivenBack(std::int64_t bytes) noexcept;

private:
    void enter(std::int64_t kilobytes) noexcept { peak_ = std::max(peak_, sum_ += kilobytes); }

    std::int64_t sum_, peak_;
};

/// `count` elements of `T`, or an empty block when there is no memory: the engine has no exceptions, its
/// callers ask and report the block by its code. A count of 0 or below is an empty block that is no failure.
/// Metered ones stay on their thread, or go to a slot of the handle.
template <class T, bool metered = true>
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
    ~Scratch()
    {
        if (metered && cells_ != nullptr) BlockMeter::enterGivenBack(wantedBytes());
        alignedRelease(cells_);
    }

    /// Whether the block is there, or nothing was asked for.
    explicit operator bool() const noexcept { return cells_ != nullptr || count_ <= 0; }
    /// What was asked for and is not there, in bytes.
    std::int64_t missingBytes() const noexcept { return *this ? 0 : wantedBytes(); }
    T* get() const noexcept { return cells_; }
    T& operator[](std::int64_t i) const noexcept { return cells_[i]; }
    std::span<T> span() const noexcept { return {cells_, cells_ ? static_cast<std::size_t>(count_) : 0}; }
    /// Gives the block up, for a slot of the handle.
    T* release() noexcept { return std::exchange(cells_, nullptr); }

private:
    Scratch(void* cells, std::int64_t count) noexcept : cells_(static_cast<T*>(cells)), count_(count)
    {
        if (metered && cells_ != nullptr) BlockMeter::enterTaken(wantedBytes());
    }
    std::int64_t wantedBytes() const noexcept { return count_ * static_cast<std::int64_t>(sizeof(T)); }
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

/// A block that threads of a team hand on to each other: no meter, which is one thread's, could keep it in
/// its sum.
template <class T>
using TeamScratch = Scratch<T, false>;

/// Of several blocks together, for the report of the failure.
template <class... T>
std::int64_t missingBytes(const Scratch<T>&... blocks) noexcept
{
    return (blocks.missingBytes() + ...);
}

} // namespace Velmar::Lintrix::detail::engine
