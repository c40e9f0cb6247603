#include "tests/services/probe_runner.h"
#include "tests/support/files.h"

#include <lintrix/services/topology.h>

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <filesystem>
#include <string>

using namespace Velmar::Lintrix::detail;
using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::environmentsThatBind;
using Velmar::Lintrix::testing::ProbeAnswers;
using Velmar::Lintrix::testing::Scratch;
using Velmar::Lintrix::testing::Variables;

namespace {

/// A folder as the kernel's, for a machine of packages x cores x threads. The threads of a core have numbers
/// far apart, as on most machines.
class FakeMachine {
public:
    FakeMachine(int packages, int cores, int threads) : processors_(packages * cores * threads)
    {
        std::filesystem::create_directory(folder());
        write("online", "0-" + std::to_string(processors_ - 1));
        const int total = packages * cores;
        for (int p = 0; p < processors_; ++p) {
            std::string core, package;
            for (int q = 0; q < processors_; ++q) {
                if (q % total == p % total) append(core, q);
                if (q % total / cores == p % total / cores) append(package, q);
            }
            const std::string topology = "cpu" + std::to_string(p) + "/topology/";
            std::filesystem::create_directories(folder() + "/" + topology);
            write(topology + "thread_siblings_list", core);
            write(topology + "core_siblings_list", package);
        }
    }
    std::string folder() const { return scratch_.at("cpu"); }
    void write(const std::string& name, const std::string& line) const
    {
        scratch_.file("cpu/" + name, line + "\n");
    }
    void forget(const std::string& name) const { std::filesystem::remove(folder() + "/" + name); }
    Topology counted() const { return countTopology(onlineProcessors(folder().c_str()), folder().c_str()); }

private:
    static void append(std::string& list, int processor)
    {
        list += (list.empty() ? "" : ",") + std::to_string(processor);
    }

    Scratch scratch_;
    int processors_;
};

TEST(Topology, CountsProcessorsCoresAndPackages)
{
    const Topology found = FakeMachine(2, 4, 2).counted();
    EXPECT_EQ(found.logical, 16);
    EXPECT_EQ(found.cores, 8);
    EXPECT_EQ(found.packages, 2);
    EXPECT_EQ(found.coresPerPackage, 4);
    EXPECT_TRUE(found.hyperThreading);
}

TEST(Topology, SeesNoHyperThreadingWithOneProcessorACore)
{
    const Topology found = FakeMachine(3, 5, 1).counted();
    EXPECT_EQ(found.logical, 15);
    EXPECT_EQ(found.cores, 15);
    EXPECT_EQ(found.packages, 3);
    EXPECT_EQ(found.coresPerPackage, 5);
    EXPECT_FALSE(found.hyperThreading);
}

// The first thread of a core and the first core of a package may be the ones that are off.
TEST(Topology, ProcessorsThatAreOffDoNotCount)
{
    const FakeMachine machine(2, 2, 2);
    machine.write("online", "1-7");
    EXPECT_EQ(machine.counted().logical, 7);
    EXPECT_EQ(machine.counted().cores, 4);
    machine.write("online", "1-3,6");
    const Topology found = machine.counted();
    EXPECT_EQ(found.logical, 4);
    EXPECT_EQ(found.cores, 3);
    EXPECT_EQ(found.packages, 2);
    EXPECT_TRUE(found.hyperThreading);
}

TEST(Topology, LeavesTheCoresUnknownWhenTheKernelTellsNone)
{
    const FakeMachine machine(1, 2, 1);
    machine.forget("cpu1/topology/core_siblings_list");
    const Topology found = machine.counted();
    EXPECT_EQ(found.logical, 2);
    EXPECT_EQ(found.cores, -1);
    EXPECT_EQ(found.packages, -1);
    EXPECT_EQ(found.coresPerPackage, -1);
    EXPECT_FALSE(found.hyperThreading);
    machine.write("cpu1/topology/core_siblings_list", "nonsense");
    EXPECT_EQ(machine.counted().cores, -1);
    EXPECT_TRUE(onlineProcessors("/nowhere").none());
    EXPECT_EQ(countTopology({}, "/nowhere").cores, -1);
}

TEST(Topology, ListsAreReadAsTheKernelWritesThem)
{
    EXPECT_EQ(parseProcessors("0"), ProcessorSet(1));
    EXPECT_EQ(parseProcessors("0-3,8,10-11"), ProcessorSet(0xD0F));
    EXPECT_TRUE(parseProcessors("8191")[8191]);
    for (const char* bad :
         {"", "-", "x", "1-", "1-x", "1;2", "8192", "0-8192", "-1", "0,99999999999999999999"})
        EXPECT_TRUE(parseProcessors(bad).none()) << bad;
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
    for (const Variables& variables : environmentsThatBind()) {
        const ProbeAnswers bound = askProbe({"set-threads=1000", "threads", "topology"}, variables);
        EXPECT_EQ(bound["cores"], plain["cores"]) << variables.begin()->second;
        EXPECT_EQ(bound["all"], plain["all"]) << variables.begin()->second;
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
