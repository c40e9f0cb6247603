#include <lintrix/services/topology.h>

#include <lintrix/services/service_lock.h>

#include <omp.h>

#include <array>
#include <bit>
#include <charconv>
#include <climits>
#include <cstdio>
#include <optional>
#include <span>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::size_t kMost = ProcessorSet().size(), kBits = sizeof(long) * CHAR_BIT;

/// The first line of a small file; empty when there is none. The text stays in `buffer`.
std::string_view readLine(const char* path, std::span<char> buffer)
{
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return {};
    const ssize_t length = ::read(file, buffer.data(), buffer.size());
    ::close(file);
    const std::string_view text(buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    return text.substr(0, text.find('\n'));
}

/// The list in the file folder/name.
ProcessorSet readProcessors(const char* folder, const char* name)
{
    std::array<char, PATH_MAX> path, text;
    const int length = std::snprintf(path.data(), path.size(), "%s/%s", folder, name);
    if (length < 0 || static_cast<std::size_t>(length) >= path.size()) return {};
    return parseProcessors(readLine(path.data(), text));
}

/// The processors that share a core or a package with `processor`, as the file of that name tells.
ProcessorSet readSiblings(const char* folder, std::size_t processor, const char* name)
{
    std::array<char, 64> file;
    std::snprintf(file.data(), file.size(), "cpu%zu/topology/%s", processor, name);
    return readProcessors(folder, file.data());
}

std::size_t firstOf(const ProcessorSet& set)
{
    return set._Find_first();
}

/// How many groups of siblings `processors` fall into: the first of each group stands for it. Nothing when
/// one of them is not told to be in its own group.
std::optional<int> countGroups(const ProcessorSet& processors, const char* folder, const char* name)
{
    int groups = 0;
    for (std::size_t p = firstOf(processors); p < kMost; p = processors._Find_next(p)) {
        const ProcessorSet siblings = readSiblings(folder, p, name) & processors;
        if (!siblings[p]) return std::nullopt;
        groups += firstOf(siblings) == p ? 1 : 0;
    }
    return groups;
}

/// Where the main thread may run now; none when it cannot be read.
ProcessorSet maskOfMainThread() noexcept
{
    ProcessorMask words{};
    ProcessorSet processors;
    if (sched_getaffinity(getpid(), sizeof words, reinterpret_cast<cpu_set_t*>(words.data())) != 0)
        return processors;
    for (std::size_t w = 0; w < words.size(); ++w)
        for (unsigned long left = words[w]; left != 0; left &= left - 1)
            processors.set(w * kBits + static_cast<std::size_t>(std::countr_zero(left)));
    return processors;
}

/// When this library was loaded: a program may bind its main thread later on, for that thread alone.
constinit ProcessorSet maskAtLoad;

[[gnu::constructor]] void keepMaskAtLoad()
{
    maskAtLoad = maskOfMainThread();
}

/// Linux keeps masks of threads alone. That of the process is where any of its threads may run: now, at load
/// or at the runtime's will.
ProcessorSet processMask()
{
    return maskOfMainThread() | maskAtLoad | processorsOfRuntime();
}

/// Does the affinity mask of this process equal the system's mask?
bool ownsAllProcessors(const ProcessorSet& online)
{
    return online.any() && processMask() == online;
}

Topology findTopology()
{
    const ProcessorSet online = onlineProcessors();
    if (ownsAllProcessors(online)) return countTopology(online);
    Topology unknown;
    unknown.logical = omp_get_num_procs();
    return unknown;
}

} // namespace

ProcessorSet processorsOfRuntime() noexcept
{
    ProcessorSet processors;
    if (omp_get_proc_bind() == omp_proc_bind_false) return processors;
    std::array<int, kMost> numbers;
    for (int place = 0; place < omp_get_num_places(); ++place) {
        const auto count = static_cast<std::size_t>(omp_get_place_num_procs(place));
        if (count > kMost) continue;
        omp_get_place_proc_ids(place, numbers.data());
        for (std::size_t i = 0; i < count; ++i)
            if (static_cast<std::size_t>(numbers[i]) < kMost)
                processors.set(static_cast<std::size_t>(numbers[i]));
    }
    return processors;
}

ProcessorMask maskOf(const ProcessorSet& processors) noexcept
{
    ProcessorMask words{};
    for (std::size_t p = firstOf(processors); p < kMost; p = processors._Find_next(p))
        words[p / kBits] |= 1UL << (p % kBits);
    return words;
}

ProcessorSet parseProcessors(std::string_view list) noexcept
{
    ProcessorSet set;
    const char *at = list.data(), *const end = at + list.size();
    const auto number = [&at, end](std::size_t& value) {
        const auto [behind, error] = std::from_chars(at, end, value);
        at = behind;
        return error == std::errc() && value < kMost;
    };
    while (at != end) {
        std::size_t first = 0;
        if (!number(first)) return {};
        std::size_t last = first;
        if (at != end && *at == '-' && (++at, !number(last))) return {};
        for (std::size_t p = first; p <= last; ++p) set.set(p);
        if (at != end && *at++ != ',') return {};
    }
    return set;
}

ProcessorSet onlineProcessors(const char* folder) noexcept
{
    return readProcessors(folder, "online");
}

Topology countTopology(const ProcessorSet& processors, const char* folder) noexcept
{
    Topology found;
    found.logical = static_cast<int>(processors.count());
    const auto cores = countGroups(processors, folder, "thread_siblings_list"),
               packages = countGroups(processors, folder, "core_siblings_list");
    if (!cores || !packages || *cores < 1) return found;
    found.cores = *cores;
    found.packages = *packages;
    found.coresPerPackage = *cores / *packages;
    found.hyperThreading = *cores != found.logical;
    return found;
}

const Topology& machineTopology()
{
    static constinit FoundOnce<Topology> topology;
    return topology.get(findTopology);
}

} // namespace Velmar::Lintrix::detail
