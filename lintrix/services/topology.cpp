#include <lintrix/services/topology.h>

#include <lintrix/services/service_lock.h>

#include <hwloc.h>
#include <omp.h>

#include <memory>

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

/// Does the affinity mask of this process equal the system's mask?
bool ownsAllProcessors(hwloc_topology* machine)
{
    const CpuSet mask(hwloc_bitmap_alloc(), hwloc_bitmap_free);
    return mask && hwloc_get_cpubind(machine, mask.get(), HWLOC_CPUBIND_PROCESS) == 0 &&
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
