#include <lintrix/systems/system_options.h>

#include <lintrix/engine/out_of_core_configuration.h>

namespace Velmar::Lintrix {

std::string_view NameOf(FillInReducingMethod ordering) noexcept
{
    switch (ordering) {
    case FillInReducingMethod::MinimumDegree:
        return "minimum degree";
    case FillInReducingMethod::NestedDissection:
        return "nested dissection";
    case FillInReducingMethod::ParallelNestedDissection:
        break;
    }
    return "parallel nested dissection";
}

int FactorPlace::CoreMegabytes() const
{
    return ReadOutOfCoreConfiguration().megabytes.value_or(0);
}

std::string FactorPlace::Fault(FileFault fault, int least) const
{
    switch (fault) {
    case FileFault::SmallCore:
        return "A core of " + std::to_string(CoreMegabytes()) +
               " MB is too small: with the factor in files " + std::to_string(least) +
               " MB are needed at least.";
    case FileFault::NotOpened:
        return "The files of the factor cannot be made or opened.";
    case FileFault::NotTransferred:
        break;
    }
    return "The files of the factor cannot be written or read.";
}

} // namespace Velmar::Lintrix
