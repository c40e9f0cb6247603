#include "tests/services/probe_runner.h"

#include <lintrix/services/topology.h>

#include <gtest/gtest.h>
#include <hwloc.h>
#include <sched.h>
#include <unistd.h>

using namespace Velmar::Lintrix::detail;
using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::ProbeAnswers;

namespace {

Topology described(const char* synthetic)
{
    hwloc_topology* machine = nullptr;
    EXPECT_EQ(hwloc_topology_init(&machine), 0);
    EXPECT_EQ(hwloc_topology_set_synthetic(machine, synthetic), 0);
    EXPECT_EQ(hwloc_topology_load(machine), 0);
    const Topology counted = countTopology(machine);
    hwloc_topology_destroy(machine);
    return counted;
}

TEST(Topology, CountsProcessorsCoresAndPackages)
{
    const Topology found = described("package:2 core:4 pu:2");
    EXPECT_EQ(found.logical, 16);
    EXPECT_EQ(found.cores, 8);
    EXPECT_EQ(found.packages, 2);
    EXPECT_EQ(found.coresPerPackage, 4);
    EXPECT_TRUE(found.hyperThreading);
}

TEST(Topology, SeesNoHyperThreadingWithOneProcessorACore)
{
    const Topology found = described("package:3 core:5 pu:1");
    EXPECT_EQ(found.logical, 15);
    EXPECT_EQ(found.cores, 15);
    EXPECT_EQ(found.packages, 3);
    EXPECT_EQ(found.coresPerPackage, 5);
    EXPECT_FALSE(found.hyperThreading);
}

TEST(Topology, LeavesTheCoresUnknownWhenTheDescriptionHasNone)
{
    const Topology found = described("numa:2 pu:4");
    EXPECT_EQ(found.logical, 8);
    EXPECT_EQ(found.cores, -1);
    EXPECT_EQ(found.packages, -1);
    EXPECT_EQ(found.coresPerPackage, -1);
    EXPECT_FALSE(found.hyperThreading);
}

/// The processors that this thread, and every process that it starts, may run on.
cpu_set_t affinity()
{
    cpu_set_t mine;
    EXPECT_EQ(sched_getaffinity(0, sizeof mine, &mine), 0);
    return mine;
}

/// May a process started now run on every processor that is online?
bool unconfined()
{
    const cpu_set_t mine = affinity();
    return CPU_COUNT(&mine) == sysconf(_SC_NPROCESSORS_ONLN);
}

/// Confines this thread, and so the probe, to the first of its processors while it lives.
class Confinement {
public:
    Confinement() : before_(affinity())
    {
        int first = 0;
        while (!CPU_ISSET(first, &before_)) ++first;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(first, &one);
        EXPECT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    }
    ~Confinement() { sched_setaffinity(0, sizeof before_, &before_); }
    Confinement(const Confinement&) = delete;
    Confinement& operator=(const Confinement&) = delete;

    /// One processor of one is no confinement.
    bool isReal() const { return CPU_COUNT(&before_) > 1; }

private:
    cpu_set_t before_;
};

TEST(Topology, OfThisMachineIsConsistent)
{
    const ProbeAnswers machine = askProbe({"topology"});
    EXPECT_TRUE(!unconfined() || machine["cores"] >= 1);
    if (machine["cores"] == -1) {
        EXPECT_EQ(machine["packages"], -1);
        EXPECT_EQ(machine["cores-per-package"], -1);
        EXPECT_EQ(machine["hyper-threading"], 0);
        EXPECT_GE(machine["logical"], 1);
    } else {
        EXPECT_GE(machine["packages"], 1);
        EXPECT_EQ(machine["cores-per-package"], machine["cores"] / machine["packages"]);
        EXPECT_GE(machine["logical"], machine["cores"]);
        EXPECT_EQ(machine["hyper-threading"], machine["logical"] != machine["cores"] ? 1 : 0);
    }
}

TEST(Topology, IsFoundOnce)
{
    EXPECT_EQ(&machineTopology(), &machineTopology());
}

TEST(Topology, IsUnknownToAProcessThatMayNotRunEverywhere)
{
    const ProbeAnswers before = askProbe({"topology"});
    const Confinement confinement;
    const ProbeAnswers confined = askProbe({"topology"});
    EXPECT_EQ(confined["cores"], confinement.isReal() ? -1 : before["cores"]);
    EXPECT_EQ(confined["packages"], confinement.isReal() ? -1 : before["packages"]);
    EXPECT_EQ(confined["logical"], 1);
}

TEST(Topology, IsKnownAlthoughTheRuntimeBindsItsThreads)
{
    const ProbeAnswers plain = askProbe({"set-threads=1000", "threads", "topology"});
    for (const char* binding : {"true", "close", "spread"}) {
        const ProbeAnswers bound =
            askProbe({"set-threads=1000", "threads", "topology"}, {{"OMP_PROC_BIND", binding}});
        EXPECT_EQ(bound["cores"], plain["cores"]) << binding;
        EXPECT_EQ(bound["all"], plain["all"]) << binding;
    }
}

TEST(Topology, IsKnownAlthoughTheProgramBindsItsFirstThread)
{
    const ProbeAnswers plain = askProbe({"set-threads=1000", "threads", "topology"});
    const ProbeAnswers bound = askProbe({"bind", "set-threads=1000", "threads", "topology"});
    EXPECT_EQ(bound["cores"], plain["cores"]);
    EXPECT_EQ(bound["all"], plain["all"]);
}

TEST(Topology, BoundsAThreadCountOnlyWhereItIsKnown)
{
    const ProbeAnswers machine = askProbe({"set-threads=1000", "threads", "topology"});
    EXPECT_EQ(machine["all"], machine["cores"] == -1 ? 1000 : machine["cores"]);
    const Confinement confinement;
    const ProbeAnswers confined = askProbe({"set-threads=1000", "threads", "topology"});
    EXPECT_EQ(confined["all"], confined["cores"] == -1 ? 1000 : confined["cores"]);
}

} // namespace
