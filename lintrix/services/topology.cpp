#include <lintrix/services/topology.h>

#include <lintrix/services/service_lock.h>

#include <hwloc.h>
#include <omp.h>
#include <sched.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

using Machine = std::unique_ptr<hwloc_topology, decltype(&hwloc_topology_destroy)>;
using CpuSet = std::unique_ptr<hwloc_bitmap_s, decltype(&hwloc_bitmap_free)>;

/// This machine, with cores and packages as its only inner levels; empty when it cannot be read.
Machine loadMachine()
{
    hwloc_topology* raw = nullptr;
    if (hwloc_topology_init(&raw) != 0) return {nullptr, hwloc_topology_destroy};
    Machine machine(raw, hwloc_topology_destroy);
    hwloc_topology_set_all_types_filter(raw, HWLOC_TYPE_FILTER_KEEP_NONE);
    hwloc_topology_set_type_filter(raw, HWLOC_OBJ_PACKAGE, HWLOC_TYPE_FILTER_KEEP_ALL);
    hwloc_topology_set_type_filter(raw, HWLOC_OBJ_CORE, HWLOC_TYPE_FILTER_KEEP_ALL);
    if (hwloc_topology_load(raw) != 0) machine.reset();
    return machine;
}

/// The mask of the main thread when this library was loaded: a program may bind that thread later on, for
/// itself alone. More words than Linux has processors for.
constinit std::array<unsigned long, 128> maskAtLoad{};

[[gnu::constructor]] void keepMaskAtLoad()
{
    sched_getaffinity(getpid(), sizeof maskAtLoad, reinterpret_cast<cpu_set_t*>(maskAtLoad.data()));
}

/// The processors of the OpenMP runtime's places, if it has any: it binds the main thread to one of them as
/// soon as it is loaded, which is before this library.
void addPlaces(hwloc_bitmap_s* mask)
{
    for (int place = 0; place < omp_get_num_places(); ++place) {
        std::vector<int> numbers(static_cast<std::size_t>(omp_get_place_num_procs(place)));
        omp_get_place_proc_ids(place, numbers.data());
        for (const int number : numbers) hwloc_bitmap_set(mask, static_cast<unsigned>(number));
    }
}

/// Linux keeps masks of threads alone. That of the process is where any of its threads may run, now, at load
/// or at the runtime's will.
bool fillProcessMask(hwloc_topology* machine, hwloc_bitmap_s* mask)
{
    const CpuSet atLoad(hwloc_bitmap_alloc(), hwloc_bitmap_free);
    if (!atLoad || hwloc_get_cpubind(machine, mask, HWLOC_CPUBIND_PROCESS) != 0) return false;
    hwloc_bitmap_from_ulongs(atLoad.get(), maskAtLoad.size(), maskAtLoad.data());
    hwloc_bitmap_or(mask, mask, atLoad.get());
    addPlaces(mask);
    return true;
}

/// Does the affinity mask of this process equal the system's mask?
bool ownsAllProcessors(hwloc_topology* machine)
{
    const CpuSet mask(hwloc_bitmap_alloc(), hwloc_bitmap_free);
    return mask && fillProcessMask(machine, mask.get()) &&
           hwloc_bitmap_isequal(mask.get(), hwloc_topology_get_topology_cpuset(machine)) != 0;
}

Topology findTopology()
{
    const Machine machine = loadMachine();
    if (machine && ownsAllProcessors(machine.get())) return countTopology(machine.get());
    Topology unknown;
    unknown.logical = omp_get_num_procs();
    return unknown;
}

} // namespace

Topology countTopology(hwloc_topology* machine)
{
    Topology found;
    found.logical = hwloc_get_nbobjs_by_type(machine, HWLOC_OBJ_PU);
    const int cores = hwloc_get_nbobjs_by_type(machine, HWLOC_OBJ_CORE);
    const int packages = hwloc_get_nbobjs_by_type(machine, HWLOC_OBJ_PACKAGE);
    if (cores < 1 || packages < 1) return found;
    found.cores = cores;
    found.packages = packages;
    found.coresPerPackage = cores / packages;
    found.hyperThreading = cores != found.logical;
    return found;
}

const Topology& machineTopology()
{
    static constinit FoundOnce<Topology> topology;
    return topology.get(findTopology);
}

} // namespace Velmar::Lintrix::detail
