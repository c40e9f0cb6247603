#pragma once
/// @file
/// Logical processors, cores and packages of the machine.

#include <lintrix/services/export.h>

struct hwloc_topology; // of hwloc.h, which the users of this header do without

namespace Velmar::Lintrix::detail {

/// What the machine is made of. A count of -1 was not found: read as unsigned it is the largest number and so
/// bounds nothing.
struct Topology {
    int logical = 1; ///< processors that can be scheduled on
    int cores = -1;
    int packages = -1;
    int coresPerPackage = -1;
    bool hyperThreading = false; ///< cores differ from logical processors
};

/// The topology of this machine, found once. Only a process that may run on every processor of its system
/// gets the counts: one that was confined to some of them knows the OpenMP runtime's logical count alone. A
/// thread that the OpenMP runtime or the program has bound confines no process.
/// Cost: one load after the first call; the first takes milliseconds.
LINTRIX_TESTABLE const Topology& machineTopology();

/// The counts of a loaded description of a machine. One that tells no cores leaves them at -1.
LINTRIX_TESTABLE Topology countTopology(hwloc_topology* machine);

} // namespace Velmar::Lintrix::detail
