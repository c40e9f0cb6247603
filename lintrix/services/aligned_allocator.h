#pragma once
/// @file
/// The plain aligned allocators: long-lived blocks of the native layer.
///
/// A block of the system allocator holds a header word, the block's own address, right before the address
/// that is handed out:
///
///     block ... padding ... | header: block | address: size bytes ... |
///
/// Alignment: one of at least 8 is honoured as given when a power of two, any other counts as 64; below 8
/// there is none, and the address stands 8 bytes into the block. Each block takes alignment + 8 bytes more
/// than asked for. Zero sizes, sizes that overflow and a system without memory give null. Nothing here takes
/// a lock.

#include <lintrix/services/export.h>

#include <cstddef>

namespace Velmar::Lintrix::detail {

/// An uninitialised block of `size` bytes.
LINTRIX_TESTABLE void* alignedAllocate(std::size_t size, std::size_t alignment) noexcept;

/// A block of `count` elements of `elementSize` bytes, all zero.
LINTRIX_TESTABLE void* alignedAllocateZeroed(std::size_t count, std::size_t elementSize,
                                             std::size_t alignment) noexcept;

/// The block at `address` brought to `size` bytes, its content kept up to the smaller of both sizes. The
/// distance from the system's block is kept, and so not the alignment, if that block moves to a place of
/// another alignment: the content is not moved a second time, but by the form below. Null leaves the old
/// block as it was; null in place of `address` allocates without alignment.
LINTRIX_TESTABLE void* alignedReallocate(void* address, std::size_t size) noexcept;

/// The same for a block whose alignment, that of its allocation, is kept wherever the system moves it.
LINTRIX_TESTABLE void* alignedReallocate(void* address, std::size_t size, std::size_t alignment) noexcept;

/// Gives a block back; null is ignored.
LINTRIX_TESTABLE void alignedRelease(void* address) noexcept;

} // namespace Velmar::Lintrix::detail
