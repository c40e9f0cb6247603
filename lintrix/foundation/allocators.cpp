#include <lintrix/foundation/allocators.h>

#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/huge_pages.h>
#include <lintrix/services/system_allocator.h>

#include <algorithm>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::uint64_t kSmallestBlock = 16;

// Stands directly in front of each block. The system's blocks are aligned to 16 bytes, and so is what follows
// it.
struct alignas(16) Header {
    std::uint64_t bytes; // as requested
};
static_assert(sizeof(Header) == 16);

Header* headerOf(void* block)
{
    return static_cast<Header*>(block) - 1;
}
const Header* headerOf(const void* block)
{
    return static_cast<const Header*>(block) - 1;
}

// Records the size in a fresh system block and steps past it; null stays null.
void* withHeader(void* systemBlock, std::uint64_t bytes)
{
    if (!systemBlock) return nullptr;
    auto* header = static_cast<Header*>(systemBlock);
    header->bytes = bytes;
    return header + 1;
}

bool fits(std::uint64_t request)
{
    return request <= UINT64_MAX - sizeof(Header);
}

void* alignedMalloc(std::uint64_t request)
{
    if (!fits(request)) return nullptr;
    return withHeader(SystemAllocatorSlots().malloc(request + sizeof(Header)), request);
}

void* alignedRealloc(void* block, std::uint64_t request)
{
    if (!fits(request)) return nullptr;
    return withHeader(SystemAllocatorSlots().realloc(headerOf(block), request + sizeof(Header)), request);
}

void* mallocCounted(std::uint64_t bytes)
{
    const std::uint64_t request = std::max(bytes, kSmallestBlock);
    void* block = alignedMalloc(request);
    if (!block) throw NotEnoughMemoryException();
    preferHugePages(block, request);
    MemoryAccount::add(static_cast<std::int64_t>(request));
    return block;
}

constexpr std::uint64_t kDoubleBytes = 8, kComplexBytes = 16, kIntBytes = 4;

} // namespace

double* _malloc_double(std::uint64_t size)
{
    return static_cast<double*>(mallocCounted(size * kDoubleBytes));
}

_TRELL_Complex* _malloc_Complex(std::uint64_t size)
{
    return static_cast<_TRELL_Complex*>(mallocCounted(size * kComplexBytes));
}

std::int32_t* _malloc_int(std::uint64_t size)
{
    return static_cast<std::int32_t*>(mallocCounted(size * kIntBytes));
}

void* _realloc_gen(void* pointer, std::uint64_t size)
{
    const std::uint64_t request = std::max(size, kSmallestBlock);
    const std::uint64_t current = blockBytes(pointer);
    if (request == current) return pointer;
    // By contract the old size is withdrawn before the resize is tried, also when it then fails.
    MemoryAccount::subtract(static_cast<std::int64_t>(current));
    void* block = alignedRealloc(pointer, request);
    if (!block) throw NotEnoughMemoryException();
    MemoryAccount::add(static_cast<std::int64_t>(request));
    return block;
}

double* _realloc_double(double* pointer, std::uint64_t size)
{
    return static_cast<double*>(_realloc_gen(pointer, size * kDoubleBytes));
}

_TRELL_Complex* _realloc_Complex(_TRELL_Complex* pointer, std::uint64_t size)
{
    return static_cast<_TRELL_Complex*>(_realloc_gen(pointer, size * kComplexBytes));
}

std::int32_t* _realloc_int(std::int32_t* pointer, std::uint64_t size)
{
    return static_cast<std::int32_t*>(_realloc_gen(pointer, size * kIntBytes));
}

void _free_mem_int(void* pointer) noexcept
{
    if (!pointer) return;
    const std::uint64_t size = blockBytes(pointer); // first: the header is gone with the block
    SystemAllocatorSlots().free(headerOf(pointer));
    MemoryAccount::subtract(static_cast<std::int64_t>(size));
}

std::uint64_t blockBytes(const void* pointer) noexcept
{
    return headerOf(pointer)->bytes;
}

} // namespace Velmar::Lintrix::detail
