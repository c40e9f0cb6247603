#include <tools/solve/factor_files.h>

#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <limits>

#include <sys/resource.h>
#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

constexpr const char* kDefaultFolder = "/var/tmp"; // on a disk, where /tmp may be memory
constexpr const char* kDefaultPrefix = "ooc_temp"; // of the direct solver
constexpr double kMegabyte = 1048576.0;            // of the engine's figures
constexpr double kShareOfMemory = 0.75;       // the rest is for the system, and for what is forecast too low
constexpr std::uintmax_t kNoRoom = 16U << 20; // bytes: a block that is written has no more

int coreWithin(double memoryLeft)
{
    constexpr double kMost = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(kShareOfMemory * memoryLeft / kMegabyte, 1.0, kMost));
}

/// Why a file could not be made; nothing where the folder is not to blame.
std::string faultOfFolder(const std::string& folder)
{
    return access(folder.c_str(), W_OK | X_OK) == 0 ? "" : ": " + systemError();
}

/// Why a file could not be written, as far as that shows afterwards.
std::string faultOfRoom(const std::string& folder)
{
    std::error_code error;
    const std::filesystem::space_info space = std::filesystem::space(folder, error);
    if (!error && space.available < kNoRoom) return ": the disk is full";
    rlimit limit{};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return {};
    return fmt::format(": a file may have {} (see ulimit -f)",
                       bytesInWords(static_cast<double>(limit.rlim_cur)));
}

} // namespace

StoredVariable::StoredVariable(const char* name, const std::string& value) : name_(name)
{
    if (const char* const before = std::getenv(name)) before_ = before;
    setenv(name, value.c_str(), 1);
}

StoredVariable::~StoredVariable()
{
    if (before_)
        setenv(name_, before_->c_str(), 1);
    else
        unsetenv(name_);
}

FactorFiles::FactorFiles(std::optional<int> megabytes, double memoryLeft)
{
    const OutOfCoreConfiguration said = ReadOutOfCoreConfiguration();
    if (megabytes || !said.megabytes)
        core_.emplace("MKL_PARDISO_OOC_MAX_CORE_SIZE",
                      std::to_string(megabytes.value_or(coreWithin(memoryLeft))));
    if (!said.keepsFiles) keep_.emplace("MKL_PARDISO_OOC_KEEP_FILE", "0");
    prefix_ = *said.path == 0 ? kDefaultPrefix : said.path;
    if (*said.path == 0 && !said.keepsFiles.value_or(false)) makeFolder();
    coreMegabytes_ = ReadOutOfCoreConfiguration().megabytes.value_or(0);
}

void FactorFiles::makeFolder()
{
    const char* const told = std::getenv("TMPDIR");
    const std::string parent = told != nullptr && *told != 0 ? told : kDefaultFolder;
    if (!folder_.create(std::filesystem::path(parent) / "lintrix"))
        throw InputError(parent, "no folder for the factor can be made there: " + systemError());
    prefix_ = folder_.name() + "/factor";
    path_.emplace("MKL_PARDISO_OOC_PATH", prefix_);
    if (ReadOutOfCoreConfiguration().path != prefix_)
        throw InputError(parent, "the name is too long for the files of the factor (see TMPDIR)");
}

std::string FactorFiles::place() const
{
    const std::string folder = std::filesystem::path(prefix_).parent_path();
    return folder.empty() ? "." : folder;
}

std::string FactorFiles::Fault(FileFault fault, int least) const
{
    const std::string folder = place();
    switch (fault) {
    case FileFault::SmallCore:
        return fmt::format("a core of {} MB is too small: with the factor in files {} MB are needed at least",
                           coreMegabytes_, least);
    case FileFault::NotOpened:
        return fmt::format("the files of the factor cannot be made or opened in {}{}", folder,
                           faultOfFolder(folder));
    case FileFault::NotTransferred:
        break;
    }
    return fmt::format("the files of the factor cannot be written or read in {}{}", folder,
                       faultOfRoom(folder));
}

} // namespace Velmar::Lintrix::tools
