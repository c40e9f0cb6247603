#include <tools/support/heap.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

constexpr int kMegabyte = 1 << 20;
constexpr int kMappedAlone = 8 * kMegabyte; // blocks from here on
constexpr int kFirstPart = 64 * kMegabyte;  // addresses, not memory
constexpr int kGrowth = kMegabyte;
constexpr std::uintptr_t kHugePage = 2 * kMegabyte;

std::uintptr_t heapEnd() noexcept
{
    return reinterpret_cast<std::uintptr_t>(sbrk(0));
}

// A block that does not fit makes the heap grow by it and by M_TOP_PAD.
void growBy(int bytes) noexcept
{
    mallopt(M_TOP_PAD, bytes);
    void* volatile const block = std::malloc(kMegabyte);
    std::free(block);
    mallopt(M_TOP_PAD, kGrowth);
}

} // namespace

void prepareHeap() noexcept
{
    mallopt(M_MMAP_THRESHOLD, kMappedAlone);
    mallopt(M_TRIM_THRESHOLD, 2 * kFirstPart);
    const std::uintptr_t start = (heapEnd() + kHugePage - 1) & ~(kHugePage - 1);
    growBy(kFirstPart);
    const std::uintptr_t end = heapEnd() & ~(kHugePage - 1);
    if (end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

} // namespace Velmar::Lintrix::tools
