#pragma once
/// @file
/// The buffer pool: scratch memory of the numeric kernels, kept per thread between calls.
///
/// A thread that asks for a size it has just given back gets the same block again, for a scan over five
/// records and no call of the system. `MKL_DISABLE_FAST_MM` or `MKL_MM_DISABLE`, present with any value,
/// turns the pool off; read at the first request.

#include <lintrix/services/export.h>

#include <cstddef>

namespace Velmar::Lintrix {

/// Gives the idle buffers of all threads back to the system. When no buffer is in use anywhere the pools
/// themselves go too; otherwise all of them stay. May be called at any time and repeated, also by a host's
/// own `malloc` in a shortage; not by its `free`, which runs under the service lock here.
LINTRIX_EXPORT void MKL_FreeBuffers();

namespace detail {

/// The largest request that is pooled, in bytes.
inline constexpr std::size_t kLargestPooled = 0x2800000;

/// Scratch of `size` bytes, null for size 0 or when the system has no memory.
///
/// Alignment of a pooled buffer: one of at least 4 is honoured as given when a power of two, any other counts
/// as 64; below 4 there is none. It is a wish, not a promise: a request that the pool does not
/// serve (pool off, above kLargestPooled, all five buffers of this thread in use, 1024 threads with pools)
/// goes straight to the system's malloc and has the alignment of that.
LINTRIX_TESTABLE void* poolAllocate(std::size_t size, std::size_t alignment) noexcept;

/// Gives a buffer back, from any thread; null is ignored. A pooled buffer is kept for the next request of the
/// thread that took it; an address that no pool knows goes to the system's free.
LINTRIX_TESTABLE void poolRelease(void* address) noexcept;

} // namespace detail
} // namespace Velmar::Lintrix
