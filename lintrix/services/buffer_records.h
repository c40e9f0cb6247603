#pragma once
/// @file
/// The buffers of one thread: up to five records and the rule that picks one of them. Not synchronised.

#include <lintrix/services/export.h>

#include <array>
#include <cstddef>
#include <span>

namespace Velmar::Lintrix::detail {

/// One buffer. A record without a block is empty: its real size is 0.
struct BufferRecord {
    void* block = nullptr;    ///< as the system gave it
    void* address = nullptr;  ///< as handed out: the aligned place in the block
    std::size_t size = 0;     ///< asked for
    std::size_t realSize = 0; ///< of the block
    bool inUse = false;
};

/// The records of one thread, in the order in which they were added.
class LINTRIX_TESTABLE BufferRecords {
public:
    static constexpr std::size_t kRecords = 5;

    /// Marks the record for a request of `total` bytes, padding included, as in use and returns it:
    /// 1. the first free record of exactly that size;
    /// 2. else the first free one that is larger, as it stands;
    /// 3. else, while there are fewer than five, a new and empty record;
    /// 4. else the first free one that is smaller, whose block must be replaced;
    /// 5. null when all five are in use.
    /// A record whose real size is below `total` has no fitting block yet: the caller finds it one.
    BufferRecord* claim(std::size_t total) noexcept;

    /// The record that handed `address` out, in use or not; null if there is none.
    BufferRecord* find(const void* address) noexcept;

    /// Frees the blocks of the records not in use and empties those. Without a used record the count becomes
    /// 0. Returns the number of records in use.
    std::size_t freeIdle() noexcept;

private:
    std::span<BufferRecord> records() noexcept { return {records_.data(), count_}; }

    std::array<BufferRecord, kRecords> records_{};
    std::size_t count_ = 0;
};

} // namespace Velmar::Lintrix::detail
