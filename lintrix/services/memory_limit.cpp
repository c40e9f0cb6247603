#include <lintrix/services/memory_limit.h>

#include <lintrix/services/blas_identity.h>
#include <lintrix/services/threads.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>

#include <sys/resource.h>
#include <unistd.h>

namespace Velmar::Lintrix {

namespace {

constexpr double kNone = std::numeric_limits<double>::infinity();
constexpr double kBeyondAnyMemory = 0x1p62;

/// The number that the file holds; the word "max" is none, and so is a file that is not there.
double numberIn(const std::string& file, double otherwise)
{
    double number = 0.0;
    if (std::ifstream stream(file); stream >> number) return number;
    return otherwise;
}

/// Of a line that begins with this word.
double numberOfLine(const std::string& file, const std::string& word, double otherwise)
{
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        std::istringstream words(line);
        double number = 0.0;
        if (std::string first; words >> first >> number && first == word) return number;
    }
    return otherwise;
}

/// How a version of the control groups calls what stands in a group's folder.
struct GroupFiles {
    const char *limit, *use;
    const char* idle; ///< line of memory.stat: pages of files that would be given up
};

constexpr GroupFiles kVersion1{"memory.limit_in_bytes", "memory.usage_in_bytes", "total_inactive_file"};
constexpr GroupFiles kVersion2{"memory.max", "memory.current", "inactive_file"};

/// A figure of the group in a folder.
using GroupFigure = double (*)(const std::string& folder, const GroupFiles& files);

double limitIn(const std::string& folder, const GroupFiles& files)
{
    return numberIn(folder + files.limit, kNone);
}

/// Of a group without a limit, which version 1 tells by a number beyond any memory, nobody asks what it uses.
double leftIn(const std::string& folder, const GroupFiles& files)
{
    const double limit = limitIn(folder, files);
    if (limit >= kBeyondAnyMemory) return kNone;
    const double idle = numberOfLine(folder + "memory.stat", files.idle, 0.0);
    return limit - std::max(numberIn(folder + files.use, 0.0) - idle, 0.0);
}

/// Of the group and all around it: a limit holds for what is below. Where the groups are seen from within a
/// container, the outer part of the path is not there, and its root stands for what is.
double leastAlong(const std::string& mount, std::string path, const GroupFiles& files, GroupFigure figure)
{
    double least = kNone;
    for (;;) {
        least = std::min(least, figure(mount + path + "/", files));
        if (path.empty()) return least;
        path.resize(std::min(path.rfind('/'), path.size() - 1));
    }
}

/// "HIERARCHY:CONTROLLERS:PATH", with no controllers in version 2.
double leastOfLine(const std::string& line, const std::string& groups, GroupFigure figure)
{
    std::istringstream words(line);
    std::string hierarchy, controllers, path;
    std::getline(words, hierarchy, ':');
    std::getline(words, controllers, ':');
    std::getline(words, path);
    if (path == "/") path.clear();
    if (controllers.empty())
        return std::min(leastAlong(groups, path, kVersion2, figure),
                        leastAlong(groups + "/unified", path, kVersion2, figure));
    const bool memory = ("," + controllers + ",").find(",memory,") != std::string::npos;
    return memory ? leastAlong(groups + "/memory", path, kVersion1, figure) : kNone;
}

/// Of all groups that this process is in.
double leastOfGroups(const std::string& root, GroupFigure figure)
{
    std::ifstream groups(root + "/proc/self/cgroup");
    double least = kNone;
    for (std::string line; std::getline(groups, line);)
        least = std::min(least, leastOfLine(line, root + "/sys/fs/cgroup", figure));
    return least;
}

/// That nothing has taken, and nothing but the caller will.
double addressSpaceLeft(int threads, const std::string& root)
{
    const double mapped =
        static_cast<double>(sysconf(_SC_PAGESIZE)) * numberIn(root + "/proc/self/statm", 0.0);
    return AddressSpaceLimit() - mapped - static_cast<double>(BlasBufferBytes) * (threads - 1);
}

double physicalMemory()
{
    return static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

} // namespace

double AddressSpaceLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return kNone;
    return static_cast<double>(limit.rlim_cur);
}

double ControlGroupLimit(const std::string& root)
{
    return leastOfGroups(root, limitIn);
}

double MemoryLimit()
{
    return std::min({physicalMemory(), AddressSpaceLimit(), ControlGroupLimit()});
}

double MemoryLeft(int threads, const std::string& root)
{
    const double available = 1024.0 * numberOfLine(root + "/proc/meminfo", "MemAvailable:", kNone);
    const double all = root.empty() ? physicalMemory() : MemoryLimit(); // of this machine the groups tell
    return std::max(std::min({available, addressSpaceLeft(threads, root), leastOfGroups(root, leftIn), all}),
                    0.0);
}

double MemoryLeft()
{
    return MemoryLeft(detail::threadsInForce());
}

} // namespace Velmar::Lintrix
