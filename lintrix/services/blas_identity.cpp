#include <lintrix/services/blas_identity.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/blas_kernels.h>
#include <lintrix/services/threads.h>

#include <dlfcn.h>

#include <array>
#include <cstddef>

#if defined(LINTRIX_BLAS_IS_OPENBLAS)
extern "C" {
char* openblas_get_config();
int openblas_get_parallel();
}
#endif

namespace Velmar::Lintrix {

namespace {

/// What the library says of itself.
BlasIdentity selfDescription()
{
    BlasIdentity identity;
#if defined(LINTRIX_BLAS_IS_OPENBLAS)
    identity.library = openblas_get_config();
    constexpr std::array<const char*, 3> kinds{"sequential", "pthread", "OpenMP"};
    const auto kind = static_cast<std::size_t>(openblas_get_parallel());
    identity.threading = kind < kinds.size() ? kinds[kind] : "unknown";
#else
    identity.library = "BLAS";
    identity.threading = "unknown";
#endif
    return identity;
}

/// What the choice of kernels leaves to tell.
std::string noteOn(const detail::BlasKernels& kernels)
{
    if (kernels.inUse != kernels.found) return "by feature bits; the library chose " + kernels.found;
    if (!kernels.better.empty()) return "OPENBLAS_CORETYPE=" + kernels.better + " would be faster";
    return "";
}

/// The file that holds the routine `dgemm` of this process.
std::string fileOfBlas()
{
    Dl_info place{};
    const bool known = dladdr(reinterpret_cast<const void*>(&dgemm_), &place) != 0;
    return known && place.dli_fname != nullptr ? place.dli_fname : "";
}

} // namespace

BlasIdentity DescribeBlas()
{
    BlasIdentity identity = selfDescription();
    if (const auto name = detail::blasKernelControl().name) identity.core = name();
    identity.coreNote = noteOn(detail::blasKernels());
    identity.file = fileOfBlas();
    identity.threads = detail::domainThreads(detail::Domain::Blas);
    return identity;
}

} // namespace Velmar::Lintrix
