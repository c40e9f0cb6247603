#include <tools/support/memory_limit.h>

#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <lintrix/services/blas_identity.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <string_view>

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Velmar::Lintrix::tools {

namespace {

constexpr double kNone = std::numeric_limits<double>::infinity();

/// The number that the file holds; the word "max" is none, and so is a file that is not there.
double limitIn(const std::string& file)
{
    double limit = kNone;
    if (std::ifstream stream(file); stream >> limit) return limit;
    return kNone;
}

/// Of the group and all around it: a limit holds for what is below. Where the groups are seen from within a
/// container, the outer part of the path is not there, and its root stands for what is.
double leastAlong(const std::string& mount, std::string path, const std::string& file)
{
    double least = kNone;
    for (;;) {
        least = std::min(least, limitIn(mount + path + "/" + file));
        if (path.empty()) return least;
        path.resize(std::min(path.rfind('/'), path.size() - 1));
    }
}

/// "HIERARCHY:CONTROLLERS:PATH", with no controllers in version 2.
double limitOf(const std::string& line, const std::string& groups)
{
    std::istringstream words(line);
    std::string hierarchy, controllers, path;
    std::getline(words, hierarchy, ':');
    std::getline(words, controllers, ':');
    std::getline(words, path);
    if (path == "/") path.clear();
    if (controllers.empty())
        return std::min(leastAlong(groups, path, "memory.max"),
                        leastAlong(groups + "/unified", path, "memory.max"));
    const bool memory = ("," + controllers + ",").find(",memory,") != std::string::npos;
    return memory ? leastAlong(groups + "/memory", path, "memory.limit_in_bytes") : kNone;
}

double addressSpace()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return kNone;
    return static_cast<double>(limit.rlim_cur);
}

} // namespace

void requireAddressSpace(int threads)
{
    const std::uint64_t bytes = BlasBufferBytes * static_cast<std::uint64_t>(threads);
    void* const place = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (place != MAP_FAILED) {
        munmap(place, bytes);
        return;
    }
    const double space = addressSpace();
    const std::string limit =
        std::isinf(space) ? "" : fmt::format("it is limited to {}, and ", bytesInWords(space));
    throw InputError(fmt::format("there is not enough address space: {}BLAS takes {} more for each of {} "
                                 "threads (see ulimit -v and --threads)",
                                 limit, bytesInWords(BlasBufferBytes), threads));
}

double controlGroupLimit(const std::string& root)
{
    std::ifstream groups(root + "/proc/self/cgroup");
    double least = kNone;
    for (std::string line; std::getline(groups, line);)
        least = std::min(least, limitOf(line, root + "/sys/fs/cgroup"));
    return least;
}

double memoryLimit()
{
    const double physical =
        static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    return std::min({physical, addressSpace(), controlGroupLimit()});
}

} // namespace Velmar::Lintrix::tools
