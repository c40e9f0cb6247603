#include <lintrix/foundation/allocators.h>

#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/detail/block_witness.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/aligned_allocator.h>

#include <algorithm>
#include <cstddef>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::uint64_t kSmallestBlock = 16;
constexpr std::size_t kAlignment = 16;

// The first bytes of an aligned block; what is handed out stands behind them, and so is aligned, too.
struct alignas(kAlignment) Header {
    std::uint64_t bytes; // as requested
};
static_assert(sizeof(Header) == kAlignment);

Header* headerOf(void* block)
{
    return static_cast<Header*>(block) - 1;
}
const Header* headerOf(const void* block)
{
    return static_cast<const Header*>(block) - 1;
}

// Takes an aligned block through `take(total)`, records the size in it and steps past the record.
template <class Take>
void* withHeader(std::uint64_t request, const Take& take)
{
    const bool fits = request <= UINT64_MAX - sizeof(Header);
    auto* const header = static_cast<Header*>(requireBlock(fits ? take(request + sizeof(Header)) : nullptr));
    header->bytes = request;
    return header + 1;
}

void* mallocCounted(std::uint64_t bytes)
{
    const std::uint64_t request = std::max(bytes, kSmallestBlock);
    void* block = withHeader(request, [](std::size_t total) { return alignedAllocate(total, kAlignment); });
    MemoryAccount::add(static_cast<std::int64_t>(request));
    return block;
}

constexpr std::uint64_t kDoubleBytes = 8, kComplexBytes = 16, kIntBytes = 4;

} // namespace

void* requireBlock(void* block)
{
    if (!block) throw NotEnoughMemoryException();
    return block;
}

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
    if constexpr (kHardened) forgetBlock(pointer);
    // Before the resize is tried, also when it then fails: callers watch the total, so the order stays.
    MemoryAccount::subtract(static_cast<std::int64_t>(current));
    void* block = withHeader(request, [pointer](std::size_t total) {
        return alignedReallocate(headerOf(pointer), total, kAlignment);
    });
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

void* shrinkBlock(void* pointer, std::uint64_t bytes) noexcept
{
    const std::uint64_t current = blockBytes(pointer), request = std::max(bytes, kSmallestBlock);
    if constexpr (kHardened) forgetBlock(pointer);
    void* const moved = alignedReallocate(headerOf(pointer), request + sizeof(Header), kAlignment);
    if (!moved) return pointer;
    auto* const header = static_cast<Header*>(moved);
    header->bytes = request;
    MemoryAccount::subtract(static_cast<std::int64_t>(current - request));
    return header + 1;
}

void _free_mem_int(void* pointer) noexcept
{
    if (!pointer) return;
    if constexpr (kHardened) forgetBlock(pointer);
    const std::uint64_t size = blockBytes(pointer); // first: the header is gone with the block
    alignedRelease(headerOf(pointer));
    MemoryAccount::subtract(static_cast<std::int64_t>(size));
}

std::uint64_t blockBytes(const void* pointer) noexcept
{
    return headerOf(pointer)->bytes;
}

} // namespace Velmar::Lintrix::detail
