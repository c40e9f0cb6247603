#include <lintrix/services/blas_kernels.h>

#include <lintrix/services/environment.h>
#include <lintrix/services/service_lock.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>

#include <sys/single_threaded.h>

// Of OpenBLAS; a build for one processor has no choice to offer, and another BLAS none of these.
extern "C" {
[[gnu::weak]] char* openblas_get_corename();
[[gnu::weak]] void gotoblas_dynamic_quit();
[[gnu::weak]] void gotoblas_dynamic_init();
}

namespace Velmar::Lintrix::detail {

namespace {

constexpr const char* kUsersChoice = "OPENBLAS_CORETYPE";

// By InstructionSet. The first is also where an unknown model ends up.
constexpr std::array<std::string_view, 5> kKernelsByBits{"Prescott", "Nehalem", "Sandybridge", "Haswell",
                                                         "SkylakeX"};

/// Has the library choose with OPENBLAS_CORETYPE set for as long as it reads it. Memory that it has taken
/// stays sound: its buffers have one size for all kernels, and each call divides them anew.
bool switchTo(const BlasKernelControl& blas, std::string_view name)
{
    if (setenv(kUsersChoice, name.data(), 1) != 0) return false; // NOLINT(concurrency-mt-unsafe): alone
    blas.drop();
    blas.choose();
    unsetenv(kUsersChoice); // NOLINT(concurrency-mt-unsafe): alone
    return blas.name() == name;
}

} // namespace

std::string_view blasKernelsFor(InstructionSet set) noexcept
{
    return kKernelsByBits[static_cast<std::size_t>(set)];
}

std::optional<std::string_view> betterBlasKernels(std::string_view found, InstructionSet has,
                                                  bool userChose) noexcept
{
    const auto at = std::find(kKernelsByBits.begin(), kKernelsByBits.end(), found);
    const bool lower = at - kKernelsByBits.begin() < static_cast<int>(has);
    if (userChose || !lower) return std::nullopt;
    return blasKernelsFor(has);
}

BlasKernels adjustBlasKernels(const BlasKernelControl& blas, InstructionSet has, bool alone)
{
    BlasKernels kernels;
    if (blas.name == nullptr) return kernels;
    const bool switches = blas.drop != nullptr && blas.choose != nullptr;
    if (switches) blas.choose(); // in a static program the library's own start may be yet to come
    kernels.found = kernels.inUse = blas.name();
    const auto better = betterBlasKernels(kernels.found, has, environmentHas(kUsersChoice));
    if (!better || !switches) return kernels;
    if (!alone) {
        kernels.better = *better;
        return kernels;
    }
    // A library may have been built without some kernels; those that it had chosen end the search.
    for (auto set = static_cast<std::size_t>(has);
         !switchTo(blas, kKernelsByBits[set]) && kKernelsByBits[set] != kernels.found; --set) {
    }
    kernels.inUse = blas.name();
    return kernels;
}

BlasKernelControl blasKernelControl() noexcept
{
    return {openblas_get_corename, gotoblas_dynamic_quit, gotoblas_dynamic_init};
}

const BlasKernels& blasKernels()
{
    static constinit FoundOnce<BlasKernels> kernels;
    return kernels.get([] {
        return adjustBlasKernels(blasKernelControl(), detectInstructionSet(readCpuid()),
                                 __libc_single_threaded != 0);
    });
}

} // namespace Velmar::Lintrix::detail
