#include <lintrix/services/version.h>

#include <lintrix/services/dispatch.h>
#include <lintrix/version.h>

namespace Velmar::Lintrix {

const char* LibraryVersion() noexcept
{
    return LINTRIX_VERSION_STRING;
}

const char* LibraryKernels()
{
    constexpr detail::KernelForms<const char*> kNames{
        .sse2 = detail::processor_family::kBaseline, .avx2 = "AVX2", .avx512 = "AVX512"};
    return kNames.chosen();
}

} // namespace Velmar::Lintrix
