#include <lintrix/services/team_memory.h>

#include <lintrix/services/blas_identity.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include <pthread.h>
#include <sys/mman.h>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::size_t kRecords = 16384; // bytes a thread, for what the runtime notes of it

std::size_t stackSize()
{
    std::size_t size = std::size_t{8} << 20;
    pthread_attr_t defaults;
    if (pthread_getattr_default_np(&defaults) != 0) return size;
    pthread_attr_getstacksize(&defaults, &size);
    pthread_attr_destroy(&defaults);
    return size;
}

/// Taken and given back at once.
bool canReserve(std::size_t bytes)
{
    void* const place =
        mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    return place != MAP_FAILED && munmap(place, bytes) == 0;
}

bool canAllocate(std::size_t bytes)
{
    void* const block = std::malloc(bytes);
    std::free(block);
    return block != nullptr;
}

bool hasRoomFor(int threads)
{
    const auto others = static_cast<std::size_t>(threads) - 1;
    return canAllocate((others + 1) * kRecords) && canReserve(others * (stackSize() + BlasBufferBytes));
}

} // namespace

int affordableTeam(int threads) noexcept
{
    thread_local int granted = 1;
    while (threads > granted && !hasRoomFor(threads)) threads /= 2;
    granted = std::max(granted, threads);
    return threads;
}

} // namespace Velmar::Lintrix::detail
