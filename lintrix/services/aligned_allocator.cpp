#include <lintrix/services/aligned_allocator.h>

#include <lintrix/services/alignment.h>
#include <lintrix/services/huge_pages.h>
#include <lintrix/services/system_allocator.h>

#include <cstring>
#include <limits>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::size_t kHeader = sizeof(void*);
constexpr std::size_t kLargestSize = std::numeric_limits<std::size_t>::max();

void* blockOf(const void* address)
{
    void* block;
    std::memcpy(&block, static_cast<const std::byte*>(address) - kHeader, kHeader);
    return block;
}

/// Writes the header before `address` and hands the address out.
void* withHeader(void* block, void* address)
{
    std::memcpy(static_cast<std::byte*>(address) - kHeader, &block, kHeader);
    return address;
}

/// The place in a system block that is handed out.
void* placeIn(void* block, std::size_t alignment)
{
    return alignedAddress(static_cast<std::byte*>(block) + kHeader, effectiveAlignment(alignment, kHeader));
}

std::size_t offsetOf(const void* address)
{
    return static_cast<std::size_t>(static_cast<const std::byte*>(address) -
                                    static_cast<const std::byte*>(blockOf(address)));
}

/// Takes a system block through `take(total)`; null for a size that is none.
template <class Take>
void* takeBlock(std::size_t size, std::size_t alignment, const Take& take)
{
    const std::size_t effective = effectiveAlignment(alignment, kHeader);
    if (size == 0 || effective > kLargestSize - kHeader || size > kLargestSize - kHeader - effective) {
        return nullptr;
    }
    return take(size + effective + kHeader);
}

template <class Take>
void* allocate(std::size_t size, std::size_t alignment, const Take& take)
{
    void* const block = takeBlock(size, alignment, take);
    if (block == nullptr) return nullptr;
    preferHugePages(block, size);
    return withHeader(block, placeIn(block, alignment));
}

} // namespace

void* alignedAllocate(std::size_t size, std::size_t alignment) noexcept
{
    return allocate(size, alignment, [](std::size_t total) { return SystemAllocatorSlots().malloc(total); });
}

void* alignedAllocateZeroed(std::size_t count, std::size_t elementSize, std::size_t alignment) noexcept
{
    if (count != 0 && elementSize > kLargestSize / count) return nullptr;
    return allocate(count * elementSize, alignment,
                    [](std::size_t total) { return SystemAllocatorSlots().calloc(1, total); });
}

void* alignedReallocate(void* address, std::size_t size) noexcept
{
    if (address == nullptr) return alignedAllocate(size, 0);
    const std::size_t offset = offsetOf(address);
    if (size == 0 || size > kLargestSize - offset) return nullptr;
    void* const moved = SystemAllocatorSlots().realloc(blockOf(address), offset + size);
    if (moved == nullptr) return nullptr;
    return withHeader(moved, static_cast<std::byte*>(moved) + offset);
}

void* alignedReallocate(void* address, std::size_t size, std::size_t alignment) noexcept
{
    if (address == nullptr) return alignedAllocate(size, alignment);
    const std::size_t offset = offsetOf(address);
    void* const moved = takeBlock(size, alignment, [=](std::size_t total) {
        return SystemAllocatorSlots().realloc(blockOf(address), total);
    });
    if (moved == nullptr) return nullptr;
    void* const place = placeIn(moved, alignment);
    const void* const content = static_cast<std::byte*>(moved) + offset;
    if (place != content) std::memmove(place, content, size); // both lie within the block
    return withHeader(moved, place);
}

void alignedRelease(void* address) noexcept
{
    if (address != nullptr) SystemAllocatorSlots().free(blockOf(address));
}

} // namespace Velmar::Lintrix::detail
