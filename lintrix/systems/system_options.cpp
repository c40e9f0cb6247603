#include <lintrix/systems/system_options.h>

#include <lintrix/foundation/failures.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <system_error>

#include <stdlib.h>
#include <unistd.h>

namespace Velmar::Lintrix {

namespace {

constexpr const char* kDefaultFolder = "/var/tmp"; // on a disk, where /tmp may be memory
const std::string kPrefix = "/factor";             // how the names of the files begin there
constexpr double kMegabyte = 1048576.0;
constexpr double kShareOfMemory = 0.75; // the rest is for the system, and for what is forecast too low

int coreWithin(double left)
{
    constexpr double most = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(kShareOfMemory * left / kMegabyte, 1.0, most));
}

} // namespace

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

FactorFolder::FactorFolder(double left) : owner_(getpid())
{
    const OutOfCoreConfiguration said = ReadOutOfCoreConfiguration();
    defaults_.megabytes = coreWithin(left);
    defaults_.keepsFiles = false;
    if (*said.path == 0 && !said.keepsFiles.value_or(false)) make();
}

FactorFolder::~FactorFolder()
{
    std::error_code ignored;
    if (!name_.empty() && owner_ == getpid()) std::filesystem::remove_all(name_, ignored);
}

void FactorFolder::make()
{
    const char* const told = std::getenv("TMPDIR");
    const std::filesystem::path parent = told != nullptr && *told != 0 ? told : kDefaultFolder;
    const auto fail = [&parent](int error) {
        throw OperationFailedException("No folder for the factor can be made in " + parent.string() + ": " +
                                       std::generic_category().message(error) + ".");
    };
    std::string name = parent / "lintrix.XXXXXX";
    if (name.size() > OutOfCoreConfiguration::kLongestPath - kPrefix.size()) fail(ENAMETOOLONG);
    if (mkdtemp(name.data()) == nullptr) fail(errno);
    name_ = std::move(name);
    (name_ + kPrefix).copy(defaults_.path, sizeof defaults_.path - 1);
}

int FactorFolder::CoreMegabytes() const
{
    return ReadOutOfCoreConfiguration().megabytes.value_or(*defaults_.megabytes);
}

} // namespace Velmar::Lintrix
