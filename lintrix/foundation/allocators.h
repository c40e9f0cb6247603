#pragma once
/// @file
/// The allocators of numeric data: raw blocks, aligned to 16 bytes, at least 16 bytes long, uninitialised,
/// each counted in `TrellConfiguration::TotalMemory`.
///
/// Sizes are in elements, but for `_realloc_gen` in bytes. The byte count is formed in wrapping 64-bit
/// arithmetic, as the interface says; a negative count widened by a caller becomes an enormous one and is
/// refused. The memory comes from the aligned allocators of `services`, so that the alignment holds whatever
/// the system's slots give. The exact requested size stands in front of the block, so that the total and the
/// same-size shortcut need no table. A block has no type: `_free_mem_int` releases any of them.

#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix {

struct _TRELL_Complex;

namespace detail {

/// `block`; the one place that tells a lack of memory, for those, too, who take theirs uncounted.
/// @throws NotEnoughMemoryException  `block` is null
LINTRIX_TESTABLE void* requireBlock(void* block);

/// @throws NotEnoughMemoryException  the system has no such block; nothing has been counted
LINTRIX_TESTABLE double* _malloc_double(std::uint64_t size);
LINTRIX_TESTABLE _TRELL_Complex* _malloc_Complex(std::uint64_t size);
LINTRIX_TESTABLE std::int32_t* _malloc_int(std::uint64_t size);

/// A block of the new size with the contents kept up to the smaller of the two; `pointer` is a live block.
/// The same size returns `pointer` at once.
/// @throws NotEnoughMemoryException  the old block stays valid and the caller's, but it has left the
/// accounting:
///         the total is too low by its size until it is released, when it drops by it again. Callers compare
///         totals, so it stays so
LINTRIX_TESTABLE void* _realloc_gen(void* pointer, std::uint64_t size);
LINTRIX_TESTABLE double* _realloc_double(double* pointer, std::uint64_t size);
LINTRIX_TESTABLE _TRELL_Complex* _realloc_Complex(_TRELL_Complex* pointer, std::uint64_t size);
LINTRIX_TESTABLE std::int32_t* _realloc_int(std::int32_t* pointer, std::uint64_t size);

/// The block with its first `bytes` bytes alone; `pointer` is a live block of at least that size. Should the
/// system refuse even that, the block comes back as it is, and is counted as it is.
LINTRIX_TESTABLE void* shrinkBlock(void* pointer, std::uint64_t bytes) noexcept;

/// Releases any block, whatever its element type, in spite of its name; null is no error.
LINTRIX_EXPORT void _free_mem_int(void* pointer) noexcept; // reached from inline destructors of the classes

/// The size of a live block in bytes, exactly as it was requested.
LINTRIX_EXPORT std::uint64_t blockBytes(const void* pointer) noexcept; // from inline members, as above

} // namespace detail
} // namespace Velmar::Lintrix
