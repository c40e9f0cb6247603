#pragma once
/// @file
/// The four replaceable slots through which every block of this library comes from the system and goes back.

#include <lintrix/services/export.h>

#include <cstddef>

namespace Velmar::Lintrix {

/// Functions of the C runtime's shape. A host with a memory manager of its own stores its functions here
/// before the first block is taken: a block must go back to the family it came from.
struct SystemAllocator {
    void* (*malloc)(std::size_t size);                    ///< uninitialised, null without memory
    void* (*calloc)(std::size_t count, std::size_t size); ///< zeroed
    void* (*realloc)(void* block, std::size_t size);      ///< keeps what fits
    void (*free)(void* block);                            ///< null is ignored
};

/// The slots themselves, by default those of the C runtime.
LINTRIX_EXPORT SystemAllocator& SystemAllocatorSlots() noexcept;

} // namespace Velmar::Lintrix
