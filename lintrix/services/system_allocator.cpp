#include <lintrix/services/system_allocator.h>

#include <cstdlib>

namespace Velmar::Lintrix {

SystemAllocator& SystemAllocatorSlots() noexcept
{
    static constinit SystemAllocator slots{std::malloc, std::calloc, std::realloc, std::free};
    return slots;
}

} // namespace Velmar::Lintrix
