#pragma once
/// @file
/// Logical processors, cores and packages of the machine, read from the files in which the kernel tells them.
/// Nothing here takes memory: the first question may come in the middle of an operation that has used it up.

#include <lintrix/services/export.h>

#include <array>
#include <bitset>
#include <climits>
#include <string_view>

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

/// Processors by the kernel's numbers; no Linux has more.
using ProcessorSet = std::bitset<8192>;

/// The same as the system reads and writes it: processor p is bit p % 64 of word p / 64.
using ProcessorMask = std::array<unsigned long, ProcessorSet().size() / (sizeof(long) * CHAR_BIT)>;

/// The topology of this machine, found once. Only a process that may run on every processor of its system
/// gets the counts: one that was confined to some of them knows the OpenMP runtime's logical count alone. A
/// thread that the OpenMP runtime or the program has bound confines no process.
/// Cost: one load after the first call; the first reads two small files a processor.
LINTRIX_TESTABLE const Topology& machineTopology();

/// The processors that the OpenMP runtime has for its threads, none where it leaves them where they are. It
/// binds the first thread as soon as it is loaded, which is before this library: the mask of a thread does
/// not tell them.
ProcessorSet processorsOfRuntime() noexcept;

/// `processors` for the system.
ProcessorMask maskOf(const ProcessorSet& processors) noexcept;

/// The kernel's folder of processors.
inline constexpr const char* kProcessorFolder = "/sys/devices/system/cpu";

/// The processors that `folder` tells to be online; none when it cannot be read.
LINTRIX_TESTABLE ProcessorSet onlineProcessors(const char* folder = kProcessorFolder) noexcept;

/// The counts of `processors`, with what `folder` tells of each. Where it does not tell the cores or packages
/// of one of them, they are -1.
LINTRIX_TESTABLE Topology countTopology(const ProcessorSet& processors,
                                        const char* folder = kProcessorFolder) noexcept;

/// A list as the kernel writes it, "0-3,8,10-11"; none when it is none.
LINTRIX_TESTABLE ProcessorSet parseProcessors(std::string_view list) noexcept;

} // namespace Velmar::Lintrix::detail
