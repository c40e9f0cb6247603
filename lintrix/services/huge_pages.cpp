#include <lintrix/services/huge_pages.h>

#include <cstdint>

#include <sys/mman.h>

namespace Velmar::Lintrix::detail {

void preferHugePages(void* block, std::size_t bytes) noexcept
{
    constexpr std::uintptr_t kHugePage = std::uintptr_t{2} << 20;
    if (bytes < kLeastForHugePages) return;
    const auto start = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (start + kHugePage - 1) & ~(kHugePage - 1),
                         last = (start + bytes) & ~(kHugePage - 1);
    madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

} // namespace Velmar::Lintrix::detail
