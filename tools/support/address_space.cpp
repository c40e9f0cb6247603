#include <tools/support/address_space.h>

#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <lintrix/lintrix.h>

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <string>

#include <sys/mman.h>

namespace Velmar::Lintrix::tools {

void requireAddressSpace(int threads)
{
    const std::uint64_t bytes = BlasBufferBytes * static_cast<std::uint64_t>(threads);
    void* const place = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (place != MAP_FAILED) {
        munmap(place, bytes);
        return;
    }
    const double space = AddressSpaceLimit();
    const std::string limit =
        std::isinf(space) ? "" : fmt::format("it is limited to {}, and ", bytesInWords(space));
    throw InputError(fmt::format("there is not enough address space: {}BLAS takes {} more for each of {} "
                                 "threads (see ulimit -v and --threads)",
                                 limit, bytesInWords(BlasBufferBytes), threads));
}

} // namespace Velmar::Lintrix::tools
