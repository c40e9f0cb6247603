#pragma once
/// @file
/// Counts what the library holds of the system's memory, now and at most.

#include <cstdint>

namespace Velmar::Lintrix::testing {

/// Blocks of the system allocator, with the headers and alignment that belong to them.
struct HeldMemory {
    std::int64_t bytes = 0;
    std::int64_t kilobytes = 0; ///< each block rounded up to a full one
};

/// While it lives, each block that the library takes and gives back is entered. One at a time; any number of
/// threads.
class MemoryWatch {
public:
    MemoryWatch();
    ~MemoryWatch();
    MemoryWatch(const MemoryWatch&) = delete;
    MemoryWatch& operator=(const MemoryWatch&) = delete;

    HeldMemory held() const;
    /// The most since the watch began, or began anew; the two numbers may be of different moments.
    HeldMemory peak() const;
    void restartPeak();
};

} // namespace Velmar::Lintrix::testing
